#include "sealkit/oid_names.h"

#include "base/reading.h"
#include "sealkit/oid.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <span>

namespace {

constexpr OidName names[] = {
    // Attributes of names.
    {"2.5.4.3", "CN"},
    {"2.5.4.4", "SN"},
    {"2.5.4.5", "SerialNumber"},
    {"2.5.4.6", "C"},
    {"2.5.4.7", "L"},
    {"2.5.4.8", "S"},
    {"2.5.4.9", "street"},
    {"2.5.4.10", "O"},
    {"2.5.4.11", "OU"},
    {"2.5.4.12", "title"},
    {"2.5.4.15", "businessCategory"},
    {"2.5.4.17", "postalCode"},
    {"2.5.4.42", "GN"},
    {"2.5.4.46", "dnQualifier"},
    {"2.5.4.13", "description"},
    {"2.5.4.16", "postalAddress"},
    {"2.5.4.18", "postOfficeBox"},
    {"2.5.4.20", "telephoneNumber"},
    {"2.5.4.41", "name"},
    {"2.5.4.43", "initials"},
    {"2.5.4.44", "generationQualifier"},
    {"2.5.4.45", "x500UniqueIdentifier"},
    {"2.5.4.65", "pseudonym"},
    {"1.2.840.113549.1.9.2", "unstructuredName"},
    {"1.2.840.113549.1.9.8", "unstructuredAddress"},
    {"1.3.6.1.4.1.311.60.2.1.1", "jurisdictionLocality"},
    {"1.3.6.1.4.1.311.60.2.1.2", "jurisdictionState"},
    {"1.3.6.1.4.1.311.60.2.1.3", "jurisdictionCountry"},
    {"1.2.643.3.131.1.1", "INN"},
    {"1.2.643.100.1", "OGRN"},
    {"1.2.643.100.3", "SNILS"},
    {"2.5.4.97", "organizationIdentifier"},
    {"0.9.2342.19200300.100.1.1", "UID"},
    {"0.9.2342.19200300.100.1.25", "DC"},
    {"1.2.840.113549.1.9.1", "emailAddress"},

    // Extensions of certificates, CRLs and CRL entries.
    {"2.5.29.9", "subjectDirectoryAttributes"},
    {"2.5.29.14", "subjectKeyIdentifier"},
    {"2.5.29.15", "keyUsage"},
    {"2.5.29.16", "privateKeyUsagePeriod"},
    {"2.5.29.17", "subjectAlternativeName"},
    {"2.5.29.18", "issuerAlternativeName"},
    {"2.5.29.19", "basicConstraints"},
    {"2.5.29.20", "crlNumber"},
    {"2.5.29.21", "reasonCode"},
    {"2.5.29.24", "invalidityDate"},
    {"2.5.29.27", "deltaCrlIndicator"},
    {"2.5.29.28", "issuingDistributionPoint"},
    {"2.5.29.29", "certificateIssuer"},
    {"2.5.29.30", "nameConstraints"},
    {"2.5.29.31", "crlDistributionPoints"},
    {"2.5.29.32", "certificatePolicies"},
    {"2.5.29.33", "policyMappings"},
    {"2.5.29.35", "authorityKeyIdentifier"},
    {"2.5.29.36", "policyConstraints"},
    {"2.5.29.37", "extendedKeyUsage"},
    {"2.5.29.46", "freshestCrl"},
    {"2.5.29.54", "inhibitAnyPolicy"},
    {"1.3.6.1.5.5.7.1.1", "authorityInformationAccess"},
    {"1.3.6.1.5.5.7.1.3", "qcStatements"},
    {"1.3.6.1.5.5.7.1.11", "subjectInformationAccess"},
    {"1.3.6.1.5.5.7.1.24", "tlsFeature"},
    {"1.3.6.1.5.5.7.48.1.5", "ocspNoCheck"},
    {"1.3.6.1.4.1.11129.2.4.2", "signedCertificateTimestamps"},
    {"1.3.6.1.4.1.11129.2.4.3", "ctPoison"},
    {"1.3.6.1.4.1.11129.2.4.5", "ocspSignedCertificateTimestamps"},
    {"2.16.840.1.113730.1.1", "netscapeCertType"},
    {"2.16.840.1.113730.1.2", "netscapeBaseUrl"},
    {"2.16.840.1.113730.1.3", "netscapeRevocationUrl"},
    {"2.16.840.1.113730.1.4", "netscapeCaRevocationUrl"},
    {"2.16.840.1.113730.1.7", "netscapeRenewalUrl"},
    {"2.16.840.1.113730.1.8", "netscapeCaPolicyUrl"},
    {"2.16.840.1.113730.1.12", "netscapeSslServerName"},
    {"2.16.840.1.113730.1.13", "netscapeComment"},
    {"1.2.840.113533.7.65.0", "entrustVersion"},
    {"1.3.6.1.4.1.311.20.2", "msCertificateType"},
    {"1.3.6.1.4.1.311.21.1", "msCaVersion"},
    {"1.3.6.1.4.1.311.21.2", "msPreviousCertificateHash"},
    {"1.3.6.1.4.1.311.21.4", "msNextPublication"},
    {"1.3.6.1.4.1.311.21.7", "msCertificateTemplate"},
    {"1.3.6.1.4.1.311.21.10", "msApplicationPolicies"},
    {"1.3.6.1.4.1.311.25.2", "msSecurityIdentifier"},
    {"1.3.6.1.5.5.7.1.2", "biometricInfo"},
    {"1.3.6.1.5.5.7.1.7", "ipAddressBlocks"},
    {"1.3.6.1.5.5.7.1.8", "autonomousSystemNumbers"},
    {"1.3.6.1.5.5.7.1.14", "proxyCertInfo"},

    // Policies, their qualifiers, and other names.
    {"2.5.29.32.0", "anyPolicy"},
    {"1.3.6.1.5.5.7.2.1", "cps"},
    {"1.3.6.1.5.5.7.2.2", "user-notice"},
    {"2.23.140.1.1", "extended-validation"},
    {"2.23.140.1.2.1", "domain-validated"},
    {"2.23.140.1.2.2", "organization-validated"},
    {"2.23.140.1.2.3", "individual-validated"},
    {"1.3.6.1.4.1.311.20.2.3", "userPrincipalName"},
    {"1.3.6.1.5.2.2", "kerberosPrincipalName"},
    {"1.3.6.1.5.5.7.8.5", "xmppAddress"},
    {"1.3.6.1.5.5.7.8.7", "serviceName"},
    {"1.3.6.1.5.5.7.8.9", "smtpUtf8Mailbox"},

    // Qualified certificates and attributes of subjects.
    {"1.3.6.1.5.5.7.11.1", "qcSyntaxV1"},
    {"1.3.6.1.5.5.7.11.2", "qcSyntaxV2"},
    {"0.4.0.1862.1.1", "qcCompliance"},
    {"0.4.0.1862.1.2", "qcLimitValue"},
    {"0.4.0.1862.1.3", "qcRetentionPeriod"},
    {"0.4.0.1862.1.4", "qcSscd"},
    {"0.4.0.1862.1.5", "qcPds"},
    {"0.4.0.1862.1.6", "qcType"},
    {"0.4.0.1862.1.7", "qcLegislation"},
    {"0.4.0.1862.1.6.1", "esign"},
    {"0.4.0.1862.1.6.2", "eseal"},
    {"0.4.0.1862.1.6.3", "web"},
    {"1.3.6.1.5.5.7.9.1", "dateOfBirth"},
    {"1.3.6.1.5.5.7.9.2", "placeOfBirth"},
    {"1.3.6.1.5.5.7.9.3", "gender"},
    {"1.3.6.1.5.5.7.9.4", "countryOfCitizenship"},
    {"1.3.6.1.5.5.7.9.5", "countryOfResidence"},

    // Extended key usages and access methods.
    {"1.3.6.1.5.5.7.3.1", "tls-server"},
    {"1.3.6.1.5.5.7.3.2", "tls-client"},
    {"1.3.6.1.5.5.7.3.3", "code-signing"},
    {"1.3.6.1.5.5.7.3.4", "email-protection"},
    {"1.3.6.1.5.5.7.3.5", "ipsec-end-system"},
    {"1.3.6.1.5.5.7.3.6", "ipsec-tunnel"},
    {"1.3.6.1.5.5.7.3.7", "ipsec-user"},
    {"1.3.6.1.5.5.7.3.17", "ipsec-ike"},
    {"1.3.6.1.5.5.7.3.21", "ssh-client"},
    {"1.3.6.1.5.5.7.3.22", "ssh-server"},
    {"1.3.6.1.5.2.3.4", "kerberos-client"},
    {"1.3.6.1.5.2.3.5", "kerberos-kdc"},
    {"1.3.6.1.4.1.311.10.3.1", "ms-trust-list-signing"},
    {"1.3.6.1.4.1.311.10.3.3", "ms-server-gated-crypto"},
    {"1.3.6.1.4.1.311.10.3.4", "ms-encrypted-file-system"},
    {"1.3.6.1.4.1.311.10.3.12", "ms-document-signing"},
    {"1.3.6.1.4.1.311.20.2.2", "ms-smartcard-logon"},
    {"2.16.840.1.113730.4.1", "netscape-server-gated-crypto"},
    {"1.3.6.1.5.5.7.3.8", "time-stamping"},
    {"1.3.6.1.5.5.7.3.9", "ocsp-signing"},
    {"1.3.6.1.5.5.7.3.10", "dvcs"},
    {"2.5.29.37.0", "any"},
    {"1.3.6.1.5.5.7.48.1", "ocsp"},
    {"1.3.6.1.5.5.7.48.2", "ca-issuers"},
    {"1.3.6.1.5.5.7.48.3", "time-stamping-service"},
    {"1.3.6.1.5.5.7.48.5", "ca-repository"},

    // Attributes of requests, messages and PKCS#12 bags.
    {"1.2.840.113549.1.9.3", "contentType"},
    {"1.2.840.113549.1.9.4", "messageDigest"},
    {"1.2.840.113549.1.9.5", "signingTime"},
    {"1.2.840.113549.1.9.6", "countersignature"},
    {"1.2.840.113549.1.9.7", "challengePassword"},
    {"1.2.840.113549.1.9.14", "extensionRequest"},
    {"1.2.840.113549.1.9.15", "smimeCapabilities"},
    {"1.2.840.113549.1.9.20", "friendlyName"},
    {"1.2.840.113549.1.9.21", "localKeyId"},
    {"1.2.840.113549.1.9.16.2.12", "signingCertificate"},
    {"1.2.840.113549.1.9.16.2.14", "timeStampToken"},
    {"1.2.840.113549.1.9.16.2.47", "signingCertificateV2"},
    {"1.2.840.113549.1.9.52", "cmsAlgorithmProtection"},
    {"1.3.6.1.4.1.311.2.1.12", "spcSpOpusInfo"},
    {"1.3.6.1.4.1.311.3.3.1", "msCounterSignature"},

    // Content types, bag types and their contents.
    {"1.2.840.113549.1.7.1", "data"},
    {"1.2.840.113549.1.7.2", "signedData"},
    {"1.2.840.113549.1.7.3", "envelopedData"},
    {"1.2.840.113549.1.7.4", "signedAndEnvelopedData"},
    {"1.2.840.113549.1.7.5", "digestedData"},
    {"1.2.840.113549.1.7.6", "encryptedData"},
    {"1.2.840.113549.1.9.16.1.1", "receipt"},
    {"1.2.840.113549.1.9.16.1.2", "authenticatedData"},
    {"1.2.840.113549.1.9.16.1.4", "TSTInfo"},
    {"1.2.840.113549.1.9.16.1.9", "compressedData"},
    {"1.2.840.113549.1.9.16.1.23", "authEnvelopedData"},
    {"1.3.6.1.4.1.311.2.1.4", "spcIndirectData"},
    {"1.2.840.113549.1.9.22.1", "x509Certificate"},
    {"1.2.840.113549.1.9.22.2", "sdsiCertificate"},
    {"1.2.840.113549.1.9.23.1", "x509Crl"},
    {"1.2.840.113549.1.12.10.1.1", "keyBag"},
    {"1.2.840.113549.1.12.10.1.2", "pkcs8ShroudedKeyBag"},
    {"1.2.840.113549.1.12.10.1.3", "certBag"},
    {"1.2.840.113549.1.12.10.1.4", "crlBag"},
    {"1.2.840.113549.1.12.10.1.5", "secretBag"},
    {"1.2.840.113549.1.12.10.1.6", "safeContentsBag"},

    // Keys and curves.
    {"1.2.840.113549.1.1.1", "RSA"},
    {"1.2.840.113549.1.1.7", "RSAES-OAEP"},
    {"1.2.840.113549.1.1.10", "RSASSA-PSS"},
    {"1.2.840.10045.2.1", "EC"},
    {"1.2.840.10040.4.1", "DSA"},
    {"1.2.840.113549.1.3.1", "DH"},
    {"1.2.840.10046.2.1", "X9.42 DH"},
    {"1.3.101.110", "X25519"},
    {"1.3.101.111", "X448"},
    {"1.3.101.112", "ED25519"},
    {"1.3.101.113", "ED448"},
    {"2.16.840.1.101.3.4.4.1", "ML-KEM-512"},
    {"2.16.840.1.101.3.4.4.2", "ML-KEM-768"},
    {"2.16.840.1.101.3.4.4.3", "ML-KEM-1024"},
    {"2.16.840.1.101.3.4.3.17", "ML-DSA-44"},
    {"2.16.840.1.101.3.4.3.18", "ML-DSA-65"},
    {"2.16.840.1.101.3.4.3.19", "ML-DSA-87"},
    {"2.16.840.1.101.3.4.3.20", "SLH-DSA-SHA2-128s"},
    {"2.16.840.1.101.3.4.3.21", "SLH-DSA-SHA2-128f"},
    {"2.16.840.1.101.3.4.3.22", "SLH-DSA-SHA2-192s"},
    {"2.16.840.1.101.3.4.3.23", "SLH-DSA-SHA2-192f"},
    {"2.16.840.1.101.3.4.3.24", "SLH-DSA-SHA2-256s"},
    {"2.16.840.1.101.3.4.3.25", "SLH-DSA-SHA2-256f"},
    {"2.16.840.1.101.3.4.3.26", "SLH-DSA-SHAKE-128s"},
    {"2.16.840.1.101.3.4.3.27", "SLH-DSA-SHAKE-128f"},
    {"2.16.840.1.101.3.4.3.28", "SLH-DSA-SHAKE-192s"},
    {"2.16.840.1.101.3.4.3.29", "SLH-DSA-SHAKE-192f"},
    {"2.16.840.1.101.3.4.3.30", "SLH-DSA-SHAKE-256s"},
    {"2.16.840.1.101.3.4.3.31", "SLH-DSA-SHAKE-256f"},
    {"1.2.643.7.1.1.1.1", "GOST R 34.10-2012 256"},
    {"1.2.643.7.1.1.1.2", "GOST R 34.10-2012 512"},
    {"1.2.840.10045.3.1.1", "P-192"},
    {"1.3.132.0.33", "P-224"},
    {"1.2.840.10045.3.1.7", "P-256"},
    {"1.3.132.0.34", "P-384"},
    {"1.3.132.0.35", "P-521"},
    {"1.3.132.0.10", "secp256k1"},
    {"1.3.132.0.8", "secp160r1"},
    {"1.3.132.0.9", "secp160k1"},
    {"1.3.132.0.30", "secp160r2"},
    {"1.3.132.0.31", "secp192k1"},
    {"1.3.132.0.32", "secp224k1"},
    {"1.3.132.0.15", "sect163r2"},
    {"1.3.132.0.36", "sect409k1"},
    {"1.3.132.0.37", "sect409r1"},
    {"1.3.132.0.38", "sect571k1"},
    {"1.3.132.0.39", "sect571r1"},
    {"1.3.36.3.3.2.8.1.1.1", "brainpoolP160r1"},
    {"1.3.36.3.3.2.8.1.1.3", "brainpoolP192r1"},
    {"1.3.36.3.3.2.8.1.1.5", "brainpoolP224r1"},
    {"1.3.36.3.3.2.8.1.1.9", "brainpoolP320r1"},
    {"1.3.132.0.1", "sect163k1"},
    {"1.3.132.0.26", "sect233k1"},
    {"1.3.132.0.27", "sect233r1"},
    {"1.3.132.0.16", "sect283k1"},
    {"1.3.132.0.17", "sect283r1"},
    {"1.2.840.10045.3.1.4", "prime239v1"},
    {"1.2.250.1.223.101.256.1", "FRP256v1"},
    {"1.3.36.3.3.2.8.1.1.10", "brainpoolP320t1"},
    {"1.3.36.3.3.2.8.1.1.7", "brainpoolP256r1"},
    {"1.3.36.3.3.2.8.1.1.8", "brainpoolP256t1"},
    {"1.3.36.3.3.2.8.1.1.11", "brainpoolP384r1"},
    {"1.3.36.3.3.2.8.1.1.12", "brainpoolP384t1"},
    {"1.3.36.3.3.2.8.1.1.13", "brainpoolP512r1"},
    {"1.3.36.3.3.2.8.1.1.14", "brainpoolP512t1"},
    {"1.2.156.10197.1.301", "SM2"},

    // Signatures.
    {"1.2.840.113549.1.1.2", "MD2+RSA"},
    {"1.2.840.113549.1.1.4", "MD5+RSA"},
    {"1.2.840.113549.1.1.5", "SHA1+RSA"},
    {"1.2.840.113549.1.1.14", "SHA224+RSA"},
    {"1.2.840.113549.1.1.11", "SHA256+RSA"},
    {"1.2.840.113549.1.1.12", "SHA384+RSA"},
    {"1.2.840.113549.1.1.13", "SHA512+RSA"},
    {"1.2.840.10045.4.1", "SHA1+ECDSA"},
    {"1.2.840.10045.4.3.1", "SHA224+ECDSA"},
    {"1.2.840.10045.4.3.2", "SHA256+ECDSA"},
    {"1.2.840.10045.4.3.3", "SHA384+ECDSA"},
    {"1.2.840.10045.4.3.4", "SHA512+ECDSA"},
    {"1.2.840.10040.4.3", "SHA1+DSA"},
    {"2.16.840.1.101.3.4.3.1", "SHA224+DSA"},
    {"2.16.840.1.101.3.4.3.2", "SHA256+DSA"},
    {"2.16.840.1.101.3.4.3.3", "SHA384+DSA"},
    {"2.16.840.1.101.3.4.3.4", "SHA512+DSA"},
    {"2.16.840.1.101.3.4.3.9", "SHA3-224+ECDSA"},
    {"2.16.840.1.101.3.4.3.10", "SHA3-256+ECDSA"},
    {"2.16.840.1.101.3.4.3.11", "SHA3-384+ECDSA"},
    {"2.16.840.1.101.3.4.3.12", "SHA3-512+ECDSA"},
    {"2.16.840.1.101.3.4.3.13", "SHA3-224+RSA"},
    {"2.16.840.1.101.3.4.3.14", "SHA3-256+RSA"},
    {"2.16.840.1.101.3.4.3.15", "SHA3-384+RSA"},
    {"2.16.840.1.101.3.4.3.16", "SHA3-512+RSA"},
    {"1.3.14.3.2.29", "SHA1+RSA (OIW)"},
    {"1.2.643.7.1.1.3.2", "GOST R 34.10-2012 256 with Streebog-256"},
    {"1.2.643.7.1.1.3.3", "GOST R 34.10-2012 512 with Streebog-512"},
    {"1.2.643.2.2.3", "GOST R 34.10-2001 with GOST R 34.11-94"},
    {"1.2.643.2.2.19", "GOST R 34.10-2001"},
    {"1.2.156.10197.1.501", "SM3+SM2"},
    {"1.3.36.3.3.1.2", "RIPEMD160+RSA"},

    // Hashes, MACs and pseudorandom functions.
    {"1.2.840.113549.2.2", "MD2"},
    {"1.2.840.113549.2.4", "MD4"},
    {"1.2.840.113549.2.5", "MD5"},
    {"1.3.14.3.2.26", "SHA1"},
    {"2.16.840.1.101.3.4.2.4", "SHA224"},
    {"2.16.840.1.101.3.4.2.1", "SHA256"},
    {"2.16.840.1.101.3.4.2.2", "SHA384"},
    {"2.16.840.1.101.3.4.2.3", "SHA512"},
    {"2.16.840.1.101.3.4.2.5", "SHA512/224"},
    {"2.16.840.1.101.3.4.2.6", "SHA512/256"},
    {"2.16.840.1.101.3.4.2.7", "SHA3-224"},
    {"2.16.840.1.101.3.4.2.8", "SHA3-256"},
    {"2.16.840.1.101.3.4.2.9", "SHA3-384"},
    {"2.16.840.1.101.3.4.2.10", "SHA3-512"},
    {"1.3.36.3.2.1", "RIPEMD160"},
    {"1.2.643.7.1.1.2.2", "Streebog-256"},
    {"1.2.643.7.1.1.2.3", "Streebog-512"},
    {"1.2.156.10197.1.401", "SM3"},
    {"1.2.840.113549.2.6", "HMAC-MD5"},
    {"1.2.840.113549.2.7", "HMAC-SHA1"},
    {"1.2.840.113549.2.8", "HMAC-SHA224"},
    {"1.2.840.113549.2.9", "HMAC-SHA256"},
    {"1.2.840.113549.2.10", "HMAC-SHA384"},
    {"1.2.840.113549.2.11", "HMAC-SHA512"},
    {"1.2.840.113549.2.12", "HMAC-SHA512-224"},
    {"1.2.840.113549.2.13", "HMAC-SHA512-256"},

    // Encryption and password-based key derivation.
    {"1.2.840.113549.1.5.12", "PBKDF2"},
    {"1.2.840.113549.1.5.13", "PBES2"},
    {"1.2.840.113549.1.5.14", "PBMAC1"},
    {"2.16.840.1.113894.746875.1.1", "trusted key usage"},
    {"1.3.6.1.4.1.311.17.1", "Microsoft provider name"},
    {"1.3.6.1.4.1.311.17.2", "Microsoft local machine keyset"},
    {"1.3.6.1.4.1.11591.4.11", "scrypt"},
    {"1.3.14.3.2.7", "DES-CBC"},
    {"1.2.840.113549.3.7", "DES-EDE3-CBC"},
    {"1.2.840.113549.3.2", "RC2-CBC"},
    {"1.2.840.113549.3.4", "RC4"},
    {"1.2.840.113549.3.9", "RC5-CBC"},
    {"1.2.840.113533.7.66.10", "CAST5-CBC"},
    {"1.3.6.1.4.1.3029.1.2", "Blowfish-CBC"},
    {"1.2.392.200011.61.1.1.1.2", "Camellia-128-CBC"},
    {"1.2.392.200011.61.1.1.1.3", "Camellia-192-CBC"},
    {"1.2.392.200011.61.1.1.1.4", "Camellia-256-CBC"},
    {"1.2.410.200046.1.1.2", "ARIA-128-CBC"},
    {"1.2.410.200046.1.1.7", "ARIA-192-CBC"},
    {"1.2.410.200046.1.1.12", "ARIA-256-CBC"},
    {"1.2.410.200004.1.4", "SEED-CBC"},
    {"1.2.156.10197.1.104.2", "SM4-CBC"},
    {"2.16.840.1.101.3.4.1.2", "AES-128-CBC"},
    {"2.16.840.1.101.3.4.1.22", "AES-192-CBC"},
    {"2.16.840.1.101.3.4.1.42", "AES-256-CBC"},
    {"2.16.840.1.101.3.4.1.6", "AES-128-GCM"},
    {"2.16.840.1.101.3.4.1.26", "AES-192-GCM"},
    {"2.16.840.1.101.3.4.1.46", "AES-256-GCM"},
    {"1.2.840.113549.1.9.16.3.9", "PWRI-KEK"},
    {"2.16.840.1.101.3.4.1.5", "AES-128 key wrap"},
    {"2.16.840.1.101.3.4.1.25", "AES-192 key wrap"},
    {"2.16.840.1.101.3.4.1.45", "AES-256 key wrap"},
    {"1.2.840.113549.1.9.16.3.6", "triple DES key wrap"},
    {"1.3.133.16.840.63.0.2", "ECDH, X9.63 with SHA1"},
    {"1.3.132.1.11.0", "ECDH, X9.63 with SHA224"},
    {"1.3.132.1.11.1", "ECDH, X9.63 with SHA256"},
    {"1.3.132.1.11.2", "ECDH, X9.63 with SHA384"},
    {"1.3.132.1.11.3", "ECDH, X9.63 with SHA512"},
    {"1.3.133.16.840.63.0.3", "cofactor ECDH, X9.63 with SHA1"},
    {"1.3.132.1.14.0", "cofactor ECDH, X9.63 with SHA224"},
    {"1.3.132.1.14.1", "cofactor ECDH, X9.63 with SHA256"},
    {"1.3.132.1.14.2", "cofactor ECDH, X9.63 with SHA384"},
    {"1.3.132.1.14.3", "cofactor ECDH, X9.63 with SHA512"},
    {"1.2.840.113549.1.9.16.3.19", "ECDH, HKDF with SHA256"},
    {"1.2.840.113549.1.9.16.3.20", "ECDH, HKDF with SHA384"},
    {"1.2.840.113549.1.9.16.3.21", "ECDH, HKDF with SHA512"},
    {"1.3.133.16.840.63.0.16", "ECMQV, X9.63 with SHA1"},
    {"1.2.840.113549.1.9.16.3.5", "ephemeral-static DH"},
    {"1.2.840.113549.1.5.1", "PBE-MD2-DES"},
    {"1.2.840.113549.1.5.3", "PBE-MD5-DES"},
    {"1.2.840.113549.1.5.4", "PBE-MD2-RC2"},
    {"1.2.840.113549.1.5.6", "PBE-MD5-RC2"},
    {"1.2.840.113549.1.5.10", "PBE-SHA1-DES"},
    {"1.2.840.113549.1.5.11", "PBE-SHA1-RC2-64"},
    {"1.2.840.113549.1.12.1.1", "PBE-SHA1-RC4"},
    {"1.2.840.113549.1.12.1.2", "PBE-SHA1-RC4-40"},
    {"1.2.840.113549.1.12.1.3", "PBE-SHA1-3DES"},
    {"1.2.840.113549.1.12.1.4", "PBE-SHA1-2DES"},
    {"1.2.840.113549.1.12.1.5", "PBE-SHA1-RC2-128"},
    {"1.2.840.113549.1.12.1.6", "PBE-SHA1-RC2-40"},
};

/// The names of extended key usages in RFC 5280, section 4.2.1.12, which are accepted but not written.
constexpr OidName readNames[] = {
    {"2.5.29.37.0", "anyExtendedKeyUsage"},   {"1.3.6.1.5.5.7.3.1", "serverAuth"},
    {"1.3.6.1.5.5.7.3.2", "clientAuth"},      {"1.3.6.1.5.5.7.3.3", "codeSigning"},
    {"1.3.6.1.5.5.7.3.4", "emailProtection"}, {"1.3.6.1.5.5.7.3.8", "timeStamping"},
    {"1.3.6.1.5.5.7.3.9", "OCSPSigning"},
};

bool isSameIgnoringCase(std::string_view a, std::string_view b) {
    auto const lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::ranges::equal(a, b, {}, lower, lower);
}

/// Appends an arc in base 128, most significant digit first (X.690, section 8.19.2).
void append(std::vector<unsigned char>& content, std::uint32_t arc) {
    std::array<unsigned char, 5> digits{};
    size_t at = digits.size();
    digits[--at] = arc & 0x7F;
    while (arc >>= 7)
        digits[--at] = static_cast<unsigned char>(0x80 | (arc & 0x7F));
    content.insert(content.end(), digits.begin() + static_cast<ptrdiff_t>(at), digits.end());
}

std::vector<unsigned char> encode(std::string_view dotted) {
    std::vector<std::uint32_t> arcs;
    for (char const *at = dotted.data(), *const end = at + dotted.size();; at++) {
        std::uint32_t arc = 0;
        auto const [next, error] = std::from_chars(at, end, arc);
        bool const hasLeadingZero = next - at > 1 && *at == '0';
        if (error != std::errc() || hasLeadingZero || (next != end && *next != '.'))
            return {};
        arcs.push_back(arc);
        at = next;
        if (at == end)
            break;
    }
    // The first octet encodes two arcs and has no continuation.
    if (arcs.size() < 2 || arcs[0] > 2 || arcs[1] > (arcs[0] < 2 ? 39 : 47))
        return {};
    std::vector<unsigned char> content = {static_cast<unsigned char>(arcs[0] * 40 + arcs[1])};
    for (size_t i = 2; i < arcs.size(); i++)
        append(content, arcs[i]);
    return content;
}

} // namespace

std::span<OidName const> oidNames() { return names; }

std::string oidName(asn1::blob oid) {
    std::string dotted = oidStr(oid);
    for (OidName const& row : names)
        if (dotted == row.dotted)
            return row.name;
    return dotted;
}

std::vector<unsigned char> parseOid(std::string_view text) { return parseOid(text, nullptr); }

std::vector<unsigned char> parseOid(std::string_view text, Refusal* refusal) {
    for (std::span<OidName const> const table :
         {std::span<OidName const>(names), std::span<OidName const>(readNames)})
        for (OidName const& row : table)
            if (isSameIgnoringCase(text, row.name))
                return encode(row.dotted);
    std::vector<unsigned char> content = encode(text);
    if (content.empty()) {
        detail::Reading reading(text, refusal);
        reading.refuse(text.empty() ? RefusalId::emptyInput : RefusalId::malformedOid, asn1::blob(text),
                       {{"found", std::string(text)}});
    }
    return content;
}
