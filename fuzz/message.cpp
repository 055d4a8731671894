#include "sealkit/message_check.h"
#include "sealkit/pkcs7.h"
#include "sealkit/store.h"
#include "sealkit/timestamp.h"

#include "refusal.h"
#include "signed_object.h"
#include "targets.h"

#include <algorithm>
#include <iostream>

namespace {

TimePoint const whenValid = TimePoint::fromSeconds(1893456000); // 2030-01-01

template <typename Object>
std::vector<unsigned char> save(Object& object) {
    DerEncoder to;
    object.save(to);
    return to.take();
}

void checkVerdict(MessageVerdict const& verdict, PKCS7SignedData const& message) {
    SEALKIT_ASSERT(verdict.isValid() == verdict.reason().empty());
    SEALKIT_ASSERT(verdict.signers.empty() || verdict.signers.size() == message.signerInfos.size());
    SEALKIT_ASSERT(!verdict.isValid() || !verdict.signers.empty());
    for (MessageFinding const& finding : verdict.findings) {
        SEALKIT_ASSERT(finding.signer <= message.signerInfos.size() && !finding.str().empty());
        SEALKIT_ASSERT(!verdict.isValid() || getWeight(finding.id) != FindingWeight::failure);
    }
    for (SignerVerdict const& signer : verdict.signers) {
        SEALKIT_ASSERT(!verdict.isValid() || (signer.certificate && signer.path && signer.path->isValid()));
        SEALKIT_ASSERT(!signer.path || signer.path->effort.work <= PathSearchOptions().maxWork);
    }
}

/// The message under every option that changes what is checked.
void checkUnderOptions(PKCS7SignedData const& message, CertificateStore const& store) {
    static constexpr char other[] = "content\n";
    for (unsigned bits = 0; bits < 8; ++bits) {
        MessageCheckOptions options;
        options.path.now = whenValid;
        options.path.checkCrls = (bits & 1) != 0;
        if ((bits & 2) != 0)
            options.detachedContent = asn1::blob(other);
        if ((bits & 4) != 0)
            options.certificates = message.certificates;
        MessageVerdict const verdict = checkMessage(message, store, options);
        checkVerdict(verdict, message);
        SEALKIT_ASSERT(options.path.checkCrls || verdict.crls.empty());
    }
}

/// A time-stamp with the expected contents can only fail for another reason, and any other time-stamp fails.
void checkToken(PKCS7SignedData const& token, CertificateStore const& store) {
    MessageCheckOptions options;
    options.path.now = whenValid;
    TimeStampInfo info;
    Refusal refusal;
    bool const isToken = info.parse(token, &refusal);
    SEALKIT_ASSERT(static_cast<bool>(refusal) != isToken);
    TimeStampExpectation expected = {info.hash(), info.hashedMessage, info.policy, info.nonce, true};
    auto const hasFound = [&](MessageFindingId id) {
        MessageVerdict const verdict = checkTimeStamp(token, expected, store, options);
        SEALKIT_ASSERT(verdict.isValid() == verdict.reason().empty() && (isToken || !verdict.isValid()));
        return std::any_of(verdict.findings.begin(), verdict.findings.end(),
                           [id](MessageFinding const& finding) { return finding.id == id; });
    };
    SEALKIT_ASSERT(hasFound(MessageFindingId::noTimeStamp) != isToken);
    if (!isToken)
        return;
    // A digest by an unknown hash cannot be checked.
    SEALKIT_ASSERT(hasFound(MessageFindingId::otherImprint) == (info.hash() == HashID::none));
    SEALKIT_ASSERT(!hasFound(MessageFindingId::otherPolicy));
    SEALKIT_ASSERT(!hasFound(MessageFindingId::otherNonce) && !hasFound(MessageFindingId::missingNonce));
    expected.digest.push_back(0);
    SEALKIT_ASSERT(hasFound(MessageFindingId::otherImprint));
    expected.nonce.push_back(1);
    SEALKIT_ASSERT(
        hasFound(info.nonce.empty() ? MessageFindingId::missingNonce : MessageFindingId::otherNonce));
}

/// A parsed message is written byte for byte, or anew with the same meaning; writing that again gives the
/// same bytes.
void signedData(asn1::blob input) {
    PKCS7SignedData message;
    bool const isGood = message.parse(input);
    fuzz::checkRefusal<PKCS7SignedData>(input, isGood);
    fuzz::checkRefusal<PKCS7SignerInfo>(input, PKCS7SignerInfo().parse(input));
    std::string const dump = fuzz::dumpOf(message);
    if (!isGood)
        return;
    CertificateMemoryStore store;
    std::string reason;
    SEALKIT_ASSERT(!message.verify(store, {}, whenValid, &reason) && !reason.empty());
    MessageCheckOptions options;
    options.path.now = whenValid;
    SEALKIT_ASSERT(!checkMessage(message, store, options).isValid());
    store.certs = message.certificates;
    bool const isVerified = message.verify(store, {}, whenValid, &reason);
    MessageVerdict const verdict = checkMessage(message, store, options);
    // A signature that verifies within narrower limits verifies within wider ones, unless there are too many.
    SEALKIT_ASSERT(!isVerified || verdict.isValid() || verdict.signers.empty());
    checkUnderOptions(message, store);
    checkToken(message, store);
    if (!message.raw.empty())
        SEALKIT_ASSERT(asn1::blob(save(message)) == input);
    message.raw.clear();
    std::vector<unsigned char> const anew = save(message);
    PKCS7SignedData again;
    // A signer's attributes without content type, digest and time are not written, and a signer without
    // attributes is refused.
    if (!again.parse(anew))
        return;
    SEALKIT_ASSERT(again.raw == anew && again.crls.empty());
    SEALKIT_ASSERT(fuzz::dumpOf(again) == dump);
    again.raw.clear();
    SEALKIT_ASSERT(save(again) == anew);
}

/// A message that is read for the standard rules contains everything that the platform's form has, gets a
/// verdict, and is written anew with the same meaning.
void anySignedData(asn1::blob input) {
    PKCS7SignedData message, narrow;
    bool const isGood = message.parse(input, nullptr, FormRules::standard);
    fuzz::checkRefusal(input, isGood, [&](Refusal* refusal) {
        return PKCS7SignedData().parse(input, refusal, FormRules::standard);
    });
    SEALKIT_ASSERT(isGood || !narrow.parse(input, nullptr));
    if (!isGood)
        return;
    fuzz::dumpOf(message);
    SEALKIT_ASSERT(message.ignored().size() <= PKCS7SignedData::maxIgnored);
    CertificateMemoryStore store;
    store.certs = message.certificates;
    checkUnderOptions(message, store);
    if (narrow.parse(input, nullptr)) {
        std::string reason;
        SEALKIT_ASSERT(narrow.certificates.size() == message.certificates.size() &&
                       narrow.signerInfos.size() == message.signerInfos.size());
        SEALKIT_ASSERT(narrow.verify(store, {}, whenValid, &reason) ==
                       message.verify(store, {}, whenValid, &reason));
    }
    for (auto const& signer : message.signerInfos)
        SEALKIT_ASSERT(signer->form() != nullptr);
    std::vector<unsigned char> const encoded = message.encode();
    PKCS7SignedData again;
    if (again.parse(encoded, nullptr, FormRules::standard))
        SEALKIT_ASSERT(again.encode() == encoded && again.signerInfos.size() == message.signerInfos.size());
}

void timeStampRequest(asn1::blob input) {
    TimeStampRequest request;
    bool const isGood = request.parse(input);
    fuzz::checkRefusal<TimeStampRequest>(input, isGood);
    if (!isGood)
        return;
    std::vector<unsigned char> const encoded = save(request);
    TimeStampRequest again;
    SEALKIT_ASSERT(again.parse(encoded) && save(again) == encoded);
    SEALKIT_ASSERT(again.version == request.version && again.hashedMessage == request.hashedMessage &&
                   again.policy == request.policy && again.nonce == request.nonce &&
                   again.certReq == request.certReq);
}

} // namespace

void fuzz::message(asn1::blob input) {
    std::streambuf* const errors = std::cerr.rdbuf(nullptr);
    signedData(input);
    anySignedData(input);
    timeStampRequest(input);
    TimeStampResponse response;
    bool const isResponse = response.parse(input);
    checkRefusal<TimeStampResponse>(input, isResponse);
    if (isResponse) {
        SEALKIT_ASSERT((response.token != nullptr) == (response.status < 2));
        if (response.token) {
            CertificateMemoryStore store;
            checkToken(*response.token, store);
            store.certs = response.token->certificates;
            checkToken(*response.token, store);
            checkUnderOptions(*response.token, store);
        }
        TimeStampStatus status;
        SEALKIT_ASSERT(status.parse(input, nullptr) && status.status == response.status);
    }
    checkRefusal<TimeStampInfo>(input, TimeStampInfo().parse(input, nullptr));
    std::cerr.rdbuf(errors);
    std::cerr.clear();
}
