/// Names as people write and read them.
///
/// | function           | from                                     | to                              |
/// | ------------------ | ---------------------------------------- | ------------------------------- |
/// | `parseNameText`    | "/C=UY/O=Acme" or "C=UY, O=Acme"         | the encoding of a Name          |
/// | `nameText`         | the encoding of a Name                   | "C=UY, O=Acme", every attribute |
/// | `parseGeneralNameText` | "DNS:host", "IP:address", "email:mailbox", "URI:address" | a `GeneralName` |
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

/// The whole encoding of a Name with the attributes of `text` in the order written, each in a SET of its own. A leading
/// "/" makes "/" the separator, otherwise it is ",". A backslash takes the next character as it is. Attributes are
/// known by their usual short names in any case, or by `parseOid` (oid_names.h). Values are UTF-8 without control
/// and invisible characters; a country has two letters. Empty, with a reason, if `text` is malformed; the offset is
/// that of the attribute in `text`.
SEALKIT_API std::vector<unsigned char> parseNameText(std::string_view text, Refusal* refusal = nullptr);

/// All attributes of a Name, given by its whole encoding, in their own order: "C=UY, O=Acme+OU=east, CN=ca". Attributes
/// without a name show their dotted form. BMPStrings and UniversalStrings are converted to UTF-8, TeletexStrings are
/// taken for ISO 8859-1 where they are not UTF-8, and other strings stay as they are; what is no string shows as "#" and
/// its encoding in hexadecimal. "(malformed)" where `name` is not a SEQUENCE.
SEALKIT_API std::string nameText(asn1::blob name);

/// Reads an alternative name: "DNS:host", perhaps with a wildcard, "IP:address", "email:mailbox" or "URI:address", the
/// kind in any case. Returns false, with a reason, and leaves `*to` unchanged if `text` is malformed.
SEALKIT_API bool parseGeneralNameText(std::string_view text, GeneralName* to, Refusal* refusal = nullptr);

/// A name with its kind: "DNS: a.test", "IP: 2001:db8::1", "Name: C=UY, CN=ca" of a directoryName, "REG ID: 1.2.3".
/// An address with a mask, as name constraints have them, shows as "IP: 10.0.0.0/8", or with the whole mask behind
/// the "/" where it is not a prefix. An otherName shows its type and its value in hexadecimal, other kinds their
/// data in hexadecimal; long data are cut, and their length follows.
SEALKIT_API std::string generalNameText(GeneralName const& name);

/// Whether every value of a Name, given by its whole encoding, is a string that shows itself as it is: UTF-8 without
/// what `printable` (text.h) escapes, the backslash aside.
SEALKIT_API bool isPlainName(asn1::blob name);
/// Whether it is a name that `parseGeneralNameText` could have made.
SEALKIT_API bool isPlainName(GeneralName const& name);
