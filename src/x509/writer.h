/// Writing the signed part of an object anew.
///
/// What was parsed may have a form that the members cannot express: the order and the string types of a
/// name, a GeneralizedTime, the issuer in an authority key identifier. So each of these functions takes
/// `kept`, what stood in the signed part before (empty when there was nothing), and writes that again
/// where it still says what the member says.
#pragma once

#include "sealkit/der.h"
#include "sealkit/name.h"
#include "sealkit/timepoint.h"
#include "sealkit/x509.h"

#include <span>
#include <vector>

namespace detail {

/// The algorithm of signatures that `key` makes over `hash`: NULL parameters for RSA (RFC 4055, section 5),
/// none for the others (RFC 5758, section 3.2; RFC 8410, section 3). Without an OID if no such algorithm
/// exists.
AlgorithmIdentifier signatureAlgorithmOf(PrivateKey const& key, HashID hash);

/// The whole encoding of a name.
std::vector<unsigned char> encodeName(DistinguishedName const& name, asn1::blob kept);

/// Reads `element`, a whole name, into both; returns false and leaves them unchanged if it is malformed.
bool takeName(asn1::blob element, DistinguishedName* name, std::vector<unsigned char>* bytes);

/// The content octets of a non-negative INTEGER, as short as they can be; `kept` as it is.
std::vector<unsigned char> encodeNumber(asn1::blob content, asn1::blob kept);

/// Writes a UTCTime. False, and nothing written, for a year that it cannot tell: before 1950, after 2049.
bool addTime(DerEncoder& to, TimePoint time, asn1::blob kept);

/// The value of AuthorityKeyIdentifier (RFC 5280, section 4.2.1.1) with this keyIdentifier; empty for none.
std::vector<unsigned char> encodeAuthorityKeyId(asn1::blob keyId);

/// An OCTET STRING around `content`; empty for none.
std::vector<unsigned char> encodeOctets(asn1::blob content);

/// A list of extensions in progress.
class ExtensionWriter {
public:
    /// `before` are the extensions that stood in the signed part.
    explicit ExtensionWriter(std::span<X509Extension const> before);

    /// Writes an extension with this value; none where `value` is empty. Where `isKept` is set the
    /// extension is written as it stood before, or left out where it did not.
    void add(asn1::blob oid, bool isKept, bool critical, asn1::blob value);

    /// Writes those that stood before and were not mentioned, and ends the list: the whole encoding of
    /// Extensions (RFC 5280, section 4.1), empty when it has none.
    std::vector<unsigned char> finish();

private:
    void write(asn1::blob oid, bool critical, asn1::blob value);

    std::vector<X509Extension> rest;
    DerEncoder list;
};

bool isSame(GeneralName const& a, GeneralName const& b);
bool isSame(std::vector<GeneralName> const& a, std::vector<GeneralName> const& b);

} // namespace detail
