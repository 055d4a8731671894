// Names of algorithms that keys and messages mention, most of which the library does not compute.
#include "sealkit/oid.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace {

struct NamedAlgorithm {
    char const* dotted;
    char const* name;
};

constexpr NamedAlgorithm algorithms[] = {
    // Keys, and how they are encrypted to a recipient.
    {"1.2.840.113549.1.1.1", "RSA"},
    {"1.2.840.113549.1.1.7", "RSAES-OAEP"},
    {"1.2.840.113549.1.3.1", "DH"},
    {"1.2.840.10040.4.1", "DSA"},
    {"1.2.840.10045.2.1", "EC"},
    {"1.3.101.110", "X25519"},
    {"1.3.101.111", "X448"},
    // Signatures.
    {"1.2.840.113549.1.1.10", "RSASSA-PSS"},
    {"1.2.840.113549.1.1.14", "SHA224+RSA"},
    {"1.2.840.10040.4.3", "SHA1+DSA"},
    {"2.16.840.1.101.3.4.3.2", "SHA256+DSA"},
    // Digests.
    {"1.2.840.113549.2.2", "MD2"},
    {"1.2.840.113549.2.4", "MD4"},
    {"2.16.840.1.101.3.4.2.4", "SHA224"},
    {"2.16.840.1.101.3.4.2.5", "SHA512/224"},
    {"2.16.840.1.101.3.4.2.6", "SHA512/256"},
    {"2.16.840.1.101.3.4.2.7", "SHA3-224"},
    {"2.16.840.1.101.3.4.2.8", "SHA3-256"},
    {"2.16.840.1.101.3.4.2.9", "SHA3-384"},
    {"2.16.840.1.101.3.4.2.10", "SHA3-512"},
    {"1.3.36.3.2.1", "RIPEMD160"},
    // Key derivation and its pseudorandom functions.
    {"1.2.840.113549.1.5.12", "PBKDF2"},
    {"1.3.6.1.4.1.11591.4.11", "scrypt"},
    {"1.2.840.113549.1.5.13", "PBES2"},
    {"1.2.840.113549.1.5.14", "PBMAC1"},
    {"1.2.840.113549.2.6", "HMAC-MD5"},
    {"1.2.840.113549.2.7", "HMAC-SHA1"},
    {"1.2.840.113549.2.8", "HMAC-SHA224"},
    {"1.2.840.113549.2.9", "HMAC-SHA256"},
    {"1.2.840.113549.2.10", "HMAC-SHA384"},
    {"1.2.840.113549.2.11", "HMAC-SHA512"},
    {"1.2.840.113549.2.12", "HMAC-SHA512-224"},
    {"1.2.840.113549.2.13", "HMAC-SHA512-256"},
    // Ciphers.
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
    // Encryption under a password: RFC 8018, appendix A.3, and RFC 7292, appendix C.
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
    // Key encapsulation (FIPS 203).
    {"2.16.840.1.101.3.4.4.1", "ML-KEM-512"},
    {"2.16.840.1.101.3.4.4.2", "ML-KEM-768"},
    {"2.16.840.1.101.3.4.4.3", "ML-KEM-1024"},
};

} // namespace

std::string getAlgorithmName(asn1::blob oid) {
    auto const row = std::ranges::find(algorithms, std::string_view(oidStr(oid)), &NamedAlgorithm::dotted);
    if (row != std::end(algorithms))
        return row->name;
    HashID const hash = getHashID(oid);
    return hash == HashID::none ? oid2name(oid) : getHashName(hash);
}
