/// Names in the options of the program. These functions complain and return nothing if the library rejects
/// the text.
#pragma once

#include "sealkit/name.h"

#include <optional>
#include <string>
#include <vector>

/// The whole encoding of the Name that `parseNameText` (name_text.h) reads.
std::optional<std::vector<unsigned char>> readSubject(std::string const& text);

/// The same for `parseNameTemplate`, filled in from the whole encoding of a Name.
std::optional<std::vector<unsigned char>> readSubjectTemplate(std::string const& text, asn1::blob from);

/// The alternative name that `parseGeneralNameText` (name_text.h) reads.
std::optional<GeneralName> readAlternativeName(std::string const& text);
