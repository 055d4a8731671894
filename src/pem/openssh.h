/// The readers of OpenSSH's forms, which say why they refuse them.
#pragma once

#include "sealkit/pem.h"

#include "base/reading.h"

#include <memory>
#include <string>
#include <string_view>

namespace detail {

inline constexpr std::string_view opensshLabel = "OPENSSH PRIVATE KEY";

/// The key of a block with that label; null when it is refused. `comment` may be null.
std::unique_ptr<PrivateKey> readOpensshBlock(Reading& reading, PemBlock const& block,
                                             std::string* comment = nullptr);
/// The public key before it, which is never encrypted.
std::unique_ptr<PublicKey> readOpensshPublicBlock(Reading& reading, PemBlock const& block);
/// The key of a line.
std::unique_ptr<PublicKey> readOpensshLine(Reading& reading, std::string_view text,
                                           std::string* comment = nullptr);

} // namespace detail
