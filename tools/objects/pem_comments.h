/// Comments in front of PEM blocks, as OpenSSL and others write them. Every reader ignores them.
#pragma once

#include <string>
#include <string_view>

/// A line "FIELDtext". What a terminal must not get is escaped, and so are five hyphens in a row: some
/// readers of PEM look for those anywhere in a line.
std::string pemComment(std::string_view field, std::string_view text);

/// The line of a name that PKCS#12 gives; nothing for an empty one.
std::string friendlyNameComment(std::string_view name);
