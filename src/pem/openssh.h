/// The readers of OpenSSH's formats, with reasons for refusals.
#pragma once

#include "sealkit/pem.h"

#include "base/reading.h"

#include <memory>
#include <string>
#include <string_view>

namespace detail {

inline constexpr std::string_view opensshLabel = "OPENSSH PRIVATE KEY";

/// Reads the private key of a block with OpenSSH's label; null if it is refused. `comment` may be null.
std::unique_ptr<PrivateKey> readOpensshBlock(Reading& reading, PemBlock const& block,
                                             std::string* comment = nullptr);
/// Reads the public key of such a block, which is never encrypted.
std::unique_ptr<PublicKey> readOpensshPublicBlock(Reading& reading, PemBlock const& block);
/// Reads the public key of a line.
std::unique_ptr<PublicKey> readOpensshLine(Reading& reading, std::string_view text,
                                           std::string* comment = nullptr);

} // namespace detail
