#include "sealkit/oid_names.h"
#include "sealkit/pkcs7.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "keys/content_cipher.h"
#include "keys/rsa_encryption.h"
#include "pkcs/read.h"
#include "pkcs/version.h"

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

/// Refuses a recipient for what it is. `line` is what the stated entry point writes; empty for nothing.
bool refuseRecipient(Reading& reading, asn1::blob at, std::string const& line, std::string found) {
    if (!line.empty())
        reading.note(line);
    return reading.refuse(RefusalId::unsupportedRecipient, at,
                          {{"expected", "an RSA key (key transport)"}, {"found", std::move(found)}});
}

bool refuseKeyAgreement(Reading& reading, asn1::blob at) {
    return refuseRecipient(reading, at, "KeyAgreeRecipientInfo not supported",
                           "key agreement, as with an EC key");
}

bool refuseSharedKey(Reading& reading, asn1::blob at) {
    return refuseRecipient(reading, at, "KEKRecipientInfo not supported", "a shared key-encryption key");
}

/// OtherRecipientInfo begins with the object identifier of what it is.
bool refuseOther(Reading& reading, asn1::blob type) {
    return refuseRecipient(reading, type, "OtherRecipientInfo <" + oid2name(type) + "> not supported",
                           "another kind, " + oidStr(type));
}

/// Whether the element with this content is one to read as a key transport recipient, which its version says.
bool isKeyTransport(Reading& reading, asn1::blob sequence) {
    Level fields(reading, sequence);
    if (fields.tag == tag::oid)
        return refuseOther(reading, fields.value());
    if (fields.tag != tag::integer)
        return detail::refuseElement(fields, tag::integer, "version");
    asn1::blob const version = fields.value();
    if (version.empty())
        return reading.refuse(RefusalId::emptyInteger, fields.tlvStart);
    switch (detail::smallNumber(version)) {
    case 0:
    case 2:
        return true;
    case 3:
        return refuseKeyAgreement(reading, sequence);
    case 4:
        return refuseSharedKey(reading, sequence);
    default:
        reading.note("Unknown RecipientInfo version - " + detail::numberText(version));
        return reading.refuse(RefusalId::messageVersion, version,
                              {{"expected", "0 or 2"}, {"found", detail::numberText(version)}});
    }
}

/// Says what a recipient of another kind is, by its tag (RFC 5652, section 6.2).
bool refuseTagged(Reading& reading, unsigned recipientTag, asn1::blob content) {
    switch (recipientTag) {
    case tag::constructed(1):
        return refuseKeyAgreement(reading, content);
    case tag::constructed(2):
        return refuseSharedKey(reading, content);
    case tag::constructed(3):
        return refuseRecipient(reading, content, "", "a password");
    default:
        break;
    }
    asn1::parser const fields(content);
    if (recipientTag == tag::constructed(4) && fields.tag == tag::oid)
        return refuseOther(reading, fields.value());
    return refuseRecipient(reading, content, "", "an element " + detail::tagText(recipientTag));
}

bool readRecipients(Reading& reading, asn1::blob set, std::vector<PKCS7KeyTransRecipientInfo>& to) {
    to.clear();
    Level elements(reading, set);
    for (size_t number = 1; !detail::atEnd(elements); number++) {
        Reading::Step const step(reading, "recipient", number);
        unsigned const recipientTag = elements.tag;
        asn1::blob const content = elements.value();
        asn1::blob element;
        if (!detail::takeWhole(elements, recipientTag, &element))
            return false;
        if (recipientTag != tag::sequence)
            return refuseTagged(reading, recipientTag, content);
        if (!isKeyTransport(reading, content))
            return false;
        PKCS7KeyTransRecipientInfo recipient;
        if (detail::read(reading, element, recipient))
            to.push_back(std::move(recipient));
        else
            reading.retract(); // A malformed one is left out.
    }
    return true;
}

/// Other versions come from recipients of other kinds (RFC 5652, section 6.1): refuses such a recipient, where a reason is
/// asked for.
void refuseRecipients(Level& fields) {
    if (!fields.reading.wantsReason())
        return;
    if (fields.tag == tag::constructed(0))
        fields.next();
    std::vector<PKCS7KeyTransRecipientInfo> ignored;
    if (fields.tag == tag::set)
        readRecipients(fields.reading, fields.value(), ignored);
}

/// Keeps the whole of an element that consists of one with this tag.
bool keepElement(Reading& reading, asn1::blob element, unsigned expected, std::vector<unsigned char>* to) {
    asn1::blob content;
    if (!detail::readOnly(reading, element, expected, &content))
        return false;
    *to = detail::copyOf(element);
    return true;
}

/// Takes a field that version 0 does not have, where it stands. `next` is what is required in its place then.
bool takeOptional(Level& fields, unsigned optional, bool isAllowed, unsigned next,
                  std::vector<unsigned char>* to) {
    asn1::blob element;
    if (fields.tag != optional)
        return true;
    if (!isAllowed)
        return detail::refuseElement(fields, next);
    return detail::takeWhole(fields, optional, &element) &&
           keepElement(fields.reading, element, optional, to);
}

/// Whether the content can be decrypted with the right key, of which nothing is known here: neither the answer nor
/// the time depends on one.
bool checkContent(Reading& reading, PKCS7EncryptedContentInfo const& info,
                  detail::ContentCipher const& cipher, asn1::blob* iv) {
    if (!detail::readOnly(reading, info.contentEncryptionAlgorithm.params, tag::octetString, iv, "IV"))
        return false;
    if (iv->size() != cipher.blockSize)
        return reading.refuse(RefusalId::malformedEncryptionParameters, *iv,
                              {{"expected IV", std::to_string(cipher.blockSize) + " bytes"},
                               {"found", std::to_string(iv->size())}});
    if (info.encryptedContent.empty())
        return reading.refuse(RefusalId::missingContent, nullptr);
    return detail::canBeDecrypted(cipher, info.encryptedContent) ||
           reading.refuse(RefusalId::malformedCiphertext, nullptr,
                          {{"block", std::to_string(cipher.blockSize)},
                           {"bytes", std::to_string(info.encryptedContent.size())}});
}

/// Decrypts what `checkContent` accepts. A key of another size decrypts nothing, but takes as long.
bool decryptContent(PKCS7EncryptedContentInfo const& info, detail::ContentCipher const& cipher, asn1::blob iv,
                    asn1::blob key, std::vector<unsigned char>& out) {
    asn1::blob const content = info.encryptedContent;
    static constexpr unsigned char noKey[detail::ContentCipher::maxKeySize] = {};
    bool const fits = key.size() == cipher.keySize;
    std::unique_ptr<Cipher> const keyed =
        detail::makeContentCipher(cipher, fits ? key : asn1::blob(noKey, cipher.keySize), iv);
    // A padding of no bytes is malformed.
    return detail::decryptPadded(cipher, *keyed, content, out) && out.size() < content.size() && fits;
}

bool encryptContent(PKCS7EncryptedContentInfo& to, detail::ContentCipher const& cipher, asn1::blob key,
                    asn1::blob content, Rng const& rng) {
    std::vector<unsigned char> iv(cipher.blockSize);
    if (!detail::canBePadded(cipher, content) || !rng.fill(iv.data(), cipher.blockSize))
        return false;
    DerEncoder params;
    params.addOctetString(iv);
    to.contentEncryptionAlgorithm = {detail::copyOf(cipher.oid), params.take()};
    std::unique_ptr<Cipher> const keyed = detail::makeContentCipher(cipher, key, iv);
    to.encryptedContent = detail::encryptPadded(cipher, *keyed, content);
    return true;
}

bool encryptKey(PKCS7KeyTransRecipientInfo& to, X509Certificate const& recipient, asn1::blob contentKey,
                bool byKeyId, Rng const& rng) {
    std::unique_ptr<PublicKey> const key = recipient.parsePublicKey();
    auto const* const rsa = key == nullptr ? nullptr : dynamic_cast<RsaPublicKey const*>(key.get());
    if (rsa == nullptr || (byKeyId && recipient.subjectKeyId.empty()))
        return false;
    to.version = byKeyId ? 2 : 0;
    if (byKeyId) {
        to.subjectKeyId = recipient.subjectKeyId;
    } else {
        to.issuer = recipient.issuer;
        to.issuerElement = detail::copyOf(recipient.issuerBytes());
        to.serialNumber = recipient.serialNumber;
    }
    to.keyEncryptionAlgorithm = {detail::copyOf(oid::rsaEncryption), detail::copyOf(rsa->algorithmParams())};
    to.encryptedKey = detail::encryptPkcs1(*rsa, contentKey, rng);
    return !to.encryptedKey.empty();
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
    to = {};
    asn1::blob content, number, element;
    if (!readOnly(reading, envelopedData, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    unsigned char const* const place = fields.tlvStart;
    if (!takeInteger(fields, &number, "version"))
        return false;
    to.version = smallNumber(number);
    if (to.version != 0 && to.version != 2) {
        reading.note("EnvelopedData: invalid version: " + numberText(number));
        refuseRecipients(fields);
        return reading.refuse(RefusalId::messageVersion, place,
                              {{"expected", "0 or 2"}, {"found", numberText(number)}});
    }
    bool const isWide = to.version != 0;
    if (!takeOptional(fields, tag::constructed(0), isWide, tag::set, &to.originatorInfo) ||
        !take(fields, tag::set, &element, "recipients") ||
        !readRecipients(reading, element, to.recipientInfos) ||
        !takeWhole(fields, tag::sequence, &element, "encrypted content"))
        return false;
    {
        Reading::Step const step(reading, "encrypted content");
        if (!read(reading, element, to.encryptedContentInfo))
            return false;
    }
    return takeOptional(fields, tag::constructed(1), isWide, asn1::parser::endTag, &to.unprotectedAttrs) &&
           finish(fields);
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
    return readRecipients(reading, set, recipientInfos);
}

bool PKCS7EnvelopedData::parseRecipientInfo(asn1::blob set, Refusal* refusal) {
    Reading reading(set, refusal);
    return readRecipients(reading, set, recipientInfos);
}

bool PKCS7EnvelopedData::parseOriginatorInfo(asn1::blob element) {
    return parseOriginatorInfo(element, nullptr);
}

bool PKCS7EnvelopedData::parseOriginatorInfo(asn1::blob element, Refusal* refusal) {
    Reading reading(element, refusal);
    return keepElement(reading, element, tag::constructed(0), &originatorInfo);
}

bool PKCS7EnvelopedData::parseUnprotectedAttrs(asn1::blob element) {
    return parseUnprotectedAttrs(element, nullptr);
}

bool PKCS7EnvelopedData::parseUnprotectedAttrs(asn1::blob element, Refusal* refusal) {
    Reading reading(element, refusal);
    return keepElement(reading, element, tag::constructed(1), &unprotectedAttrs);
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
    detail::SecretBytes contentKey, content;
    bool const hasKey = detail::decryptPkcs1(*rsa, recipient.encryptedKey, contentKey.value);
    if (!hasKey)
        reading.note("ktri: key decrypt failed");
    asn1::blob const contentAlgorithm = info.contentEncryptionAlgorithm.oid;
    detail::ContentCipher const* const cipher = detail::findContentCipher(contentAlgorithm);
    asn1::blob iv;
    if (cipher == nullptr) {
        if (hasKey)
            reading.note("EncryptedContentInfo: unimplemented algorithm: <" + oid2name(contentAlgorithm) +
                         ">");
        return reading.refuse(RefusalId::unsupportedCipher, nullptr, {{"found", oidName(contentAlgorithm)}});
    }
    // Without a key, too: neither the answer nor how long it takes tells whether the block was good (RFC 3218,
    // section 2.3.2).
    if (!checkContent(reading, info, *cipher, &iv))
        return false;
    if (!decryptContent(info, *cipher, iv, contentKey, content.value))
        return reading.refuse(RefusalId::undecryptable, nullptr);
    out.swap(content.value);
    return true;
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
    detail::ContentCipher const* const cipher = detail::findContentCipher(how.cipher, how.keySize);
    if (cipher == nullptr || recipients.empty())
        return false;
    detail::SecretBytes contentKey{std::vector<unsigned char>(cipher->keySize)};
    PKCS7EnvelopedData made;
    if (!rng.fill(contentKey.value.data(), cipher->keySize) ||
        !encryptContent(made.encryptedContentInfo, *cipher, contentKey, content, rng))
        return false;
    made.encryptedContentInfo.contentType = detail::copyOf(contentType);
    for (X509Certificate const* recipient : recipients)
        if (!encryptKey(made.recipientInfos.emplace_back(), *recipient, contentKey, how.byKeyId, rng))
            return false;
    // RFC 5652, section 6.1: what names a recipient by its key identifier is of version 2.
    made.version = how.byKeyId ? 2 : 0;
    *this = std::move(made);
    return true;
}

bool PKCS7EnvelopedData::encrypt(X509Certificate const& recipient, asn1::blob contentType, asn1::blob content,
                                 CipherID cipher, Rng const& rng) {
    X509Certificate const* const recipients[] = {&recipient};
    return encrypt(recipients, contentType, content, {cipher, 0, false}, rng);
}
