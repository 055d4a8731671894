// Host names and mailboxes as the standard rules read them.
#pragma once

#include "sealkit/name.h"

#include <optional>
#include <string_view>

namespace detail {

/// Whether the text is a host name: labels of 1 to 63 ASCII letters, digits, hyphens and underscores, of at
/// most 253 characters together. No full stop stands at the end.
bool isHostName(std::string_view text);

/// The same after "*.", where there is that.
bool isHostPattern(std::string_view text);

/// Whether a host is an address, or other programs may read it as one: its last label is a number.
bool isAddressLike(std::string_view host);

/// Mailbox of RFC 5321, section 4.1.2.
struct Mailbox {
    std::string_view local;
    std::string_view host;
};

/// The parts around the last "@". Nothing if one is missing, or if the text has control characters.
std::optional<Mailbox> splitMailbox(std::string_view text);

/// The text of an otherName that is a SmtpUTF8Mailbox (RFC 9598). Nothing for other names; no text if it is
/// malformed.
std::optional<std::string_view> readSmtpUtf8Mailbox(GeneralName const& name);

/// Whether all of it is ASCII.
bool isAscii(std::string_view text);

} // namespace detail
