#include "asn1/input_kind.h"

#include "asn1/element.h"
#include "asn1/header.h"
#include "asn1/oids.h"

#include <algorithm>
#include <array>

namespace {

namespace tag = detail::tag;
using detail::Level;
using detail::Reading;

constexpr std::array names = {
    "empty",
    "PEM text",
    "certificate",
    "CRL",
    "certificate request",
    "public key",
    "private key",
    "encrypted private key",
    "RSA public key of PKCS#1",
    "RSA private key of PKCS#1",
    "EC private key of RFC 5915",
    "message (PKCS#7, CMS)",
    "PKCS#12 file",
    "time-stamp request",
    "time-stamp response",
    "private key in OpenSSH's own form",
    "public key in OpenSSH's own form",
    "UTF-16 text",
    "text without PEM",
    "Java keystore (JKS, JCEKS)",
    "BER, not DER",
    "DER of an unknown kind",
    "unknown bytes",
};
static_assert(names.size() == static_cast<size_t>(InputKind::unknown) + 1);

bool beginsWithOid(asn1::blob content) { return asn1::parser(content).tag == tag::oid; }

/// Enters the SEQUENCE at the start of `bytes`, which may be truncated.
bool enterSequence(asn1::blob& bytes) {
    unsigned elementTag = 0;
    size_t length = 0;
    if (bytes.empty())
        return false;
    detail::HeaderError const error = detail::takeHeader(bytes, &elementTag, &length);
    if (error == detail::HeaderError::none)
        bytes = asn1::blob(bytes.start, length);
    return elementTag == tag::sequence &&
           (error == detail::HeaderError::none || error == detail::HeaderError::truncated);
}

bool isTime(unsigned elementTag) { return elementTag == tag::utcTime || elementTag == tag::generalizedTime; }

/// The kind of a SIGNED{ToBeSigned}, from the first fields of its signed part (RFC 5280, sections 4.1
/// and 5.1; RFC 2986, section 4.1). Later fields may be malformed or missing. `otherDer` for other input.
InputKind kindOfSigned(asn1::blob der) {
    if (!enterSequence(der) || !enterSequence(der))
        return InputKind::otherDer;
    asn1::parser fields(der);
    if (fields.tag == tag::constructed(0))
        return InputKind::certificate;
    bool const hasNumber = fields.tag == tag::integer; // A version, or the serial number after version 1.
    if (hasNumber)
        fields.next();
    // An algorithm and the issuer, or the subject and its key.
    for (int i = 0; i < 2; i++) {
        if (fields.tag != tag::sequence)
            return InputKind::otherDer;
        fields.next();
    }
    if (isTime(fields.tag))
        return InputKind::crl;
    if (hasNumber && fields.tag == tag::constructed(0))
        return InputKind::request;
    asn1::parser const validity(fields.value());
    return hasNumber && fields.tag == tag::sequence && isTime(validity.tag) ? InputKind::certificate
                                                                            : InputKind::otherDer;
}

/// Whether it is a content type of PKCS#7 or CMS: 1.2.840.113549.1.7 or 1.2.840.113549.1.9.16.1.
bool isContentType(asn1::blob oid) {
    static constexpr unsigned char smime[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x10, 0x01};
    asn1::blob const pkcs7(detail::oid::data, sizeof detail::oid::data - 1);
    auto const startsWith = [oid](asn1::blob prefix) {
        return oid.size() > prefix.size() && std::equal(prefix.begin(), prefix.end(), oid.begin());
    };
    return startsWith(pkcs7) || startsWith(smime);
}

/// RSAPublicKey has 2 INTEGERs and RSAPrivateKey 9 or more; parameters and private keys of DSA have 3 and 6.
InputKind kindOfIntegers(asn1::parser fields) {
    constexpr unsigned ofPublicKey = 2, ofDsaPrivateKey = 6;
    unsigned count = 1;
    for (; fields.tag == tag::integer && count <= ofDsaPrivateKey; fields.next())
        ++count;
    if (count > ofDsaPrivateKey)
        return InputKind::rsaPrivateKey;
    return count == ofPublicKey ? InputKind::rsaPublicKey : InputKind::otherDer;
}

InputKind kindAfterInteger(asn1::parser fields) {
    if (fields.tag == tag::octetString)
        return InputKind::ecPrivateKey;
    if (fields.tag == tag::integer)
        return kindOfIntegers(fields);
    if (fields.tag != tag::sequence)
        return InputKind::otherDer;
    asn1::blob const second = fields.take();
    if (!beginsWithOid(second))
        return InputKind::timeStampRequest;
    return fields.tag == tag::octetString ? InputKind::privateKey : InputKind::pkcs12;
}

InputKind kindAfterSequence(asn1::blob first, asn1::parser fields) {
    if (asn1::parser(first).tag == tag::integer && !detail::atEnd(fields) && fields.tag == tag::sequence &&
        beginsWithOid(fields.value()) && isContentType(asn1::parser(fields.value()).value()))
        return InputKind::timeStampResponse;
    if (beginsWithOid(first)) {
        if (fields.tag == tag::octetString)
            return InputKind::encryptedPrivateKey;
        if (fields.tag == tag::bitString)
            return InputKind::publicKey;
    }
    // A response that refuses a time-stamp has only a status.
    if (asn1::parser(first).tag == tag::integer && detail::atEnd(fields))
        return InputKind::timeStampResponse;
    return InputKind::otherDer;
}

} // namespace

char const* getInputKindName(InputKind kind) {
    auto const index = static_cast<size_t>(kind);
    return index < names.size() ? names[index] : "";
}

InputKind detail::findDerKind(asn1::blob der) {
    if (InputKind const kind = kindOfSigned(der); kind != InputKind::otherDer)
        return kind;
    Reading reading;
    asn1::blob content;
    if (!readOnly(reading, der, tag::sequence, &content))
        return InputKind::otherDer;
    asn1::parser fields(content);
    if (fields.tag == tag::oid)
        return isContentType(fields.value()) ? InputKind::message : InputKind::otherDer;
    if (fields.tag == tag::integer) {
        fields.next();
        return kindAfterInteger(fields);
    }
    if (fields.tag != tag::sequence)
        return InputKind::otherDer;
    asn1::blob const first = fields.take();
    return kindAfterSequence(first, fields);
}

bool detail::refuseOtherKind(Reading& reading, InputKind wanted, InputKind found) {
    if (found == wanted || found == InputKind::otherDer || found == InputKind::ber || found == InputKind::pem)
        return false;
    reading.retract();
    if (found == InputKind::empty)
        return reading.refuse(RefusalId::emptyInput, nullptr);
    bool const isForeign = found == InputKind::text || found == InputKind::unknown;
    return reading.refuse(isForeign ? RefusalId::unknownForm : RefusalId::otherKind, nullptr,
                          {{"expected", getInputKindName(wanted)}, {"found", getInputKindName(found)}});
}
