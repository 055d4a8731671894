/// Encodes the signed part of an object.
///
/// A parsed object may have a form that the members cannot express: the order and the string types of a name,
/// a GeneralizedTime, the issuer in an authority key identifier. Each of these functions therefore takes
/// `kept`, the previous encoding (empty if there is no previous one), and writes it again if it still matches
/// the member.
#pragma once

#include "sealkit/der.h"
#include "sealkit/name.h"
#include "sealkit/timepoint.h"
#include "sealkit/x509.h"

#include <span>
#include <vector>

namespace detail {

/// The algorithm of signatures by `key` over `hash`. Its parameters are NULL for RSA (RFC 4055, section 5)
/// and absent for other keys (RFC 5758, section 3.2; RFC 8410, section 3). Without an OID if no algorithm
/// exists.
AlgorithmIdentifier signatureAlgorithmOf(PrivateKey const& key, HashID hash);

/// The whole encoding of a name.
std::vector<unsigned char> encodeName(DistinguishedName const& name, asn1::blob kept);

/// Reads `element`, a whole name, into both. Returns false and leaves them unchanged if it is malformed.
bool takeName(asn1::blob element, DistinguishedName* name, std::vector<unsigned char>* bytes);

/// The shortest content octets of a non-negative INTEGER, or `kept` unchanged.
std::vector<unsigned char> encodeNumber(asn1::blob content, asn1::blob kept);

/// Writes a UTCTime. Returns false and writes nothing before 1950 and after 2049.
bool addTime(DerEncoder& to, TimePoint time, asn1::blob kept);

/// The value of AuthorityKeyIdentifier (RFC 5280, section 4.2.1.1) with this keyIdentifier, or empty.
std::vector<unsigned char> encodeAuthorityKeyId(asn1::blob keyId);

/// An OCTET STRING with `content`; empty if that is empty.
std::vector<unsigned char> encodeOctets(asn1::blob content);

/// Writes the extensions of an object.
class ExtensionWriter {
public:
    /// `before` are the extensions in the previous signed part.
    explicit ExtensionWriter(std::span<X509Extension const> before);

    /// Writes an extension with this value, unless `value` is empty. If `isKept` is set, the previous
    /// extension is written instead, if there was one.
    void add(asn1::blob oid, bool isKept, bool critical, asn1::blob value);

    /// Writes the previous extensions that `add` did not name, and returns the whole encoding of Extensions
    /// (RFC 5280, section 4.1), which is empty without extensions.
    std::vector<unsigned char> finish();

private:
    void write(asn1::blob oid, bool critical, asn1::blob value);

    std::vector<X509Extension> rest;
    DerEncoder list;
};

bool isSame(GeneralName const& a, GeneralName const& b);
bool isSame(std::vector<GeneralName> const& a, std::vector<GeneralName> const& b);

} // namespace detail
