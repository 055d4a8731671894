#include "sealkit/enveloped.h"

#include "refusal.h"
#include "targets.h"
#include "tiny_key.h"

#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

EcPrivateKey const& curveKey() {
    static EcPrivateKey const key = [] {
        EcPrivateKey made;
        made.curve = Curve::p256;
        made.secret = bn64(5);
        return made;
    }();
    return key;
}

X25519PrivateKey const& x25519Key() {
    static X25519PrivateKey const key = [] {
        X25519PrivateKey made;
        made.initPrivate(Bytes(32, 7));
        return made;
    }();
    return key;
}

/// Whether the key of a password recipient takes few iterations: PBKDF2-params are a salt and a count.
bool isQuick(EnvelopedRecipient const& recipient) {
    asn1::parser fields(recipient.keyDerivation.params);
    return recipient.kind != RecipientKind::password ||
           (fields.enter(0x30) && (fields.next(), fields.tag == 0x02) && fields.value().size() < 2);
}

/// A failure leaves no output and has a reason.
template <typename Decrypt>
void check(Decrypt decrypt) {
    Bytes out = {1};
    Refusal refusal;
    SEALKIT_ASSERT(decrypt(out, &refusal) || (out.empty() && refusal));
}

} // namespace

/// The input is a message with recipients of any kind; keys of each kind try to decrypt it.
void fuzz::enveloped_message(asn1::blob input) {
    EnvelopedMessage message;
    bool const isGood = message.parse(input, nullptr);
    checkRefusal<EnvelopedMessage>(input, isGood);
    PKCS7EnvelopedData narrow;
    SEALKIT_ASSERT(isGood || !narrow.parse(input, nullptr));
    if (!isGood)
        return;
    SEALKIT_ASSERT(message.recipients.size() <= maxRecipients);
    X509Certificate const* const unnamed = nullptr;
    PrivateKey const* const keys[] = {&tinyKey(), &curveKey(), &x25519Key()};
    for (PrivateKey const* const key : keys)
        check([&](Bytes& out, Refusal* refusal) { return message.decrypt(unnamed, *key, out, refusal); });
    check([&](Bytes& out, Refusal* refusal) { return message.decryptShared(Bytes(16), out, refusal); });
    bool allQuick = true;
    for (EnvelopedRecipient const& recipient : message.recipients)
        allQuick = allQuick && isQuick(recipient);
    if (allQuick)
        check([&](Bytes& out, Refusal* refusal) {
            return message.decrypt(std::string_view("password"), out, refusal);
        });
    if (message.recipients.empty())
        return;
    EnvelopedRecipient const& recipient = message.recipients.back();
    X509Certificate certificate;
    certificate.issuer = recipient.issuer;
    certificate.serialNumber = recipient.serialNumber;
    certificate.subjectKeyId = recipient.subjectKeyId;
    for (PrivateKey const* const key : keys)
        check(
            [&](Bytes& out, Refusal* refusal) { return message.decrypt(&certificate, *key, out, refusal); });
}
