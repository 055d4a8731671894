// Finding serial numbers in CRLs, long ones included.
#include "objects.h"

#include "support/allocation_count.h"
#include "support/slow.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

Bytes const date = utcTime("231224180000Z");

/// Serial numbers of 20 octets as CAs make them: what looks random, all with the same beginning.
Bytes serialOf(size_t number) {
    Bytes serial = {0x04, 0x9B};
    auto state = static_cast<std::uint64_t>(number) * 0x9E3779B97F4A7C15 + 1;
    while (serial.size() < 20) {
        state ^= state >> 29;
        state *= 0xBF58476D1CE4E5B9;
        serial.push_back(static_cast<unsigned char>(state >> 56));
    }
    return serial;
}

Bytes withEntries(std::vector<Bytes> const& serials) {
    Bytes list;
    for (Bytes const& serial : serials) {
        Bytes const entry = sequence(integer(serial), date);
        list.insert(list.end(), entry.begin(), entry.end());
    }
    CrlParts parts;
    parts.revoked = sequence(list);
    return parts.der();
}

X509Crl parse(Bytes const& der) {
    X509Crl crl;
    Refusal refusal;
    EXPECT_TRUE(crl.parse(asn1::blob(der), &refusal)) << refusal.str();
    return crl;
}

TEST(CrlIndex, FindsTheFirstOfTheList) {
    X509Crl crl = parse(withEntries({{5}, {1}, {0, 0x80}, {5}, {0x80}, {5}, {0x12, 0x34}}));
    EXPECT_EQ(crl.findRevoked(Bytes{5}), &crl.revoked[0]);
    EXPECT_EQ(crl.findAllRevoked(Bytes{5}), (std::vector<size_t>{0, 3, 5}));
    EXPECT_EQ(crl.findRevoked(Bytes{0, 0x80}), &crl.revoked[2]);
    EXPECT_EQ(crl.findRevoked(Bytes{0x80}), &crl.revoked[4]);
    EXPECT_EQ(crl.findRevoked(Bytes{0x12, 0x34}), &crl.revoked[6]);
    for (Bytes const& absent : {Bytes{}, Bytes{6}, Bytes{0, 5}, Bytes{0x12}, Bytes{0x12, 0x34, 0}}) {
        EXPECT_EQ(crl.findRevoked(absent), nullptr);
        EXPECT_TRUE(crl.findAllRevoked(absent).empty());
    }
    EXPECT_EQ(X509Crl().findRevoked(Bytes{5}), nullptr);
    EXPECT_TRUE(X509Crl().findAllRevoked(Bytes{5}).empty());
}

TEST(CrlIndex, AgreesWithReadingThroughTheList) {
    std::vector<Bytes> serials;
    for (size_t number = 0; number < 2000; number++)
        serials.push_back(number % 3 == 0   ? Bytes{static_cast<unsigned char>(number / 8 % 128)}
                          : number % 3 == 1 ? Bytes{1, static_cast<unsigned char>(number / 8)}
                                            : serialOf(number / 5));
    X509Crl crl = parse(withEntries(serials));
    X509Crl scanned = crl; // A copy has no index of its own.
    serials.push_back({0x7F, 1});
    for (Bytes const& serial : serials) {
        auto const found = crl.findAllRevoked(serial);
        EXPECT_EQ(found, scanned.findAllRevoked(serial));
        EXPECT_EQ(crl.findRevoked(serial), found.empty() ? nullptr : &crl.revoked[found.front()]);
    }
}

TEST(CrlIndex, CountsOnlyForTheEntriesThatWereIndexed) {
    X509Crl crl = parse(withEntries({{1}, {2}, {3}}));
    crl.revoked.push_back({{9}, {}, 255});
    EXPECT_EQ(crl.findRevoked(Bytes{9}), &crl.revoked[3]);
    crl.revoked = {{{7}, {}, 255}};
    EXPECT_EQ(crl.findRevoked(Bytes{7}), &crl.revoked[0]);
    EXPECT_EQ(crl.findRevoked(Bytes{1}), nullptr);

    X509Crl edited = parse(withEntries({{1}, {2}, {3}}));
    edited.revoked[0].serialNumber = {8};
    EXPECT_EQ(edited.findRevoked(Bytes{1}), nullptr);
    edited.indexRevoked();
    EXPECT_EQ(edited.findRevoked(Bytes{8}), &edited.revoked[0]);
    EXPECT_EQ(edited.findRevoked(Bytes{3}), &edited.revoked[2]);

    X509Crl moved = std::move(edited);
    EXPECT_EQ(moved.findRevoked(Bytes{8}), &moved.revoked[0]);
    X509Crl const copy = moved;
    EXPECT_EQ(copy.findRevoked(Bytes{8}), &copy.revoked[0]);
    moved = X509Crl();
    EXPECT_EQ(moved.findRevoked(Bytes{8}), nullptr);
    EXPECT_EQ(copy.findRevoked(Bytes{8}), &copy.revoked[0]);
}

TEST(CrlIndex, OfEqualSerialNumbersFindsThemAll) {
    size_t const count = lessWhenSlow<size_t>(200'000, 5'000);
    Bytes const entry = sequence(integer(serialOf(1)), date);
    CrlParts parts;
    parts.revoked = sequence(repeat(entry, count));
    X509Crl const crl = parse(parts.der());
    EXPECT_EQ(crl.findRevoked(serialOf(1)), &crl.revoked[0]);
    EXPECT_EQ(crl.findAllRevoked(serialOf(1)).size(), count);
}

TEST(CrlIndex, OfManyEntriesIsSmall) {
    size_t const count = lessWhenSlow<size_t>(200'000, 20'000);
    Bytes list;
    Bytes const reason = sequence(extension("2.5.29.21", enumerated({4})));
    list.reserve(count * 55);
    for (size_t number = 0; number < count; number++) {
        Bytes const entry = sequence(integer(serialOf(number)), date, reason);
        list.insert(list.end(), entry.begin(), entry.end());
    }
    CrlParts parts;
    parts.revoked = element(0x30, list);
    Bytes const der = parts.der();

    X509Crl crl;
    size_t const taken = bytesHeldBy([&] { EXPECT_TRUE(crl.parse(asn1::blob(der), nullptr)); });
    ASSERT_EQ(crl.revoked.size(), count);
    EXPECT_LE(taken / count, 130u);
    EXPECT_GT(taken / count, 70u); // The signed bytes and the entries alone.

    // Every one of them: reading through the list each time would take an hour.
    size_t found = 0;
    for (size_t number = 0; number < count; number++)
        found += crl.findRevoked(serialOf(number)) == &crl.revoked[number];
    EXPECT_EQ(found, count);
    EXPECT_EQ(crl.findRevoked(serialOf(count)), nullptr);
}

} // namespace TEST_FILE
