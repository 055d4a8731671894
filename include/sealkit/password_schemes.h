/// The password-based encryption schemes that the readers of keys and of PKCS#12 accept.
///
/// | member            | what it is                                         |
/// | ----------------- | -------------------------------------------------- |
/// | `PasswordSchemes` | the option of the readers                          |
/// | `Rc2Decryptor`    | an implementation of RC2, which this library lacks |
///
/// Without this option the readers accept the schemes that pbes2.h lists, and those of PKCS#12 also
/// `pbe1_crypt`. With `PasswordSchemes::all` they decrypt the following ones as well, which are never used to
/// encrypt:
///
/// | scheme | key derivation | cipher | standard |
/// | --- | --- | --- | --- |
/// | PBES2 | PBKDF2 with hmacWithSHA224, -SHA384, -SHA512 or -SHA512-256; scrypt | DES, RC2 | RFC 8018, RFC 7914 |
/// | pbeWithMD5AndDES-CBC, pbeWithSHA1AndDES-CBC | PBKDF1 | DES | RFC 8018, section 6.1 |
/// | pbeWithMD5AndRC2-CBC, pbeWithSHA1AndRC2-CBC | PBKDF1 | RC2 of 64 bits | the same |
/// | pbeWithSHAAnd128BitRC4, pbeWithSHAAnd40BitRC4 | `pkcs12_kdf` | RC4 | RFC 7292, appendix C |
/// | pbeWithSHAAnd3-KeyTripleDES-CBC, pbeWithSHAAnd2-KeyTripleDES-CBC | the same | triple DES | the same |
/// | pbeWithSHAAnd128BitRC2-CBC, pbewithSHAAnd40BitRC2-CBC | the same | RC2 | the same |
///
/// `KeyEncryption::isWeak` tells whose keys are short enough to be searched.
#pragma once

#include "sealkit/blob.h"

/// Decrypts `data`, whole blocks, with RC2 in CBC mode (RFC 2268) to `out`, which has the same size. The key
/// has 1 to 16 bytes, the IV 8.
using Rc2Decryptor = void (*)(asn1::blob key, unsigned effectiveBits, asn1::blob iv, asn1::blob data,
                              unsigned char* out);

/// The schemes that are accepted. The defaults are those of the functions without options.
struct PasswordSchemes {
    bool all = false;           ///< All schemes of the table.
    Rc2Decryptor rc2 = nullptr; ///< If null, RC2 is unsupported, and the refusal names the scheme.
};
