/// Checks the signers of one message.
#pragma once

#include "sealkit/message_check.h"

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace detail {

/// The certificate whose key verifies a signature, or the reason of the failure.
struct SignatureCheck {
    std::shared_ptr<X509Certificate> certificate; ///< After a failure the first candidate, which may be null.
    std::optional<MessageFindingId> wrong;
};

/// Caches what several signers need. The time then does not grow with the product of signers and
/// certificates, nor with that of signers and content.
class SignerChecks {
public:
    /// All arguments must outlive the object.
    SignerChecks(PKCS7SignedData const& message, CertificateStore const& store,
                 CertificateChain const& certificates, PathOptions const& options,
                 PathSearchOptions const& limits = {});

    /// Takes the content of the message, or `detachedContent` if the message has no content.
    std::optional<MessageFindingId> setContent(asn1::blob detachedContent);

    /// Whether the signer signed the content. Type and digest come from the signed attributes, not from the
    /// current members of the signer. The certificate is one of the candidates or a self-signed one of the
    /// store.
    SignatureCheck check(PKCS7SignerInfo const& signer);
    /// Whether the counter-signer signed the signature (RFC 5652, section 11.4).
    SignatureCheck checkCounterSigner(PKCS7SignerInfo const& counterSigner, asn1::blob signature);

    /// The chain of a certificate, if it was searched before.
    std::shared_ptr<PathVerdict const>
    findKnownPath(std::shared_ptr<X509Certificate> const& certificate) const;
    /// Searches the chain of a certificate.
    std::shared_ptr<PathVerdict const> findPath(std::shared_ptr<X509Certificate> const& certificate);

private:
    /// The signed bytes, and the results about them.
    struct Subject {
        asn1::blob bytes;
        /// The type that attributes must state. A counter-signed signature has no type.
        std::optional<asn1::blob> type;
        size_t contentChecks = 0;             ///< The number of signatures verified over all of the bytes.
        std::optional<bool> isLikeAttributes; ///< The result of `looksLikeSignedAttributes`, once computed.
        std::map<HashID, std::vector<unsigned char>> digests;
    };

    void addCandidate(asn1::blob issuer, asn1::blob name,
                      std::shared_ptr<X509Certificate> const& certificate);
    CertificateChain findCandidates(PKCS7SignerInfo const& signer) const;
    SignatureCheck check(PKCS7SignerInfo const& signer, Subject& subject);
    std::optional<MessageFindingId> checkAttributes(PKCS7SignerInfo const& signer, Subject& subject) const;
    std::optional<MessageFindingId> verify(PKCS7SignerInfo const& signer, X509Certificate const& certificate,
                                           Subject& subject);
    PublicKey const* keyOf(X509Certificate const& certificate);
    static std::vector<unsigned char> const& digestOf(Subject& subject, HashID hash);

    PKCS7SignedData const& message;
    CertificateStore const& store;
    PathOptions options;
    PathSearch search;
    Subject content;
    size_t vainSignatures = 0;
    std::deque<std::vector<unsigned char>> rewrittenIssuers; ///< Keys of the index are views into them.
    /// Candidates by issuer and serial number, or by key identifier with an empty issuer.
    std::map<std::pair<std::string_view, std::string_view>, CertificateChain> candidates;
    std::map<X509Certificate const*, std::unique_ptr<PublicKey>> keys;
    std::map<X509Certificate const*, std::shared_ptr<PathVerdict const>> paths;
};

/// The hash of the signature; `none` for Ed25519 and for unsupported algorithms. It may differ from the
/// digest algorithm, which hashes the content.
HashID signatureHashOf(PKCS7SignerInfo const& signer);

/// Whether the signature is over attributes, instead of the content alone.
inline bool hasAttributes(PKCS7SignerInfo const& signer) {
    return signer.form() == nullptr || signer.form()->hasAttributes;
}

} // namespace detail
