// Messages and time-stamps whose signers are judged by the standard rules.
#include "made_chain.h"
#include "unit/pkcs/messages.h"

#include "sealkit/message_check.h"

#include <algorithm>

namespace TEST_FILE {

using namespace test::der;
using test::madeCa;
using test::MadeCertificate;
using test::MadeChain;
using test::whenValid;

constexpr char emailProtection[] = "1.3.6.1.5.5.7.3.4", serverAuth[] = "1.3.6.1.5.5.7.3.1",
               timeStamping[] = "1.3.6.1.5.5.7.3.8";

Bytes mailbox(std::string_view address) { return implicit(1, address); }

/// A message in which another certificate holds the signer's key, under a CA that the test makes.
struct Signed {
    PKCS7SignedData message;
    MadeCertificate leaf, ca;
    MessageCheckOptions options;
    std::vector<std::shared_ptr<X509Crl>> crls;

    explicit Signed(PKCS7SignedData of) : message(std::move(of)), ca(madeCa("CA")) {
        PKCS7SignerInfo const& signer = *message.signerInfos.front();
        auto const original = message.findCertificate(signer);
        leaf.subject = test::named("Signer");
        leaf.serialNumber = signer.serialNumber;
        leaf.keyInfo = original->subjectPublicKeyInfo;
        ca.subject = signer.issuer;
        options.path.now = whenValid;
        options.path.rules = PathRules::rfc5280;
    }

    /// The chain's code, if `check` finds that the signer is untrusted for that reason alone; 0 if it is
    /// trusted.
    template <typename Check>
    PathCode judge(Check const& check) {
        MadeChain made({leaf, ca});
        message.certificates = {made.chain.front()};
        made.store.crls = crls;
        MessageVerdict const verdict = check(message, made.store, options);
        auto const& path = verdict.signers.at(0).path;
        bool const isUntrusted = std::ranges::find(verdict.findings, MessageFindingId::untrusted,
                                                   &MessageFinding::id) != verdict.findings.end();
        EXPECT_EQ(isUntrusted, !path->isValid());
        return static_cast<PathCode>(path->explanation.code);
    }

    PathCode check() {
        return judge([&](auto const& of, auto const& store, auto const& how) {
            MessageVerdict verdict = checkMessage(of, store, how);
            EXPECT_EQ(verdict.isValid(), verdict.signers.at(0).path->isValid()) << verdict.reason();
            return verdict;
        });
    }

    /// A CRL of the CA.
    void addCrl(bool isRevoking) {
        MadeChain const made({leaf, ca});
        X509Crl crl;
        crl.issuer = made.chain.front()->issuer;
        crl.thisUpdate = TimePoint::fromSeconds(whenValid.seconds - 1000);
        crl.nextUpdate = TimePoint::fromSeconds(whenValid.seconds + 1000);
        if (isRevoking)
            crl.revoked.push_back({leaf.serialNumber, crl.thisUpdate, 1});
        EXPECT_TRUE(crl.sign(test::madeKey(KeyType::Ed25519)));
        crls.push_back(std::make_shared<X509Crl>());
        EXPECT_TRUE(crls.back()->parse(asn1::blob(crl.serialize()), nullptr, FormRules::standard));
    }
};

Signed attached() {
    PKCS7SignedData message;
    Refusal refusal;
    EXPECT_TRUE(message.parse(asn1::blob(test::readMessage("attached.der")), &refusal)) << refusal.str();
    Signed made(std::move(message));
    made.leaf.withPurposes({emailProtection}).withNames({mailbox("ann@b.test")});
    made.options.path.purpose = PathPurpose::emailProtection;
    return made;
}

TEST(MessageRules, TheSignersChainIsJudgedByThem) {
    EXPECT_EQ(attached().check(), PathCode::valid);
    for (unsigned const rules : {PathRules::platform | PathRules::rfc5280, PathRules::rfc5280 | 0U}) {
        Signed late = attached();
        late.options.path.rules = rules;
        late.options.path.now = TimePoint::fromSeconds(2300000000); // 2042
        EXPECT_EQ(late.check(), PathCode::expired);
    }
}

TEST(MessageRules, TheSignerMustServeThePurpose) {
    Signed made = attached();
    made.leaf.withPurposes({serverAuth});
    EXPECT_EQ(made.check(), PathCode::purposeMismatch);
    made.options.path.rules = PathRules::platform;
    EXPECT_EQ(made.check(), PathCode::valid);
    // One that names no purposes serves each, but strictly.
    made.leaf.without("2.5.29.37");
    made.options.path.rules = PathRules::rfc5280;
    EXPECT_EQ(made.check(), PathCode::valid);
    made.options.path.rules = PathRules::strict;
    EXPECT_EQ(made.check(), PathCode::extendedKeyUsageMissing);
}

TEST(MessageRules, TheSignerMustNotBeRevoked) {
    Signed made = attached();
    made.options.path.checkCrls = true;
    EXPECT_EQ(made.check(), PathCode::crlMissing);
    made.addCrl(false);
    EXPECT_EQ(made.check(), PathCode::valid);
    made.addCrl(true);
    EXPECT_EQ(made.check(), PathCode::revoked);
}

TEST(MessageRules, TheSignerMustKeepToTheConstraintsOfItsCa) {
    Signed made = attached();
    made.ca.withConstraints({mailbox("b.test")}, {});
    EXPECT_EQ(made.check(), PathCode::valid);
    made.leaf.withNames({mailbox("ann@c.test")});
    EXPECT_EQ(made.check(), PathCode::nameConstraintViolated);
}

TEST(MessageRules, AnOlderCrlThatRevokesOneSignerIsNamed) {
    Signed made = attached();
    made.options.path.rules = PathRules::platform;
    made.options.path.checkCrls = true;
    made.addCrl(true);
    made.addCrl(false);
    // The first of them is the older one.
    X509Crl older = *made.crls.front();
    older.thisUpdate = TimePoint::fromSeconds(whenValid.seconds - 2000);
    EXPECT_TRUE(older.sign(test::madeKey(KeyType::Ed25519)));
    EXPECT_TRUE(made.crls.front()->parse(asn1::blob(older.serialize()), nullptr, FormRules::standard));
    made.judge([&](auto const& of, auto const& store, auto const& how) {
        MessageVerdict verdict = checkMessage(of, store, how);
        EXPECT_TRUE(verdict.isValid()) << verdict.reason();
        auto const found = std::ranges::find(verdict.crls, made.crls.front(), &CrlVerdict::crl);
        EXPECT_TRUE(found != verdict.crls.end() && found->status == CrlStatus::superseded);
        return verdict;
    });
}

TEST(TimeStampRules, TheAuthoritysChainIsJudgedByThem) {
    TimeStampResponse response;
    TimeStampRequest request;
    Refusal refusal;
    EXPECT_TRUE(response.parse(asn1::blob(test::readMessage("response.der")), &refusal)) << refusal.str();
    EXPECT_TRUE(request.parse(asn1::blob(test::readMessage("request-cert.der")), &refusal)) << refusal.str();
    Signed made(std::move(*response.token));
    auto const expected = TimeStampExpectation::of(request);
    auto const check = [&] {
        return made.judge([&](auto const& of, auto const& store, auto const& how) {
            return checkTimeStamp(of, expected, store, how);
        });
    };
    Bytes const purpose = sequence(oid(timeStamping));
    made.leaf.with("2.5.29.37", purpose, true);
    EXPECT_EQ(check(), PathCode::valid);
    made.leaf.with("2.5.29.37", purpose);
    EXPECT_EQ(check(), PathCode::purposeMismatch);
    made.leaf.without("2.5.29.37");
    EXPECT_EQ(check(), PathCode::purposeMismatch);
    made.leaf.with("2.5.29.37", purpose, true);
    made.ca.withPurposes({serverAuth});
    EXPECT_EQ(check(), PathCode::purposeMismatch);
    made.ca.without("2.5.29.37");
    made.options.path.checkCrls = true;
    made.addCrl(true);
    EXPECT_EQ(check(), PathCode::revoked);
}

} // namespace TEST_FILE
