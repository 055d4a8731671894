/// The readers behind extensions.h, in the form that certificates and CRLs use.
#pragma once

#include "asn1/element.h"
#include "sealkit/extensions.h"

#include <functional>

namespace detail {

/// The fields of BasicConstraints (RFC 5280, section 4.2.1.9), as views of the input.
struct BasicConstraintsFields {
    bool isCa = false;
    asn1::blob pathLength; ///< Content of an INTEGER; `start` is null if it is absent.
};
bool readBasicConstraints(Reading& reading, asn1::blob value, BasicConstraintsFields* to);

/// Whether subtrees may have a minimum other than 0 or a maximum, which RFC 5280, section 4.2.1.10, forbids.
enum class SubtreeBounds : bool { ignored, refused };

/// Reads GeneralSubtrees ::= SEQUENCE SIZE (1..MAX) OF GeneralSubtree if the current element has the tag
/// `field`. `name` names a subtree in refusals.
bool readSubtrees(Level& fields, unsigned field, char const* name, std::vector<GeneralName>* to,
                  SubtreeBounds bounds = SubtreeBounds::ignored);

inline constexpr char permittedSubtree[] = "permitted subtree";
inline constexpr char excludedSubtree[] = "excluded subtree";

/// ExtKeyUsageSyntax ::= SEQUENCE OF OBJECT IDENTIFIER
bool readExtendedKeyUsage(Reading& reading, asn1::blob value, ObjectIdentifiers* to);

/// NameConstraints ::= SEQUENCE { permittedSubtrees [0] OPTIONAL, excludedSubtrees [1] OPTIONAL }
bool readNameConstraints(Reading& reading, asn1::blob value, NameSubtrees* to, SubtreeBounds bounds);

/// CertificatePolicies (RFC 5280, section 4.2.1.4): calls `use` with the content octets of each identifier
/// and the whole encoding of its qualifiers (empty if absent) until it returns false.
bool readPolicies(Reading& reading, asn1::blob value,
                  std::function<bool(asn1::blob oid, asn1::blob qualifiers)> const& use);

/// The fields of one DistributionPoint; `start` is null for absent ones.
struct DistributionPointFields {
    asn1::blob name;      ///< A whole DistributionPointName.
    asn1::blob reasons;   ///< Content of a BIT STRING.
    asn1::blob crlIssuer; ///< Content of GeneralNames.
};

/// CRLDistributionPoints (RFC 5280, section 4.2.1.13): calls `use` for each point until it returns false.
bool readDistributionPoints(Reading& reading, asn1::blob value,
                            std::function<bool(DistributionPointFields const&)> const& use);

/// DistributionPointName ::= CHOICE { fullName [0] GeneralNames, nameRelativeToCRLIssuer [1] }. Appends full
/// names to `*names`, and sets `*relative` to the content of a relative name. If `relative` is null, such a
/// name is noted and ignored.
bool readDistributionPointName(Reading& reading, asn1::blob name, std::vector<GeneralName>* names,
                               asn1::blob* relative);

/// The first 16 named bits in the content of a BIT STRING: bit i of the result is the named bit i.
unsigned readNamedBits(asn1::blob content);

/// IssuingDistributionPoint (RFC 5280, section 5.2.5).
struct IssuingDistributionPointFields {
    DistributionPointFields point; ///< Its `reasons` are onlySomeReasons; it has no crlIssuer.
    bool onlyUserCertificates = false;
    bool onlyCaCertificates = false;
    bool isIndirect = false;
    bool onlyAttributeCertificates = false;
};
bool readIssuingDistributionPoint(Reading& reading, asn1::blob value, IssuingDistributionPointFields* to);

/// PolicyMappings (RFC 5280, section 4.2.1.5), which must not be empty.
bool readPolicyMappings(Reading& reading, asn1::blob value, std::vector<EquivalentPolicies>* to);

/// PolicyConstraints (RFC 5280, section 4.2.1.11), which must have at least one member.
bool readPolicyConstraints(Reading& reading, asn1::blob value, PolicyConstraintNumbers* to);

/// The full names of all points of CRLDistributionPoints (RFC 5280, section 4.2.1.13). Notes other forms.
bool readDistributionPoints(Reading& reading, asn1::blob value, std::vector<GeneralName>* to);

/// SubjectKeyIdentifier ::= OCTET STRING
bool readKeyIdentifier(Reading& reading, asn1::blob value, std::vector<unsigned char>* to);

/// Sets `*to` to the keyIdentifier of an AuthorityKeyIdentifier (RFC 5280, section 4.2.1.1), if there is one.
bool readAuthorityKeyId(Reading& reading, asn1::blob value, std::vector<unsigned char>* to);

/// The content octets of CRLNumber ::= INTEGER.
bool readCrlNumber(Reading& reading, asn1::blob value, std::vector<unsigned char>* to);

/// Implements a public function: reads without diagnostics.
template <typename To>
bool parse(bool (*read)(Reading&, asn1::blob, To*), asn1::blob value, To* to, Refusal* refusal) {
    *to = To();
    Reading reading(value, refusal);
    return read(reading, value, to);
}

} // namespace detail
