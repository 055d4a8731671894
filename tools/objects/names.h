/// Names in the options of the program. Both functions complain and return nothing where the library rejects
/// the text.
#pragma once

#include "sealkit/name.h"

#include <optional>
#include <string>
#include <vector>

/// The whole encoding of a Name in the form of `parseNameText` (name_text.h).
std::optional<std::vector<unsigned char>> readSubject(std::string const& text);

/// The same, in the form of `parseNameTemplate`, filled in from the whole encoding of a Name.
std::optional<std::vector<unsigned char>> readSubjectTemplate(std::string const& text, asn1::blob from);

/// An alternative name in the form of `parseGeneralNameText` (name_text.h).
std::optional<GeneralName> readAlternativeName(std::string const& text);
