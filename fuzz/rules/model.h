/// A question about a chain as plain data: a generator makes it from bytes, the reference validates it, and
/// it is encoded for the library. Every value comes from a small alphabet, so that names, keys and numbers
/// coincide often.
#pragma once

#include "sealkit/path.h"

#include <optional>
#include <string>
#include <vector>

namespace fuzz::model {

using Bytes = std::vector<unsigned char>;

/// A relative name with one attribute.
struct Attribute {
    std::string oid;
    std::string value;
    unsigned tag = 0x0C;
    bool operator==(Attribute const&) const = default;
};
using Name = std::vector<Attribute>;

/// The tags of GeneralName (RFC 5280, section 4.2.1.6).
enum class Kind : unsigned { email = 1, dns = 2, directory = 4, uri = 6, ip = 7, registeredId = 8 };

/// A name, or the base of a subtree. An address is the octets of iPAddress.
struct GeneralName {
    Kind kind = Kind::dns;
    std::string text;
    Name directory;
};

/// Bits of ReasonFlags, without the one that is unused.
inline constexpr unsigned allReasons = 0x1FE;

struct DistributionPoint {
    std::vector<GeneralName> names; ///< fullName; absent if empty.
    unsigned reasons = 0;           ///< Bits of ReasonFlags; absent if 0.
    std::optional<Name> crlIssuer;
};

/// Bits of `Certificate::purposes`.
enum Purpose : unsigned { server = 1, client = 2, mail = 4, code = 8, anyPurpose = 16 };

/// Policies are small numbers, 0 is anyPolicy.
struct PolicyMapping {
    unsigned from = 0;
    unsigned to = 0;
};

/// Keys are numbers, and days are counted from the time of the question.
struct Certificate {
    unsigned version = 3; ///< A certificate of version 1 has no extensions, whichever are set here.
    unsigned serialNumber = 1;
    Name issuer;
    Name subject;
    unsigned key = 0;
    unsigned signer = 0;
    int notBefore = -10;
    int notAfter = 10;
    std::optional<bool> isCa; ///< basicConstraints.
    std::optional<unsigned> pathLength;
    unsigned keyUsage = 0; ///< Bits of `KeyUsage`; absent if 0.
    unsigned purposes = 0; ///< Bits of `Purpose`; absent if 0.
    std::optional<unsigned> subjectKeyId;
    std::optional<unsigned> authorityKeyId;
    std::vector<GeneralName> names; ///< subjectAltName.
    std::vector<GeneralName> permitted;
    std::vector<GeneralName> excluded;
    std::vector<unsigned> policies;
    std::vector<PolicyMapping> mappings;
    std::optional<unsigned> requireExplicitPolicy;
    std::optional<unsigned> inhibitPolicyMapping;
    std::optional<unsigned> inhibitAnyPolicy;
    bool hasUnknownCritical = false;
    std::vector<DistributionPoint> points;
};

/// An entry of a CRL.
struct Revoked {
    unsigned serialNumber = 1;
    std::optional<unsigned> reason; ///< CRLReason.
    std::optional<Name> certificateIssuer;
};

struct Crl {
    Name issuer;
    unsigned signer = 0;
    int thisUpdate = -1;
    std::optional<int> nextUpdate = 1;
    std::optional<unsigned> authorityKeyId;
    unsigned number = 5;
    std::optional<unsigned> deltaBase; ///< BaseCRLNumber.
    bool hasScope = false;             ///< issuingDistributionPoint.
    std::vector<GeneralName> pointNames;
    bool onlyUser = false;
    bool onlyCa = false;
    bool onlyAttribute = false;
    unsigned reasons = 0; ///< onlySomeReasons; absent if 0.
    bool isIndirect = false;
    bool hasUnknownCritical = false;
    std::vector<Revoked> entries;
};

/// The leaf first. The last certificate of the chain is the only one that is trusted.
struct Case {
    std::vector<Certificate> chain;
    std::vector<Crl> crls;
    std::string host;
    std::string address; ///< Octets of iPAddress; empty if not asked for.
    std::string email;
    PathPurpose purpose = PathPurpose::byIdentity;
    bool checkCrls = false;
    bool checkLeafCrlOnly = false;
    std::vector<unsigned> policies;
    bool requirePolicy = false;
    bool inhibitPolicyMapping = false;
    bool inhibitAnyPolicy = false;
};

/// The case of an input. Every input has one.
Case generate(asn1::blob input);

/// The objects of a case in DER, really signed.
Bytes encode(Certificate const& certificate);
Bytes encode(Crl const& crl);
/// Content octets of the identifier of a policy.
Bytes policyOid(unsigned policy);
/// The time from which days are counted.
TimePoint now();

} // namespace fuzz::model
