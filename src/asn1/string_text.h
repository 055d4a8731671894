/// Converts ASN.1 strings to UTF-8.
#pragma once

#include "sealkit/blob.h"

#include <string>

namespace detail {

/// Whether the tag is that of a primitive character string.
bool isStringTag(unsigned tag);

/// The content of a string in UTF-8. BMPString and UniversalString are converted, TeletexString is read as
/// ISO 8859-1 unless it is UTF-8, and other types are unchanged.
std::string stringText(unsigned tag, asn1::blob content);

} // namespace detail
