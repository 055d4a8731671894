/// Object identifiers as people read and write them: dotted forms and names.
///
/// | function   | from                        | to                                |
/// | ---------- | --------------------------- | --------------------------------- |
/// | `oidName`  | the content octets          | the name, or else the dotted form |
/// | `parseOid` | the dotted form or the name | the content octets                |
/// | `oidNames` |                             | every name with its dotted form   |
///
/// Names are for displays and messages: no decision of the library depends on them. `oidStr` (oid.h) gives
/// the dotted form.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/refusal.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// An object identifier and the name that the library shows for it.
struct OidName {
    char const* dotted; ///< Numbers and dots: "2.5.29.15".
    char const* name;   ///< The name: "keyUsage".
};

/// All names. No identifier and no name occurs twice.
SEALKIT_API std::span<OidName const> oidNames();

/// The name of an object identifier, given by its content octets: "keyUsage", "SHA3-256", "CN"; the dotted
/// form (`oidStr`) of one that has no name.
SEALKIT_API std::string oidName(asn1::blob oid);

/// The content octets of an object identifier in dotted form, of a name of the table in upper or lower case,
/// or of an extended key usage by its name in RFC 5280 ("serverAuth"). Empty for any other text. The first
/// arc is 0 to 2, the second 0 to 39 (0 to 47 under 2, X.690, section 8.19.4), and every further one fits
/// into 32 bits.
SEALKIT_API std::vector<unsigned char> parseOid(std::string_view text);
/// The same, with a reason.
SEALKIT_API std::vector<unsigned char> parseOid(std::string_view text, Refusal* refusal);
