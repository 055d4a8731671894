/// The strings of ASN.1 as UTF-8.
#pragma once

#include "sealkit/blob.h"

#include <string>

namespace detail {

/// Whether it is the tag of a string type with characters, in primitive form.
bool isStringTag(unsigned tag);

/// The content of a string as UTF-8: BMPString and UniversalString are converted, TeletexString is taken for
/// ISO 8859-1 where it is not UTF-8, and other types stay as they are.
std::string stringText(unsigned tag, asn1::blob content);

} // namespace detail
