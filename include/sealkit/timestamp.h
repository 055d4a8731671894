/// Time-stamp messages (RFC 3161): a request that names a digest, and a response with a signed token.
///
/// | member              | what it is                                         | RFC 3161 |
/// | ------------------- | -------------------------------------------------- | -------- |
/// | `TimeStampRequest`  | the digest to be stamped: parsed and written       | 2.4.1    |
/// | `TimeStampResponse` | the answer: a status, and a token if granted       | 2.4.2    |
/// | `TimeStampStatus`   | why a request was refused, or granted with changes | 2.4.2    |
/// | `TimeStampInfo`     | what a token states: what was stamped, and when    | 2.4.2    |
///
/// The token is a `PKCS7SignedData`, whose content is the `TimeStampInfo`. Nothing here compares a response
/// with its request or verifies it: `checkTimeStamp` (message_check.h) does both.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/der.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"
#include "sealkit/pkcs7.h"
#include "sealkit/refusal.h"
#include "sealkit/timepoint.h"

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// TimeStampReq, without extensions.
class SEALKIT_API TimeStampRequest {
public:
    std::uint32_t version = 1;                ///< As it stands in the request; 1 in RFC 3161.
    HashID hashAlgorithm = HashID::none;      ///< The hash of `hashedMessage`.
    std::vector<unsigned char> hashedMessage; ///< The digest to be stamped.
    std::vector<unsigned char> policy;        ///< Content octets of the object identifier; empty when absent.
    std::vector<unsigned char> nonce;         ///< Content octets of the INTEGER; empty when absent.
    unsigned char certReq = 0;                ///< Whether the token shall contain its signer's certificate.

    /// Reads a DER request. An absent certReq is false. Returns false if it is malformed, has trailing bytes,
    /// names an unknown digest algorithm or one without its NULL parameters, or has extensions.
    bool parse(asn1::blob request);
    /// The same, with a reason (refusal.h).
    bool parse(asn1::blob request, Refusal* refusal);
    /// The same. For `FormRules::standard` this also takes BER, and a digest algorithm whose parameters are
    /// absent (RFC 5754, section 2).
    bool parse(asn1::blob request, Refusal* refusal, FormRules forms);

    /// Writes the request, certReq even if it is false.
    void save(DerEncoder& to) const;

    /// Writes the fields to standard output, line by line.
    void dump() const;
    /// The same to `out`.
    void dump(std::ostream& out) const;
};

/// TimeStampResp.
class SEALKIT_API TimeStampResponse {
public:
    std::uint32_t status = 0;               ///< PKIStatus: 0 granted, 1 granted with changes, others refused.
    std::unique_ptr<PKCS7SignedData> token; ///< Null when refused.

    /// Reads a DER response. If it is granted, returns whether the token parses; otherwise there is no token,
    /// and the result is whether the response is well formed. Status strings and failure codes are not kept.
    bool parse(asn1::blob response);
    /// The same, silently and with a reason (refusal.h).
    bool parse(asn1::blob response, Refusal* refusal);
    /// The same, with the certificates and CRLs that `forms` accepts.
    bool parse(asn1::blob response, Refusal* refusal, FormRules forms);

    /// Writes the status and, of a granted response, the token to standard output.
    void dump() const;
    /// The same to `out`. Names are not escaped and may contain any byte.
    void dump(std::ostream& out) const;
};

/// PKIStatus: the result of a request.
enum class TimeStampStatusId : std::uint32_t {
    granted = 0,
    grantedWithModifications = 1,
    rejection = 2,
    waiting = 3,
    revocationWarning = 4,
    revocationNotification = 5,
};

/// PKIFailureInfo: why a request was rejected. The values are the numbers of the bits.
enum class TimeStampFailure : unsigned {
    badAlgorithm = 0,
    badRequest = 2,
    badDataFormat = 5,
    timeNotAvailable = 14,
    unacceptedPolicy = 15,
    unacceptedExtension = 16,
    addInfoNotAvailable = 17,
    systemFailure = 25,
};

/// Every status with its name and sentence, in ascending order.
SEALKIT_API std::span<ReasonText<TimeStampStatusId> const> timeStampStatuses();
/// Every failure with its name and sentence, in ascending order.
SEALKIT_API std::span<ReasonText<TimeStampFailure> const> timeStampFailures();

/// PKIStatusInfo: what a response holds besides its token.
struct SEALKIT_API TimeStampStatus {
    std::uint32_t status = 0;       ///< PKIStatus, by the numbers of `TimeStampStatusId`.
    std::vector<std::string> texts; ///< Messages of the TSA, supposedly UTF-8: they may hold any byte.
    std::vector<TimeStampFailure> failures; ///< Why it was rejected; empty otherwise.

    /// Reads the status of a DER response, and fails if `TimeStampResponse::parse` fails for the status.
    /// Malformed texts and failures are ignored, because no decision depends on them. `refusal` may be null.
    bool parse(asn1::blob response, Refusal* refusal);

    /// The row of `timeStampStatuses`; null for a number without one.
    ReasonText<TimeStampStatusId> const* text() const;
};

/// Accuracy: by how much the time may be wrong. Each part is absent or present.
struct TimeStampAccuracy {
    std::optional<std::uint32_t> seconds;      ///< Any number of whole seconds.
    std::optional<std::uint32_t> milliseconds; ///< 0 to 999.
    std::optional<std::uint32_t> microseconds; ///< 0 to 999.
};

/// TSTInfo of version 1: what a token states.
struct SEALKIT_API TimeStampInfo {
    std::vector<unsigned char> policy; ///< Content octets of the object identifier.
    /// Content octets of the digest's object identifier, known or not.
    std::vector<unsigned char> hashAlgorithm;
    std::vector<unsigned char> hashedMessage;  ///< The digest that is stamped.
    std::vector<unsigned char> serialNumber;   ///< Content octets of the INTEGER.
    TimePoint time;                            ///< In whole seconds.
    std::string fraction;                      ///< The digits of the fraction of a second; empty when absent.
    std::optional<TimeStampAccuracy> accuracy; ///< Nothing when absent.
    bool isOrdered = false;                    ///< Whether tokens of this TSA are ordered by time alone.
    std::vector<unsigned char> nonce;          ///< Content octets of the INTEGER; empty when absent.
    std::vector<unsigned char> authority;      ///< The TSA's GeneralName, a whole element; empty when absent.
    std::vector<unsigned char> extensions;     ///< The content octets of [1]; empty when absent.

    /// Reads a DER TSTInfo. `refusal` may be null.
    bool parse(asn1::blob tstInfo, Refusal* refusal);

    /// Reads what a token states. Fails if its content is of another type or malformed.
    bool parse(PKCS7SignedData const& token, Refusal* refusal);

    /// The hash that was stamped; `HashID::none` for an unknown one.
    HashID hash() const { return getHashID(hashAlgorithm); }
};
