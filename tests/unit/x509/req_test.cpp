#include "objects.h"

#include <gtest/gtest.h>

#include <functional>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

using Change = std::function<void(ReqParts&)>;

constexpr char const* challengePassword = "1.2.840.113549.1.9.7";
constexpr char const* extensionRequest = "1.2.840.113549.1.9.14";

Bytes attribute(std::string_view type, Bytes const& values) { return sequence(oid(type), set(values)); }

Bytes request(std::vector<Bytes> const& extensions) {
    return attribute(extensionRequest, sequence(join(extensions)));
}

Parsed<X509Req> parseChanged(Change const& change) {
    ReqParts parts;
    change(parts);
    return Parsed<X509Req>(parts);
}

void expectRefused(char const* what, Change const& change) {
    EXPECT_FALSE(parseChanged(change).accepted) << what;
}

Parsed<X509Req> parseWith(std::vector<Bytes> const& attributes) {
    return parseChanged([&](ReqParts& parts) { parts.attributes = attributes; });
}

TEST(Req, FieldsAreRead) {
    ReqParts parts;
    parts.attributes = {
        attribute(challengePassword, utf8String("secret")),
        request({extension("2.5.29.17", sequence(implicit(2, "a.test"), implicit(7, Bytes{192, 0, 2, 1}))),
                 extension("2.5.29.15", bitString({0xA0}), true),
                 extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.2")))}),
    };
    Parsed<X509Req> parsed(parts);
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "");
    X509Req const& req = parsed.object;
    EXPECT_EQ(req.tbs, parts.tbs());
    EXPECT_EQ(req.subject.str(), "CN=leaf");
    EXPECT_EQ(req.subjectPublicKeyInfo, parts.keyInfo);
    EXPECT_EQ(req.challengePassword, "secret");
    ASSERT_EQ(req.subjectAltNames.size(), 2u);
    EXPECT_EQ(req.subjectAltNames[0].dataStr(), "a.test");
    EXPECT_EQ(req.subjectAltNames[1].dataStr(), "192.0.2.1");
    EXPECT_EQ(req.keyUsage, KeyUsage::digitalSignature | KeyUsage::keyEncipherment);
    EXPECT_EQ(req.extKeyUsage, ExtKeyUsage::tlsClient);
    EXPECT_EQ(oidStr(req.signatureAlgorithm.oid), "1.2.840.10045.4.3.2");
    EXPECT_EQ(req.signature, (Bytes{0xDE, 0xAD}));
    EXPECT_EQ(req.serialize(), parts.der());
    EXPECT_EQ(req.subjectBytes(), asn1::blob(parts.subject));
    std::vector<X509Extension> extensions = req.extensions();
    ASSERT_EQ(extensions.size(), 3u);
    EXPECT_EQ(oidStr(extensions[1].oid), "2.5.29.15");
    EXPECT_TRUE(extensions[1].critical);
    EXPECT_EQ(extensions[1].value, asn1::blob(bitString({0xA0})));
    std::unique_ptr<PublicKey> key = req.parsePublicKey();
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(key->keyType(), KeyType::Ed25519);
}

TEST(Req, BothWaysOfParsingAreTheSame) {
    Bytes encoded = ReqParts().der();
    X509Req req;
    EXPECT_TRUE(req.parseReq(encoded));
    EXPECT_EQ(req.subject.str(), "CN=leaf");
    EXPECT_FALSE(req.parseReq(asn1::blob()));
    EXPECT_FALSE(req.parse(nullptr, 0));
    EXPECT_TRUE(req.subject.empty());
}

TEST(Req, AttributesMayBeNone) {
    Parsed<X509Req> parsed = parseWith({});
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "");
    EXPECT_TRUE(parsed.object.challengePassword.empty());
    EXPECT_TRUE(parsed.object.subjectAltNames.empty());
    EXPECT_TRUE(parsed.object.extensions().empty());
}

TEST(Req, EveryFieldMustHaveItsType) {
    expectRefused("no version", [](ReqParts& parts) { parts.version = {}; });
    expectRefused("version", [](ReqParts& parts) { parts.version = context(0, integer(0)); });
    expectRefused("empty version", [](ReqParts& parts) { parts.version = integer(Bytes{}); });
    expectRefused("subject", [](ReqParts& parts) { parts.subject = set(); });
    expectRefused("subject's attribute", [](ReqParts& parts) { parts.subject = sequence(set(null())); });
    expectRefused("key", [](ReqParts& parts) { parts.keyInfo = {}; });
    expectRefused("something behind", [](ReqParts& parts) { parts.afterAttributes = null(); });
    expectRefused("attributes twice", [](ReqParts& parts) { parts.afterAttributes = context(0); });
    // RFC 2986, section 4.1: the field is there even when it is empty.
    Bytes withoutAttributes =
        sequence(sequence(integer(0), ReqParts().subject, makeKeyInfo()), ecdsaWithSha256, bitString({1}));
    EXPECT_FALSE(Parsed<X509Req>(withoutAttributes).accepted);
    Bytes asSet = sequence(sequence(integer(0), ReqParts().subject, makeKeyInfo(), context(0, set())),
                           ecdsaWithSha256, bitString({1}));
    EXPECT_FALSE(Parsed<X509Req>(asSet).accepted);
    EXPECT_FALSE(Parsed<X509Req>(join({ReqParts().der(), {0x00}})).accepted);
}

TEST(Req, ChallengePasswordMayBeOfAnyStringType) {
    for (unsigned tag : {0x0C, 0x12, 0x13, 0x14, 0x16, 0x1A, 0x1C, 0x1E}) {
        Parsed<X509Req> parsed = parseWith({attribute(challengePassword, element(tag, bytes("pass")))});
        EXPECT_TRUE(parsed.accepted) << tag;
        EXPECT_EQ(parsed.object.challengePassword, "pass") << tag;
    }
    for (Bytes const& values :
         {Bytes{}, octetString(bytes("pass")), integer(1), sequence(utf8String("pass")),
          join({utf8String("a"), utf8String("b")}), Bytes{0x0C, 0x05, 'a'}, utcTime("240101000000Z")})
        EXPECT_FALSE(parseWith({attribute(challengePassword, values)}).accepted);
}

TEST(Req, UnknownAttributesAreNamed) {
    Parsed<X509Req> parsed =
        parseWith({attribute("1.2.840.113549.1.9.2", utf8String("name")),
                   attribute("1.3.6.1.4.1.311.2.1.14", sequence()), attribute("1.3.6.1.4.1.311.2.1.14", {})});
    EXPECT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "unknown attribute 1.2.840.113549.1.9.2\n"
                           "unknown attribute 1.3.6.1.4.1.311.2.1.14\n"
                           "unknown attribute 1.3.6.1.4.1.311.2.1.14\n");
}

TEST(Req, RequestedExtensionsThatAreNotStoredAreNamedEvenWhenCritical) {
    for (bool critical : {false, true}) {
        Parsed<X509Req> parsed = parseWith(
            {request({extension("2.5.29.19", sequence(boolean(true)), critical),
                      extension("1.2.3.4", null(), critical), extension("2.5.29.14", octetString({1}))})});
        EXPECT_TRUE(parsed.accepted);
        EXPECT_EQ(parsed.said,
                  "unknown ext id=2.5.29.19\nunknown ext id=1.2.3.4\nunknown ext id=2.5.29.14\n");
        EXPECT_EQ(parsed.object.extensions().size(), 3u);
    }
}

TEST(Req, AttributesThatAreUnderstoodStandOnce) {
    Bytes password = attribute(challengePassword, utf8String("a"));
    Bytes names = request({extension("2.5.29.17", sequence(implicit(2, "a.test")))});
    EXPECT_TRUE(parseWith({password, names}).accepted);
    EXPECT_TRUE(parseWith({names, password}).accepted);
    EXPECT_FALSE(parseWith({password, password}).accepted);
    EXPECT_FALSE(parseWith({names, names}).accepted);
    EXPECT_FALSE(parseWith({names, password, request({})}).accepted);
}

TEST(Req, ARepeatedExtensionIsRefused) {
    Bytes unknown = extension("1.2.3.4", null());
    Parsed<X509Req> parsed = parseWith({request({unknown, unknown})});
    EXPECT_FALSE(parsed.accepted);
    EXPECT_EQ(parsed.said, "");
}

TEST(Req, MalformedAttributesAreRefused) {
    Bytes list = sequence(extension("1.2.3.4", null()));
    for (Bytes const& malformed : {
             null(),
             sequence(),
             sequence(oid("1.2.3")),
             sequence(set(), oid("1.2.3")),
             sequence(oid("1.2.3"), sequence()),
             sequence(oid("1.2.3"), set(), set()),
             attribute(extensionRequest, {}),
             attribute(extensionRequest, null()),
             attribute(extensionRequest, join({list, list})),
             attribute(extensionRequest, sequence(null())),
             attribute(extensionRequest, sequence(extension("2.5.29.17", null()))),
             attribute(extensionRequest, sequence(extension("2.5.29.17", sequence(implicit(7, Bytes(5)))))),
             attribute(extensionRequest, sequence(extension("2.5.29.15", null()))),
             attribute(extensionRequest, sequence(extension("2.5.29.37", null()))),
         })
        EXPECT_FALSE(parseWith({malformed}).accepted);
}

TEST(Req, ParsingReplacesWhatTheObjectHeld) {
    Parsed<X509Req> parsed = parseWith({attribute(challengePassword, utf8String("a")),
                                        request({extension("2.5.29.15", bitString({0x80})),
                                                 extension("2.5.29.17", sequence(implicit(2, "a.test")))})});
    ASSERT_TRUE(parsed.accepted);
    Bytes plain = ReqParts().der();
    ASSERT_TRUE(parsed.object.parseReq(plain));
    EXPECT_EQ(dumpOf(parsed.object), dumpOf(Parsed<X509Req>(plain).object));
}

TEST(Req, RawViewsAreEmptyWithoutASignedPart) {
    X509Req req;
    EXPECT_TRUE(req.subjectBytes().empty());
    EXPECT_TRUE(req.extensions().empty());
    EXPECT_EQ(req.parsePublicKey(), nullptr);
}

TEST(Req, DumpOfAPlainOne) {
    Parsed<X509Req> parsed =
        parseChanged([](ReqParts& parts) { parts.keyInfo = sequence(algorithm("1.2.3.4"), bitString({1})); });
    EXPECT_EQ(dumpOf(parsed.object), "REQ\n"
                                     "  name: <CN=leaf>\n"
                                     "  extensions:\n");
}

TEST(Req, DumpOfEveryField) {
    Parsed<X509Req> parsed =
        parseWith({attribute(challengePassword, utf8String("secret")),
                   request({extension("2.5.29.17", sequence(implicit(2, "a.test"), implicit(1, "me@a.test"))),
                            extension("2.5.29.15", bitString({0x80})),
                            extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.3")))})});
    std::ostringstream key;
    parsed.object.parsePublicKey()->dump(key);
    EXPECT_EQ(dumpOf(parsed.object), "REQ\n"
                                     "  name: <CN=leaf>\n"
                                     "  extensions:\n"
                                     "    challengePassword: secret\n"
                                     "    subject alternative name: \n"
                                     "      DNS: a.test\n"
                                     "      rfc822: me@a.test\n"
                                     "    key usage: digital-signature\n"
                                     "    extended key usage: code-signing\n" +
                                         key.str());
}

} // namespace TEST_FILE
