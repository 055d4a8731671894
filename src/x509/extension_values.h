/// The readers of extensions.h, in the form that certificates and CRLs read extensions with.
#pragma once

#include "asn1/element.h"
#include "sealkit/extensions.h"

#include <functional>

namespace detail {

/// BasicConstraints (RFC 5280, section 4.2.1.9), as views of what is read.
struct BasicConstraintsFields {
    bool isCa = false;
    asn1::blob pathLength; ///< Content of an INTEGER; a null `start` if it is absent.
};
bool readBasicConstraints(Reading& reading, asn1::blob value, BasicConstraintsFields* to);

/// Whether subtrees may have a minimum other than 0 or a maximum, which RFC 5280, section 4.2.1.10, forbids.
enum class SubtreeBounds : bool { ignored, refused };

/// GeneralSubtrees ::= SEQUENCE SIZE (1..MAX) OF GeneralSubtree, tagged as `field`, where it is the current
/// element of `fields`. `name` is what refusals call a subtree.
bool readSubtrees(Level& fields, unsigned field, char const* name, std::vector<GeneralName>* to,
                  SubtreeBounds bounds = SubtreeBounds::ignored);

inline constexpr char permittedSubtree[] = "permitted subtree";
inline constexpr char excludedSubtree[] = "excluded subtree";

/// ExtKeyUsageSyntax ::= SEQUENCE OF OBJECT IDENTIFIER
bool readExtendedKeyUsage(Reading& reading, asn1::blob value, ObjectIdentifiers* to);

/// NameConstraints ::= SEQUENCE { permittedSubtrees [0] OPTIONAL, excludedSubtrees [1] OPTIONAL }
bool readNameConstraints(Reading& reading, asn1::blob value, NameSubtrees* to, SubtreeBounds bounds);

/// CertificatePolicies (RFC 5280, section 4.2.1.4): calls `use` with the content octets of each identifier
/// and the whole encoding of its qualifiers, which is empty if they are absent, until it returns false.
bool readPolicies(Reading& reading, asn1::blob value,
                  std::function<bool(asn1::blob oid, asn1::blob qualifiers)> const& use);

/// The fields of one DistributionPoint, with a null `start` if they are absent.
struct DistributionPointFields {
    asn1::blob name;      ///< A whole DistributionPointName.
    asn1::blob reasons;   ///< Content of a BIT STRING.
    asn1::blob crlIssuer; ///< Content of GeneralNames.
};

/// CRLDistributionPoints (RFC 5280, section 4.2.1.13): calls `use` for each point until it returns false.
bool readDistributionPoints(Reading& reading, asn1::blob value,
                            std::function<bool(DistributionPointFields const&)> const& use);

/// DistributionPointName ::= CHOICE { fullName [0] GeneralNames, nameRelativeToCRLIssuer [1] }: appends the
/// full names to `*names`. The content of a relative name goes to `*relative`; where that is null, such a
/// name is noted.
bool readDistributionPointName(Reading& reading, asn1::blob name, std::vector<GeneralName>* names,
                               asn1::blob* relative);

/// The named bits of the content of a BIT STRING, of the first 16: bit i of the result is the named bit i.
unsigned readNamedBits(asn1::blob content);

/// IssuingDistributionPoint (RFC 5280, section 5.2.5).
struct IssuingDistributionPointFields {
    DistributionPointFields point; ///< `reasons` are onlySomeReasons; without a crlIssuer.
    bool onlyUserCertificates = false;
    bool onlyCaCertificates = false;
    bool isIndirect = false;
    bool onlyAttributeCertificates = false;
};
bool readIssuingDistributionPoint(Reading& reading, asn1::blob value, IssuingDistributionPointFields* to);

/// PolicyMappings (RFC 5280, section 4.2.1.5), at least one.
bool readPolicyMappings(Reading& reading, asn1::blob value, std::vector<EquivalentPolicies>* to);

/// PolicyConstraints (RFC 5280, section 4.2.1.11), of which one is there.
bool readPolicyConstraints(Reading& reading, asn1::blob value, PolicyConstraintNumbers* to);

/// The full names of CRLDistributionPoints (RFC 5280, section 4.2.1.13), all points in a row. Notes names of
/// other forms.
bool readDistributionPoints(Reading& reading, asn1::blob value, std::vector<GeneralName>* to);

/// SubjectKeyIdentifier ::= OCTET STRING
bool readKeyIdentifier(Reading& reading, asn1::blob value, std::vector<unsigned char>* to);

/// The keyIdentifier of an AuthorityKeyIdentifier (RFC 5280, section 4.2.1.1); without one `*to` stays as it
/// was.
bool readAuthorityKeyId(Reading& reading, asn1::blob value, std::vector<unsigned char>* to);

/// CRLNumber ::= INTEGER, its content octets.
bool readCrlNumber(Reading& reading, asn1::blob value, std::vector<unsigned char>* to);

/// A public function that reads in silence.
template <typename To>
bool parse(bool (*read)(Reading&, asn1::blob, To*), asn1::blob value, To* to, Refusal* refusal) {
    *to = To();
    Reading reading(value, refusal);
    return read(reading, value, to);
}

} // namespace detail
