/// PKCS#10 certificate requests (RFC 2986).
///
/// | member    | what it is                                           | standard                        |
/// | --------- | ---------------------------------------------------- | ------------------------------- |
/// | `X509Req` | a request: its fields, its attributes, its text form | RFC 2986; RFC 2985, section 5.4 |
///
/// Parsing does not verify the requester's signature. Three of the requested extensions are stored in
/// members: subject alternative names, key usage and extended key usage. The others can be read with
/// `X509Req::extensions`.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/keys.h"
#include "sealkit/name.h"
#include "sealkit/x509.h"

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

/// A certificate request.
class SEALKIT_API X509Req : public X509Base {
public:
    DistinguishedName subject;                       ///< Whom the certificate is requested for.
    std::vector<unsigned char> subjectPublicKeyInfo; ///< The whole element.
    std::string challengePassword;                   ///< The octets of the encoding; empty when absent.
    std::vector<GeneralName> subjectAltNames;        ///< Requested.
    unsigned keyUsage = 0;                           ///< Requested: bits of `KeyUsage`.
    unsigned extKeyUsage = 0;                        ///< Requested: bits of `ExtKeyUsage`.

    X509Req() = default;
    X509Req(X509Req const&) = default;
    X509Req(X509Req&&) noexcept = default;
    X509Req& operator=(X509Req const&) = default;
    X509Req& operator=(X509Req&&) noexcept = default;
    ~X509Req() override;

    /// Reads a DER CertificationRequest and copies what it keeps. Returns false if it is malformed, has
    /// trailing bytes, or repeats a known attribute or a requested extension; the object is then partly
    /// filled and must not be used. Unknown attributes and requested extensions that are not stored are named
    /// on standard output, one line each.
    bool parse(unsigned char const* data, unsigned len);
    /// The same.
    bool parseReq(asn1::blob request);
    /// The same, silently and with a reason (refusal.h).
    bool parse(asn1::blob der, Refusal* refusal);

    /// The public key. Null if `subjectPublicKeyInfo` is malformed or its key is unsupported.
    std::unique_ptr<PublicKey> parsePublicKey() const;
    /// The same, silently and with a reason.
    std::unique_ptr<PublicKey> parsePublicKey(Refusal* refusal) const;

    /// Whether the request is signed with the private half of its own key.
    bool verifyOwnSignature() const;

    /// Stores the SubjectPublicKeyInfo of `key`, whose private half must sign the request.
    void setPublicKey(PublicKey const& key);

    /// Sets the subject to `name`, the whole encoding of a Name, as `X509Certificate::setSubject` does.
    bool setSubject(asn1::blob name);

    /// The requested extensions as `sign` writes them: the whole encoding of Extensions (RFC 5280, section
    /// 4.1), empty without extensions. The order is key usage (critical), extended key usage, subject
    /// alternative name (critical if the subject is empty), and then those that were parsed and have no
    /// member. What was parsed and not changed keeps its bytes.
    std::vector<unsigned char> serializeExtensions() const;

    /// Rebuilds the CertificationRequestInfo, with unknown attributes that were parsed. Apart from an
    /// unsuitable key, it fails if the public key is missing, if a usage bit has no name, or if a general
    /// name is malformed.
    bool updateTbs(PrivateKey const& key, HashID hash) override;
    using X509Base::updateTbs;

    /// Writes all fields as text, line by line, the public key at the end. Names and password are not escaped
    /// and may contain any byte.
    void dump(std::ostream& out) const;

    /// The subject's whole encoding. A view into `tbs`, valid while that is unchanged; empty unless `tbs` has
    /// the shape of a CertificationRequestInfo.
    asn1::blob subjectBytes() const;

    /// The requested extensions in their order. Views into `tbs`, valid while that is unchanged.
    std::vector<X509Extension> extensions() const;

private:
    std::vector<unsigned char> subjectElement; ///< As `setSubject` took it.
};
