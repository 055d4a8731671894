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

/// What several signers need is worked out once, so that the time does not grow with the product of signers and
/// certificates, nor with that of signers and content.
class SignerChecks {
public:
    /// Everything that is passed must outlive the object.
    SignerChecks(PKCS7SignedData const& message, CertificateStore const& store,
                 CertificateChain const& certificates, PathOptions const& options,
                 PathSearchOptions const& limits = {});

    /// Takes the content of the message, or `detachedContent` where the message has none.
    std::optional<MessageFindingId> setContent(asn1::blob detachedContent);

    /// As `PKCS7SignedData::findCertificate`, among all candidates, or a self-signed one of the store. May be null.
    std::shared_ptr<X509Certificate> findCertificate(PKCS7SignerInfo const& signer) const;

    /// Nothing when the signer signed the content with the key of the certificate, which may be null. Type and digest
    /// are those of the attributes that are signed, not those that the members of the signer hold by now.
    std::optional<MessageFindingId> checkSignature(PKCS7SignerInfo const& signer,
                                                   std::shared_ptr<X509Certificate> const& certificate);

    /// The chain of a certificate, if it was searched.
    std::shared_ptr<PathVerdict const>
    findKnownPath(std::shared_ptr<X509Certificate> const& certificate) const;
    /// The chain of a certificate.
    std::shared_ptr<PathVerdict const> findPath(std::shared_ptr<X509Certificate> const& certificate);

private:
    std::vector<unsigned char> const& digestOf(HashID hash);

    PKCS7SignedData const& message;
    CertificateStore const& store;
    PathOptions options;
    PathSearch search;
    asn1::blob content;
    std::deque<std::vector<unsigned char>> rewrittenIssuers; ///< What keys of the index are views of.
    std::map<std::pair<std::string_view, std::string_view>, std::shared_ptr<X509Certificate>>
        byIssuerAndSerial;
    std::map<HashID, std::vector<unsigned char>> digests;
    std::map<X509Certificate const*, std::unique_ptr<PublicKey>> keys;
    std::map<X509Certificate const*, std::shared_ptr<PathVerdict const>> paths;
};

} // namespace detail
