/// Objects described for people: everything that stands in them, in a form that both the text and
/// the JSON of `show` are printed from.
#pragma once

#include "objects/key_file.h"

#include "sealkit/crl.h"
#include "sealkit/keys.h"
#include "sealkit/req.h"
#include "sealkit/x509.h"

#include <nlohmann/json_fwd.hpp>

/// Keys are in camel case. Every text is printable.
using Description = nlohmann::ordered_json;

/// Stands in place of the secrets of a private key.
inline constexpr char secretsNotShown[] = "not shown (--secrets shows them)";

Description describe(X509Certificate const& certificate);
Description describe(X509Crl const& crl);
Description describe(X509Req const& request);
Description describe(PublicKey const& key);

/// The same of DER that the classes may refuse: the reason comes first, then all that can be read. Null if it
/// does not even begin like such an object.
Description describeCertificate(asn1::blob der);
Description describeCrl(asn1::blob der);
Description describeRequest(asn1::blob der);

Description describe(KeyEncryption const& encryption);
/// The public half, and the secrets where that is wished for.
Description describe(PrivateKey const& key, bool withSecrets);

struct Pkcs12File;
/// What it holds as far as it is decrypted, and what it says of the rest.
Description describe(Pkcs12File const& file, bool withSecrets);

/// Bytes as "00:ff", or "(empty)".
std::string hexOf(asn1::blob bytes);
/// The same, cut where it is long; the length is told then.
std::string shortHexOf(asn1::blob bytes);
/// The content octets of an INTEGER as a number: decimal as far as people read it.
std::string numberText(asn1::blob bytes);
