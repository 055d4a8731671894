// Host names and mailboxes under the standard rules.
#pragma once

#include "sealkit/name.h"

#include <optional>
#include <string_view>

namespace detail {

/// Whether the text is a host name: labels of 1 to 63 ASCII letters, digits, hyphens and underscores, at most
/// 253 characters in total, without a trailing full stop.
bool isHostName(std::string_view text);

/// The same, with an optional "*." before the name.
bool isHostPattern(std::string_view text);

/// Whether a program may read the host as an address, because its last label is a number.
bool isAddressLike(std::string_view host);

/// Mailbox of RFC 5321, section 4.1.2.
struct Mailbox {
    std::string_view local;
    std::string_view host;
};

/// Splits at the last "@". Returns nothing if a part is missing or the text has control characters.
std::optional<Mailbox> splitMailbox(std::string_view text);

/// The text of a SmtpUTF8Mailbox (RFC 9598). Returns nothing for other names, and an empty text if it is
/// malformed.
std::optional<std::string_view> readSmtpUtf8Mailbox(GeneralName const& name);

/// Whether the text is ASCII.
bool isAscii(std::string_view text);

} // namespace detail
