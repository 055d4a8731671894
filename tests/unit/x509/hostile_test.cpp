/// Bytes that nobody meant well: whatever arrives, parsing ends soon and says yes or no.
#include "objects.h"
#include "support/slow.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

/// Small, with every extension and field that is read.
Bytes fullCertificate() {
    CertificateParts parts;
    parts.extensions = {
        extension("2.5.29.15", bitString({0x06}, 1), true),
        extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.1"), oid("1.2.3"))),
        extension("2.5.29.19", sequence(boolean(true), integer(1)), true),
        extension("2.5.29.14", octetString({1, 2})),
        extension("2.5.29.35", sequence(implicit(0, Bytes{1, 2}), context(1, context(4, sequence())),
                                        implicit(2, Bytes{1}))),
        extension("2.5.29.17",
                  sequence(implicit(2, "a.test"), implicit(7, Bytes(4)), context(4, sequence()))),
        extension("2.5.29.31",
                  sequence(sequence(context(0, context(0, implicit(6, "u"))), implicit(1, Bytes{1, 0})))),
        extension("2.5.29.30", sequence(context(0, sequence(implicit(2, "a"), implicit(0, Bytes{0}))),
                                        context(1, sequence(implicit(1, "b"))))),
        extension("2.5.29.36", sequence()),
        extension("2.5.29.32", sequence()),
        extension("1.2.3", {}),
    };
    return parts.der();
}

Bytes fullCrl() {
    CrlParts parts;
    Bytes date = utcTime("231224180000Z");
    parts.revoked =
        sequence(sequence(integer(1), date),
                 sequence(integer(2), date,
                          sequence(extension("2.5.29.21", enumerated({1})), extension("2.5.29.24", date))));
    parts.extensions = {extension("2.5.29.20", integer(1)),
                        extension("2.5.29.35", sequence(implicit(0, Bytes{1}))),
                        extension("2.5.29.28", sequence(), true), extension("1.2.3", {})};
    return parts.der();
}

Bytes fullReq() {
    ReqParts parts;
    parts.attributes = {
        sequence(oid("1.2.840.113549.1.9.7"), set(utf8String("p"))),
        sequence(oid("1.2.840.113549.1.9.14"),
                 set(sequence(extension("2.5.29.17", sequence(implicit(2, "a.test"))),
                              extension("2.5.29.15", bitString({0x80})),
                              extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.1"))),
                              extension("1.2.3", {})))),
        sequence(oid("1.2.3"), set()),
    };
    return parts.der();
}

/// Parses bytes that end where their memory ends, and uses what came out of it.
template <typename Object>
bool parseAndUse(Bytes const& encoded) {
    std::unique_ptr<unsigned char[]> exact(new unsigned char[encoded.size()]);
    std::copy(encoded.begin(), encoded.end(), exact.get());
    CapturedOutput capture;
    Object object;
    bool accepted = object.parse(exact.get(), static_cast<unsigned>(encoded.size()));
    exact.reset();
    dumpOf(object);
    object.extensions();
    if (accepted) {
        EXPECT_EQ(object.serialize(), encoded);
    }
    return accepted;
}

template <typename Object>
void expectTruncationsRefused(Bytes const& encoded) {
    ASSERT_TRUE(parseAndUse<Object>(encoded));
    for (size_t size = 0; size < encoded.size(); size++)
        EXPECT_FALSE(parseAndUse<Object>(Bytes(encoded.begin(), encoded.begin() + static_cast<long>(size))))
            << size;
}

template <typename Object>
void tryEveryFlippedBit(Bytes const& encoded) {
    size_t accepted = 0;
    for (size_t bit = 0; bit < encoded.size() * 8; bit++) {
        Bytes flipped = encoded;
        flipped[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
        accepted += parseAndUse<Object>(flipped);
    }
    // Values are free, structure is not.
    EXPECT_GT(accepted, 0u);
    EXPECT_LT(accepted, encoded.size() * 8);
}

TEST(Hostile, EveryTruncationIsRefused) {
    expectTruncationsRefused<X509Certificate>(fullCertificate());
    expectTruncationsRefused<X509Crl>(fullCrl());
    expectTruncationsRefused<X509Req>(fullReq());
}

TEST(Hostile, EveryFlippedBitIsSurvived) {
    tryEveryFlippedBit<X509Certificate>(fullCertificate());
    tryEveryFlippedBit<X509Crl>(fullCrl());
    tryEveryFlippedBit<X509Req>(fullReq());
}

TEST(Hostile, EveryReplacedOctetIsSurvived) {
    for (unsigned char octet : {0x00, 0x30, 0x7F, 0x80, 0x84, 0xFF})
        for (size_t i = 0; i < 3; i++) {
            Bytes encoded = i == 0 ? fullCertificate() : i == 1 ? fullCrl() : fullReq();
            for (unsigned char& at : encoded) {
                unsigned char before = std::exchange(at, octet);
                if (i == 0)
                    parseAndUse<X509Certificate>(encoded);
                else if (i == 1)
                    parseAndUse<X509Crl>(encoded);
                else
                    parseAndUse<X509Req>(encoded);
                at = before;
            }
        }
}

/// SEQUENCEs in each other, with lengths of four octets.
Bytes nested(unsigned depth, unsigned char tag = 0x30) {
    Bytes all;
    for (unsigned left = depth; left-- > 0;) {
        unsigned size = left * 6;
        all.insert(all.end(),
                   {tag, 0x84, static_cast<unsigned char>(size >> 24), static_cast<unsigned char>(size >> 16),
                    static_cast<unsigned char>(size >> 8), static_cast<unsigned char>(size)});
    }
    return all;
}

TEST(Hostile, DeepNestingIsHarmless) {
    Bytes deep = nested(100000);
    EXPECT_FALSE(parseAndUse<X509Certificate>(deep));
    EXPECT_FALSE(parseAndUse<X509Crl>(deep));
    EXPECT_FALSE(parseAndUse<X509Req>(deep));
    CertificateParts names;
    names.subject = sequence(nested(100000, 0x31));
    EXPECT_FALSE(parseAndUse<X509Certificate>(names.der()));
    for (char const* id : {"2.5.29.15", "2.5.29.37", "2.5.29.19", "2.5.29.35", "2.5.29.17", "2.5.29.31"}) {
        CertificateParts parts;
        parts.extensions = {extension(id, deep)};
        EXPECT_FALSE(parseAndUse<X509Certificate>(parts.der())) << id;
    }
    CertificateParts constraints;
    constraints.extensions = {extension("2.5.29.30", sequence(context(0, deep)))};
    EXPECT_FALSE(parseAndUse<X509Certificate>(constraints.der()));
    // Where nobody looks inside it is as good as anything.
    CertificateParts unknown;
    unknown.extensions = {extension("1.2.3", deep), extension("2.5.29.17", sequence(context(4, deep)))};
    EXPECT_TRUE(parseAndUse<X509Certificate>(unknown.der()));
}

/// Distinct object identifiers under one that is passed over in silence.
std::vector<Bytes> manyExtensions(unsigned count) {
    std::vector<Bytes> extensions;
    for (unsigned i = 0; i < count; i++)
        extensions.push_back(extension("2.16.840.1.113730.1." + std::to_string(i), {}));
    return extensions;
}

TEST(Hostile, ManyExtensionsAreRead) {
    CertificateParts parts;
    parts.extensions = manyExtensions(test::lessWhenSlow(100000, 2000));
    Bytes distinct = parts.der();
    parts.extensions.push_back(parts.extensions.front());
    Bytes repeated = parts.der();
    CrlParts crl;
    crl.extensions = parts.extensions;
    Bytes repeatedInCrl = crl.der();
    CrlParts entry;
    entry.revoked =
        sequence(sequence(integer(1), utcTime("231224180000Z"), sequence(join(parts.extensions))));
    Bytes repeatedInEntry = entry.der();
    ReqParts req;
    req.attributes = {sequence(oid("1.2.840.113549.1.9.14"), set(sequence(join(parts.extensions))))};
    Bytes repeatedInReq = req.der();
    EXPECT_TRUE(parseAndUse<X509Certificate>(distinct));
    EXPECT_FALSE(parseAndUse<X509Certificate>(repeated));
    EXPECT_FALSE(parseAndUse<X509Crl>(repeatedInCrl));
    EXPECT_FALSE(parseAndUse<X509Crl>(repeatedInEntry));
    EXPECT_FALSE(parseAndUse<X509Req>(repeatedInReq));
}

TEST(Hostile, ManyValuesOfOneExtensionAreRead) {
    size_t const count = test::lessWhenSlow<size_t>(100000, 5000);
    struct {
        char const* id;
        Bytes value;
    } const rows[] = {
        {"2.5.29.17", sequence(repeat(implicit(2, "a"), count))},
        {"2.5.29.37", sequence(repeat(oid("1.2.3"), count))},
        {"2.5.29.31", sequence(repeat(sequence(context(0, context(1))), count))},
        {"2.5.29.31", sequence(sequence(context(0, context(0, repeat(implicit(6, "u"), count)))))},
        {"2.5.29.30", sequence(context(0, repeat(sequence(implicit(2, "a")), count)))},
        {"2.5.29.15", bitString(Bytes(count, 0xFF))},
        {"2.5.29.14", octetString(Bytes(count))},
    };
    for (auto const& row : rows) {
        CertificateParts parts;
        parts.extensions = {extension(row.id, row.value)};
        Bytes encoded = parts.der();
        EXPECT_TRUE(parseAndUse<X509Certificate>(encoded)) << row.id;
    }
    ReqParts req;
    req.attributes = {repeat(sequence(oid("1.2.3"), set()), count)};
    EXPECT_TRUE(parseAndUse<X509Req>(req.der()));
}

TEST(Hostile, AListOfAMillionCertificatesIsRead) {
    unsigned const count = test::lessWhenSlow(1000000, 20000);
    Bytes date = utcTime("231224180000Z");
    Bytes entry = sequence(integer({0, 0, 0, 0}), date, sequence(extension("2.5.29.21", enumerated({1}))));
    size_t const serialAt = 4;
    Bytes entries = repeat(entry, count);
    for (unsigned i = 0; i < count; i++)
        for (unsigned octet = 0; octet < 4; octet++)
            entries[i * entry.size() + serialAt + octet] = static_cast<unsigned char>(i >> (24 - 8 * octet));
    CrlParts parts;
    parts.revoked = sequence(entries);
    entries = {};
    Bytes encoded = parts.der();
    parts.revoked = {};
    X509Crl crl;
    ASSERT_TRUE(crl.parse(encoded.data(), static_cast<unsigned>(encoded.size())));
    ASSERT_EQ(crl.revoked.size(), count);
    EXPECT_EQ(crl.revoked[0x1234].serialNumber, (Bytes{0, 0, 0x12, 0x34}));
    EXPECT_EQ(crl.revoked.back().reasonCode, 1);
}

TEST(Hostile, LengthsBeyondTheInputAreRefused) {
    Bytes const lengths[] = {
        {0x84, 0xFF, 0xFF, 0xFF, 0xFF},
        {0x84, 0x80, 0x00, 0x00, 0x00},
        {0x84, 0x7F, 0xFF, 0xFF, 0xFF},
        {0x85, 0x01, 0x00, 0x00, 0x00, 0x00},
        {0x88, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
        {0xFF},
        {0x80},
    };
    for (Bytes const& length : lengths) {
        auto tooLong = [&](unsigned char tag) { return join({{tag}, length, Bytes(20)}); };
        EXPECT_FALSE(parseAndUse<X509Certificate>(tooLong(0x30)));
        EXPECT_FALSE(parseAndUse<X509Crl>(tooLong(0x30)));
        EXPECT_FALSE(parseAndUse<X509Req>(tooLong(0x30)));
        Bytes CertificateParts::*const fields[] = {
            &CertificateParts::version, &CertificateParts::serialNumber,     &CertificateParts::algorithm,
            &CertificateParts::issuer,  &CertificateParts::validity,         &CertificateParts::subject,
            &CertificateParts::keyInfo, &CertificateParts::beforeExtensions, &CertificateParts::signature,
        };
        for (Bytes CertificateParts::*field : fields) {
            CertificateParts parts;
            unsigned char tag = (parts.*field).empty() ? 0xA3 : (parts.*field)[0];
            parts.*field = tooLong(tag);
            EXPECT_FALSE(parseAndUse<X509Certificate>(parts.der()));
        }
        for (char const* id : {"2.5.29.15", "2.5.29.37", "2.5.29.19", "2.5.29.14", "2.5.29.35", "2.5.29.17",
                               "2.5.29.31", "2.5.29.30"}) {
            CertificateParts parts;
            parts.extensions = {extension(id, tooLong(0x30))};
            EXPECT_FALSE(parseAndUse<X509Certificate>(parts.der()));
            parts.extensions = {extension(id, sequence(tooLong(0x82)))};
            EXPECT_FALSE(parseAndUse<X509Certificate>(parts.der()));
        }
    }
}

TEST(Hostile, NumbersOfAnySizeAreKept) {
    Bytes megabyte(1 << 20, 0x80);
    CertificateParts parts;
    parts.serialNumber = integer(megabyte);
    parts.extensions = {extension("2.5.29.19", sequence(boolean(true), integer(megabyte)))};
    parts.signature = bitString(megabyte);
    EXPECT_TRUE(parseAndUse<X509Certificate>(parts.der()));
    CrlParts crl;
    crl.version = integer(megabyte);
    crl.revoked = sequence(sequence(integer(megabyte), utcTime("231224180000Z")));
    crl.extensions = {extension("2.5.29.20", integer(megabyte))};
    EXPECT_TRUE(parseAndUse<X509Crl>(crl.der()));
    ReqParts req;
    req.version = integer(megabyte);
    EXPECT_TRUE(parseAndUse<X509Req>(req.der()));
}

TEST(Hostile, LongObjectIdentifiersAreSurvived) {
    Bytes endless(1 << 16, 0x81);
    for (Bytes const& id : {element(0x06, endless), element(0x06, {}), element(0x06, Bytes(1 << 16, 0x01))}) {
        CertificateParts parts;
        parts.extensions = {sequence(id, octetString({})), extension("2.5.29.37", sequence(id))};
        EXPECT_TRUE(parseAndUse<X509Certificate>(parts.der()));
        parts.algorithm = sequence(id);
        EXPECT_TRUE(parseAndUse<X509Certificate>(parts.der()));
    }
}

} // namespace TEST_FILE
