/// Answering time-stamp requests (RFC 3161): the TSA's side.
///
/// | member                   | what it is                                                         | RFC 3161 |
/// |--------------------------|--------------------------------------------------------------------|----------|
/// | `replyToTimeStamp`       | makes the response to a request: a token, or a rejection           | 2.4.2    |
/// | `TimeStampReplyOptions`  | what the TSA states: time, policy, serial number, accuracy         | 2.4.2    |
/// | `TimeStampReply`         | the response and its status                                        | 2.4.2    |
/// | `TimeStampReplyProblem`  | why no response can be made at all: it is the TSA's own fault      |          |
/// | `isForTimeStamps`        | whether a certificate is one of a TSA                              | 2.3      |
///
/// What is wrong with a request is said in a response with the status "rejection", which is an answer like
/// another.
///
/// A request is granted if its digest is one of SHA-256, SHA-384 or SHA-512, of SHA-1 where that is accepted,
/// and of the right size, and if the policy that it asks for is one of the TSA's. Its nonce is repeated. The
/// token names the certificate of its signer in a signing-certificate attribute (RFC 5816), and holds it if
/// the request asks for that.
///
/// Not here: extensions, which no request may have; and the order of tokens, which the caller's clock makes.
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
    TimePoint time;                    ///< In the years 1 to 9999.
    std::vector<unsigned char> policy; ///< Content octets of an identifier: for requests that ask for none.
    std::vector<std::vector<unsigned char>> otherPolicies; ///< Those that requests may ask for as well.
    std::vector<unsigned char> serialNumber;   ///< Content octets of an INTEGER, which no other token has.
    std::optional<TimeStampAccuracy> accuracy; ///< Stated in every token; nothing for none.
    bool isOrdered = false;                    ///< Whether tokens of this TSA are ordered by time alone.
    HashID hash = HashID::none;                ///< Of the signature; `getMatchingHash` of the key for none.
    bool acceptSha1 = false;                   ///< Of the digest that is stamped.
    /// Certificates that stand in the token behind the signer's, if the request asks for that.
    std::vector<std::shared_ptr<X509Certificate>> chain;
};

/// Why no response can be made.
enum class TimeStampReplyProblem : unsigned {
    none,
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
    TimeStampStatus status;              ///< What it says.

    /// Whether there is a token.
    bool isGranted() const { return status.status == 0; }
};

/// Answers `request`, the DER of a TimeStampReq, as the TSA with this certificate and key. `*reply` is
/// unchanged where a problem is returned.
SEALKIT_API TimeStampReplyProblem replyToTimeStamp(asn1::blob request, X509Certificate const& certificate,
                                                   PrivateKey const& key,
                                                   TimeStampReplyOptions const& options,
                                                   TimeStampReply* reply);

/// Whether time-stamping is the one purpose of the certificate, critically (RFC 3161, section 2.3).
SEALKIT_API bool isForTimeStamps(X509Certificate const& certificate);
