#include "sealkit/oid_names.h"
#include "sealkit/pkcs7.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "keys/content_cipher.h"
#include "keys/rsa_encryption.h"
#include "pkcs/enveloped_content.h"
#include "pkcs/read.h"
#include "pkcs/recipient_keys.h"
#include "pkcs/recipients.h"

#include <algorithm>
#include <string>
#include <utility>

namespace oid = detail::oid;
namespace tag = detail::tag;
using detail::Level;
using detail::Reading;

bool detail::isRecipient(PKCS7KeyTransRecipientInfo const& recipient, X509Certificate const& cert) {
    if (recipient.version == 2)
        return !cert.subjectKeyId.empty() && recipient.subjectKeyId == cert.subjectKeyId;
    return recipient.serialNumber == cert.serialNumber && recipient.issuer == cert.issuer;
}

namespace {

/// Replaces the recipients of `to` by key transport recipients, which are the only ones in the stated form.
void moveRecipients(std::vector<EnvelopedRecipient>& from, std::vector<PKCS7KeyTransRecipientInfo>& to) {
    to.clear();
    to.reserve(from.size());
    for (PKCS7KeyTransRecipientInfo& recipient : from)
        to.push_back(std::move(recipient));
}

bool readRecipientInfo(Reading& reading, asn1::blob set, std::vector<PKCS7KeyTransRecipientInfo>& to) {
    std::vector<EnvelopedRecipient> recipients;
    size_t malformed = 0;
    bool const isRead =
        detail::readRecipients(reading, set, detail::EnvelopeForms::stated, recipients, malformed);
    moveRecipients(recipients, to);
    return isRead;
}

} // namespace

bool detail::read(Reading& reading, asn1::blob message, PKCS7EnvelopedData& to) {
    asn1::blob content, type, data;
    if (!checkKind(reading, message, MessageKind::envelopedData) ||
        !readOnly(reading, message, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!take(fields, tag::oid, &type, "content type"))
        return false;
    if (type != asn1::blob(oid::envelopedData)) {
        reading.note("blob is not enveloped data");
        return reading.refuse(RefusalId::unsupportedContentType, type, {{"found", getContentTypeName(type)}});
    }
    return take(fields, tag::constructed(0), &data, "content") && readEnvelopedData(reading, data, to) &&
           finish(fields);
}

bool detail::readEnvelopedData(Reading& reading, asn1::blob envelopedData, PKCS7EnvelopedData& to) {
    EnvelopedMessage message;
    bool const isRead = readEnvelope(reading, envelopedData, EnvelopeForms::stated, message);
    to.version = message.version;
    to.originatorInfo = std::move(message.originatorInfo);
    moveRecipients(message.recipients, to.recipientInfos);
    to.encryptedContentInfo = std::move(message.encryptedContentInfo);
    to.unprotectedAttrs = std::move(message.unprotectedAttrs);
    return isRead;
}

bool PKCS7EnvelopedData::parse(asn1::blob message) {
    Reading reading(message);
    return detail::read(reading, message, *this);
}

bool PKCS7EnvelopedData::parse(asn1::blob message, Refusal* refusal) {
    Reading reading(message, refusal);
    return detail::read(reading, message, *this);
}

bool PKCS7EnvelopedData::parseData(asn1::blob envelopedData) {
    Reading reading(envelopedData);
    return detail::readEnvelopedData(reading, envelopedData, *this);
}

bool PKCS7EnvelopedData::parseData(asn1::blob envelopedData, Refusal* refusal) {
    Reading reading(envelopedData, refusal);
    return detail::readEnvelopedData(reading, envelopedData, *this);
}

bool PKCS7EnvelopedData::parseRecipientInfo(asn1::blob set) {
    Reading reading(set);
    return readRecipientInfo(reading, set, recipientInfos);
}

bool PKCS7EnvelopedData::parseRecipientInfo(asn1::blob set, Refusal* refusal) {
    Reading reading(set, refusal);
    return readRecipientInfo(reading, set, recipientInfos);
}

bool PKCS7EnvelopedData::parseOriginatorInfo(asn1::blob element) {
    return parseOriginatorInfo(element, nullptr);
}

bool PKCS7EnvelopedData::parseOriginatorInfo(asn1::blob element, Refusal* refusal) {
    Reading reading(element, refusal);
    return detail::keepElement(reading, element, tag::constructed(0), &originatorInfo);
}

bool PKCS7EnvelopedData::parseUnprotectedAttrs(asn1::blob element) {
    return parseUnprotectedAttrs(element, nullptr);
}

bool PKCS7EnvelopedData::parseUnprotectedAttrs(asn1::blob element, Refusal* refusal) {
    Reading reading(element, refusal);
    return detail::keepElement(reading, element, tag::constructed(1), &unprotectedAttrs);
}

std::vector<unsigned char> PKCS7EnvelopedData::encode() const {
    DerEncoder encoder;
    encoder.begin(tag::sequence).addOid(oid::envelopedData).begin(tag::constructed(0));
    encoder.begin(tag::sequence).addInteger(bn64(version)).addEncoded(originatorInfo).begin(tag::set);
    for (PKCS7KeyTransRecipientInfo const& recipient : recipientInfos)
        save(recipient, encoder);
    encoder.end();
    save(encryptedContentInfo, encoder);
    encoder.addEncoded(unprotectedAttrs).end().end().end();
    return encoder.take();
}

namespace {

/// Decrypts the content with the key of one recipient.
bool decryptFor(Reading& reading, PKCS7KeyTransRecipientInfo const& recipient, PrivateKey const& key,
                PKCS7EncryptedContentInfo const& info, std::vector<unsigned char>& out) {
    auto const* const rsa = dynamic_cast<RsaPrivateKey const*>(&key);
    asn1::blob const keyAlgorithm = recipient.keyEncryptionAlgorithm.oid;
    bool const isRsaEncryption = keyAlgorithm == asn1::blob(oid::rsaEncryption);
    if (rsa == nullptr || !isRsaEncryption) {
        reading.note("ktri: only rsa supported, not " + oidStr(keyAlgorithm));
        reading.note("ktri: key decrypt failed");
        return isRsaEncryption ? reading.refuse(RefusalId::noRsaKey, nullptr)
                               : reading.refuse(RefusalId::unsupportedKeyEncryption, nullptr,
                                                {{"found", oidName(keyAlgorithm)}});
    }
    detail::SecretBytes contentKey;
    asn1::blob const cipher = info.contentEncryptionAlgorithm.oid;
    if (!detail::decryptPkcs1(*rsa, recipient.encryptedKey, contentKey.value))
        reading.note("ktri: key decrypt failed");
    else if (detail::findContentCipher(cipher) == nullptr)
        reading.note("EncryptedContentInfo: unimplemented algorithm: <" + oid2name(cipher) + ">");
    // Decrypts even without a key, so that neither the result nor the time reveals whether the padding was
    // correct (RFC 3218, section 2.3.2).
    return detail::decryptContent(reading, {info}, contentKey, out);
}

} // namespace

bool detail::decryptEnvelopedData(Reading& reading, PKCS7EnvelopedData const& message,
                                  X509Certificate const& cert, PrivateKey const& key,
                                  std::vector<unsigned char>& out) {
    wipe(out);
    out.clear();
    if (PKCS7KeyTransRecipientInfo const* const recipient = message.findRecipient(cert))
        return decryptFor(reading, *recipient, key, message.encryptedContentInfo, out);
    reading.note("ktri: no key matches");
    return reading.refuse(RefusalId::notARecipient, nullptr,
                          {{"recipients", std::to_string(message.recipientInfos.size())}});
}

PKCS7KeyTransRecipientInfo const* PKCS7EnvelopedData::findRecipient(X509Certificate const& cert) const {
    auto const found = std::ranges::find_if(
        recipientInfos, [&](auto const& candidate) { return detail::isRecipient(candidate, cert); });
    return found == recipientInfos.end() ? nullptr : &*found;
}

bool PKCS7EnvelopedData::decrypt(X509Certificate const& cert, PrivateKey const& key,
                                 std::vector<unsigned char>& out) const {
    Reading reading((asn1::blob()));
    return detail::decryptEnvelopedData(reading, *this, cert, key, out);
}

bool PKCS7EnvelopedData::decrypt(X509Certificate const& cert, PrivateKey const& key,
                                 std::vector<unsigned char>& out, Refusal* refusal) const {
    Reading reading({}, refusal);
    return detail::decryptEnvelopedData(reading, *this, cert, key, out);
}

bool PKCS7EnvelopedData::decrypt(PKCS7KeyTransRecipientInfo const& recipient, PrivateKey const& key,
                                 std::vector<unsigned char>& out, Refusal* refusal) const {
    Reading reading({}, refusal);
    detail::wipe(out);
    out.clear();
    return decryptFor(reading, recipient, key, encryptedContentInfo, out);
}

bool PKCS7EnvelopedData::encrypt(std::span<X509Certificate const* const> recipients, asn1::blob contentType,
                                 asn1::blob content, PKCS7Encryption const& how, Rng const& rng) {
    Reading reading;
    detail::SecretBytes contentKey;
    PKCS7EnvelopedData made;
    if (recipients.empty() ||
        !detail::encryptCbc(made.encryptedContentInfo, how.cipher, how.keySize, content, rng, contentKey))
        return false;
    made.encryptedContentInfo.contentType = detail::copyOf(contentType);
    EnvelopedOptions options;
    options.byKeyId = how.byKeyId;
    for (X509Certificate const* certificate : recipients) {
        EnvelopedRecipient recipient;
        if (!detail::transportContentKey(reading, *certificate, contentKey, options, rng, recipient))
            return false;
        made.recipientInfos.push_back(std::move(recipient));
    }
    // RFC 5652, section 6.1: a recipient identified by its key identifier has version 2.
    made.version = how.byKeyId ? 2 : 0;
    *this = std::move(made);
    return true;
}

bool PKCS7EnvelopedData::encrypt(X509Certificate const& recipient, asn1::blob contentType, asn1::blob content,
                                 CipherID cipher, Rng const& rng) {
    X509Certificate const* const recipients[] = {&recipient};
    return encrypt(recipients, contentType, content, {cipher, 0, false}, rng);
}
