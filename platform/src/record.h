/// The binary form of a stored message.
///
///     magic      4 bytes   "KPRC"
///     version    u32       1
///     length     u32       of the body, in bytes
///     body                 the fields, by strictly ascending (id, type)
///     checksum   u32       CRC-32 of everything before it
///
///     field:     id u32, type u8 (`FieldType`), length u32, value
///     value:     boolean: one byte, 0 or 1     u32: 4 bytes     string, raw: the bytes
///                strings: for each its length u32 and its bytes
///
/// Every u32 is big-endian. A message has exactly one such form, and any other is rejected.
#pragma once

#include "kp/message.h"

#include <optional>
#include <string>
#include <string_view>

namespace kp::detail {

/// The binary form; nothing if it is longer than `maxRecordSize`.
std::optional<std::string> encodeRecord(message const& record);

/// The message with the binary form `bytes`; nothing if they are malformed.
std::optional<message> decodeRecord(std::string_view bytes);

} // namespace kp::detail
