// Names compared as RFC 5280, section 7.1, asks for: without regard to case and to the width of white space.
#pragma once

#include "sealkit/blob.h"

#include <string>
#include <string_view>

namespace detail {

/// A Name (a whole SEQUENCE) in the form in which equal names have equal bytes: each attribute value that is
/// a PrintableString, UTF8String, IA5String, T61String, BMPString or UniversalString becomes UTF-8 in lower
/// case with its white space compressed; other values stay as they are. Relative names with several
/// attributes are sorted. A malformed Name gives its own bytes after one that no other form begins with. A
/// name within a subtree begins with the form of the subtree's name.
std::string canonicalName(asn1::blob name);

/// The form of one RelativeDistinguishedName, given by the content of its SET. After the form of a Name it
/// makes the form of that Name with it.
std::string canonicalRelativeName(asn1::blob content);

/// Whether a form is that of a malformed name.
bool isMalformedName(std::string_view form);

} // namespace detail
