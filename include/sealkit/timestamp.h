/// Time-stamp messages (RFC 3161): a request that names a digest, and a response with a signed token.
///
/// | member              | what it is                                         | RFC 3161 |
/// |---------------------|----------------------------------------------------|----------|
/// | `TimeStampRequest`  | what is to be stamped: parsed and written          | 2.4.1    |
/// | `TimeStampResponse` | the answer: a status, and a token when it is good  | 2.4.2    |
///
/// The token is a `PKCS7SignedData`; what it states, the TSTInfo, is that message's content and is not taken
/// apart here. Nor does anything here compare a response with its request, or verify it.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/der.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"
#include "sealkit/pkcs7.h"

#include <cstdint>
#include <memory>
#include <vector>

/// TimeStampReq, without extensions.
class SEALKIT_API TimeStampRequest {
public:
    std::uint32_t version = 1;
    HashID hashAlgorithm = HashID::none;
    std::vector<unsigned char> hashedMessage; ///< The digest to be stamped.
    std::vector<unsigned char> policy;        ///< Content octets of the object identifier; empty when absent.
    std::vector<unsigned char> nonce;         ///< Content octets of the INTEGER; empty when absent.
    unsigned char certReq = 0;                ///< Whether the token is to hold its signer's certificate.

    /// Reads a DER request. An absent certReq is false. False when it is malformed, has bytes behind it, names an
    /// unknown digest algorithm or one without its NULL parameters, or has extensions.
    bool parse(asn1::blob request);

    /// Writes the request, certReq even when it is false.
    void save(DerEncoder& to) const;

    /// Writes the fields to standard output, line by line.
    void dump() const;
};

/// TimeStampResp.
class SEALKIT_API TimeStampResponse {
public:
    std::uint32_t status = 0;               ///< PKIStatus: 0 granted, 1 granted with changes, above refused.
    std::unique_ptr<PKCS7SignedData> token; ///< Null when refused.

    /// Reads a DER response. When it is granted the result is that of parsing the token; otherwise there is no token,
    /// and the result says that the response is well formed. Status strings and failure codes are not kept.
    bool parse(asn1::blob response);

    /// Writes the status and, of a granted response, the token to standard output.
    void dump() const;
};
