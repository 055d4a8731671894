#include "asn1/header.h"
#include "asn1/tags.h"
#include "sealkit/asn1.h"
#include "sealkit/x509.h"

namespace tag = detail::tag;

namespace {

bool isTime(unsigned elementTag) { return elementTag == tag::utcTime || elementTag == tag::generalizedTime; }

/// Goes down into the SEQUENCE that `bytes` begins with, as far as it is there: the object may be truncated.
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

} // namespace

X509Kind getX509Kind(asn1::blob der) {
    if (!enterSequence(der) || !enterSequence(der))
        return X509Kind::none;
    asn1::parser fields(der);
    if (fields.tag == tag::constructed(0))
        return X509Kind::certificate;
    bool const hasNumber = fields.tag == tag::integer; // A version, or the serial number after version 1.
    if (hasNumber)
        fields.next();
    // An algorithm and the issuer, or the subject and its key.
    for (int i = 0; i < 2; i++) {
        if (fields.tag != tag::sequence)
            return X509Kind::none;
        fields.next();
    }
    if (isTime(fields.tag))
        return X509Kind::crl;
    if (hasNumber && fields.tag == tag::constructed(0))
        return X509Kind::request;
    asn1::parser const validity(fields.value());
    return hasNumber && fields.tag == tag::sequence && isTime(validity.tag) ? X509Kind::certificate
                                                                            : X509Kind::none;
}
