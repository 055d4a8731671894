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
/// | `isPlainName`      | either                                   | whether its text shows it as it is |
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
/// A leading "/" makes "/" the separator, otherwise it is ",". A backslash takes the next character as it is.
/// Attributes are known by their usual short names in any case, or by `parseOid` (oid_names.h). Values are
/// UTF-8 without control and invisible characters; a country has two letters. Empty, with a reason, if `text`
/// is malformed; the offset is that of the attribute in `text`.
SEALKIT_API std::vector<unsigned char> parseNameText(std::string_view text, Refusal* refusal = nullptr);

/// As `parseNameText`, with each "{ATTRIBUTE}" in a value replaced by the value of that attribute in `from`,
/// the whole encoding of a Name: the first one, if there are several. What comes from there is a value and
/// never more: a separator in it adds no attribute. Fails if `from` lacks the attribute.
SEALKIT_API std::vector<unsigned char> parseNameTemplate(std::string_view text, asn1::blob from,
                                                         Refusal* refusal = nullptr);

/// All attributes of a Name, given by its whole encoding, in their own order: "C=UY, O=Acme+OU=east, CN=ca".
/// Attributes without a name show their dotted form. BMPStrings and UniversalStrings are converted to UTF-8,
/// TeletexStrings are taken for ISO 8859-1 where they are not UTF-8, and other strings stay as they are; what
/// is no string shows as "#" and its encoding in hexadecimal. "(malformed)" where `name` is not a SEQUENCE.
SEALKIT_API std::string nameText(asn1::blob name);

/// Reads an alternative name, the kind in any case. Returns false, with a reason, and leaves `*to` unchanged
/// if `text` is malformed.
///
/// | text                      | name                                                                         |
/// | ------------------------- | ---------------------------------------------------------------------------- |
/// | "DNS:host"                | dNSName, perhaps with a wildcard                                             |
/// | "IP:address"              | iPAddress                                                                    |
/// | "email:mailbox"           | rfc822Name                                                                   |
/// | "URI:address"             | uniformResourceIdentifier                                                    |
/// | "dirName:/CN=name"        | directoryName, in the form of `parseNameText`                                |
/// | "RID:1.2.3"               | registeredID                                                                 |
/// | "otherName:1.2.3;UTF8:text" | otherName of that type, whose value is a UTF8String; "IA5:" for an IA5String |
SEALKIT_API bool parseGeneralNameText(std::string_view text, GeneralName* to, Refusal* refusal = nullptr);

/// Reads a subtree of names as name constraints have them (RFC 5280, section 4.2.1.10), on the same terms.
///
/// | text                   | names                                                                                 |
/// | ---------------------- | ------------------------------------------------------------------------------------- |
/// | "DNS:a.example"        | the host and all below it; a leading full stop is dropped                             |
/// | "IP:10.0.0.0/8"        | addresses: a number of bits or a mask behind the "/", without it this address alone   |
/// | "email:a.example"      | mailboxes of this host; ".a.example" those of hosts below it; "x@a.example" one       |
/// | "URI:a.example"        | addresses at this host; ".a.example" those at hosts below it                          |
/// | "dirName:/O=Acme"      | names that begin with these attributes                                                |
SEALKIT_API bool parseSubtreeText(std::string_view text, GeneralName* to, Refusal* refusal = nullptr);

/// A name with its kind: "DNS: a.test", "IP: 2001:db8::1", "Name: C=UY, CN=ca" of a directoryName, "REG ID:
/// 1.2.3". An address with a mask, as name constraints have them, shows as "IP: 10.0.0.0/8", or with the
/// whole mask behind the "/" where it is not a prefix. An otherName shows its type and its value: a string of
/// a type that has a name as it is, and other values in hexadecimal. Other kinds show their data in
/// hexadecimal; long data are cut, and their length follows.
SEALKIT_API std::string generalNameText(GeneralName const& name);

/// Whether every value of a Name, given by its whole encoding, is a string that shows itself as it is: UTF-8
/// without what `printable` (text.h) escapes, the backslash aside.
SEALKIT_API bool isPlainName(asn1::blob name);
/// Whether it is a host, address, mailbox or URI as `parseGeneralNameText` reads them.
SEALKIT_API bool isPlainName(GeneralName const& name);
