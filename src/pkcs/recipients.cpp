#include "pkcs/recipients.h"

#include "sealkit/oid_names.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "pkcs/read.h"
#include "pkcs/version.h"

#include <string>
#include <utility>

namespace tag = detail::tag;
using detail::EnvelopeForms;
using detail::Level;
using detail::Reading;

namespace {

using Recipients = std::vector<EnvelopedRecipient>;

constexpr unsigned keyAgreementTag = tag::constructed(1);
constexpr unsigned sharedKeyTag = tag::constructed(2);
constexpr unsigned passwordTag = tag::constructed(3);
constexpr unsigned otherTag = tag::constructed(4);

/// Refuses a recipient because of its kind. `line` is the stated diagnostic; empty for no line.
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

/// OtherRecipientInfo begins with the object identifier of its type.
bool refuseOther(Reading& reading, asn1::blob type) {
    return refuseRecipient(reading, type, "OtherRecipientInfo <" + oid2name(type) + "> not supported",
                           "another kind, " + oidStr(type));
}

/// Whether an element with this content is read as a key transport recipient, according to its version.
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

/// Refuses a recipient of another kind, identified by its tag (RFC 5652, section 6.2).
bool refuseTagged(Reading& reading, unsigned recipientTag, asn1::blob content) {
    switch (recipientTag) {
    case keyAgreementTag:
        return refuseKeyAgreement(reading, content);
    case sharedKeyTag:
        return refuseSharedKey(reading, content);
    case passwordTag:
        return refuseRecipient(reading, content, "", "a password");
    default:
        break;
    }
    asn1::parser const fields(content);
    if (recipientTag == otherTag && fields.tag == tag::oid)
        return refuseOther(reading, fields.value());
    return refuseRecipient(reading, content, "", "an element " + detail::tagText(recipientTag));
}

/// Takes the version, which is constant for each kind of recipient.
bool takeVersion(Level& fields, unsigned expected) {
    unsigned char const* const place = fields.tlvStart;
    asn1::blob number;
    return detail::takeInteger(fields, &number, "version") &&
           (detail::smallNumber(number) == expected ||
            fields.reading.refuse(
                RefusalId::messageVersion, place,
                {{"expected", std::to_string(expected)}, {"found", detail::numberText(number)}}));
}

/// Takes an AlgorithmIdentifier under a tag, and keeps absent parameters absent.
bool takePlainAlgorithm(Level& fields, unsigned expected, char const* field, AlgorithmIdentifier& to) {
    asn1::blob content;
    return detail::take(fields, expected, &content, field) &&
           detail::readPlainAlgorithm(fields.reading, content, to);
}

bool takeEncryptedKey(Level& fields, EnvelopedRecipient& to) {
    asn1::blob key;
    if (!detail::take(fields, tag::octetString, &key, "encrypted key"))
        return false;
    to.encryptedKey = detail::copyOf(key);
    return detail::finish(fields);
}

/// OriginatorIdentifierOrKey ::= CHOICE { IssuerAndSerialNumber, [0] SubjectKeyIdentifier, [1]
/// OriginatorPublicKey }. The first two refer to a certificate; they are obsolete and not read.
bool readOriginator(Reading& reading, asn1::blob content, KeyAgreement& to) {
    Level choice(reading, content);
    asn1::blob originator, bits;
    if (choice.tag != tag::constructed(1))
        return true;
    if (!detail::take(choice, tag::constructed(1), &originator) || !detail::finish(choice))
        return false;
    Level fields(reading, originator);
    if (!takePlainAlgorithm(fields, tag::sequence, "algorithm", to.originatorAlgorithm) ||
        !detail::take(fields, tag::bitString, &bits, "public key") || !detail::finish(fields))
        return false;
    if (bits.empty() || bits[0] != 0)
        return reading.refuse(RefusalId::malformedBitString, bits);
    to.originatorKey = detail::copyOf(bitStringContent(bits));
    return true;
}

/// KeyAgreeRecipientIdentifier ::= CHOICE { IssuerAndSerialNumber, rKeyId [0] RecipientKeyIdentifier }
bool takeAgreementName(Level& fields, EnvelopedRecipient& to) {
    if (fields.tag != tag::constructed(0)) {
        asn1::blob content;
        return detail::take(fields, tag::sequence, &content, "issuer and serial number") &&
               detail::readIssuerAndSerial(fields.reading, content, to);
    }
    asn1::blob identifier, keyId;
    if (!detail::take(fields, tag::constructed(0), &identifier))
        return false;
    // A date and other attributes of the key may follow. They do not affect which key it is.
    Level parts(fields.reading, identifier);
    if (!detail::take(parts, tag::octetString, &keyId, "subject key identifier"))
        return false;
    to.version = 2;
    to.subjectKeyId = detail::copyOf(keyId);
    return true;
}

/// KeyAgreeRecipientInfo ::= SEQUENCE { version 3, originator [0] EXPLICIT, ukm [1] EXPLICIT OCTET STRING
/// OPTIONAL, keyEncryptionAlgorithm, recipientEncryptedKeys SEQUENCE OF SEQUENCE { rid, encryptedKey } }
bool readKeyAgreement(Reading& reading, asn1::blob content, Recipients& to) {
    Level fields(reading, content);
    asn1::blob originator, keys;
    auto agreement = std::make_shared<KeyAgreement>();
    if (!takeVersion(fields, 3) || !detail::take(fields, tag::constructed(0), &originator, "originator") ||
        !readOriginator(reading, originator, *agreement))
        return false;
    if (fields.tag == tag::constructed(1)) {
        asn1::blob wrapped, material;
        if (!detail::take(fields, tag::constructed(1), &wrapped) ||
            !detail::readOnly(reading, wrapped, tag::octetString, &material, "ukm"))
            return false;
        agreement->keyingMaterial = detail::copyOf(material);
    }
    if (!takePlainAlgorithm(fields, tag::sequence, "key encryption algorithm",
                            agreement->keyEncryptionAlgorithm) ||
        !detail::take(fields, tag::sequence, &keys, "encrypted keys") || !detail::finish(fields))
        return false;
    Level elements(reading, keys);
    while (!detail::atEnd(elements) && to.size() <= maxRecipients) {
        asn1::blob element;
        if (!detail::take(elements, tag::sequence, &element))
            return false;
        Level parts(reading, element);
        EnvelopedRecipient& recipient = to.emplace_back();
        recipient.kind = RecipientKind::keyAgreement;
        recipient.agreement = agreement;
        if (!takeAgreementName(parts, recipient) || !takeEncryptedKey(parts, recipient))
            return false;
    }
    return true;
}

/// KEKRecipientInfo ::= SEQUENCE { version 4, kekid SEQUENCE { keyIdentifier OCTET STRING, ... },
/// keyEncryptionAlgorithm, encryptedKey }
bool readSharedKey(Reading& reading, asn1::blob content, EnvelopedRecipient& to) {
    Level fields(reading, content);
    asn1::blob identifier, keyId;
    if (!takeVersion(fields, 4) || !detail::take(fields, tag::sequence, &identifier, "identifier"))
        return false;
    Level parts(reading, identifier);
    if (!detail::take(parts, tag::octetString, &keyId, "key identifier"))
        return false;
    to.kind = RecipientKind::sharedKey;
    to.version = 4;
    to.subjectKeyId = detail::copyOf(keyId);
    return takePlainAlgorithm(fields, tag::sequence, "key encryption algorithm", to.keyEncryptionAlgorithm) &&
           takeEncryptedKey(fields, to);
}

/// PasswordRecipientInfo ::= SEQUENCE { version 0, keyDerivationAlgorithm [0] OPTIONAL,
/// keyEncryptionAlgorithm, encryptedKey }
bool readPassword(Reading& reading, asn1::blob content, EnvelopedRecipient& to) {
    Level fields(reading, content);
    if (!takeVersion(fields, 0))
        return false;
    to.kind = RecipientKind::password;
    return (fields.tag != tag::constructed(0) ||
            takePlainAlgorithm(fields, tag::constructed(0), "key derivation", to.keyDerivation)) &&
           takePlainAlgorithm(fields, tag::sequence, "key encryption algorithm", to.keyEncryptionAlgorithm) &&
           takeEncryptedKey(fields, to);
}

/// Appends the recipients of one RecipientInfo. A refusal may leave some of them appended.
bool readRecipient(Reading& reading, unsigned recipientTag, asn1::blob element, asn1::blob content,
                   Recipients& to) {
    switch (recipientTag) {
    case tag::sequence: {
        EnvelopedRecipient& recipient = to.emplace_back();
        recipient.kind = RecipientKind::keyTransport;
        return detail::read(reading, element, static_cast<PKCS7KeyTransRecipientInfo&>(recipient));
    }
    case keyAgreementTag:
        return readKeyAgreement(reading, content, to);
    case sharedKeyTag:
        return readSharedKey(reading, content, to.emplace_back());
    case passwordTag:
        return readPassword(reading, content, to.emplace_back());
    default:
        return false;
    }
}

bool refuseNumber(Reading& reading, asn1::blob at) {
    return reading.refuse(RefusalId::inputTooLarge, at,
                          {{"recipients at most", std::to_string(maxRecipients)}});
}

void saveName(EnvelopedRecipient const& from, DerEncoder& to) {
    if (from.version == 2)
        to.begin(tag::constructed(0)).addOctetString(from.subjectKeyId).end();
    else
        detail::saveIssuerAndSerial(from, to);
}

void saveKeyAgreement(EnvelopedRecipient const& from, DerEncoder& to) {
    KeyAgreement const& agreement = *from.agreement;
    to.begin(keyAgreementTag).addInteger(3).begin(tag::constructed(0)).begin(tag::constructed(1));
    save(agreement.originatorAlgorithm, to);
    to.addBitString(agreement.originatorKey).end().end();
    if (agreement.keyingMaterial)
        to.begin(tag::constructed(1)).addOctetString(*agreement.keyingMaterial).end();
    save(agreement.keyEncryptionAlgorithm, to);
    to.begin(tag::sequence).begin(tag::sequence);
    saveName(from, to);
    to.addOctetString(from.encryptedKey).end().end().end();
}

void savePassword(EnvelopedRecipient const& from, DerEncoder& to) {
    to.begin(passwordTag).addInteger(0u).begin(tag::constructed(0));
    to.addOid(from.keyDerivation.oid).addEncoded(from.keyDerivation.params).end();
    save(from.keyEncryptionAlgorithm, to);
    to.addOctetString(from.encryptedKey).end();
}

} // namespace

bool detail::readRecipients(Reading& reading, asn1::blob set, EnvelopeForms forms, Recipients& to,
                            size_t& others) {
    to.clear();
    others = 0;
    Level elements(reading, set);
    for (size_t number = 1; !atEnd(elements); number++) {
        Reading::Step const step(reading, "recipient", number);
        unsigned const recipientTag = elements.tag;
        asn1::blob const content = elements.value();
        asn1::blob element;
        if (!takeWhole(elements, recipientTag, &element))
            return false;
        if (forms == EnvelopeForms::stated && recipientTag != tag::sequence)
            return refuseTagged(reading, recipientTag, content);
        if (forms == EnvelopeForms::stated && !isKeyTransport(reading, content))
            return false;
        size_t const before = to.size();
        if (!readRecipient(reading, recipientTag, element, content, to)) {
            reading.retract();
            to.resize(before);
            others++;
        }
        if (forms == EnvelopeForms::all && to.size() > maxRecipients)
            return refuseNumber(reading, element);
    }
    return true;
}

void detail::saveRecipient(EnvelopedRecipient const& recipient, DerEncoder& to) {
    switch (recipient.kind) {
    case RecipientKind::keyAgreement:
        return saveKeyAgreement(recipient, to);
    case RecipientKind::password:
        return savePassword(recipient, to);
    default:
        return save(static_cast<PKCS7KeyTransRecipientInfo const&>(recipient), to);
    }
}
