#include "sealkit/pkcs7.h"

#include "refusal.h"
#include "targets.h"
#include "tiny_key.h"

#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

template <typename Record>
void check(asn1::blob input) {
    Record record, again;
    bool const isGood = parse(record, input);
    fuzz::checkRefusal(input, isGood, [input](Refusal* refusal) {
        Record anew;
        return parse(anew, input, refusal);
    });
    if (!isGood)
        return;
    Bytes const encoded = encode(record);
    SEALKIT_ASSERT(parse(again, encoded) && encode(again) == encoded);
}

} // namespace

/// The input is a message, or one of its parts. A parsed object is written, and parses to the same again.
void fuzz::enveloped(asn1::blob input) {
    check<PKCS7KeyTransRecipientInfo>(input);
    check<PKCS7EncryptedContentInfo>(input);
    check<PKCS7EncryptedData>(input);

    PKCS7EnvelopedData message, again;
    bool const isGood = message.parse(input);
    checkRefusal<PKCS7EnvelopedData>(input, isGood);
    if (!isGood)
        return;
    SEALKIT_ASSERT(message.version == 0 || message.version == 2);
    Bytes const encoded = message.encode();
    SEALKIT_ASSERT(again.parse(encoded) && again.encode() == encoded);
    SEALKIT_ASSERT(again.recipientInfos.size() == message.recipientInfos.size());

    if (!message.recipientInfos.empty()) {
        PKCS7KeyTransRecipientInfo const& recipient = message.recipientInfos.back();
        X509Certificate certificate;
        certificate.issuer = recipient.issuer;
        certificate.serialNumber = recipient.serialNumber;
        certificate.subjectKeyId = recipient.subjectKeyId;
        Bytes out = {1};
        SEALKIT_ASSERT(!message.decrypt(certificate, fuzz::tinyKey(), out) && out.empty());
        Refusal refusal;
        SEALKIT_ASSERT(!message.decrypt(certificate, fuzz::tinyKey(), out, &refusal) && out.empty() &&
                       refusal);
    }
}
