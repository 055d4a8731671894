/// Every object identifier that the library names, once: content octets under the dotted form, and the name
/// and document it comes from. A test computes the octets from the dotted form.
#pragma once

namespace detail::oid {

// Keys.

// 1.2.840.113549.1.1.1 (RFC 8017)
inline constexpr unsigned char rsaEncryption[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x01};
// 1.2.840.10045.2.1 (id-ecPublicKey, RFC 5480)
inline constexpr unsigned char ecPublicKey[] = {0x2a, 0x86, 0x48, 0xce, 0x3d, 0x02, 0x01};
// 1.3.101.110 (id-X25519, RFC 8410)
inline constexpr unsigned char x25519[] = {0x2b, 0x65, 0x6e};
// 1.3.101.112 (id-Ed25519, RFC 8410)
inline constexpr unsigned char ed25519[] = {0x2b, 0x65, 0x70};

// Signatures.

// 1.2.840.113549.1.1.4 (md5WithRSAEncryption, RFC 8017)
inline constexpr unsigned char md5WithRsa[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x04};
// 1.2.840.113549.1.1.5 (sha1WithRSAEncryption, RFC 8017)
inline constexpr unsigned char sha1WithRsa[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x05};
// 1.2.840.113549.1.1.11 (sha256WithRSAEncryption, RFC 8017)
inline constexpr unsigned char sha256WithRsa[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x0b};
// 1.2.840.113549.1.1.12 (sha384WithRSAEncryption, RFC 8017)
inline constexpr unsigned char sha384WithRsa[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x0c};
// 1.2.840.113549.1.1.13 (sha512WithRSAEncryption, RFC 8017)
inline constexpr unsigned char sha512WithRsa[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x0d};
// 1.2.840.113549.1.1.10 (id-RSASSA-PSS, RFC 8017)
inline constexpr unsigned char rsaPss[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x0a};
// 1.2.840.113549.1.1.8 (id-mgf1, RFC 8017)
inline constexpr unsigned char mgf1[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x08};
// 1.2.840.10045.4.1 (ecdsa-with-SHA1, RFC 3279)
inline constexpr unsigned char ecdsaWithSha1[] = {0x2a, 0x86, 0x48, 0xce, 0x3d, 0x04, 0x01};
// 1.2.840.10045.4.3.1 (ecdsa-with-SHA224, RFC 5758)
inline constexpr unsigned char ecdsaWithSha224[] = {0x2a, 0x86, 0x48, 0xce, 0x3d, 0x04, 0x03, 0x01};
// 1.2.840.10045.4.3.2 (ecdsa-with-SHA256, RFC 5758)
inline constexpr unsigned char ecdsaWithSha256[] = {0x2a, 0x86, 0x48, 0xce, 0x3d, 0x04, 0x03, 0x02};
// 1.2.840.10045.4.3.3 (ecdsa-with-SHA384, RFC 5758)
inline constexpr unsigned char ecdsaWithSha384[] = {0x2a, 0x86, 0x48, 0xce, 0x3d, 0x04, 0x03, 0x03};
// 1.2.840.10045.4.3.4 (ecdsa-with-SHA512, RFC 5758)
inline constexpr unsigned char ecdsaWithSha512[] = {0x2a, 0x86, 0x48, 0xce, 0x3d, 0x04, 0x03, 0x04};
// 1.3.101.113 (id-Ed448, RFC 8410)
inline constexpr unsigned char ed448[] = {0x2b, 0x65, 0x71};

// Encryption of content keys.

// 1.2.840.113549.1.1.7 (id-RSAES-OAEP, RFC 8017)
inline constexpr unsigned char rsaesOaep[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x07};
// 1.2.840.113549.1.1.9 (id-pSpecified, RFC 8017)
inline constexpr unsigned char pSpecified[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x01, 0x09};
// 1.2.840.113549.1.9.16.3.9 (id-alg-PWRI-KEK, RFC 3211)
inline constexpr unsigned char pwriKek[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x10, 0x03, 0x09};
// 2.16.840.1.101.3.4.1.5 (id-aes128-wrap, RFC 3565)
inline constexpr unsigned char aes128Wrap[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x01, 0x05};
// 2.16.840.1.101.3.4.1.25 (id-aes192-wrap, RFC 3565)
inline constexpr unsigned char aes192Wrap[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x01, 0x19};
// 2.16.840.1.101.3.4.1.45 (id-aes256-wrap, RFC 3565)
inline constexpr unsigned char aes256Wrap[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x01, 0x2d};
// 1.3.133.16.840.63.0.2 (dhSinglePass-stdDH-sha1kdf-scheme, RFC 5753)
inline constexpr unsigned char stdDhSha1Kdf[] = {0x2b, 0x81, 0x05, 0x10, 0x86, 0x48, 0x3f, 0x00, 0x02};
// 1.3.132.1.11.1 (dhSinglePass-stdDH-sha256kdf-scheme, RFC 5753)
inline constexpr unsigned char stdDhSha256Kdf[] = {0x2b, 0x81, 0x04, 0x01, 0x0b, 0x01};
// 1.3.132.1.11.2 (dhSinglePass-stdDH-sha384kdf-scheme, RFC 5753)
inline constexpr unsigned char stdDhSha384Kdf[] = {0x2b, 0x81, 0x04, 0x01, 0x0b, 0x02};
// 1.3.132.1.11.3 (dhSinglePass-stdDH-sha512kdf-scheme, RFC 5753)
inline constexpr unsigned char stdDhSha512Kdf[] = {0x2b, 0x81, 0x04, 0x01, 0x0b, 0x03};
// 1.3.133.16.840.63.0.3 (dhSinglePass-cofactorDH-sha1kdf-scheme, RFC 5753)
inline constexpr unsigned char cofactorDhSha1Kdf[] = {0x2b, 0x81, 0x05, 0x10, 0x86, 0x48, 0x3f, 0x00, 0x03};
// 1.3.132.1.14.1 (dhSinglePass-cofactorDH-sha256kdf-scheme, RFC 5753)
inline constexpr unsigned char cofactorDhSha256Kdf[] = {0x2b, 0x81, 0x04, 0x01, 0x0e, 0x01};
// 1.3.132.1.14.2 (dhSinglePass-cofactorDH-sha384kdf-scheme, RFC 5753)
inline constexpr unsigned char cofactorDhSha384Kdf[] = {0x2b, 0x81, 0x04, 0x01, 0x0e, 0x02};
// 1.3.132.1.14.3 (dhSinglePass-cofactorDH-sha512kdf-scheme, RFC 5753)
inline constexpr unsigned char cofactorDhSha512Kdf[] = {0x2b, 0x81, 0x04, 0x01, 0x0e, 0x03};
// 1.2.840.113549.1.9.16.3.19 (dhSinglePass-stdDH-hkdf-sha256-scheme, RFC 8418)
inline constexpr unsigned char stdDhHkdfSha256[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d,
                                                    0x01, 0x09, 0x10, 0x03, 0x13};
// 1.2.840.113549.1.9.16.3.20 (dhSinglePass-stdDH-hkdf-sha384-scheme, RFC 8418)
inline constexpr unsigned char stdDhHkdfSha384[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d,
                                                    0x01, 0x09, 0x10, 0x03, 0x14};
// 1.2.840.113549.1.9.16.3.21 (dhSinglePass-stdDH-hkdf-sha512-scheme, RFC 8418)
inline constexpr unsigned char stdDhHkdfSha512[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d,
                                                    0x01, 0x09, 0x10, 0x03, 0x15};

// Hashes and the HMACs over them.

// 1.2.840.113549.2.5 (id-md5, RFC 8017)
inline constexpr unsigned char md5[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x02, 0x05};
// 1.3.14.3.2.26 (id-sha1, RFC 8017)
inline constexpr unsigned char sha1[] = {0x2b, 0x0e, 0x03, 0x02, 0x1a};
// 2.16.840.1.101.3.4.2.1 (id-sha256, RFC 8017)
inline constexpr unsigned char sha256[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x01};
// 2.16.840.1.101.3.4.2.2 (id-sha384, RFC 8017)
inline constexpr unsigned char sha384[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x02};
// 2.16.840.1.101.3.4.2.3 (id-sha512, RFC 8017)
inline constexpr unsigned char sha512[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x03};
// 2.16.840.1.101.3.4.2.4 (id-sha224, RFC 8017)
inline constexpr unsigned char sha224[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x04};
// 2.16.840.1.101.3.4.2.6 (id-sha512-256, RFC 8017)
inline constexpr unsigned char sha512_256[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x06};
// 1.2.840.113549.2.7 (id-hmacWithSHA1, RFC 8018)
inline constexpr unsigned char hmacWithSha1[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x02, 0x07};
// 1.2.840.113549.2.9 (id-hmacWithSHA256, RFC 8018)
inline constexpr unsigned char hmacWithSha256[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x02, 0x09};
// 1.2.840.113549.2.8 (id-hmacWithSHA224, RFC 8018)
inline constexpr unsigned char hmacWithSha224[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x02, 0x08};
// 1.2.840.113549.2.10 (id-hmacWithSHA384, RFC 8018)
inline constexpr unsigned char hmacWithSha384[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x02, 0x0a};
// 1.2.840.113549.2.11 (id-hmacWithSHA512, RFC 8018)
inline constexpr unsigned char hmacWithSha512[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x02, 0x0b};
// 1.2.840.113549.2.13 (id-hmacWithSHA512-256, RFC 8018)
inline constexpr unsigned char hmacWithSha512_256[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x02, 0x0d};

// Encryption under a password.

// 1.2.840.113549.1.5.12 (id-PBKDF2, RFC 8018)
inline constexpr unsigned char pbkdf2[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x05, 0x0c};
// 1.2.840.113549.1.5.13 (id-PBES2, RFC 8018)
inline constexpr unsigned char pbes2[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x05, 0x0d};
// 1.2.840.113549.1.5.3 (pbeWithMD5AndDES-CBC, RFC 8018)
inline constexpr unsigned char pbeWithMd5AndDes[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x05, 0x03};
// 1.2.840.113549.1.5.6 (pbeWithMD5AndRC2-CBC, RFC 8018)
inline constexpr unsigned char pbeWithMd5AndRc2[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x05, 0x06};
// 1.2.840.113549.1.5.10 (pbeWithSHA1AndDES-CBC, RFC 8018)
inline constexpr unsigned char pbeWithSha1AndDes[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x05, 0x0a};
// 1.2.840.113549.1.5.11 (pbeWithSHA1AndRC2-CBC, RFC 8018)
inline constexpr unsigned char pbeWithSha1AndRc2[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x05, 0x0b};
// 1.2.840.113549.1.5.14 (id-PBMAC1, RFC 8018)
inline constexpr unsigned char pbmac1[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x05, 0x0e};
// 1.3.6.1.4.1.11591.4.11 (id-scrypt, RFC 7914)
inline constexpr unsigned char scrypt[] = {0x2b, 0x06, 0x01, 0x04, 0x01, 0xda, 0x47, 0x04, 0x0b};
// 1.3.14.3.2.7 (desCBC, RFC 8018)
inline constexpr unsigned char desCbc[] = {0x2b, 0x0e, 0x03, 0x02, 0x07};
// 1.2.840.113549.3.2 (rc2CBC, RFC 8018)
inline constexpr unsigned char rc2Cbc[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x03, 0x02};
// 1.2.840.113549.3.7 (des-EDE3-CBC, RFC 8018)
inline constexpr unsigned char desEde3Cbc[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x03, 0x07};
// 2.16.840.1.101.3.4.1.2 (aes128-CBC-PAD, RFC 8018)
inline constexpr unsigned char aes128Cbc[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x01, 0x02};
// 2.16.840.1.101.3.4.1.22 (aes192-CBC-PAD, RFC 8018)
inline constexpr unsigned char aes192Cbc[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x01, 0x16};
// 2.16.840.1.101.3.4.1.42 (aes256-CBC-PAD, RFC 8018)
inline constexpr unsigned char aes256Cbc[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x01, 0x2a};

// Encryption of contents with authentication.

// 2.16.840.1.101.3.4.1.6 (id-aes128-GCM, RFC 5084)
inline constexpr unsigned char aes128Gcm[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x01, 0x06};
// 2.16.840.1.101.3.4.1.26 (id-aes192-GCM, RFC 5084)
inline constexpr unsigned char aes192Gcm[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x01, 0x1a};
// 2.16.840.1.101.3.4.1.46 (id-aes256-GCM, RFC 5084)
inline constexpr unsigned char aes256Gcm[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x01, 0x2e};

// Curves.

// 1.2.840.10045.3.1.1 (secp192r1, RFC 5480)
inline constexpr unsigned char p192[] = {0x2a, 0x86, 0x48, 0xce, 0x3d, 0x03, 0x01, 0x01};
// 1.3.132.0.33 (secp224r1, RFC 5480)
inline constexpr unsigned char p224[] = {0x2b, 0x81, 0x04, 0x00, 0x21};
// 1.2.840.10045.3.1.7 (secp256r1, RFC 5480)
inline constexpr unsigned char p256[] = {0x2a, 0x86, 0x48, 0xce, 0x3d, 0x03, 0x01, 0x07};
// 1.3.132.0.34 (secp384r1, RFC 5480)
inline constexpr unsigned char p384[] = {0x2b, 0x81, 0x04, 0x00, 0x22};
// 1.3.132.0.35 (secp521r1, RFC 5480)
inline constexpr unsigned char p521[] = {0x2b, 0x81, 0x04, 0x00, 0x23};

// Attributes of names.

// 2.5.4.3 (id-at-commonName, RFC 5280)
inline constexpr unsigned char commonName[] = {0x55, 0x04, 0x03};
// 2.5.4.5 (id-at-serialNumber, RFC 5280)
inline constexpr unsigned char serialNumber[] = {0x55, 0x04, 0x05};
// 2.5.4.6 (id-at-countryName, RFC 5280)
inline constexpr unsigned char countryName[] = {0x55, 0x04, 0x06};
// 2.5.4.7 (id-at-localityName, RFC 5280)
inline constexpr unsigned char localityName[] = {0x55, 0x04, 0x07};
// 2.5.4.8 (id-at-stateOrProvinceName, RFC 5280)
inline constexpr unsigned char stateOrProvinceName[] = {0x55, 0x04, 0x08};
// 2.5.4.10 (id-at-organizationName, RFC 5280)
inline constexpr unsigned char organizationName[] = {0x55, 0x04, 0x0a};
// 2.5.4.11 (id-at-organizationalUnitName, RFC 5280)
inline constexpr unsigned char organizationalUnitName[] = {0x55, 0x04, 0x0b};
// 1.2.840.113549.1.9.1 (id-emailAddress, RFC 5280)
inline constexpr unsigned char emailAddress[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x01};

// Other names among alternative names.

// 1.3.6.1.5.5.7.8.9 (id-on-SmtpUTF8Mailbox, RFC 9598)
inline constexpr unsigned char smtpUtf8Mailbox[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x08, 0x09};

// Extensions of certificates.

// 2.5.29.9 (id-ce-subjectDirectoryAttributes, RFC 5280)
inline constexpr unsigned char subjectDirectoryAttributes[] = {0x55, 0x1d, 0x09};
// 2.5.29.14 (id-ce-subjectKeyIdentifier, RFC 5280)
inline constexpr unsigned char subjectKeyIdentifier[] = {0x55, 0x1d, 0x0e};
// 2.5.29.15 (id-ce-keyUsage, RFC 5280)
inline constexpr unsigned char keyUsage[] = {0x55, 0x1d, 0x0f};
// 2.5.29.17 (id-ce-subjectAltName, RFC 5280)
inline constexpr unsigned char subjectAltName[] = {0x55, 0x1d, 0x11};
// 2.5.29.18 (id-ce-issuerAltName, RFC 5280)
inline constexpr unsigned char issuerAltName[] = {0x55, 0x1d, 0x12};
// 2.5.29.19 (id-ce-basicConstraints, RFC 5280)
inline constexpr unsigned char basicConstraints[] = {0x55, 0x1d, 0x13};
// 2.5.29.30 (id-ce-nameConstraints, RFC 5280)
inline constexpr unsigned char nameConstraints[] = {0x55, 0x1d, 0x1e};
// 2.5.29.31 (id-ce-cRLDistributionPoints, RFC 5280)
inline constexpr unsigned char crlDistributionPoints[] = {0x55, 0x1d, 0x1f};
// 2.5.29.32 (id-ce-certificatePolicies, RFC 5280)
inline constexpr unsigned char certificatePolicies[] = {0x55, 0x1d, 0x20};
// 2.5.29.32.0 (anyPolicy, RFC 5280)
inline constexpr unsigned char anyPolicy[] = {0x55, 0x1d, 0x20, 0x00};
// 2.5.29.33 (id-ce-policyMappings, RFC 5280)
inline constexpr unsigned char policyMappings[] = {0x55, 0x1d, 0x21};
// 2.5.29.35 (id-ce-authorityKeyIdentifier, RFC 5280)
inline constexpr unsigned char authorityKeyIdentifier[] = {0x55, 0x1d, 0x23};
// 2.5.29.36 (id-ce-policyConstraints, RFC 5280)
inline constexpr unsigned char policyConstraints[] = {0x55, 0x1d, 0x24};
// 2.5.29.37 (id-ce-extKeyUsage, RFC 5280)
inline constexpr unsigned char extKeyUsage[] = {0x55, 0x1d, 0x25};
// 2.5.29.46 (id-ce-freshestCRL, RFC 5280)
inline constexpr unsigned char freshestCrl[] = {0x55, 0x1d, 0x2e};
// 2.5.29.54 (id-ce-inhibitAnyPolicy, RFC 5280)
inline constexpr unsigned char inhibitAnyPolicy[] = {0x55, 0x1d, 0x36};
// 1.3.6.1.5.5.7.2.1 (id-qt-cps, RFC 5280)
inline constexpr unsigned char cpsQualifier[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x02, 0x01};
// 1.3.6.1.5.5.7.48.1 (id-ad-ocsp, RFC 5280)
inline constexpr unsigned char ocsp[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x30, 0x01};
// 1.3.6.1.5.5.7.48.1.5 (id-pkix-ocsp-nocheck, RFC 6960)
inline constexpr unsigned char ocspNoCheck[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x30, 0x01, 0x05};
// 1.3.6.1.5.5.7.48.2 (id-ad-caIssuers, RFC 5280)
inline constexpr unsigned char caIssuers[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x30, 0x02};
// 1.3.6.1.5.5.7.1.1 (id-pe-authorityInfoAccess, RFC 5280)
inline constexpr unsigned char authorityInfoAccess[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x01, 0x01};
// 1.3.6.1.5.5.7.1.11 (id-pe-subjectInfoAccess, RFC 5280)
inline constexpr unsigned char subjectInfoAccess[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x01, 0x0b};
// 1.3.6.1.4.1.11129.2.4.2 (RFC 6962)
inline constexpr unsigned char signedCertificateTimestamps[] = {0x2b, 0x06, 0x01, 0x04, 0x01,
                                                                0xd6, 0x79, 0x02, 0x04, 0x02};
// 2.16.840.1.113730.1 (a family: what begins with these octets; Netscape Certificate Extensions)
inline constexpr unsigned char netscapeCertificateExtensions[] = {0x60, 0x86, 0x48, 0x01,
                                                                  0x86, 0xf8, 0x42, 0x01};

// Extensions of CRLs and of their entries.

// 2.5.29.20 (id-ce-cRLNumber, RFC 5280)
inline constexpr unsigned char crlNumber[] = {0x55, 0x1d, 0x14};
// 2.5.29.21 (id-ce-cRLReasons, RFC 5280)
inline constexpr unsigned char reasonCode[] = {0x55, 0x1d, 0x15};
// 2.5.29.27 (id-ce-deltaCRLIndicator, RFC 5280)
inline constexpr unsigned char deltaCrlIndicator[] = {0x55, 0x1d, 0x1b};
// 2.5.29.28 (id-ce-issuingDistributionPoint, RFC 5280)
inline constexpr unsigned char issuingDistributionPoint[] = {0x55, 0x1d, 0x1c};
// 2.5.29.29 (id-ce-certificateIssuer, RFC 5280)
inline constexpr unsigned char certificateIssuer[] = {0x55, 0x1d, 0x1d};

// Extended key usages.

// 2.5.29.37.0 (anyExtendedKeyUsage, RFC 5280)
inline constexpr unsigned char anyExtendedKeyUsage[] = {0x55, 0x1d, 0x25, 0x00};
// 1.3.6.1.5.5.7.3.1 (id-kp-serverAuth, RFC 5280)
inline constexpr unsigned char serverAuth[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x01};
// 1.3.6.1.5.5.7.3.2 (id-kp-clientAuth, RFC 5280)
inline constexpr unsigned char clientAuth[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x02};
// 1.3.6.1.5.5.7.3.3 (id-kp-codeSigning, RFC 5280)
inline constexpr unsigned char codeSigning[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x03};
// 1.3.6.1.5.5.7.3.4 (id-kp-emailProtection, RFC 5280)
inline constexpr unsigned char emailProtection[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x04};
// 1.3.6.1.5.5.7.3.8 (id-kp-timeStamping, RFC 5280)
inline constexpr unsigned char timeStamping[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x08};
// 1.3.6.1.5.5.7.3.9 (id-kp-OCSPSigning, RFC 5280)
inline constexpr unsigned char ocspSigning[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x09};
// 1.3.6.1.5.5.7.3.10 (id-kp-dvcs, RFC 3029)
inline constexpr unsigned char dvcs[] = {0x2b, 0x06, 0x01, 0x05, 0x05, 0x07, 0x03, 0x0a};

// Attributes of certificate requests.

// 1.2.840.113549.1.9.7 (pkcs-9-at-challengePassword, RFC 2985)
inline constexpr unsigned char challengePassword[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x07};
// 1.2.840.113549.1.9.14 (pkcs-9-at-extensionRequest, RFC 2985)
inline constexpr unsigned char extensionRequest[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x0e};

// Messages and their attributes.

// 1.2.840.113549.1.7.1 (id-data, RFC 5652)
inline constexpr unsigned char data[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x07, 0x01};
// 1.2.840.113549.1.7.2 (id-signedData, RFC 5652)
inline constexpr unsigned char signedData[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x07, 0x02};
// 1.2.840.113549.1.7.3 (id-envelopedData, RFC 5652)
inline constexpr unsigned char envelopedData[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x07, 0x03};
// 1.2.840.113549.1.7.6 (id-encryptedData, RFC 5652)
inline constexpr unsigned char encryptedData[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x07, 0x06};
// 1.2.840.113549.1.9.16.1.23 (id-ct-authEnvelopedData, RFC 5083)
inline constexpr unsigned char authEnvelopedData[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d,
                                                      0x01, 0x09, 0x10, 0x01, 0x17};
// 1.2.840.113549.1.9.3 (id-contentType, RFC 5652)
inline constexpr unsigned char contentType[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x03};
// 1.2.840.113549.1.9.4 (id-messageDigest, RFC 5652)
inline constexpr unsigned char messageDigest[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x04};
// 1.2.840.113549.1.9.5 (id-signingTime, RFC 5652)
inline constexpr unsigned char signingTime[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x05};
// 1.2.840.113549.1.9.6 (id-countersignature, RFC 5652)
inline constexpr unsigned char counterSignature[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x06};
// 1.3.6.1.4.1.311.2.1.12 (SPC_SP_OPUS_INFO, Windows Authenticode Portable Executable Signature Format)
inline constexpr unsigned char opusInfo[] = {0x2b, 0x06, 0x01, 0x04, 0x01, 0x82, 0x37, 0x02, 0x01, 0x0c};
// 1.3.6.1.4.1.311.3.3.1 (szOID_RFC3161_counterSign, Windows wincrypt.h)
inline constexpr unsigned char msCounterSignature[] = {0x2b, 0x06, 0x01, 0x04, 0x01,
                                                       0x82, 0x37, 0x03, 0x03, 0x01};
// 1.2.840.113549.1.9.16.1.4 (id-ct-TSTInfo, RFC 3161)
inline constexpr unsigned char timeStampInfo[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d,
                                                  0x01, 0x09, 0x10, 0x01, 0x04};
// 1.2.840.113549.1.9.16.2.12 (id-aa-signingCertificate, RFC 5035)
inline constexpr unsigned char signingCertificate[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d,
                                                       0x01, 0x09, 0x10, 0x02, 0x0c};
// 1.2.840.113549.1.9.16.2.14 (id-aa-timeStampToken, RFC 3161)
inline constexpr unsigned char signatureTimeStamp[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d,
                                                       0x01, 0x09, 0x10, 0x02, 0x0e};
// 1.2.840.113549.1.9.16.2.47 (id-aa-signingCertificateV2, RFC 5035)
inline constexpr unsigned char signingCertificateV2[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d,
                                                         0x01, 0x09, 0x10, 0x02, 0x2f};

// Files of certificates and keys.

// 1.2.840.113549.1.9.20 (friendlyName, RFC 2985)
inline constexpr unsigned char friendlyName[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x14};
// 1.2.840.113549.1.9.21 (localKeyId, RFC 2985)
inline constexpr unsigned char localKeyId[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x09, 0x15};
// 1.2.840.113549.1.9.22.1 (x509Certificate, RFC 7292)
inline constexpr unsigned char x509CertificateBag[] = {0x2a, 0x86, 0x48, 0x86, 0xf7,
                                                       0x0d, 0x01, 0x09, 0x16, 0x01};
// 1.2.840.113549.1.12.1.1 (pbeWithSHAAnd128BitRC4, RFC 7292)
inline constexpr unsigned char pbeWithSha1And128BitRc4[] = {0x2a, 0x86, 0x48, 0x86, 0xf7,
                                                            0x0d, 0x01, 0x0c, 0x01, 0x01};
// 1.2.840.113549.1.12.1.2 (pbeWithSHAAnd40BitRC4, RFC 7292)
inline constexpr unsigned char pbeWithSha1And40BitRc4[] = {0x2a, 0x86, 0x48, 0x86, 0xf7,
                                                           0x0d, 0x01, 0x0c, 0x01, 0x02};
// 1.2.840.113549.1.12.1.3 (pbeWithSHAAnd3-KeyTripleDES-CBC, RFC 7292)
inline constexpr unsigned char pbeWithSha1And3KeyTripleDes[] = {0x2a, 0x86, 0x48, 0x86, 0xf7,
                                                                0x0d, 0x01, 0x0c, 0x01, 0x03};
// 1.2.840.113549.1.12.1.4 (pbeWithSHAAnd2-KeyTripleDES-CBC, RFC 7292)
inline constexpr unsigned char pbeWithSha1And2KeyTripleDes[] = {0x2a, 0x86, 0x48, 0x86, 0xf7,
                                                                0x0d, 0x01, 0x0c, 0x01, 0x04};
// 1.2.840.113549.1.12.1.5 (pbeWithSHAAnd128BitRC2-CBC, RFC 7292)
inline constexpr unsigned char pbeWithSha1And128BitRc2[] = {0x2a, 0x86, 0x48, 0x86, 0xf7,
                                                            0x0d, 0x01, 0x0c, 0x01, 0x05};
// 1.2.840.113549.1.12.1.6 (pbewithSHAAnd40BitRC2-CBC, RFC 7292)
inline constexpr unsigned char pbeWithSha1And40BitRc2[] = {0x2a, 0x86, 0x48, 0x86, 0xf7,
                                                           0x0d, 0x01, 0x0c, 0x01, 0x06};
// 1.2.840.113549.1.12.10.1.1 (keyBag, RFC 7292)
inline constexpr unsigned char keyBag[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x0c, 0x0a, 0x01, 0x01};
// 1.2.840.113549.1.12.10.1.2 (pkcs8ShroudedKeyBag, RFC 7292)
inline constexpr unsigned char shroudedKeyBag[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d,
                                                   0x01, 0x0c, 0x0a, 0x01, 0x02};
// 1.2.840.113549.1.12.10.1.3 (certBag, RFC 7292)
inline constexpr unsigned char certBag[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x0c, 0x0a, 0x01, 0x03};
// 1.2.840.113549.1.12.10.1.6 (safeContentsBag, RFC 7292)
inline constexpr unsigned char safeContentsBag[] = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d,
                                                    0x01, 0x0c, 0x0a, 0x01, 0x06};

// 2.16.840.1.113894.746875.1.1 (trustedKeyUsage, Oracle's PKCS#12 KeyStore)
inline constexpr unsigned char trustedKeyUsage[] = {0x60, 0x86, 0x48, 0x01, 0x86, 0xf9,
                                                    0x66, 0xad, 0xca, 0x7b, 0x01, 0x01};

// Key encapsulation.

// 2.16.840.1.101.3.4.4.2 (id-alg-ml-kem-768, RFC 9935)
inline constexpr unsigned char mlkem768[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x04, 0x02};

} // namespace detail::oid
