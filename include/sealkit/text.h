/// Text of unknown origin, made safe to show.
///
/// | name            | what it is                                                        |
/// | --------------- | ----------------------------------------------------------------- |
/// | `printable`     | one text, escaped so that it cannot control a terminal or mislead |
/// | `printableLine` | the same for a line that already contains escaped texts           |
///
/// Names, addresses, file names and messages from certificates and files may hold any byte. Unescaped, they
/// can move the cursor of a terminal, reverse the direction of a line, or hide a part of it. The following
/// are escaped, byte by byte in the form `\xNN`:
///
/// - bytes that are not UTF-8 (RFC 3629);
/// - controls (the Unicode category Cc), line feed and tab included;
/// - format characters (Cf), which include those that change the direction of writing;
/// - separators (Zs, Zl, Zp) other than the space;
/// - all code points with the property Default_Ignorable_Code_Point, which have no glyph, assigned or not;
/// - characters with a blank glyph, such as U+2800.
///
/// Not here: characters that merely resemble each other, such as Latin and Cyrillic letters.
#pragma once

#include "sealkit/detail/export.h"

#include <string>
#include <string_view>

/// `text` with these bytes and characters escaped, and each backslash doubled: different texts always give
/// different results, and the result contains no line feed. Text that needs no escape and has no backslash is
/// unchanged.
SEALKIT_API std::string printable(std::string_view text);

/// Like `printable`, but backslashes are unchanged: a second safeguard for lines composed of texts that
/// `printable` has escaped. Applying it again changes nothing. Different lines may give the same result.
SEALKIT_API std::string printableLine(std::string_view line);
