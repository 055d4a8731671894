/// Which schemes of encryption under a password a reader of keys or of PKCS#12 takes.
///
/// | member | what it is |
/// | --- | --- |
/// | `PasswordSchemes` | the option of the readers |
/// | `Rc2Decryptor` | RC2, which this library does not have |
///
/// The readers without this option take what pbes2.h lists, and those of PKCS#12 `pbe1_crypt` beside it. With
/// `PasswordSchemes::all` they decrypt these as well, and nothing is ever encrypted with them:
///
/// | scheme | key derivation | cipher | standard |
/// | --- | --- | --- | --- |
/// | PBES2 | PBKDF2 with hmacWithSHA384 or hmacWithSHA512; scrypt | DES, RC2 | RFC 8018, RFC 7914 |
/// | pbeWithMD5AndDES-CBC, pbeWithSHA1AndDES-CBC | PBKDF1 | DES | RFC 8018, section 6.1 |
/// | pbeWithMD5AndRC2-CBC, pbeWithSHA1AndRC2-CBC | PBKDF1 | RC2 of 64 bits | the same |
/// | pbeWithSHAAnd128BitRC4, pbeWithSHAAnd40BitRC4 | `pkcs12_kdf` | RC4 | RFC 7292, appendix C |
/// | pbeWithSHAAnd3-KeyTripleDES-CBC, pbeWithSHAAnd2-KeyTripleDES-CBC | the same | triple DES | the same |
/// | pbeWithSHAAnd128BitRC2-CBC, pbewithSHAAnd40BitRC2-CBC | the same | RC2 | the same |
///
/// `KeyEncryption::isWeak` tells which of them have keys that can be searched.
#pragma once

#include "sealkit/blob.h"

/// Decrypts `data`, whole blocks, with RC2 in CBC mode (RFC 2268) to `out`, which has room for as many bytes.
/// The key has 1 to 16 bytes, the IV 8.
using Rc2Decryptor = void (*)(asn1::blob key, unsigned effectiveBits, asn1::blob iv, asn1::blob data,
                              unsigned char* out);

/// How files under a password may be encrypted. The defaults are those of the functions without options.
struct PasswordSchemes {
    bool all = false; ///< All schemes of the table.
    Rc2Decryptor rc2 =
        nullptr; ///< Without it, files that are encrypted with RC2 are refused by the name of their scheme.
};
