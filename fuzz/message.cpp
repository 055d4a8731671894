#include "sealkit/message_check.h"
#include "sealkit/pkcs7.h"
#include "sealkit/store.h"
#include "sealkit/timestamp.h"

#include "refusal.h"
#include "signed_object.h"
#include "targets.h"

#include <iostream>

namespace {

TimePoint const whenValid = TimePoint::fromSeconds(1893456000); // 2030-01-01

template <typename Object>
std::vector<unsigned char> save(Object& object) {
    DerEncoder to;
    object.save(to);
    return to.take();
}

/// What parses as a message is written byte for byte, or anew with the same meaning; what was written anew once is
/// written the same again.
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
    // What verifies within narrower limits verifies within wider ones, unless there are too many to be checked.
    SEALKIT_ASSERT(!isVerified || verdict.isValid() || verdict.signers.empty());
    checkTimeStamp(message, {}, store, options);
    if (!message.raw.empty())
        SEALKIT_ASSERT(asn1::blob(save(message)) == input);
    message.raw.clear();
    std::vector<unsigned char> const anew = save(message);
    PKCS7SignedData again;
    // Without content type, digest and time a signer's attributes are not written, and without them it is refused.
    if (!again.parse(anew))
        return;
    SEALKIT_ASSERT(again.raw == anew && again.crls.empty());
    SEALKIT_ASSERT(fuzz::dumpOf(again) == dump);
    again.raw.clear();
    SEALKIT_ASSERT(save(again) == anew);
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
    timeStampRequest(input);
    TimeStampResponse response;
    bool const isResponse = response.parse(input);
    checkRefusal<TimeStampResponse>(input, isResponse);
    if (isResponse) {
        SEALKIT_ASSERT((response.token != nullptr) == (response.status < 2));
        TimeStampStatus status;
        SEALKIT_ASSERT(status.parse(input, nullptr) && status.status == response.status);
    }
    checkRefusal<TimeStampInfo>(input, TimeStampInfo().parse(input, nullptr));
    std::cerr.rdbuf(errors);
    std::cerr.clear();
}
