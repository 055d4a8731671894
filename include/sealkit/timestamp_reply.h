/// Answering time-stamp requests (RFC 3161): the TSA's side.
///
/// | member                  | what it is                                                 | RFC 3161 |
/// | ----------------------- | ---------------------------------------------------------- | -------- |
/// | `replyToTimeStamp`      | makes the response to a request: a token, or a rejection   | 2.4.2    |
/// | `TimeStampReplyOptions` | what the TSA states: time, policy, serial number, accuracy | 2.4.2    |
/// | `TimeStampReply`        | the response and its status                                | 2.4.2    |
/// | `TimeStampReplyProblem` | why the TSA itself cannot make a response                  |          |
/// | `isForTimeStamps`       | whether a certificate is that of a TSA                     | 2.3      |
///
/// A faulty request is answered by a response with the status "rejection", which tells what is wrong.
///
/// A request is granted if its digest has the right size and is by SHA-256, SHA-384, SHA-512 or, if accepted,
/// SHA-1, and if the policy that it asks for is one of the TSA's. The token repeats the nonce, names the
/// certificate of its signer in a signing-certificate attribute (RFC 5816), and contains that certificate if
/// the request asks for it.
///
/// Not here: extensions (requests with extensions are rejected), and ensuring the order of tokens, which
/// depends on the caller's clock.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"
#include "sealkit/keys.h"
#include "sealkit/refusal.h"
#include "sealkit/timepoint.h"
#include "sealkit/timestamp.h"
#include "sealkit/x509.h"

#include <memory>
#include <optional>
#include <span>
#include <vector>

/// What a TSA states, and what it accepts.
struct TimeStampReplyOptions {
    TimePoint time; ///< In the years 1 to 9999.
    /// Content octets of the object identifier. For requests without a policy.
    std::vector<unsigned char> policy;
    std::vector<std::vector<unsigned char>> otherPolicies; ///< Further policies that requests may ask for.
    std::vector<unsigned char> serialNumber;   ///< Content octets of an INTEGER; unique for each token.
    std::optional<TimeStampAccuracy> accuracy; ///< Stated in every token; nothing for none.
    bool isOrdered = false;                    ///< Whether tokens of this TSA are ordered by time alone.
    HashID hash = HashID::none; ///< The hash of the signature; `none` for `getMatchingHash` of the key.
    bool acceptSha1 = false;    ///< Whether SHA-1 digests are stamped.
    /// Certificates that follow the signer's in the token, if the request asks for certificates.
    std::vector<std::shared_ptr<X509Certificate>> chain;
};

/// Why the TSA cannot make a response.
enum class TimeStampReplyProblem : unsigned {
    none,     ///< The TSA can.
    otherKey, ///< The key is not that of the certificate.
    notForTimeStamps,
    notValidYet,
    expired,
    unusableOptions,
    keyCannotSign,
};

/// Every problem but `none`, with its name and sentence, in ascending order.
SEALKIT_API std::span<ReasonText<TimeStampReplyProblem> const> timeStampReplyProblems();
/// The row of a problem other than `none`.
SEALKIT_API ReasonText<TimeStampReplyProblem> const& getReasonText(TimeStampReplyProblem problem);

/// A response.
struct TimeStampReply {
    std::vector<unsigned char> encoding; ///< The DER of the TimeStampResp.
    TimeStampStatus status;              ///< The status in the response.

    /// Whether there is a token.
    bool isGranted() const { return status.status == 0; }
};

/// Answers `request`, the DER or BER of a TimeStampReq, as the TSA with this certificate and key. `*reply` is
/// unchanged if the result is a problem.
SEALKIT_API TimeStampReplyProblem replyToTimeStamp(asn1::blob request, X509Certificate const& certificate,
                                                   PrivateKey const& key,
                                                   TimeStampReplyOptions const& options,
                                                   TimeStampReply* reply);

/// Whether time-stamping is the only extended key usage of the certificate, and critical (RFC 3161, section
/// 2.3).
SEALKIT_API bool isForTimeStamps(X509Certificate const& certificate);
