/// The parameters of RSAES-OAEP (RFC 4055, section 4.1) in messages.
#pragma once

#include "sealkit/oaep.h"

#include "base/reading.h"

#include <vector>

namespace detail {

/// Reads the whole encoding of RSAES-OAEP-params. Refuses unsupported hashes and masks, and a label.
bool readOaepParameters(Reading& reading, asn1::blob parameters, OaepParameters* to);

/// The whole encoding, without fields that have their default values.
std::vector<unsigned char> encodeOaepParameters(OaepParameters const& parameters);

} // namespace detail
