#include "sealkit/smime.h"

#include "sealkit/pkcs7.h"

#include "support/der.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

std::string textOf(Bytes const& bytes) { return {bytes.begin(), bytes.end()}; }

constexpr char clearSigned[] = "From: ada@example.test\n"
                               "Content-Type: multipart/signed; protocol=\"application/pkcs7-signature\";\n"
                               "\tmicalg=sha-256; boundary=\"b 1\"\n"
                               "\n"
                               "ignored\n"
                               "--b 1\n"
                               "Content-Type: text/plain\n"
                               "\n"
                               "Hello\n"
                               "--b 12 is no delimiter\n"
                               "\n"
                               "--b 1\n"
                               "Content-Type: application/pkcs7-signature; name=smime.p7s\n"
                               "Content-Transfer-Encoding: BASE64\n"
                               "\n"
                               "MA\n"
                               "A=\n"
                               "\n"
                               "--b 1--\n";

std::string withCrLf(std::string_view text) { return textOf(canonicalLineEnds(text)); }

TEST(Smime, ReadsClearSignedMailWithEitherLineEnd) {
    for (std::string const& text : {std::string(clearSigned), withCrLf(clearSigned),
                                    "From ada Thu Jan  1\n" + std::string(clearSigned)}) {
        SmimeMail mail;
        Refusal refusal;
        ASSERT_TRUE(mail.parse(text, &refusal)) << refusal.str();
        EXPECT_TRUE(mail.isClearSigned);
        EXPECT_EQ(mail.message, (Bytes{0x30, 0}));
        // The line end before the delimiter is not part of the content.
        EXPECT_EQ(textOf(mail.content),
                  "Content-Type: text/plain\r\n\r\nHello\r\n--b 12 is no delimiter\r\n");
    }
}

TEST(Smime, ReadsEnclosedMessages) {
    for (char const* type : {"application/pkcs7-mime", "application/x-pkcs7-mime", "Application/PKCS7-MIME",
                             "application/pkcs7-signature"}) {
        SmimeMail mail;
        ASSERT_TRUE(mail.parse(std::string("content-type: ") + type +
                                   " (comment \\) ; x) ; "
                                   "smime-type=Enveloped-Data;\ncontent-transfer-encoding: base64\n\nMAA=\n",
                               nullptr));
        EXPECT_FALSE(mail.isClearSigned);
        EXPECT_EQ(mail.message, (Bytes{0x30, 0}));
        EXPECT_EQ(mail.type, "enveloped-data");
    }
    SmimeMail binary;
    ASSERT_TRUE(binary.parse(asn1::blob("Content-Type: application/pkcs7-mime\r\n\r\n0\0\n", 43), nullptr));
    EXPECT_EQ(binary.message, (Bytes{0x30, 0, '\n'}));
}

struct Rejected {
    char const* mail;
    RefusalId id;
    char const* fact;
};

TEST(Smime, SaysWhyMailIsRejected) {
    constexpr Rejected cases[] = {
        {"", RefusalId::otherMail, "no Content-Type"},
        {"no header field\n\n", RefusalId::malformedMail, "a header field"},
        {"Content-Type: text/plain\n\nHello\n", RefusalId::otherMail, "text/plain"},
        {"Content-Type: text\n\n", RefusalId::malformedMail, "a Content-Type"},
        {"Content-Type: application/pkcs7-mime; a=\"b\n\n", RefusalId::malformedMail, "a Content-Type"},
        {"Content-Type: application/pkcs7-mime\nContent-Transfer-Encoding: uuencode\n\nMAA=",
         RefusalId::unsupportedTransferEncoding, "uuencode"},
        {"Content-Type: application/pkcs7-mime\nContent-Transfer-Encoding: base64\n\nMAA",
         RefusalId::malformedMail, "base64"},
        {"Content-Type: multipart/signed\n\n--\n--\n", RefusalId::malformedMail, "a boundary"},
        {"Content-Type: multipart/signed; boundary=b\n\n--b\nHello\n--b--\n", RefusalId::malformedMail,
         "1 of two parts"},
        {"Content-Type: multipart/signed; boundary=b\n\n--b\n\n--b\nContent-Type: "
         "application/pkcs7-signature\n\n",
         RefusalId::malformedMail, "1 of two parts"},
        {"Content-Type: multipart/signed; boundary=b\n\n--b\n\n--b\n\n--b\n\n--b--", RefusalId::malformedMail,
         "more parts"},
        {"Content-Type: multipart/signed; boundary=b\n\n--b\n\n--b\nContent-Type: "
         "application/pgp-signature\n\n--b--",
         RefusalId::otherMail, "application/pgp-signature"},
    };
    for (Rejected const& one : cases) {
        SmimeMail mail;
        Refusal refusal;
        EXPECT_FALSE(mail.parse(one.mail, &refusal)) << one.mail;
        EXPECT_EQ(refusal.id, one.id) << one.mail;
        EXPECT_NE(refusal.str().find(one.fact), std::string::npos) << refusal.str();
        EXPECT_TRUE(mail.message.empty());
    }
}

TEST(Smime, MailIsToldFromOtherText) {
    EXPECT_TRUE(looksLikeMail(clearSigned));
    EXPECT_TRUE(looksLikeMail("From ada Thu\nContent-Type: text/plain\n\n"));
    EXPECT_FALSE(looksLikeMail(""));
    EXPECT_FALSE(looksLikeMail("-----BEGIN CERTIFICATE-----\nMAA=\n-----END CERTIFICATE-----\n"));
    EXPECT_FALSE(looksLikeMail("Subject: without a type\n\nContent-Type: text/plain\n"));
}

TEST(Smime, LineEndsBecomeCanonical) {
    EXPECT_EQ(textOf(canonicalLineEnds("\na\nb\r\nc\rd\r\r\n")), "\r\na\r\nb\r\nc\rd\r\r\n");
    EXPECT_TRUE(canonicalLineEnds({}).empty());
}

TEST(Smime, ClearSignedMailComesBack) {
    HashID const hashes[] = {HashID::SHA256, HashID::SHA512, HashID::SHA256, HashID::SHA1};
    MailHeader const headers[] = {{"To", "ada@example.test"},
                                  {"Subject", "Gr\xc3\xbc\xc3\x9f"
                                              "e"}};
    std::string const made =
        makeClearSigned("Content-Type: text/plain\n\nHello\n", Bytes{0x30, 0}, hashes, headers);
    EXPECT_EQ(made.substr(0, made.find("Content-Type")),
              "To: ada@example.test\r\nSubject: =?utf-8?B?R3LDvMOfZQ==?=\r\nMIME-Version: 1.0\r\n");
    EXPECT_NE(made.find("micalg=\"sha-256,sha-512,sha-1\""), std::string::npos) << made;
    SmimeMail mail;
    ASSERT_TRUE(mail.parse(made, nullptr));
    EXPECT_EQ(textOf(mail.content), "Content-Type: text/plain\r\n\r\nHello\r\n");
    EXPECT_EQ(mail.message, (Bytes{0x30, 0}));
    EXPECT_NE(made, makeClearSigned("Content-Type: text/plain\n\nHello\n", Bytes{0x30, 0}, hashes, headers))
        << "the boundary is random";
}

TEST(Smime, LongSubjectsAreEncodedWithoutBreakingCharacters) {
    std::string subject;
    for (int i = 0; i < 40; ++i)
        subject += "\xe2\x82\xac";
    MailHeader const headers[] = {{"Subject", subject}};
    std::string const made = makeClearSigned("", "signature", {}, headers);
    EXPECT_EQ(made.find("=?utf-8?B?" + std::string("4oKs4oKs")), 9u) << made;
    for (size_t at = 0, end; (end = made.find("\r\n", at)) != std::string::npos; at = end + 2)
        EXPECT_LE(end - at, 76u);
}

TEST(Smime, MailThatGatewaysChangeIsNotMade) {
    for (std::string const& content :
         {std::string("na\xc3\xafve"), std::string("a\0b", 3), std::string("a\rb"), std::string(999, 'a'),
          std::string("ends with CR\r")}) {
        Refusal refusal;
        EXPECT_EQ(makeClearSigned(content, "signature", {}, {}, &refusal), "");
        EXPECT_EQ(refusal.id, RefusalId::notSevenBit);
    }
    EXPECT_NE(makeClearSigned(std::string(998, 'a') + "\n" + std::string(998, 'b'), "signature", {}, {}), "");
}

TEST(Smime, MalformedHeadersAreRejected) {
    for (MailHeader const& header :
         {MailHeader{"", "a"}, MailHeader{"a b", "a"}, MailHeader{"a:", "a"}, MailHeader{"To", "a\nBcc: b"},
          MailHeader{"To", "a\rb"}, MailHeader{"To", std::string("a\0b", 3)}, MailHeader{"To", "\xc3\xa4@b"},
          MailHeader{"Subject", std::string(1000, 'a')}, MailHeader{"Content-Type", "text/html"},
          MailHeader{"content-disposition", "inline"}, MailHeader{"MIME-version", "1.0"}}) {
        Refusal refusal;
        EXPECT_EQ(makeClearSigned("a", "b", {}, std::span(&header, 1), &refusal), "") << header.name;
        EXPECT_EQ(refusal.id, RefusalId::malformedHeader);
    }
}

TEST(Smime, TheTypeOfAMailFollowsFromItsMessage) {
    using namespace test::der;
    auto const typeOf = [](Bytes const& message) {
        std::string const made = makeSmimeMail(message, {});
        SmimeMail mail;
        return mail.parse(made, nullptr) && mail.message == message ? mail.type : "";
    };
    auto const contentInfo = [](char const* type, Bytes const& content) {
        return sequence(oid(type), context(0, content));
    };
    Bytes const data = sequence(oid("1.2.840.113549.1.7.1"));
    EXPECT_EQ(typeOf(contentInfo("1.2.840.113549.1.7.2", sequence(integer(1), set(), data, set()))),
              "certs-only");
    EXPECT_EQ(typeOf(contentInfo("1.2.840.113549.1.7.2", sequence(integer(1), set(), data, set(sequence())))),
              "signed-data");
    EXPECT_EQ(typeOf(contentInfo("1.2.840.113549.1.7.3", sequence())), "enveloped-data");
    EXPECT_EQ(typeOf(contentInfo("1.2.840.113549.1.9.16.1.23", sequence())), "authenveloped-data");
    Refusal refusal;
    EXPECT_EQ(makeSmimeMail(contentInfo("1.2.840.113549.1.7.6", sequence()), {}, &refusal), "");
    EXPECT_EQ(refusal.id, RefusalId::unsupportedContentType);
}

TEST(Smime, TextComesBackFromItsEntity) {
    for (std::string const& text :
         {std::string(), std::string("Hello\n"), std::string("no line end"),
          std::string("Gr\xc3\xbc\xc3\x9f"
                      "e\n"),
          std::string(2000, 'a') + "\n", std::string("a\0b\n", 4), std::string("lone\rCR\n")}) {
        std::string const entity = makeTextEntity(text);
        std::string read = "earlier";
        Refusal refusal;
        ASSERT_TRUE(readTextEntity(entity, &read, &refusal)) << refusal.str();
        EXPECT_EQ(read, text);
        EXPECT_NE(makeClearSigned(entity, "signature", {}, {}), "") << "not in 7-bit form: " << entity;
    }
}

TEST(Smime, QuotedPrintableTextIsDecoded) {
    std::string text;
    ASSERT_TRUE(
        readTextEntity("Content-Type: TEXT/Plain\r\nContent-Transfer-Encoding: Quoted-Printable\r\n\r\n"
                       "na=C3=afve  \r\nsoft=\r\n end =3D =4 =zz =",
                       &text, nullptr));
    EXPECT_EQ(text, "na\xc3\xafve\nsoft end = =4 =zz ");
}

TEST(Smime, OnlyTextIsReadAsText) {
    std::string text = "earlier";
    Refusal refusal;
    EXPECT_FALSE(readTextEntity("Content-Type: text/html\n\n<p>", &text, &refusal));
    EXPECT_EQ(refusal.id, RefusalId::otherMail);
    EXPECT_EQ(text, "");
    EXPECT_FALSE(readTextEntity("Hello, this is no header\n", &text, nullptr));
}

TEST(Smime, WorkGrowsWithTheMailAlone) {
    std::string mail = "Content-Type: multipart/signed; boundary=b" + std::string(100'000, '(') + "\n";
    for (int i = 0; i < 100'000; ++i)
        mail += " ;a=b\n";
    for (int i = 0; i < 300'000; ++i)
        mail += "--\n";
    SmimeMail read;
    EXPECT_FALSE(read.parse(mail, nullptr));
}

} // namespace TEST_FILE
