/// Keys in their algorithm-independent containers.
///
/// | container                              | read                  | written                |
/// |----------------------------------------|-----------------------|------------------------|
/// | SubjectPublicKeyInfo (RFC 5280, 4.1)   | `parsePkcs8PublicKey` | `encodePkcs8PublicKey` |
#pragma once

#include "sealkit/keys.h"

#include <memory>
#include <vector>

/// The key within a SubjectPublicKeyInfo ::= SEQUENCE { algorithm AlgorithmIdentifier,
/// subjectPublicKey BIT STRING }. Null when `der` is malformed, has bytes behind it, names an
/// algorithm other than those of keys.h, or holds a key that its class refuses.
SEALKIT_API std::unique_ptr<PublicKey> parsePkcs8PublicKey(asn1::blob der);

/// The SubjectPublicKeyInfo of `key`, or of the public half of a private key.
SEALKIT_API std::vector<unsigned char> encodePkcs8PublicKey(PublicKey const& key);
