/// Complete descriptions of objects, from which both the text and the JSON of `show` are made.
#pragma once

#include "objects/key_file.h"

#include "sealkit/crl.h"
#include "sealkit/keys.h"
#include "sealkit/req.h"
#include "sealkit/x509.h"

#include <nlohmann/json_fwd.hpp>

/// Keys are in camel case, and every text is printable.
using Description = nlohmann::ordered_json;

/// Replaces the secrets of a private key.
inline constexpr char secretsNotShown[] = "not shown (--secrets shows them)";

Description describe(X509Certificate const& certificate);
Description describe(X509Crl const& crl);
Description describe(X509Req const& request);
Description describe(PublicKey const& key);

/// Describes DER that the classes may refuse: the reason comes first, then all readable parts. Null if it
/// does not even begin like such an object.
Description describeCertificate(asn1::blob der);
Description describeCrl(asn1::blob der);
Description describeRequest(asn1::blob der);

Description describe(KeyEncryption const& encryption);
/// The public half, and the secrets on request.
Description describe(PrivateKey const& key, bool withSecrets);

struct Pkcs12File;
/// The contents as far as they are decrypted, and the reason for the rest.
Description describe(Pkcs12File const& file, bool withSecrets);

/// Bytes as "00:ff", or "(empty)".
std::string hexOf(asn1::blob bytes);
/// The same; a long value is cut and its length appended.
std::string shortHexOf(asn1::blob bytes);
/// The content octets of an INTEGER as a number, decimal up to a readable size.
std::string numberText(asn1::blob bytes);
