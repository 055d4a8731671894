/// The inputs of the operations: the same bytes for every library and in every run. Keys are those
/// of tests/vectors and of this folder, or derived from a seed; certificates and messages are made by
/// sealkit.
///
/// Each input is made when it is first used, and kept. This header includes no library, because names of
/// sealkit and of its peers would collide.
#pragma once

#include "row.h"

#include <string>

namespace bench {

/// `size` bytes, at most `recordSize`, without a pattern.
View message(size_t size);
/// A key and an IV of up to 64 bytes.
View key(size_t size);
View iv(size_t size);
/// A digest, for signing.
View digest(size_t size);

inline constexpr char password[] = "password";
inline constexpr unsigned iterations = 2048; ///< Of PBKDF2, everywhere.

/// A private key in its own DER (PKCS#1, SEC 1) and its SubjectPublicKeyInfo.
struct KeyPair {
    Bytes privateKey;
    Bytes publicKey;
};
/// 1024, 2048, 3072, 4096 or 8192 bits.
KeyPair const& rsaKey(unsigned bits);
/// 256, 384 or 521 bits.
KeyPair const& ecKey(unsigned bits);

/// Three certificates in DER, valid until 2049. The leaf has a subject of six attributes, three DNS names and
/// six extensions.
struct Chain {
    Bytes leaf;
    Bytes intermediate;
    Bytes root;
};
Chain const& rsaChain();
Chain const& p256Chain();

/// The self-signed RSA certificate number `number`: a copy of the first with its serial number, name and key
/// identifier changed, and therefore with a wrong signature, which no reader checks.
Bytes numberedCertificate(size_t number);
/// A bundle of PEM with this many of these certificates.
std::string bundle(size_t count);
inline constexpr size_t bundleSize = 150;

/// The leaf of `rsaChain` with its key and the intermediate, under `password`: PBES2 with AES-256 and
/// HMAC-SHA-256.
Bytes const& pkcs12();
/// A message of 4 KiB that the same leaf signed, with the leaf and the intermediate.
Bytes const& signedMessage();
/// A CRL with this many entries, signed by a P-256 key. Entry i has the serial number `crlSerial(i)`.
Bytes crl(size_t entries);
Bytes crlSerial(size_t index);

/// The seconds since 1970 at which chains are validated.
inline constexpr long long validationTime = 1'748'779'200;

} // namespace bench
