#include "sealkit/name.h"
#include "sealkit/oid.h"
#include "sealkit/oid_names.h"
#include "sealkit/pkcs7.h"
#include "sealkit/signature.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "pkcs/attributes.h"
#include "pkcs/read.h"
#include "pkcs/sorted_set.h"
#include "x509/writer.h"

#include <ostream>
#include <string>

namespace oid = detail::oid;
namespace tag = detail::tag;
using detail::Level;
using detail::Reading;

namespace {

constexpr unsigned version1 = 1, version3 = 3;

/// The value of an attribute that allows only one.
bool readValue(Reading& reading, asn1::blob values, unsigned expected, std::vector<unsigned char>* to) {
    asn1::blob content;
    Level level(reading, values);
    if (!detail::take(level, expected, &content))
        return false;
    if (!detail::atEnd(level))
        return reading.refuse(RefusalId::severalValues, values);
    *to = detail::copyOf(content);
    return true;
}

bool readSignedAttribute(Reading& reading, detail::Attribute const& attribute, PKCS7SignerInfo& to) {
    if (attribute.type == asn1::blob(oid::contentType))
        return readValue(reading, attribute.values, tag::oid, &to.contentType);
    if (attribute.type == asn1::blob(oid::messageDigest))
        return readValue(reading, attribute.values, tag::octetString, &to.contentDigest);
    if (attribute.type == asn1::blob(oid::signingTime)) {
        to.hasSigningTime = 1;
        return detail::readTime(reading, attribute.values, &to.signingTime);
    }
    if (attribute.type != asn1::blob(oid::opusInfo) && reading.isStated())
        reading.note("unknown auth attr " + oidStr(attribute.type));
    return true;
}

/// The first value, which must exist.
bool readFirstValue(Reading& reading, asn1::blob values, asn1::blob* element) {
    Level elements(reading, values);
    return detail::takeWhole(elements, tag::sequence, element);
}

/// Reads all values of one attribute (RFC 5652, section 11.4).
bool readCounterSignatures(Reading& reading, asn1::blob values, PKCS7SignerInfo& to, PKCS7SignerForm& form,
                           unsigned depth) {
    Level elements(reading, values);
    for (size_t number = 1; !detail::atEnd(elements); number++) {
        Reading::Step const step(reading, "counter-signature", number);
        asn1::blob element;
        auto signer = std::make_unique<PKCS7SignerInfo>();
        if (!detail::takeWhole(elements, tag::sequence, &element) ||
            !detail::read(reading, element, *signer, depth + 1))
            return false;
        if (to.counterSignature)
            form.furtherCounterSignatures.push_back(std::move(signer));
        else
            to.counterSignature = std::move(signer);
    }
    return true;
}

/// Keeps tokens unparsed until they are checked, because a malformed one does not affect the message.
bool readTimeStamps(Reading& reading, asn1::blob values, PKCS7SignerForm& form) {
    Level elements(reading, values);
    while (!detail::atEnd(elements)) {
        asn1::blob token;
        if (!detail::takeWhole(elements, elements.tag, &token))
            return false;
        form.timeStamps.push_back(detail::copyOf(token));
    }
    return true;
}

/// `form` is null for the narrow form.
bool readUnsignedAttribute(Reading& reading, detail::Attribute const& attribute, PKCS7SignerInfo& to,
                           PKCS7SignerForm* form, unsigned depth) {
    asn1::blob value;
    if (attribute.type == asn1::blob(oid::counterSignature)) {
        if (form != nullptr)
            return readCounterSignatures(reading, attribute.values, to, *form, depth);
        if (to.counterSignature)
            return true;
        Reading::Step const step(reading, "counter-signature");
        to.counterSignature = std::make_unique<PKCS7SignerInfo>();
        return readFirstValue(reading, attribute.values, &value) &&
               detail::read(reading, value, *to.counterSignature, depth + 1);
    }
    if (attribute.type == asn1::blob(oid::msCounterSignature)) {
        if (to.msCounterSignature)
            return true;
        Reading::Step const step(reading, "time-stamp");
        to.msCounterSignature = std::make_unique<PKCS7SignedData>();
        return readFirstValue(reading, attribute.values, &value) &&
               detail::read(reading, value, *to.msCounterSignature, depth + 1);
    }
    if (form != nullptr && attribute.type == asn1::blob(oid::signatureTimeStamp))
        return readTimeStamps(reading, attribute.values, *form);
    if (reading.isStated())
        reading.note("unknown unauth attribute " + oidStr(attribute.type));
    return true;
}

/// Reads the version. It is 3 for a signer with a subject key identifier (RFC 5652, section 5.3).
bool readVersion(Level& fields) {
    Reading& reading = fields.reading;
    unsigned char const* const place = fields.tlvStart;
    unsigned version;
    if (!detail::takeUInt(fields, &version, "version"))
        return false;
    std::string const number = std::to_string(version);
    // The signer's identifier decides instead, as in `readIdentity`, because some programs write wrong
    // versions.
    if (reading.isStandard())
        return version == version1 || version == version3 ||
               reading.refuse(RefusalId::messageVersion, place, {{"expected", "1 or 3"}, {"found", number}});
    if (version != version1)
        reading.noteError("bad version");
    if (version == version3 || fields.tag == tag::primitive(0))
        return reading.refuse(RefusalId::unsupportedSigner, place,
                              {{"expected", "issuer and serial number (version 1)"},
                               {"found", "subject key identifier (version " + number + ")"}});
    return version == version1 ||
           reading.refuse(RefusalId::messageVersion, place, {{"expected", "1"}, {"found", number}});
}

/// SignerIdentifier ::= CHOICE { IssuerAndSerialNumber, subjectKeyIdentifier [0] }. The narrow form only
/// allows IssuerAndSerialNumber ::= SEQUENCE { issuer Name, serialNumber INTEGER }.
bool readIdentity(Level& fields, PKCS7SignerInfo& to, PKCS7SignerForm* form) {
    asn1::blob content, name, serial;
    if (form != nullptr && fields.tag == tag::primitive(0)) {
        if (!detail::take(fields, tag::primitive(0), &content))
            return false;
        form->subjectKeyId = detail::copyOf(content);
        return !content.empty() || fields.reading.refuse(RefusalId::missingElement, content);
    }
    if (!detail::take(fields, tag::sequence, &content, "issuer and serial number"))
        return false;
    Level identity(fields.reading, content);
    if (!detail::takeWhole(identity, tag::sequence, &name, "issuer") ||
        !detail::takeInteger(identity, &serial, "serial number") || !detail::finish(identity))
        return false;
    to.issuer = detail::copyOf(name);
    to.serialNumber = detail::copyOf(serial);
    return true;
}

/// Reads the signature algorithm of the narrow form.
bool readSignatureAlgorithm(Reading& reading, asn1::blob content) {
    AlgorithmIdentifier algorithm;
    if (!detail::readAlgorithm(reading, content, algorithm))
        return false;
    return asn1::blob(algorithm.oid) == asn1::blob(oid::rsaEncryption) ||
           reading.refuse(RefusalId::unsupportedSignatureAlgorithm, content,
                          {{"expected", "RSA (rsaEncryption)"}, {"found", oidName(algorithm.oid)}});
}

/// Reads any digest algorithm, known or not.
bool readAnyDigestAlgorithm(Reading& reading, asn1::blob element, PKCS7SignerInfo& to,
                            PKCS7SignerForm& form) {
    asn1::blob content, type, parameters;
    if (!detail::readOnly(reading, element, tag::sequence, &content) ||
        !detail::readAlgorithm(reading, content, &type, &parameters))
        return false;
    form.digestAlgorithm = detail::copyOf(type);
    to.digestAlgorithm = getHashID(type);
    return true;
}

/// Reads the fields from the signed attributes to the signature.
bool readSignature(Level& fields, PKCS7SignerInfo& to, PKCS7SignerForm* form) {
    Reading& reading = fields.reading;
    asn1::blob attributes, algorithm, signature;
    if (fields.tag == tag::sequence && form == nullptr)
        return reading.refuse(RefusalId::noSignedAttributes, fields.tlvStart);
    if (fields.tag == tag::sequence)
        form->hasAttributes = false;
    else if (!detail::take(fields, tag::constructed(0), &attributes, "signed attributes"))
        return false;
    to.authAttributes = detail::copyOf(attributes);
    if (!detail::readAttributes(reading, attributes, "signed attribute",
                                [&](detail::Attribute const& attribute) {
                                    return readSignedAttribute(reading, attribute, to);
                                }) ||
        !detail::take(fields, tag::sequence, &algorithm, "signature algorithm") ||
        !(form != nullptr ? detail::readPlainAlgorithm(reading, algorithm, form->signatureAlgorithm)
                          : readSignatureAlgorithm(reading, algorithm)) ||
        !detail::take(fields, tag::octetString, &signature, "signature"))
        return false;
    to.encryptedDigest = detail::copyOf(signature);
    return true;
}

void addAttribute(DerEncoder& to, asn1::blob type, unsigned valueTag, asn1::blob value) {
    to.begin(tag::sequence).addOid(type).begin(tag::set).add(valueTag, value).end().end();
}

std::vector<unsigned char> encodeAttributes(PKCS7SignerInfo const& signer) {
    DerEncoder attributes;
    addAttribute(attributes, oid::contentType, tag::oid, signer.contentType);
    addAttribute(attributes, oid::messageDigest, tag::octetString, signer.contentDigest);
    return attributes.take();
}

/// The signing time and further attributes, in DER order. Empty if the time cannot be encoded.
std::vector<unsigned char> encodeSortedAttributes(PKCS7SignerInfo const& signer,
                                                  std::vector<std::vector<unsigned char>> const& further) {
    DerEncoder attributes;
    attributes.addEncoded(encodeAttributes(signer));
    for (std::vector<unsigned char> const& attribute : further)
        attributes.addEncoded(attribute);
    if (signer.hasSigningTime != 0) {
        attributes.begin(tag::sequence).addOid(oid::signingTime).begin(tag::set);
        if (!detail::addTime(attributes, signer.signingTime, {}))
            return {};
        attributes.end().end();
    }
    return detail::sortedSet(attributes.take());
}

/// The signature algorithm of a key and a hash; without an identifier if no such algorithm exists.
AlgorithmIdentifier algorithmOf(PrivateKey const& key, HashID hash) {
    bool const isEd25519 = key.keyType() == KeyType::Ed25519;
    AlgorithmIdentifier algorithm = detail::signatureAlgorithmOf(key, isEd25519 ? HashID::none : hash);
    // Old programs only support rsaEncryption here (RFC 3370, section 3.2).
    if (key.keyType() == KeyType::RSA && !algorithm.oid.empty())
        algorithm.oid = detail::copyOf(oid::rsaEncryption);
    return algorithm;
}

} // namespace

bool detail::read(Reading& reading, asn1::blob signerInfo, PKCS7SignerInfo& to, unsigned depth) {
    asn1::blob body, algorithm, attributes;
    if (depth > maxNesting)
        return reading.refuse(RefusalId::nestedTooDeep, signerInfo, {{"limit", std::to_string(maxNesting)}});
    if (!readOnly(reading, signerInfo, tag::sequence, &body))
        return false;
    if (reading.isStandard())
        to.otherForm = std::make_unique<PKCS7SignerForm>();
    PKCS7SignerForm* const form = to.otherForm.get();
    Level fields(reading, body);
    if (!readVersion(fields) || !readIdentity(fields, to, form) ||
        !takeWhole(fields, tag::sequence, &algorithm, "digest algorithm") ||
        !(form != nullptr ? readAnyDigestAlgorithm(reading, algorithm, to, *form)
                          : readDigestAlgorithm(reading, algorithm, &to.digestAlgorithm)) ||
        !readSignature(fields, to, form))
        return false;
    if (fields.tag == tag::constructed(1) &&
        (!take(fields, tag::constructed(1), &attributes) ||
         !readAttributes(reading, attributes, "unsigned attribute", [&](Attribute const& attribute) {
             return readUnsignedAttribute(reading, attribute, to, form, depth);
         })))
        return false;
    return finish(fields);
}

/// The parameters are absent (RFC 5754, section 2), except for RSA, where the stated entry points require
/// NULL.
void detail::saveDigestAlgorithm(PKCS7SignerInfo const& signer, DerEncoder& to) {
    PKCS7SignerForm const* const form = signer.form();
    if (form == nullptr)
        return saveHash(to, signer.digestAlgorithm);
    to.begin(tag::sequence).addOid(form->digestAlgorithm);
    if (asn1::blob(form->signatureAlgorithm.oid) == asn1::blob(oid::rsaEncryption))
        to.addNull();
    to.end();
}

PKCS7SignerInfo::PKCS7SignerInfo() = default;
PKCS7SignerInfo::PKCS7SignerInfo(PKCS7SignerInfo&&) noexcept = default;
PKCS7SignerInfo& PKCS7SignerInfo::operator=(PKCS7SignerInfo&&) noexcept = default;
PKCS7SignerInfo::~PKCS7SignerInfo() = default;

namespace {

/// Reads into a new object, which replaces `to` even after a failure.
bool readAnew(Reading& reading, asn1::blob signerInfo, PKCS7SignerInfo& to) {
    PKCS7SignerInfo parsed;
    bool const isGood = detail::read(reading, signerInfo, parsed);
    to = std::move(parsed);
    return isGood;
}

} // namespace

bool PKCS7SignerInfo::parse(asn1::blob signerInfo) {
    Reading reading(signerInfo);
    return readAnew(reading, signerInfo, *this);
}

bool PKCS7SignerInfo::parse(asn1::blob signerInfo, Refusal* refusal) {
    Reading reading(signerInfo, refusal);
    return readAnew(reading, signerInfo, *this);
}

namespace {

/// Writes the fields up to the signature as `PKCS7SignerInfo::sign` with options set them.
void saveForm(DerEncoder& to, PKCS7SignerInfo const& signer, PKCS7SignerForm const& form) {
    if (form.subjectKeyId.empty()) {
        to.addInteger(version1);
        to.begin(tag::sequence).addEncoded(signer.issuer).add(tag::integer, signer.serialNumber).end();
    } else {
        to.addInteger(version3).add(tag::primitive(0), form.subjectKeyId);
    }
    detail::saveDigestAlgorithm(signer, to);
    if (form.hasAttributes)
        to.add(tag::constructed(0), signer.authAttributes);
    save(form.signatureAlgorithm, to);
    to.addOctetString(signer.encryptedDigest);
}

/// Writes the fields up to the signature in the narrow form.
void saveNarrow(DerEncoder& to, PKCS7SignerInfo& signer) {
    to.addInteger(version1);
    to.begin(tag::sequence).addEncoded(signer.issuer).add(tag::integer, signer.serialNumber).end();
    detail::saveDigestAlgorithm(signer, to);
    if (!signer.contentType.empty() || !signer.contentDigest.empty() || signer.hasSigningTime != 0) {
        if (signer.authAttributes.empty())
            signer.authAttributes = encodeAttributes(signer);
        to.add(tag::constructed(0), signer.authAttributes);
    }
    to.begin(tag::sequence).addOid(oid::rsaEncryption).end().addOctetString(signer.encryptedDigest);
}

} // namespace

void PKCS7SignerInfo::save(DerEncoder& to) {
    to.begin(tag::sequence);
    if (otherForm)
        saveForm(to, *this, *otherForm);
    else
        saveNarrow(to, *this);
    if (counterSignature || msCounterSignature) {
        to.begin(tag::constructed(1));
        if (counterSignature) {
            to.begin(tag::sequence).addOid(oid::counterSignature).begin(tag::set);
            counterSignature->save(to);
            if (otherForm)
                for (auto const& further : otherForm->furtherCounterSignatures)
                    further->save(to);
            to.end().end();
        }
        if (msCounterSignature) {
            to.begin(tag::sequence).addOid(oid::msCounterSignature).begin(tag::set);
            msCounterSignature->save(to);
            to.end().end();
        }
        to.end();
    }
    to.end();
}

bool PKCS7SignerInfo::sign(X509Certificate const& certificate, PrivateKey const& key,
                           asn1::blob contentTypeOid, asn1::blob content, HashID hash) {
    if (key.keyType() != KeyType::RSA)
        return false;
    addContentDigest(contentTypeOid, content, hash);
    digestAlgorithm = hash;
    issuer = certificate.issuer.serialize();
    serialNumber = certificate.serialNumber;
    authAttributes = encodeAttributes(*this);
    encryptedDigest.clear();
    if (!getHashOid(hash).empty())
        encryptedDigest = signHashed(key, hash, messageDigest(hash));
    return !encryptedDigest.empty();
}

bool PKCS7SignerInfo::sign(X509Certificate const& certificate, PrivateKey const& key,
                           asn1::blob contentTypeOid, asn1::blob content, unsigned hash) {
    return sign(certificate, key, contentTypeOid, content, static_cast<HashID>(hash));
}

bool PKCS7SignerInfo::sign(X509Certificate const& certificate, PrivateKey const& key,
                           asn1::blob contentTypeOid, asn1::blob content, PKCS7SignerOptions const& options) {
    HashID const hash = key.keyType() == KeyType::Ed25519 ? HashID::SHA512 : options.hash;
    PKCS7SignerInfo made;
    made.otherForm = std::make_unique<PKCS7SignerForm>();
    PKCS7SignerForm& form = *made.otherForm;
    form.signatureAlgorithm = algorithmOf(key, hash);
    form.digestAlgorithm = detail::copyOf(getHashOid(hash));
    form.hasAttributes = options.hasAttributes;
    made.digestAlgorithm = hash;
    if (form.signatureAlgorithm.oid.empty() || form.digestAlgorithm.empty() ||
        (options.byKeyId && certificate.subjectKeyId.empty()) ||
        (!options.hasAttributes &&
         (options.signingTime || !options.attributes.empty() || contentTypeOid != asn1::blob(oid::data))))
        return false;
    if (options.byKeyId) {
        form.subjectKeyId = certificate.subjectKeyId;
    } else {
        made.issuer = detail::copyOf(certificate.issuerBytes());
        made.serialNumber = certificate.serialNumber;
    }
    if (options.hasAttributes) {
        made.addContentDigest(contentTypeOid, content, hash);
        made.hasSigningTime = options.signingTime ? 1 : 0;
        made.signingTime = options.signingTime.value_or(TimePoint());
        made.authAttributes = encodeSortedAttributes(made, options.attributes);
        if (made.authAttributes.empty())
            return false;
        made.encryptedDigest = signMessage(key, hash, DerEncoder().add(tag::set, made.authAttributes).take());
    } else {
        made.encryptedDigest = signMessage(key, hash, content);
    }
    if (made.encryptedDigest.empty())
        return false;
    *this = std::move(made); // Last, because the arguments may be views of this object.
    return true;
}

std::vector<unsigned char> PKCS7SignerInfo::messageDigest(HashID hash) const {
    return calcDigest(hash, DerEncoder().add(tag::set, authAttributes).take());
}

std::vector<unsigned char> PKCS7SignerInfo::messageDigest(unsigned hash) const {
    return messageDigest(static_cast<HashID>(hash));
}

std::vector<unsigned char> PKCS7SignerInfo::encodeAndMessageDigest(HashID hash) {
    if (authAttributes.empty())
        authAttributes = encodeAttributes(*this);
    return messageDigest(hash);
}

std::vector<unsigned char> PKCS7SignerInfo::encodeAndMessageDigest(unsigned hash) {
    return encodeAndMessageDigest(static_cast<HashID>(hash));
}

void PKCS7SignerInfo::addContentDigest(asn1::blob contentTypeOid, asn1::blob content, HashID hash) {
    // Computed first, because the arguments may be views of this object.
    std::vector<unsigned char> digest = calcDigest(hash, content);
    contentType = detail::copyOf(contentTypeOid);
    contentDigest = std::move(digest);
}

void PKCS7SignerInfo::addContentDigest(asn1::blob contentTypeOid, asn1::blob content, unsigned hash) {
    addContentDigest(contentTypeOid, content, static_cast<HashID>(hash));
}

bool PKCS7SignerInfo::verifyContentDigest(asn1::blob contentTypeOid, asn1::blob content, HashID hash) const {
    if (hash != digestAlgorithm || contentTypeOid != asn1::blob(contentType) || contentDigest.empty())
        return false;
    return calcDigest(hash, content) == contentDigest;
}

bool PKCS7SignerInfo::verifyContentDigest(asn1::blob contentTypeOid, asn1::blob content,
                                          unsigned hash) const {
    return verifyContentDigest(contentTypeOid, content, static_cast<HashID>(hash));
}

std::optional<asn1::blob> PKCS7SignerInfo::findSignedAttribute(asn1::blob oid) const {
    Reading silent;
    std::optional<asn1::blob> found;
    detail::readAttributes(silent, authAttributes, "", [&](detail::Attribute const& attribute) {
        if (attribute.type == oid)
            found = attribute.values;
        return !found;
    });
    return found;
}

void PKCS7SignerInfo::dump(std::ostream& out) const {
    DistinguishedName name;
    name.parse(issuer, nullptr); // The diagnostics about unknown attributes do not belong in a dump.
    out << "SignerInfo:\n"
        << "  issuer: " << name.str() << '\n'
        << "  serialNr: " << str(serialNumber) << '\n'
        << "  digestAlgo: " << getHashName(digestAlgorithm) << '\n'
        << "  digest: " << str(contentDigest) << '\n'
        << "  contentType: " << oidStr(contentType) << '\n';
    if (hasSigningTime != 0)
        out << "  signingTime: " << signingTime.toString() << '\n';
    out << "  encryptedDigest: " << str(encryptedDigest) << '\n'
        << "  message-digest: " << str(messageDigest(digestAlgorithm)) << '\n';
    if (counterSignature) {
        out << "CounterSignature ";
        counterSignature->dump(out);
    }
    if (msCounterSignature) {
        out << "MS CounterSignature ";
        msCounterSignature->dump(out);
    }
}
