#include "sealkit/pkcs7.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "keys/content_cipher.h"
#include "keys/rsa_encryption.h"
#include "pkcs/parse.h"
#include "pkcs/version.h"

#include <algorithm>
#include <iostream>

namespace oid = detail::oid;
namespace tag = detail::tag;

bool detail::isRecipient(PKCS7KeyTransRecipientInfo const& recipient, X509Certificate const& cert) {
    if (recipient.version == 2)
        return !cert.subjectKeyId.empty() && recipient.subjectKeyId == cert.subjectKeyId;
    return recipient.serialNumber == cert.serialNumber && recipient.issuer == cert.issuer;
}

namespace {

/// OtherRecipientInfo begins with the object identifier of what it is.
bool refuseOther(asn1::blob type) {
    std::cout << "OtherRecipientInfo <" << oid2name(type) << "> not supported" << std::endl;
    return false;
}

bool refuse(char const* what) {
    std::cout << what << std::endl;
    return false;
}

/// Whether the element is one to read as a key transport recipient, which its version says.
bool isKeyTransport(asn1::blob sequence) {
    asn1::parser const fields(sequence);
    if (fields.tag == tag::oid)
        return refuseOther(fields.value());
    if (fields.tag != tag::integer || fields.value().empty())
        return false;
    switch (detail::smallNumber(fields.value())) {
    case 0:
    case 2:
        return true;
    case 3:
        return refuse("KeyAgreeRecipientInfo not supported");
    case 4:
        return refuse("KEKRecipientInfo not supported");
    default:
        std::cout << "Unknown RecipientInfo version - " << detail::numberText(fields.value()) << std::endl;
        return false;
    }
}

/// Says what a recipient of another kind is, by its tag (RFC 5652, section 6.2).
bool refuseTagged(unsigned recipientTag, asn1::blob content) {
    if (recipientTag == tag::constructed(1))
        return refuse("KeyAgreeRecipientInfo not supported");
    if (recipientTag == tag::constructed(2))
        return refuse("KEKRecipientInfo not supported");
    asn1::parser const fields(content);
    if (recipientTag == tag::constructed(4) && fields.tag == tag::oid)
        return refuseOther(fields.value());
    return false;
}

bool refuseCipher(asn1::blob algorithm) {
    std::cout << "EncryptedContentInfo: unimplemented algorithm: <" << oid2name(algorithm) << ">"
              << std::endl;
    return false;
}

/// A key of another size decrypts nothing, but takes as long.
bool decryptContent(PKCS7EncryptedContentInfo const& info, detail::ContentCipher const& cipher,
                    asn1::blob key, std::vector<unsigned char>& out) {
    asn1::blob iv;
    asn1::blob const content = info.encryptedContent;
    if (!detail::readOnly(info.contentEncryptionAlgorithm.params, tag::octetString, &iv) ||
        iv.size() != cipher.blockSize || !detail::canBeDecrypted(cipher, content))
        return false;
    static constexpr unsigned char noKey[detail::ContentCipher::longestKey] = {};
    bool const fits = key.size() == cipher.keySize;
    std::unique_ptr<Cipher> const keyed =
        detail::makeContentCipher(cipher, fits ? key : asn1::blob(noKey, cipher.keySize), iv);
    // A padding of no bytes is none.
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

bool PKCS7EnvelopedData::parse(asn1::blob message) {
    asn1::blob content, type, data;
    if (!detail::readOnly(message, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    if (!detail::take(fields, tag::oid, &type))
        return false;
    if (!(type == oid::envelopedData))
        return refuse("blob is not enveloped data");
    return detail::take(fields, tag::constructed(0), &data) && parseData(data) && detail::atEnd(fields);
}

bool PKCS7EnvelopedData::parseData(asn1::blob envelopedData) {
    *this = {};
    asn1::blob content, number, element;
    if (!detail::readOnly(envelopedData, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    if (!detail::takeInteger(fields, &number))
        return false;
    version = detail::smallNumber(number);
    if (version != 0 && version != 2) {
        std::cout << "EnvelopedData: invalid version: " << detail::numberText(number) << std::endl;
        return false;
    }
    if (fields.tag == tag::constructed(0) && (version == 0 || !parseOriginatorInfo(fields.takeWhole())))
        return false;
    if (!detail::take(fields, tag::set, &element) || !parseRecipientInfo(element))
        return false;
    if (!detail::takeWhole(fields, tag::sequence, &element) || !::parse(encryptedContentInfo, element))
        return false;
    if (fields.tag == tag::constructed(1) && (version == 0 || !parseUnprotectedAttrs(fields.takeWhole())))
        return false;
    return detail::atEnd(fields);
}

bool PKCS7EnvelopedData::parseRecipientInfo(asn1::blob set) {
    recipientInfos.clear();
    asn1::parser elements(set);
    while (!detail::atEnd(elements)) {
        unsigned const recipientTag = elements.tag;
        asn1::blob const content = elements.value();
        asn1::blob element;
        if (!detail::takeWhole(elements, recipientTag, &element))
            return false;
        if (recipientTag != tag::sequence)
            return refuseTagged(recipientTag, content);
        if (!isKeyTransport(content))
            return false;
        PKCS7KeyTransRecipientInfo recipient;
        if (::parse(recipient, element))
            recipientInfos.push_back(std::move(recipient));
    }
    return true;
}

bool PKCS7EnvelopedData::parseOriginatorInfo(asn1::blob element) {
    asn1::blob content;
    if (!detail::readOnly(element, tag::constructed(0), &content))
        return false;
    originatorInfo = detail::copyOf(element);
    return true;
}

bool PKCS7EnvelopedData::parseUnprotectedAttrs(asn1::blob element) {
    asn1::blob content;
    if (!detail::readOnly(element, tag::constructed(1), &content))
        return false;
    unprotectedAttrs = detail::copyOf(element);
    return true;
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

bool PKCS7EnvelopedData::decrypt(X509Certificate const& cert, PrivateKey const& key,
                                 std::vector<unsigned char>& out) const {
    detail::wipe(out);
    out.clear();
    auto const recipient =
        std::find_if(recipientInfos.begin(), recipientInfos.end(),
                     [&](auto const& candidate) { return detail::isRecipient(candidate, cert); });
    if (recipient == recipientInfos.end())
        return refuse("ktri: no key matches");
    auto const* const rsa = dynamic_cast<RsaPrivateKey const*>(&key);
    asn1::blob const keyAlgorithm = recipient->keyEncryptionAlgorithm.oid;
    if (rsa == nullptr || !(keyAlgorithm == oid::rsaEncryption)) {
        std::cout << "ktri: only rsa supported, not " << oidStr(keyAlgorithm) << std::endl;
        return refuse("ktri: key decrypt failed");
    }
    detail::SecretBytes contentKey, content;
    bool const hasKey = detail::decryptPkcs1(*rsa, recipient->encryptedKey, contentKey.value);
    if (!hasKey)
        refuse("ktri: key decrypt failed");
    asn1::blob const contentAlgorithm = encryptedContentInfo.contentEncryptionAlgorithm.oid;
    detail::ContentCipher const* const cipher = detail::findContentCipher(contentAlgorithm);
    if (cipher == nullptr)
        return hasKey && refuseCipher(contentAlgorithm);
    // Without a key, too: how long it takes does not tell whether the block was good (RFC 3218, section 2.3.2).
    if (!decryptContent(encryptedContentInfo, *cipher, contentKey, content.value))
        return false;
    out.swap(content.value);
    return true;
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
