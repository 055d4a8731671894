// EnvelopedData and AuthEnvelopedData with recipients of every kind.
#include "sealkit/enveloped.h"

#include "sealkit/oid_names.h"
#include "sealkit/pbes2.h"

#include "asn1/ber.h"
#include "asn1/oids.h"
#include "asn1/read.h"
#include "pkcs/enveloped_content.h"
#include "pkcs/read.h"
#include "pkcs/recipient_keys.h"
#include "pkcs/recipients.h"
#include "pkcs/version.h"

#include <algorithm>
#include <string>
#include <utility>

namespace oid = detail::oid;
namespace tag = detail::tag;
using detail::EnvelopeForms;
using detail::Level;
using detail::Reading;
using detail::SecretBytes;

namespace {

bool isVersion(unsigned version, EnvelopeForms forms, bool isAuthenticated) {
    if (isAuthenticated)
        return version == 0;
    return version == 0 || version == 2 || (forms == EnvelopeForms::all && (version == 3 || version == 4));
}

/// Refuses the recipient that requires an unsupported version of the message (RFC 5652, section 6.1), if a
/// reason is wanted.
void refuseRecipients(Level& fields) {
    if (!fields.reading.wantsReason())
        return;
    if (fields.tag == tag::constructed(0))
        fields.next();
    std::vector<EnvelopedRecipient> ignored;
    size_t others = 0;
    if (fields.tag == tag::set)
        detail::readRecipients(fields.reading, fields.value(), EnvelopeForms::stated, ignored, others);
}

bool takeVersion(Level& fields, EnvelopeForms forms, EnvelopedMessage& to) {
    unsigned char const* const place = fields.tlvStart;
    Reading& reading = fields.reading;
    asn1::blob number;
    if (!detail::takeInteger(fields, &number, "version"))
        return false;
    to.version = detail::smallNumber(number);
    if (isVersion(to.version, forms, to.isAuthenticated))
        return true;
    reading.note("EnvelopedData: invalid version: " + detail::numberText(number));
    if (forms == EnvelopeForms::stated)
        refuseRecipients(fields);
    char const* const expected = to.isAuthenticated               ? "0"
                                 : forms == EnvelopeForms::stated ? "0 or 2"
                                                                  : "0, 2, 3 or 4";
    return reading.refuse(RefusalId::messageVersion, place,
                          {{"expected", expected}, {"found", detail::numberText(number)}});
}

/// Takes a whole optional field if the version has it. `next` is the field that is expected otherwise.
bool takeOptional(Level& fields, unsigned optional, bool isAllowed, unsigned next,
                  std::vector<unsigned char>* to) {
    asn1::blob element;
    if (fields.tag != optional)
        return true;
    if (!isAllowed)
        return detail::refuseElement(fields, next);
    return detail::takeWhole(fields, optional, &element) &&
           detail::keepElement(fields.reading, element, optional, to);
}

/// The authenticated attributes must include the content type exactly once (RFC 5083, section 2.1).
bool checkType(Reading& reading, EnvelopedMessage const& message) {
    if (message.authAttrs.empty())
        return true;
    asn1::blob content, type, attribute, values, value;
    if (!detail::readOnly(reading, message.authAttrs, tag::constructed(1), &content))
        return false;
    Level attributes(reading, content);
    while (!detail::atEnd(attributes)) {
        if (!detail::take(attributes, tag::sequence, &attribute))
            return false;
        Level fields(reading, attribute);
        if (!detail::take(fields, tag::oid, &type) || !detail::take(fields, tag::set, &values) ||
            !detail::finish(fields))
            return false;
        if (!(type == asn1::blob(oid::contentType)))
            continue;
        if (!detail::readOnly(reading, values, tag::oid, &value, "content type"))
            return false;
        if (!(value == asn1::blob(message.encryptedContentInfo.contentType)))
            return reading.refuse(RefusalId::unsupportedContentType, nullptr,
                                  {{"authenticated", getContentTypeName(value)},
                                   {"found", getContentTypeName(message.encryptedContentInfo.contentType)}});
    }
    return true;
}

/// Takes the fields after the content of AuthEnvelopedData.
bool takeAuthentication(Level& fields, EnvelopedMessage& to) {
    asn1::blob mac;
    if (!takeOptional(fields, tag::constructed(1), true, tag::octetString, &to.authAttrs) ||
        !detail::take(fields, tag::octetString, &mac, "mac"))
        return false;
    to.mac = detail::copyOf(mac);
    return checkType(fields.reading, to);
}

} // namespace

EnvelopedMessage::EnvelopedMessage() = default;
EnvelopedMessage::EnvelopedMessage(EnvelopedMessage&&) noexcept = default;
EnvelopedMessage& EnvelopedMessage::operator=(EnvelopedMessage&&) noexcept = default;
EnvelopedMessage::~EnvelopedMessage() = default;

bool detail::keepElement(Reading& reading, asn1::blob element, unsigned expected,
                         std::vector<unsigned char>* to) {
    asn1::blob content;
    if (!readOnly(reading, element, expected, &content))
        return false;
    *to = copyOf(element);
    return true;
}

bool detail::readEnvelope(Reading& reading, asn1::blob envelope, EnvelopeForms forms, EnvelopedMessage& to) {
    asn1::blob content, element;
    if (!readOnly(reading, envelope, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!takeVersion(fields, forms, to))
        return false;
    // In the stated form, version 0 has neither originator nor attributes.
    bool const isWide = to.version != 0 || forms == EnvelopeForms::all;
    if (!takeOptional(fields, tag::constructed(0), isWide, tag::set, &to.originatorInfo) ||
        !take(fields, tag::set, &element, "recipients") ||
        !readRecipients(reading, element, forms, to.recipients, to.otherRecipients) ||
        !takeWhole(fields, tag::sequence, &element, "encrypted content"))
        return false;
    {
        Reading::Step const step(reading, "encrypted content");
        if (!read(reading, element, to.encryptedContentInfo))
            return false;
    }
    if (to.isAuthenticated && !takeAuthentication(fields, to))
        return false;
    unsigned const attributes = tag::constructed(to.isAuthenticated ? 2 : 1);
    return takeOptional(fields, attributes, isWide, asn1::parser::endTag, &to.unprotectedAttrs) &&
           finish(fields);
}

namespace {

bool readMessage(Reading& reading, asn1::blob message, EnvelopedMessage& to) {
    to = EnvelopedMessage();
    to.isAuthenticated = getContentType(message) == asn1::blob(oid::authEnvelopedData);
    asn1::blob content, type, data;
    if (!detail::checkKind(reading, message, MessageKind::envelopedData) ||
        !detail::readOnly(reading, message, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!detail::take(fields, tag::oid, &type, "content type"))
        return false;
    if (!to.isAuthenticated && !(type == asn1::blob(oid::envelopedData)))
        return reading.refuse(RefusalId::unsupportedContentType, type, {{"found", getContentTypeName(type)}});
    return detail::take(fields, tag::constructed(0), &data, "content") &&
           detail::readEnvelope(reading, data, EnvelopeForms::all, to) && detail::finish(fields);
}

/// Whether `key` matches a recipient in its type, size and curve.
bool mayBeOf(EnvelopedRecipient const& recipient, PrivateKey const& key) {
    if (recipient.kind == RecipientKind::keyTransport) {
        auto const* const rsa = dynamic_cast<RsaPrivateKey const*>(&key);
        return rsa != nullptr && recipient.encryptedKey.size() == (rsa->n.bits() + 7) / 8;
    }
    if (recipient.kind != RecipientKind::keyAgreement)
        return false;
    KeyAgreement const& agreement = *recipient.agreement;
    if (agreement.originatorAlgorithm.oid != detail::copyOf(getKeyOid(key.keyType())))
        return false;
    auto const* const ec = dynamic_cast<EcPrivateKey const*>(&key);
    if (ec == nullptr)
        return key.keyType() == KeyType::X25519;
    size_t const width = getModLen(ec->curve), size = agreement.originatorKey.size();
    return size == 1 + 2 * width || size == 1 + width; // An uncompressed or compressed point of the curve.
}

} // namespace

bool EnvelopedMessage::parse(asn1::blob message, Refusal* refusal) {
    Reading reading(message, refusal);
    return detail::readAsDer(reading, true, message,
                             [&](asn1::blob der) { return readMessage(reading, der, *this); });
}

std::vector<EnvelopedRecipient const*>
EnvelopedMessage::findRecipients(X509Certificate const& certificate) const {
    std::vector<EnvelopedRecipient const*> found;
    for (EnvelopedRecipient const& recipient : recipients)
        if ((recipient.kind == RecipientKind::keyTransport ||
             recipient.kind == RecipientKind::keyAgreement) &&
            detail::isRecipient(recipient, certificate))
            found.push_back(&recipient);
    return found;
}

std::vector<EnvelopedRecipient const*> EnvelopedMessage::findRecipients(PrivateKey const& key) const {
    std::vector<EnvelopedRecipient const*> found;
    for (EnvelopedRecipient const& recipient : recipients)
        if (mayBeOf(recipient, key))
            found.push_back(&recipient);
    return found;
}

namespace {

detail::EncryptedContent contentOf(EnvelopedMessage const& message) {
    return {message.encryptedContentInfo, message.isAuthenticated ? &message : nullptr};
}

/// The refusal of several attempts: `undecryptable` if any key was tried, otherwise the last one.
class Attempts {
public:
    void add(Refusal&& refusal) {
        if (last.id != RefusalId::undecryptable)
            last = std::move(refusal);
    }
    bool refuse(Reading& reading) { return reading.refuse(last.id, nullptr, std::move(last.facts)); }

private:
    Refusal last;
};

void empty(std::vector<unsigned char>& out) {
    detail::wipe(out);
    out.clear();
}

bool refuseStranger(Reading& reading, EnvelopedMessage const& message) {
    return reading.refuse(
        RefusalId::notARecipient, nullptr,
        {{"recipients", std::to_string(message.recipients.size() + message.otherRecipients)}});
}

} // namespace

bool EnvelopedMessage::decrypt(EnvelopedRecipient const& recipient, PrivateKey const& key,
                               std::vector<unsigned char>& out, Refusal* refusal) const {
    Reading reading({}, refusal);
    empty(out);
    SecretBytes contentKey;
    return detail::decryptContentKey(reading, recipient, key, contentKey) &&
           detail::decryptContent(reading, contentOf(*this), contentKey, out);
}

bool EnvelopedMessage::decrypt(X509Certificate const* certificate, PrivateKey const& key,
                               std::vector<unsigned char>& out, Refusal* refusal) const {
    Reading reading({}, refusal);
    empty(out);
    std::vector<EnvelopedRecipient const*> const candidates =
        certificate != nullptr ? findRecipients(*certificate) : findRecipients(key);
    if (candidates.empty())
        return refuseStranger(reading, *this);
    Attempts attempts;
    for (size_t i = 0; i < candidates.size() && i < maxRecipientsTried; i++) {
        Refusal why;
        if (decrypt(*candidates[i], key, out, &why))
            return true;
        attempts.add(std::move(why));
    }
    return attempts.refuse(reading);
}

bool EnvelopedMessage::decrypt(std::string_view password, std::vector<unsigned char>& out,
                               Refusal* refusal) const {
    Reading reading({}, refusal);
    empty(out);
    std::vector<EnvelopedRecipient const*> readable;
    size_t withPassword = 0;
    std::uint64_t rounds = 0;
    Refusal why;
    for (EnvelopedRecipient const& recipient : recipients) {
        if (recipient.kind != RecipientKind::password)
            continue;
        withPassword++;
        unsigned ownRounds = 0;
        Reading attempt({}, &why);
        if (!detail::passwordRounds(attempt, recipient, &ownRounds))
            continue;
        readable.push_back(&recipient);
        rounds += ownRounds;
    }
    if (withPassword == 0)
        return reading.refuse(RefusalId::noPassword, nullptr);
    if (readable.empty())
        return reading.refuse(why.id, nullptr, std::move(why.facts));
    if (rounds > pbes2MaxIterations)
        return reading.refuse(
            RefusalId::totalIterations, nullptr,
            {{"maximum", std::to_string(pbes2MaxIterations)}, {"found", std::to_string(rounds)}});
    bool isKeyOpened = false;
    for (EnvelopedRecipient const* const recipient : readable) {
        SecretBytes contentKey;
        Refusal problem;
        Reading attempt({}, &problem);
        if (!detail::decryptContentKey(attempt, *recipient, password, contentKey) || contentKey.value.empty())
            continue;
        if (detail::decryptContent(attempt, contentOf(*this), contentKey, out))
            return true;
        isKeyOpened = true;
        why = std::move(problem);
    }
    if (isKeyOpened && why.id != RefusalId::undecryptable)
        return reading.refuse(why.id, nullptr, std::move(why.facts));
    return reading.refuse(isKeyOpened ? RefusalId::changedContent : RefusalId::wrongPassword, nullptr);
}

bool EnvelopedMessage::decryptShared(asn1::blob keyEncryptionKey, std::vector<unsigned char>& out,
                                     Refusal* refusal) const {
    Reading reading({}, refusal);
    empty(out);
    Attempts attempts;
    size_t tried = 0;
    for (EnvelopedRecipient const& recipient : recipients) {
        if (recipient.kind != RecipientKind::sharedKey || tried++ >= maxRecipientsTried)
            continue;
        Refusal why;
        Reading attempt({}, &why);
        SecretBytes contentKey;
        if (detail::decryptContentKeyShared(attempt, recipient, keyEncryptionKey, contentKey) &&
            detail::decryptContent(attempt, contentOf(*this), contentKey, out))
            return true;
        attempts.add(std::move(why));
    }
    return tried == 0 ? refuseStranger(reading, *this) : attempts.refuse(reading);
}

namespace {

/// The version of an EnvelopedData (RFC 5652, section 6.1).
unsigned versionFor(std::vector<EnvelopedRecipient> const& recipients) {
    auto const isPassword = [](auto const& each) { return each.kind == RecipientKind::password; };
    auto const isPlain = [](auto const& each) {
        return each.kind == RecipientKind::keyTransport && each.version == 0;
    };
    if (std::ranges::any_of(recipients, isPassword))
        return 3;
    return std::ranges::all_of(recipients, isPlain) ? 0 : 2;
}

/// The content type as an attribute, which only types other than data require (RFC 5083, section 2.1).
std::vector<unsigned char> encodeAttributes(asn1::blob contentType) {
    if (contentType == getDataOid())
        return {};
    DerEncoder to;
    to.begin(tag::constructed(1)).begin(tag::sequence).addOid(oid::contentType).begin(tag::set);
    to.addOid(contentType).end().end().end();
    return to.take();
}

std::vector<unsigned char> encodeMessage(EnvelopedMessage const& message) {
    PKCS7EncryptedContentInfo const& info = message.encryptedContentInfo;
    DerEncoder to;
    to.begin(tag::sequence);
    to.addOid(message.isAuthenticated ? asn1::blob(oid::authEnvelopedData) : asn1::blob(oid::envelopedData));
    to.begin(tag::constructed(0)).begin(tag::sequence).addInteger(message.version).begin(tag::set);
    for (EnvelopedRecipient const& recipient : message.recipients)
        detail::saveRecipient(recipient, to);
    to.end().begin(tag::sequence).addOid(info.contentType);
    save(info.contentEncryptionAlgorithm, to);
    // Under GCM, empty content has an empty ciphertext, which is not the same as a missing one.
    to.add(tag::primitive(0), info.encryptedContent).end();
    if (message.isAuthenticated)
        to.addEncoded(message.authAttrs).addOctetString(message.mac);
    to.end().end().end();
    return to.take();
}

} // namespace

std::vector<unsigned char> encryptMessage(std::span<X509Certificate const* const> certificates,
                                          std::span<std::string_view const> passwords, asn1::blob contentType,
                                          asn1::blob content, EnvelopedOptions const& options, Rng& rng,
                                          Refusal* refusal) {
    Reading reading({}, refusal);
    EnvelopedMessage message;
    SecretBytes contentKey;
    if (content.size() > maxEnvelopedContent) {
        reading.refuse(RefusalId::inputTooLarge, nullptr);
        return {};
    }
    message.isAuthenticated = options.cipher == CipherID::AesGcm;
    message.encryptedContentInfo.contentType = detail::copyOf(contentType);
    if (message.isAuthenticated)
        message.authAttrs = encodeAttributes(contentType);
    if (!(message.isAuthenticated ? detail::encryptGcm(message, options.keySize, content, rng, contentKey)
                                  : detail::encryptCbc(message.encryptedContentInfo, options.cipher,
                                                       options.keySize, content, rng, contentKey))) {
        reading.refuse(RefusalId::unsupportedCipher, nullptr);
        return {};
    }
    for (X509Certificate const* const certificate : certificates)
        if (!detail::encryptContentKey(reading, *certificate, contentKey, options, rng,
                                       message.recipients.emplace_back()))
            return {};
    for (std::string_view const password : passwords)
        if (!detail::encryptContentKey(reading, password, contentKey, options, rng,
                                       message.recipients.emplace_back()))
            return {};
    if (message.recipients.empty()) {
        reading.refuse(RefusalId::notARecipient, nullptr, {{"recipients", "0"}});
        return {};
    }
    message.version = message.isAuthenticated ? 0 : versionFor(message.recipients);
    return encodeMessage(message);
}
