/// Names as people write them, for what the program makes.
#pragma once

#include "sealkit/name.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Reads a subject, "/C=UY/O=Acme/CN=ca" or "C=UY, O=Acme, CN=ca", into the whole encoding of a Name with the
/// attributes in the order written. A backslash takes the next character as it is. Attributes are known by
/// their usual short names in any case, or by their dotted object identifier. `*problem` says what is
/// wrong.
std::optional<std::vector<unsigned char>> parseSubject(std::string_view text, std::string* problem);

/// Reads an alternative name: "DNS:host", "IP:address", "email:mailbox", "URI:address".
std::optional<GeneralName> parseAlternativeName(std::string_view text, std::string* problem);

/// Whether all that a Name says, in its whole encoding, is text that shows itself as it is: in UTF-8, without control
/// characters and what else deceives a reader.
bool isPlainName(asn1::blob name);

/// Whether it is one that `parseAlternativeName` could have made.
bool isPlainName(GeneralName const& name);

/// The content octets of an object identifier in dotted form; empty when it is none.
std::vector<unsigned char> encodeOid(std::string_view dotted);
