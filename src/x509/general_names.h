/// GeneralNames (RFC 5280, section 4.2.1.6).
#pragma once

#include "asn1/element.h"
#include "sealkit/name.h"

#include <iosfwd>
#include <vector>

namespace detail {

/// Takes the current element as a name with one of the context tags 0 to 8. The size of an address is
/// unchecked.
bool takeGeneralName(Level& level, GeneralName* name, char const* field = nullptr);

/// Appends the names in the content of GeneralNames ::= SEQUENCE OF GeneralName. Addresses must have 4 or 16
/// octets.
bool appendGeneralNames(Reading& reading, asn1::blob content, std::vector<GeneralName>* names);

/// The same for the whole SEQUENCE.
bool readGeneralNames(Reading& reading, asn1::blob value, std::vector<GeneralName>* names);

/// Whether a name has a tag of GeneralName with the right constructed bit and, if an address, a valid length.
bool isWritable(GeneralName const& name);

/// Encodes GeneralNames; empty if there are no names.
std::vector<unsigned char> encodeGeneralNames(std::vector<GeneralName> const& names);

/// Writes a name as a line: `indent`, the text of its type, ": " and its data.
void dumpGeneralName(std::ostream& out, char const* indent, GeneralName const& name);

/// Writes `title` as a line and each name as another; nothing if there are no names.
void dumpGeneralNames(std::ostream& out, char const* title, char const* indent,
                      std::vector<GeneralName> const& names);

} // namespace detail
