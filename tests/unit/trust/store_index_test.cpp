// Look-ups in stores of many objects, which go through an index: they give what reading from front to back
// gives.
#include "chains.h"
#include "support/slow.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace TEST_FILE {

using test::commonName;
using test::unsignedCa;

std::string nameOf(size_t number) { return "CA " + std::to_string(number); }

/// Each name stands in the store three times, with key identifiers of which two are the same.
std::shared_ptr<X509Certificate> makeCertificate(size_t number, size_t names) {
    auto certificate = unsignedCa(nameOf(number % names), nameOf(0));
    if (number < names)
        certificate->subjectKeyId = test::bytes("first of " + nameOf(number));
    return certificate;
}

CertificateMemoryStore makeStore(size_t names) {
    CertificateMemoryStore store;
    for (size_t number = 0; number < 3 * names; number++)
        store.certs.push_back(makeCertificate(number, names));
    return store;
}

std::shared_ptr<X509Certificate> readThrough(CertificateMemoryStore const& store,
                                             DistinguishedName const& subject, asn1::blob keyId) {
    for (auto const& certificate : store.certs)
        if (certificate->subject == subject &&
            (keyId.empty() || keyId == asn1::blob(certificate->subjectKeyId)))
            return certificate;
    return nullptr;
}

void expectAnswers(CertificateMemoryStore const& store, size_t names) {
    for (size_t number = 0; number < names + 3; number++) {
        DistinguishedName const name = commonName(nameOf(number));
        for (std::string const& keyId :
             {std::string(), nameOf(number) + "-key", "first of " + nameOf(number), std::string("another")}) {
            std::vector<unsigned char> const id = test::bytes(keyId);
            EXPECT_EQ(store.findCertificate(name, id), readThrough(store, name, id)) << number << keyId;
        }
    }
}

TEST(StoreIndex, GivesTheFirstMatchInLoadOrder) {
    for (size_t names : {1U, 21U, 22U, 100U}) {
        CertificateMemoryStore const store = makeStore(names);
        expectAnswers(store, names);
        EXPECT_EQ(store.findCertificate(commonName(nameOf(0)), {}), store.certs[0]);
    }
}

TEST(StoreIndex, GrowsWithTheStore) {
    CertificateMemoryStore store;
    for (size_t number = 0; number < 200; number++) {
        DistinguishedName const name = commonName(nameOf(number));
        EXPECT_EQ(store.findCertificate(name, {}), nullptr);
        store.certs.push_back(makeCertificate(number, 1000));
        EXPECT_EQ(store.findCertificate(name, {}), store.certs.back());
        EXPECT_EQ(store.findCertificate(name, store.certs.back()->subjectKeyId), store.certs.back());
    }
}

TEST(StoreIndex, NoticesThatAnotherVectorTookThePlace) {
    CertificateMemoryStore store = makeStore(100);
    expectAnswers(store, 100);
    size_t const room = store.certs.capacity();
    store.certs.clear();
    for (size_t number = 0; number < 300; number++)
        store.certs.push_back(makeCertificate(number, 150));
    EXPECT_EQ(store.certs.capacity(), room);
    expectAnswers(store, 150);
    store.certs = makeStore(70).certs;
    expectAnswers(store, 70);
    store.certs.resize(80);
    expectAnswers(store, 70);
    store.certs.clear();
    EXPECT_EQ(store.findCertificate(commonName(nameOf(1)), {}), nullptr);
}

TEST(StoreIndex, IsMadeAnewWhenElementsWereReplaced) {
    CertificateMemoryStore store = makeStore(100);
    DistinguishedName const name = commonName(nameOf(7)), other = commonName("Other");
    EXPECT_EQ(store.findCertificate(name, {}), store.certs[7]);
    store.certs[7] = unsignedCa("Other", "Other");
    // What is given does match, whether or not the replacement is known.
    auto const found = store.findCertificate(name, {});
    EXPECT_TRUE(found == nullptr || found->subject == name);
    store.reindex();
    expectAnswers(store, 100);
    EXPECT_EQ(store.findCertificate(name, {}), store.certs[107]);
    EXPECT_EQ(store.findCertificate(other, {}), store.certs[7]);
    store.certs[5]->subject = other;
    store.reindex();
    EXPECT_EQ(store.findCertificate(other, {}), store.certs[5]);
    EXPECT_EQ(store.findCertificate(other, store.certs[7]->subjectKeyId), store.certs[7]);
}

TEST(StoreIndex, IsNotSharedByCopies) {
    CertificateMemoryStore store = makeStore(100);
    expectAnswers(store, 100);
    CertificateMemoryStore copy = store;
    copy.certs.erase(copy.certs.begin() + 50);
    copy.reindex();
    expectAnswers(copy, 100);
    expectAnswers(store, 100);
    CertificateMemoryStore moved = std::move(copy);
    expectAnswers(moved, 100);
    copy = makeStore(30);
    expectAnswers(copy, 30);
    moved = store;
    expectAnswers(moved, 100);
    moved = std::move(copy);
    expectAnswers(moved, 30);
    // A store at the place of one that is gone.
    for (size_t names : {40U, 50U, 60U}) {
        auto const another = std::make_unique<CertificateMemoryStore>(makeStore(names));
        expectAnswers(*another, names);
    }
}

TEST(StoreIndex, FindsCrls) {
    CertificateMemoryStore store;
    for (size_t number = 0; number < 200; number++) {
        auto crl = std::make_shared<X509Crl>();
        crl->issuer = commonName(nameOf(number % 150));
        store.crls.push_back(crl);
        EXPECT_EQ(store.findCrl(*unsignedCa("Leaf", nameOf(number))),
                  number < 150 ? store.crls[number] : nullptr);
        EXPECT_EQ(store.findCrl(*unsignedCa("Leaf", nameOf(0))), store.crls[0]);
    }
    EXPECT_EQ(store.findCrl(*unsignedCa("Leaf", nameOf(10))), store.crls[10]);
}

TEST(StoreIndex, ServesSeveralThreadsAtOnce) {
    for (int round = 0; round < test::lessWhenSlow(20, 4); round++) {
        CertificateMemoryStore store = makeStore(200);
        if (round % 2 == 1) { // An index that was made and has to grow.
            EXPECT_NE(store.findCertificate(commonName(nameOf(3)), {}), nullptr);
            store.certs.push_back(unsignedCa("Late", "Late"));
        }
        std::atomic<size_t> wrong = 0;
        std::vector<std::thread> threads;
        for (size_t offset = 0; offset < 6; offset++)
            threads.emplace_back([&, offset] {
                for (size_t i = 0; i < 200; i++) {
                    size_t const number = (i + 31 * offset) % 200;
                    wrong += store.findCertificate(commonName(nameOf(number)), {}) != store.certs[number];
                }
                wrong += store.findCertificate(commonName("Missing"), {}) != nullptr;
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(wrong, 0u);
    }
}

TEST(StoreIndex, AnswersAmongFiftyThousand) {
    size_t const count = test::lessWhenSlow<size_t>(50'000, 2'000);
    CertificateMemoryStore store;
    for (size_t number = 0; number < count; number++)
        store.certs.push_back(makeCertificate(number, count));
    EXPECT_EQ(store.findCertificate(commonName(nameOf(0)), {}), store.certs[0]);
    std::vector<DistinguishedName> hits, misses;
    for (size_t number = 0; number < count; number += 7) {
        hits.push_back(commonName(nameOf(number)));
        misses.push_back(commonName("CA without a certificate " + std::to_string(number)));
    }
    size_t found = 0;
    for (size_t i = 0; i < hits.size(); i++) {
        auto const certificate = store.findCertificate(hits[i], {});
        found += certificate != nullptr;
        found += store.findCertificate(hits[i], certificate->subjectKeyId) == certificate;
        found += store.findCertificate(misses[i], {}) != nullptr;
        found += store.findCertificate(misses[i], certificate->subjectKeyId) != nullptr;
    }
    EXPECT_EQ(found, 2 * hits.size());
}

} // namespace TEST_FILE
