#include "asn1/element.h"
#include "sealkit/x509.h"

namespace tag = detail::tag;

namespace {

bool isTime(unsigned elementTag) { return elementTag == tag::utcTime || elementTag == tag::generalizedTime; }

} // namespace

X509Kind getX509Kind(asn1::blob der) {
    asn1::parser fields(der);
    if (!fields.enter(tag::sequence) || !fields.enter(tag::sequence))
        return X509Kind::none;
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
