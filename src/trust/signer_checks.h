/// The checks of the signers of one message.
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

/// The certificate under whose key a signature verifies, or why it verifies under none.
struct SignatureCheck {
    std::shared_ptr<X509Certificate>
        certificate; ///< Otherwise the first that the signer may mean; may be null.
    std::optional<MessageFindingId> wrong;
};

/// What several signers need is worked out once, so that the time does not grow with the product of signers
/// and certificates, nor with that of signers and content.
class SignerChecks {
public:
    /// Everything that is passed must outlive the object.
    SignerChecks(PKCS7SignedData const& message, CertificateStore const& store,
                 CertificateChain const& certificates, PathOptions const& options,
                 PathSearchOptions const& limits = {});

    /// Takes the content of the message, or `detachedContent` where the message has none.
    std::optional<MessageFindingId> setContent(asn1::blob detachedContent);

    /// Whether the signer signed the content. Type and digest are those of the attributes that are signed,
    /// not those that the members of the signer hold by now. The certificate is among all candidates, or a
    /// self-signed one of the store.
    SignatureCheck check(PKCS7SignerInfo const& signer);
    /// Whether the counter-signer signed the signature (RFC 5652, section 11.4).
    SignatureCheck checkCounterSigner(PKCS7SignerInfo const& counterSigner, asn1::blob signature);

    /// The chain of a certificate, if it was searched.
    std::shared_ptr<PathVerdict const>
    findKnownPath(std::shared_ptr<X509Certificate> const& certificate) const;
    /// The chain of a certificate.
    std::shared_ptr<PathVerdict const> findPath(std::shared_ptr<X509Certificate> const& certificate);

private:
    /// What is signed.
    struct Subject {
        asn1::blob bytes;
        /// That attributes must name; nothing for a signature, which has none.
        std::optional<asn1::blob> type;
        size_t contentChecks = 0;             ///< How many signatures read all of the bytes.
        std::optional<bool> isLikeAttributes; ///< As `looksLikeSignedAttributes` has it, once it was asked.
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
    std::deque<std::vector<unsigned char>> rewrittenIssuers; ///< What keys of the index are views of.
    /// By issuer and serial number, and by key identifier without an issuer.
    std::map<std::pair<std::string_view, std::string_view>, CertificateChain> candidates;
    std::map<X509Certificate const*, std::unique_ptr<PublicKey>> keys;
    std::map<X509Certificate const*, std::shared_ptr<PathVerdict const>> paths;
};

/// The hash of what is signed; `none` for Ed25519 and for algorithms that are not supported. It may be
/// another than the digest algorithm, which is that of the content.
HashID signatureHashOf(PKCS7SignerInfo const& signer);

/// Whether the signer signs attributes, and not the content alone.
inline bool hasAttributes(PKCS7SignerInfo const& signer) {
    return signer.form() == nullptr || signer.form()->hasAttributes;
}

} // namespace detail
