/// Comments before PEM blocks, as OpenSSL and others write them. Every reader ignores them.
#pragma once

#include <string>
#include <string_view>

/// The line "FIELDtext". Control characters are escaped, and so are five hyphens in a row, because some
/// readers of PEM search for them anywhere in a line.
std::string pemComment(std::string_view field, std::string_view text);

/// The line with the friendly name of PKCS#12; empty if there is no name.
std::string friendlyNameComment(std::string_view name);
