// Compares names as RFC 5280, section 7.1, requires: without regard to case and the amount of white space.
#pragma once

#include "sealkit/blob.h"

#include <string>
#include <string_view>

namespace detail {

/// The canonical form of a Name (a whole SEQUENCE). Equal names have equal forms, and the form of a name
/// within a subtree begins with that of the subtree's name. A value of type PrintableString, UTF8String,
/// IA5String, T61String, BMPString or UniversalString becomes lowercase UTF-8 with compressed white space;
/// other values are unchanged. The attributes of a relative name are sorted. The form of a malformed Name is
/// a mark that no other form begins with, and its own bytes.
std::string canonicalName(asn1::blob name);

/// The canonical form of a RelativeDistinguishedName, given by the content of its SET. Appended to the form
/// of a Name, it yields the form of the extended Name.
std::string canonicalRelativeName(asn1::blob content);

/// Whether a form is that of a malformed name.
bool isMalformedName(std::string_view form);

} // namespace detail
