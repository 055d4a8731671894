#include "sealkit/key_outline.h"

#include "sealkit/asn1_tree.h"
#include "sealkit/oid.h"
#include "sealkit/oid_names.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "keys/verify.h"

#include <bit>

namespace oid = detail::oid;
namespace tag = detail::tag;
using detail::Level;
using detail::Reading;

namespace {

/// The size in bits of an INTEGER's content.
size_t bitsOf(asn1::blob content) {
    while (!content.empty() && content[0] == 0)
        content.pop_front();
    return content.empty() ? 0 : 8 * (content.size() - 1) + static_cast<size_t>(std::bit_width(content[0]));
}

/// RSAPublicKey ::= SEQUENCE { modulus INTEGER, publicExponent INTEGER } (RFC 8017, appendix A.1.1)
void readRsa(KeyOutline* to) {
    Reading silent;
    asn1::blob content;
    if (!detail::readOnly(silent, to->key, tag::sequence, &content))
        return;
    Level fields(silent, content);
    if (detail::takeInteger(fields, &to->modulus) && detail::takeInteger(fields, &to->exponent))
        to->bits = bitsOf(to->modulus);
}

/// Reads the prime, which is the first INTEGER of the parameters of DSA (RFC 3279, section 2.3.2) and DH.
void readPrime(KeyOutline* to) {
    Reading silent;
    asn1::blob content, prime;
    if (!detail::readOnly(silent, to->parameters, tag::sequence, &content))
        return;
    Level fields(silent, content);
    if (detail::takeInteger(fields, &prime))
        to->bits = bitsOf(prime);
}

/// The field size from the name of a curve.
size_t bitsInName(std::string const& name) {
    constexpr std::string_view digits = "0123456789";
    size_t const start = name.find_first_of(digits);
    if (start == name.npos)
        return 0;
    size_t bits = 0;
    for (size_t i = start; i < name.size() && i < start + 3 && digits.find(name[i]) != digits.npos; ++i)
        bits = 10 * bits + static_cast<size_t>(name[i] - '0');
    return bits;
}

/// ECParameters ::= CHOICE { namedCurve OBJECT IDENTIFIER, implicitCurve NULL, specifiedCurve SEQUENCE {
/// version, fieldID SEQUENCE { fieldType, prime INTEGER }, ... } } (SEC 1, appendix C.2)
void readCurve(KeyOutline* to) {
    Reading silent;
    Level choice(silent, to->parameters);
    asn1::blob content, field, version, type, prime;
    if (choice.tag == tag::oid) {
        Curve const known = getCurveID(choice.value());
        std::string const name = oidName(choice.value());
        bool const hasName = name != oidStr(choice.value());
        to->curve = known != Curve{} ? getCurveName(known) : name;
        to->bits = hasName ? bitsInName(name) : 0;
        return;
    }
    if (choice.tag != tag::sequence)
        return;
    to->curve = "explicit parameters";
    content = choice.value();
    Level fields(silent, content);
    if (!detail::takeInteger(fields, &version) || !detail::take(fields, tag::sequence, &field))
        return;
    Level parts(silent, field);
    if (detail::take(parts, tag::oid, &type) && detail::takeInteger(parts, &prime))
        to->bits = bitsOf(prime);
}

/// Sets the members that depend on the algorithm.
void readByAlgorithm(KeyOutline* to) {
    std::string const name = oidName(to->algorithm);
    if (name == "RSA" || name == "RSASSA-PSS" || name == "RSAES-OAEP")
        readRsa(to);
    else if (name == "DSA" || name == "DH" || name == "X9.42 DH")
        readPrime(to);
    else if (name == "EC")
        readCurve(to);
    else if (name == "ED25519" || name == "X25519")
        to->bits = 255;
    else if (name == "ED448" || name == "X448")
        to->bits = 448;
}

bool readNumber(Reading& reading, asn1::blob whole, unsigned* to) {
    Level only(reading, whole);
    return whole.start == nullptr || (detail::takeUInt(only, to) && detail::finish(only));
}

bool readPss(Reading& reading, asn1::blob parameters, PssOutline* to) {
    detail::PssFields fields;
    if (!detail::readPssFields(reading, parameters, detail::PssDefaults::taken, &fields))
        return false;
    to->hash = fields.hash.empty() ? asn1::blob(oid::sha1) : fields.hash;
    to->maskGeneration = fields.mask.empty() ? asn1::blob(oid::mgf1) : fields.mask;
    to->maskHash = oid::sha1;
    if (!fields.maskParameters.empty()) {
        Level inner(reading, fields.maskParameters);
        asn1::blob ignored;
        if (!detail::takeAlgorithm(inner, &to->maskHash, &ignored))
            return false;
    }
    return readNumber(reading, fields.saltLength, &to->saltLength) &&
           readNumber(reading, fields.trailerField, &to->trailerField);
}

} // namespace

bool parseKeyOutline(asn1::blob info, KeyOutline* to, Refusal* refusal) {
    *to = {};
    Reading reading(info, refusal);
    asn1::blob content, key;
    if (!detail::readOnly(reading, info, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!detail::takeAlgorithm(fields, &to->algorithm, &to->parameters, "algorithm") ||
        !detail::take(fields, tag::bitString, &key, "subjectPublicKey"))
        return false;
    to->key = bitStringContent(key);
    readByAlgorithm(to);
    return detail::finish(fields);
}

bool parsePssOutline(asn1::blob parameters, PssOutline* to, Refusal* refusal) {
    *to = {};
    Reading reading(parameters, refusal);
    return readPss(reading, parameters, to);
}

std::string algorithmText(asn1::blob algorithm) {
    Reading silent;
    Level level(silent, algorithm);
    asn1::blob id, parameters;
    if (!detail::takeAlgorithm(level, &id, &parameters))
        return "(malformed)";
    if (id != asn1::blob(oid::rsaPss))
        return oidName(id);
    PssOutline pss;
    if (parameters.empty() || !parsePssOutline(parameters, &pss))
        return oidName(id) + (parameters.empty() ? "" : " " + asn1::derText(parameters));
    std::string const mask =
        pss.maskGeneration == asn1::blob(oid::mgf1) ? "MGF1" : oidName(pss.maskGeneration);
    return oidName(id) + " (" + oidName(pss.hash) + ", " + mask + " with " + oidName(pss.maskHash) +
           ", salt of " + std::to_string(pss.saltLength) + " bytes" +
           (pss.trailerField == 1 ? "" : ", trailer field " + std::to_string(pss.trailerField)) + ")";
}
