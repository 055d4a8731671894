/// Names as people write and read them.
///
/// | function           | from                                     | to                              |
/// | ------------------ | ---------------------------------------- | ------------------------------- |
/// | `parseNameText`    | "/C=UY/O=Acme" or "C=UY, O=Acme"         | the encoding of a Name          |
/// | `parseNameTemplate`| "O=Acme, CN={CN}" and a Name             | the encoding of a Name          |
/// | `nameText`         | the encoding of a Name                   | "C=UY, O=Acme", every attribute |
/// | `parseGeneralNameText` | "DNS:host", "IP:address", "email:mailbox", "URI:address" ... | a `GeneralName` |
/// | `parseSubtreeText` | "DNS:a.example", "IP:10.0.0.0/8" ...     | a `GeneralName` of a name constraint |
/// | `generalNameText`  | a `GeneralName`                          | "DNS: host", "IP: 10.0.0.0/8"   |
/// | `isPlainName`      | either                                   | whether its text shows it unchanged |
///
/// The texts that come from names may hold any byte of the input: pass them through `printable` (text.h).
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/name.h"
#include "sealkit/refusal.h"

#include <string>
#include <string_view>
#include <vector>

/// The whole encoding of a Name with the attributes of `text` in the order written, each in a SET of its own.
/// A leading "/" makes "/" the separator, otherwise it is ",". A backslash escapes the next character.
/// Attributes are given by their usual short names, in upper or lower case, or as `parseOid` (oid_names.h)
/// reads them. Values are UTF-8 without control and invisible characters; a country has two letters. Empty,
/// with a reason, if `text` is malformed; the offset is that of the attribute in `text`.
SEALKIT_API std::vector<unsigned char> parseNameText(std::string_view text, Refusal* refusal = nullptr);

/// Like `parseNameText`, but each "{ATTRIBUTE}" in a value is replaced by the first value of that attribute
/// in `from`, the whole encoding of a Name. Separators in the inserted text are part of the value and cannot
/// add attributes. Fails if `from` lacks the attribute.
SEALKIT_API std::vector<unsigned char> parseNameTemplate(std::string_view text, asn1::blob from,
                                                         Refusal* refusal = nullptr);

/// All attributes of a Name, given by its whole encoding, in their order: "C=UY, O=Acme+OU=east, CN=ca".
/// Attributes without a name appear in dotted form. BMPStrings and UniversalStrings are converted to UTF-8;
/// TeletexStrings that are not UTF-8 are read as ISO 8859-1; other strings are unchanged. A value that is not
/// a string appears as "#" and its encoding in hexadecimal. "(malformed)" if `name` is not a SEQUENCE.
SEALKIT_API std::string nameText(asn1::blob name);

/// Reads an alternative name; the kind may be in upper or lower case. Returns false, with a reason, and
/// leaves `*to` unchanged if `text` is malformed.
///
/// | text                      | name                                                                         |
/// | ------------------------- | ---------------------------------------------------------------------------- |
/// | "DNS:host"                | dNSName, also with a wildcard                                                |
/// | "IP:address"              | iPAddress                                                                    |
/// | "email:mailbox"           | rfc822Name                                                                   |
/// | "URI:address"             | uniformResourceIdentifier                                                    |
/// | "dirName:/CN=name"        | directoryName, in the form of `parseNameText`                                |
/// | "RID:1.2.3"               | registeredID                                                                 |
/// | "otherName:1.2.3;UTF8:text" | otherName of that type, whose value is a UTF8String; "IA5:" for an IA5String |
SEALKIT_API bool parseGeneralNameText(std::string_view text, GeneralName* to, Refusal* refusal = nullptr);

/// Reads a subtree of name constraints (RFC 5280, section 4.2.1.10) under the same conditions.
///
/// | text                   | names                                                                                 |
/// | ---------------------- | ------------------------------------------------------------------------------------- |
/// | "DNS:a.example"        | the host and all below it; a leading full stop is dropped                             |
/// | "IP:10.0.0.0/8"        | addresses: the "/" is followed by a number of bits or a mask; without it, one address |
/// | "email:a.example"      | mailboxes of this host; ".a.example" those of hosts below it; "x@a.example" one       |
/// | "URI:a.example"        | addresses at this host; ".a.example" those at hosts below it                          |
/// | "dirName:/O=Acme"      | names that begin with these attributes                                                |
SEALKIT_API bool parseSubtreeText(std::string_view text, GeneralName* to, Refusal* refusal = nullptr);

/// A name with its kind: "DNS: a.test", "IP: 2001:db8::1", "Name: C=UY, CN=ca" of a directoryName, "REG ID:
/// 1.2.3". An address with a mask, as in name constraints, becomes "IP: 10.0.0.0/8", or has the whole mask
/// after the "/" if that is not a prefix. An otherName gives its type and its value: strings of named types
/// unchanged, other values in hexadecimal. Other kinds give their data in hexadecimal; long data are cut, and
/// their length follows.
SEALKIT_API std::string generalNameText(GeneralName const& name);

/// Whether every value of a Name, given by its whole encoding, is a string that can be shown unchanged: UTF-8
/// without characters that `printable` (text.h) escapes, except the backslash.
SEALKIT_API bool isPlainName(asn1::blob name);
/// Whether the name is a host, address, mailbox or URI that `parseGeneralNameText` accepts.
SEALKIT_API bool isPlainName(GeneralName const& name);
