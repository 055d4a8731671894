/// Object identifiers, algorithm identifiers and DigestInfo: how keys, certificates and messages name
/// algorithms.
///
/// An object identifier is a blob of its content octets, without tag and length; functions return views of
/// static bytes. Two identifiers are equal if their octets are equal.
///
/// | `KeyType` | value | key algorithm                       | hashes it signs with             | also read |
/// | --------- | ----- | ----------------------------------- | -------------------------------- | --------- |
/// | `RSA`     | 0     | rsaEncryption (RFC 8017)            | SHA-1, SHA-256, SHA-384, SHA-512 | MD5       |
/// | `EC`      | 2     | id-ecPublicKey (RFC 5480)           | SHA-1, SHA-256, SHA-384, SHA-512 |           |
/// | `Ed25519` | 3     | id-Ed25519 (RFC 8410)               | its own: `HashID::none`          |           |
/// | `X25519`  | 4     | id-X25519 (RFC 8410), key agreement | signs nothing: `HashID::none`    |           |
///
/// Not here: RSASSA-PSS, SHA-224 and SHA-3 signatures, DSA and Ed448, of which some have a display name only;
/// and hmacWithSHA384.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/der.h"
#include "sealkit/detail/export.h"
#include "sealkit/ec.h"
#include "sealkit/hash.h"
#include "sealkit/refusal.h"

#include <string>
#include <vector>

/// The kinds of keys.
enum class KeyType : unsigned {
    RSA = 0,     ///< RFC 8017.
    EC = 2,      ///< On a named curve (RFC 5480).
    Ed25519 = 3, ///< RFC 8032.
    X25519 = 4,  ///< RFC 7748.
};

/// The dotted decimal form. The first octet is read as first arc · 40 + second arc, for any first arc: 2.999
/// becomes "3.16.55". Arcs of up to 64 octets (448 bits) are written in decimal, a longer one as "(N
/// octets)", and one whose last octet announces another as "(truncated)". An empty blob gives "()".
SEALKIT_API std::string oidStr(asn1::blob oid);

/// The octets as pairs of lowercase hexadecimal digits with ":" between them.
SEALKIT_API std::string str(asn1::blob const& bytes);

/// The name to display for a signature algorithm ("SHA256+RSA", "ED25519"), or `oidStr` of any other.
SEALKIT_API std::string oid2name(asn1::blob oid);

/// The object identifier of MD5 and SHA-1 to SHA-512; empty for every other hash.
SEALKIT_API asn1::blob getHashOid(HashID id);
SEALKIT_API asn1::blob getHashOid(unsigned id);

/// The hash that an object identifier names, as hash or as HMAC PRF (RFC 8018 appendix B.1). `HashID::none`
/// for any other, including hmacWithSHA384.
SEALKIT_API HashID getHashID(asn1::blob oid);

/// The signature algorithm of a kind of key with a hash that the table of `KeyType` lists; empty for other
/// pairs.
SEALKIT_API asn1::blob getKeyInfoFromKeyHash(KeyType type, HashID hash);
SEALKIT_API asn1::blob getKeyInfoFromKeyHash(KeyType type, unsigned hash);

/// Reads a signature's AlgorithmIdentifier, a whole SEQUENCE, into kind of key and hash. Returns false and
/// leaves both unchanged if it is not a supported signature algorithm. The parameters are ignored.
SEALKIT_API bool parseAlgosFromKeyInfo(asn1::blob algId, KeyType* type, HashID* hash);

/// The kind of key of a key algorithm. Unknown algorithms also give `KeyType::RSA`: `isKeyAlgorithm` tells
/// them apart.
SEALKIT_API KeyType getKeyType(asn1::blob oid);
/// Whether the identifier is one of the four key algorithms of the table.
SEALKIT_API bool isKeyAlgorithm(asn1::blob oid);
/// The key algorithm of a kind of key; empty for an unknown value.
SEALKIT_API asn1::blob getKeyOid(KeyType type);

/// The named curve's object identifier (RFC 5480 section 2.1.1.1); empty for an unknown curve.
SEALKIT_API asn1::blob getCurveOid(Curve id);
SEALKIT_API asn1::blob getCurveOid(unsigned id);
/// The curve that an object identifier names; a `Curve` of value 0 for any other.
SEALKIT_API Curve getCurveID(asn1::blob oid);

/// Writes the AlgorithmIdentifier of a hash: SEQUENCE { OID, NULL }.
SEALKIT_API void saveHash(DerEncoder& to, HashID id);
SEALKIT_API void saveHash(DerEncoder& to, unsigned id);

/// Writes a DigestInfo (RFC 8017 section 9.2): SEQUENCE { AlgorithmIdentifier, OCTET STRING }.
SEALKIT_API void saveDigest(DerEncoder& to, HashID id, asn1::blob digest);
SEALKIT_API void saveDigest(DerEncoder& to, unsigned id, asn1::blob digest);

/// The hash of an AlgorithmIdentifier, a whole SEQUENCE. `HashID::none` if it is malformed, if the hash is
/// unknown, or if the parameters are not NULL, which includes absent ones.
SEALKIT_API HashID getHashFromDER(asn1::blob algId);

/// The digest of `data`. Empty if `id` is unknown.
SEALKIT_API std::vector<unsigned char> calcDigest(HashID id, asn1::blob data);
SEALKIT_API std::vector<unsigned char> calcDigest(unsigned id, asn1::blob data);

/// An algorithm and its parameters (RFC 5280 section 4.1.1.2):
///
///     AlgorithmIdentifier ::= SEQUENCE { algorithm OBJECT IDENTIFIER, parameters ANY OPTIONAL }
struct AlgorithmIdentifier {
    std::vector<unsigned char> oid;    ///< The content octets.
    std::vector<unsigned char> params; ///< The whole encoding of the parameters; empty if absent.
};

/// Reads the *content* of an AlgorithmIdentifier's SEQUENCE. Returns false if it does not begin with an OID
/// or an element follows the parameters. Absent parameters are read as a second copy of the OID element, and
/// written as one: to omit parameters, leave `params` empty.
SEALKIT_API bool parse(AlgorithmIdentifier& to, asn1::blob content);
/// The same, with a reason (refusal.h).
SEALKIT_API bool parse(AlgorithmIdentifier& to, asn1::blob content, Refusal* refusal);
/// Writes the SEQUENCE.
SEALKIT_API void save(AlgorithmIdentifier const& from, DerEncoder& to);
/// The SEQUENCE's encoding.
SEALKIT_API std::vector<unsigned char> encode(AlgorithmIdentifier const& from);
