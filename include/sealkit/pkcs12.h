/// PKCS#12 files (RFC 7292): certificates and private keys, encrypted under a password or to the holder of a
/// certificate.
///
/// | member | what it is | RFC 7292 |
/// | --- | --- | --- |
/// | `PKCS12PFX` | a whole file: reading, decrypting, protecting, signing, writing | 4 |
/// | `PKCS12Attributes` | the attributes of one certificate or key | 4.2 |
/// | `PKCS12Options` | how a file is read: BER, malformed and unsupported parts, MACs without a count, older schemes and versions | |
/// | `PKCS12IgnoredBag` | a bag or certificate of a type that is not read | |
/// | `describeEncryption` | describes how contents or keys are encrypted, even if that is unsupported | |
/// | `looksLikePkcs12` | whether bytes have the shape of a file | |
///
/// Reading a file: `parse`, then `decrypt` with the password, then `certificates` and `keys`. The overloads
/// with `PKCS12Options` or a `Refusal` write nothing to any stream. Making one: fill `certificates` and
/// `keys`, `computeLocalKeyId`, `encrypt` with the password, `save`.
///
/// Supported:
///
/// | part | read | written |
/// | --- | --- | --- |
/// | integrity | a MAC, a signature (PKCS#7 SignedData), or nothing | a MAC or a signature |
/// | the MAC's hash | MD5, SHA-1, SHA-256, SHA-384, SHA-512 | those; SHA-256 unless told otherwise |
/// | privacy | PBES2 (pbes2.h), `pbe1_crypt`, to an RSA recipient (PKCS#7 EnvelopedData), or nothing | all |
/// | bags | keys, encrypted keys, X.509 certificates, nested bags | keys, encrypted keys, X.509 certificates |
///
/// RC2, RC4, PBMAC1 (RFC 9579) and MACs over SHA-224 and SHA-512/256 are read if `PKCS12Options::schemes`
/// accepts them. Otherwise the refusal names the scheme, so that it is never mistaken for a wrong password.
/// Bags of CRLs and of other secrets are ignored: `ignoredBags` lists them. Not here: decisions on trust.
/// `signedData->verify` verifies the signature; certificates are not validated.
///
/// A password is UTF-8. The MAC and `pbe1_crypt` use the result of `pkcs12_password`, PBES2 the bytes
/// themselves. An empty password is tried both as only the terminator and as no bytes at all, since programs
/// write both; the first form is written.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/cipher.h"
#include "sealkit/der.h"
#include "sealkit/detail/export.h"
#include "sealkit/detail/wiping_allocator.h"
#include "sealkit/hash.h"
#include "sealkit/keys.h"
#include "sealkit/oid.h"
#include "sealkit/password_schemes.h"
#include "sealkit/pbe1.h"
#include "sealkit/pbes2.h"
#include "sealkit/pkcs7.h"
#include "sealkit/refusal.h"
#include "sealkit/x509.h"

#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace detail {
struct PKCS12Content;
class PKCS12Reading;
struct Pbmac1;
} // namespace detail

/// The largest number of iterations of one `PKCS12PFX::decrypt` for everything in a file: enough for a MAC, a
/// content and a key at `pkcs12MaxIterations`. A file that needs more is refused, as it would take minutes.
/// An empty password, which is tried in two forms, may take twice as many, and each count that is tried for a
/// MAC adds its own.
inline constexpr unsigned pkcs12MaxIterationsPerFile = 3 * pkcs12MaxIterations;

/// The iterations of a MAC whose file gives no count.
inline constexpr unsigned pkcs12MacIterations = 2048;

/// How contents or keys of a file are encrypted under its password. `problem` only concerns the parameters,
/// and its offset is counted in `algorithm.params`. `schemes` tells which encryption is accepted.
SEALKIT_API KeyEncryption describeEncryption(AlgorithmIdentifier const& algorithm,
                                             PasswordSchemes const& schemes = {});

/// Whether `bytes` begin like a PKCS#12 file, in DER or BER: with a version, and a content with its type. The
/// rest may be malformed or missing.
SEALKIT_API bool looksLikePkcs12(asn1::blob bytes);

/// How a file is read. The defaults are those of the functions without options.
struct PKCS12Options {
    /// For `parse`: also reads BER, as `parseBer` does.
    bool ber = false;

    /// A content, bag, certificate or key that is malformed or unsupported is set aside with its refusal
    /// (`PKCS12PFX::unreadable`), and the rest is read. Applies to `parse`, and to `decrypt` and
    /// `decryptEnveloped` for what they decrypt. What concerns the file as a whole must be valid: its form,
    /// its signature's form, its MAC and, without a MAC, the password of at least one part. More than
    /// `pkcs12MaxUnreadable` parts are refused.
    bool partial = false;

    /// For `parse`: ignores trailing bytes, which some programs write (`PKCS12PFX::ignoredTrailingBytes`).
    /// After BER they are always refused.
    bool trailingBytes = false;

    /// For `decrypt`: the counts that are tried, in this order, for a MAC without an iteration count. By RFC
    /// 7292 that means 1, which `openssl pkcs12 -nomaciter` and old versions of Python's cryptography rely
    /// on. Counts that are 0 or above `pkcs12MaxIterations` are ignored.
    std::vector<unsigned> macIterations = {pkcs12MacIterations};

    /// For `decrypt` and `canDecrypt`: how contents and keys may be encrypted. With `PasswordSchemes::all`,
    /// PBMAC1 (RFC 9579) and MACs over SHA-224 and SHA-512/256 are verified, too, and a password that is not
    /// ASCII is tried with each byte as a character, as OpenSSL took it before version 1.1.
    PasswordSchemes schemes = {};

    /// For `parse`, `decrypt` and `decryptEnveloped`: the rules of validation that certificates and the
    /// signature are read for. With `FormRules::standard`, certificates of version 1 are also read.
    FormRules forms = FormRules::platform;
};

/// The largest number of parts that may be set aside in one content of a file that is read partially.
inline constexpr size_t pkcs12MaxUnreadable = 1000;

/// A bag or certificate of a type that is not read.
struct SEALKIT_API PKCS12IgnoredBag {
    std::vector<unsigned char> type; ///< Content octets of its object identifier.
    std::string path;                ///< Its place: "content 2, bag 3".

    /// "CRL", "secret", "SDSI certificate"; the dotted form of other types.
    std::string name() const;
};

/// The attributes of one certificate or key (RFC 7292, section 4.2).
struct SEALKIT_API PKCS12Attributes {
    std::string friendlyName;              ///< A name for people, in UTF-8; empty when absent.
    std::vector<unsigned char> localKeyId; ///< Equal for a key and its certificate; empty when absent.
    std::vector<unsigned char> others;     ///< All other attributes, encoded, as they were read.

    /// Whether a certificate has Oracle's attribute trustedKeyUsage, by which Java recognises trusted
    /// certificates.
    bool isTrustedByJava() const;
    /// Adds that attribute, for any purpose, if it is missing.
    void setTrustedByJava();
    /// The names of `others`, the dotted form of unknown ones, as far as they are well-formed.
    std::vector<std::string> otherNames() const;
};

/// A PKCS#12 file.
///
/// `save` writes what was parsed, or what the last call of `encrypt`, `setPbes2Params` or `encryptEnveloped`
/// protected. Before any of these it writes certificates and keys *without protection*. After changing them,
/// protect them again.
class SEALKIT_API PKCS12PFX {
public:
    std::unique_ptr<PKCS7SignedData> signedData;   ///< Null when the file is not signed.
    std::vector<PKCS7EncryptedData> encryptedData; ///< The contents under the password, decrypted or not.
    std::vector<PKCS7EnvelopedData> envelopedData; ///< The contents to recipients, decrypted or not.
    std::vector<std::shared_ptr<X509Certificate>> certificates; ///< In the file's order.
    std::vector<std::shared_ptr<PrivateKey>> keys;              ///< In the file's order.
    AlgorithmIdentifier macAlgorithm;   ///< The MAC's hash. Without an `oid` a MAC is made with SHA-256.
    std::vector<unsigned char> mac;     ///< Empty when the file has none.
    std::vector<unsigned char> macSalt; ///< The salt of the MAC's key.
    unsigned macIterations = 0;         ///< 0 when the file gives none, which means `pkcs12MacIterations`.

    /// The attributes of `certificates` and of `keys`, by position. Missing elements at the end mean no
    /// attributes.
    std::vector<PKCS12Attributes> certificateAttributes;
    /// Those of `keys`, likewise.
    std::vector<PKCS12Attributes> keyAttributes;

    /// The scheme that `encrypt` uses: content octets of pbeWithSHAAnd3-KeyTripleDES-CBC or PBES2. Empty
    /// means the former. `setPbes2Params` sets it to PBES2.
    std::vector<unsigned char> scheme;
    /// The cipher of PBES2: `AesCbc`, which is AES-256, or `TripleDesCbc`.
    CipherID pbes2Cipher = CipherID::AesCbc;
    /// The iterations of each key derivation when encrypting, and of the MAC unless `macIterations` is set.
    unsigned iterations = 10'000;

    PKCS12PFX();
    PKCS12PFX(PKCS12PFX&&) noexcept;
    PKCS12PFX& operator=(PKCS12PFX&&) noexcept;
    ~PKCS12PFX();

    /// Reads a DER PFX of version 3 and replaces the contents of the object; `scheme`, `pbes2Cipher` and
    /// `iterations` are unchanged. Objects that are not encrypted are then in `certificates` and `keys`.
    /// Returns false and leaves the object empty if `pfx` is malformed, has trailing bytes, another version,
    /// or a MAC of 0 or more than `pkcs12MaxIterations` iterations, or if a function below rejects a part.
    /// Another version writes "PFX: invalid version: " and the number to standard output.
    bool parse(asn1::blob pfx);
    bool parse(asn1::blob pfx, Refusal* refusal) { return parse(pfx, {}, refusal); }
    bool parse(asn1::blob pfx, PKCS12Options const& options, Refusal* refusal);

    /// The same for BER, which NSS (and so Firefox and Thunderbird) writes: lengths may be indefinite and
    /// strings segmented, including those in parts that are decrypted later. DER is also accepted.
    bool parseBer(asn1::blob pfx);

    /// The parts of `parse`. Each takes a whole element and adds its content to the object, and returns false
    /// if it is malformed or has trailing bytes.
    ///
    /// The outer ContentInfo, of type data or signedData; any other type is rejected.
    bool parseContentInfo(asn1::blob contentInfo);
    /// The AuthenticatedSafe: contents of type data, encryptedData and envelopedData. Any other type is
    /// rejected. Writes "PFX: unable to parse SafeContents" to standard output if `parseSafeContents` rejects
    /// an unencrypted content.
    bool parseAuthenticatedSafe(asn1::blob authenticatedSafe);
    /// The SafeContents. Bags may be nested 16 deep. Deeper ones are rejected, and so is a certificate or an
    /// unencrypted key that its class rejects. A bag of another type is ignored, and "PFX: unknown SafeBag
    /// type - " and its dotted form are written to standard output.
    bool parseSafeContents(asn1::blob safeContents);
    /// The CertBag. A certificate of a type other than X.509 is ignored and reported in the same way.
    bool parseCertBag(asn1::blob certBag);
    /// The MacData. Rejects a count of iterations that is 0, longer than four bytes, or above
    /// `pkcs12MaxIterations`.
    bool parseMAC(asn1::blob macData);

    /// The MAC of `data`, the AuthenticatedSafe: HMAC with the hash that `macAlgorithm` names, under a key
    /// from the password, `salt` and `macIterations`. An empty `salt` stands for `macSalt`; if that is empty
    /// too, it becomes 16 bytes of `getDefaultRng`. A `macAlgorithm` without `oid` becomes SHA-256. Empty if
    /// the hash is unknown or `macIterations` is too large. `mac` is unchanged.
    std::vector<unsigned char> computeMAC(std::string_view password, asn1::blob salt, asn1::blob data);

    /// Checks the MAC, if there is one, and decrypts everything under the password: contents, and the keys in
    /// them and elsewhere. `certificates` and `keys` then hold all objects of the file, in its order. Calling
    /// it again is harmless, and decrypts keys that `decryptEnveloped` has added since.
    ///
    /// Returns false and leaves the object unchanged if the password is wrong or something cannot be
    /// decrypted. Then standard output says:
    ///
    /// - "PFX: MAC verification failed" if the MAC differs: the password is wrong, or the file was changed. A
    ///   file that gives no iterations for its MAC (`macIterations` is 0) and was written by the rules of RFC
    ///   7292, where that means 1, fails in the same way;
    /// - "PFX: unsupported PBE: <…>" with the name or dotted form of a scheme, or the texts of pbes2.h for
    ///   functions and ciphers;
    /// - "PFX: unable to parse SafeContents" if the decrypted bytes are not SafeContents, or not a key;
    /// - "PFX: too many iterations" for more than `pkcs12MaxIterationsPerFile`, before any is computed if all
    ///   are known;
    /// - nothing if the padding is wrong, which without a MAC is the usual sign of a wrong password, if a
    ///   scheme's parameters are malformed, or if the MAC has a hash that `getHashID` does not know.
    ///
    /// Without a MAC the file is not authenticated, and if nothing is encrypted either, any password is
    /// right.
    bool decrypt(std::string_view password);
    /// The same with the default options.
    bool decrypt(std::string_view password, Refusal* refusal) { return decrypt(password, {}, refusal); }
    /// `RefusalId::macMismatch` means a wrong password or a damaged file. Without a MAC, a wrong password is
    /// `wrongPassword`; with one, `contentPassword` means that the password is right for the MAC but not for
    /// an encrypted part. Offsets are those of the encrypted part in the file.
    bool decrypt(std::string_view password, PKCS12Options const& options, Refusal* refusal);

    /// Whether there is a MAC to check or something encrypted under the password.
    bool needsPassword() const;
    /// Whether there is a content encrypted to a certificate.
    bool needsRecipient() const;
    /// Whether `decrypt` supports the protection of the file, as far as that can be told without the
    /// password.
    bool canDecrypt(PKCS12Options const& options, Refusal* refusal) const;

    /// Decrypts the contents that are encrypted to `certificate` with its RSA `key`, as
    /// `PKCS7EnvelopedData::decrypt` does, with the same lines on standard output. Contents for others stay
    /// encrypted. `certificates` and `keys` then include the decrypted objects, in the file's order; keys
    /// under a password in them need `decrypt`. Returns false and leaves the object unchanged if a content to
    /// `certificate` cannot be decrypted or is missing.
    bool decryptEnveloped(X509Certificate const& certificate, PrivateKey const& key);
    bool decryptEnveloped(X509Certificate const& certificate, PrivateKey const& key, Refusal* refusal) {
        return decryptEnveloped(certificate, key, {}, refusal);
    }
    bool decryptEnveloped(X509Certificate const& certificate, PrivateKey const& key,
                          PKCS12Options const& options, Refusal* refusal);

    /// The number of keys in decrypted contents that are still encrypted.
    size_t encryptedKeys() const;
    /// How the file encrypts the keys of decrypted contents.
    std::vector<AlgorithmIdentifier> keyEncryptions() const;
    /// The number of contents that are still encrypted, of `encryptedData` and `envelopedData` together.
    size_t encryptedContents() const;

    /// The parts that could not be read, in the file's order. Empty unless `PKCS12Options::partial` was set.
    std::vector<Refusal> unreadable() const;
    /// The bags and certificates in decrypted contents whose types are not read, in the file's order.
    std::vector<PKCS12IgnoredBag> ignoredBags() const;
    /// Whether the file is BER and not DER, as far as that can be told without the password.
    bool isBer() const { return wasBer; }
    /// The number of trailing bytes that were ignored.
    size_t ignoredTrailingBytes() const { return trailing; }
    /// Chooses the hash of the MAC that `encrypt` and `computeMAC` make. Returns false for a hash that
    /// `pkcs12_kdf` does not support.
    bool setMacHash(HashID hash);
    bool setMacHash(unsigned hash) { return setMacHash(static_cast<HashID>(hash)); }
    /// The name of the MAC's hash, supported or not, or of another scheme; the dotted form of an unknown one.
    std::string macName() const;

    /// Gives the first key and the first certificate the same localKeyId, the SHA-1 digest of the
    /// certificate. Returns false if one of them is missing, if the certificate's key is unreadable, which
    /// writes "[ERR] certificate publicKey invalid" to standard error, or if it is another key, which writes
    /// "PFX: first key does not match first certificate, localKeyId not set" to standard output.
    bool computeLocalKeyId();

    /// Gives every key and the first certificate with its public key the same localKeyId, the SHA-1 digest of
    /// the certificate, and clears that of all others. Returns how many keys have a certificate.
    size_t linkKeys();

    /// Protects certificates and keys with the password: certificates in one encrypted content, each key in a
    /// bag of its own encryption, and a MAC over everything. Salts and IVs come from `getDefaultRng`. Earlier
    /// protection and a signature are removed; the hash and the count of an earlier MAC are kept, with a new
    /// salt.
    ///
    /// Returns false and leaves the object unchanged if something that is still encrypted or unreadable would
    /// be lost, if a key's members are inconsistent, and if a count, the cipher or the MAC is unsupported.
    /// For another `scheme` it writes "PFX: encrypt supports only 3des" to standard output.
    bool encrypt(std::string_view password);

    /// Chooses PBES2 with `cipher` (Java only reads AES), PBKDF2 and hmacWithSHA256, for this and later calls
    /// of `encrypt`. If `content` is empty, it then does what `encrypt` does. Otherwise `content`, a
    /// SafeContents, is appended as one more encrypted content, a MAC over everything is made, and
    /// certificates and keys of the object are not written. Fails as `encrypt` does.
    bool setPbes2Params(std::string_view password, asn1::blob content, CipherID cipher);
    bool setPbes2Params(std::string_view password, asn1::blob content, unsigned cipher) {
        return setPbes2Params(password, content, static_cast<CipherID>(cipher));
    }

    /// Protects certificates and keys for the holder of `recipient`, which has an RSA key: all in one
    /// enveloped content. Earlier protection is removed. If `content`, a SafeContents, is not empty, it is
    /// appended as one more enveloped content instead. A MAC or signature is removed, because it would no
    /// longer match: call `sign` afterwards, or make a MAC by `pfx.mac = pfx.computeMAC(password, {},
    /// pfx.saveAuthenticatedSafe())`. Returns false and leaves the object unchanged if something that is
    /// still encrypted or unreadable would be lost, and if `PKCS7EnvelopedData::encrypt` fails.
    bool encryptEnveloped(X509Certificate const& recipient, asn1::blob content, CipherID cipher);
    bool encryptEnveloped(X509Certificate const& recipient, asn1::blob content, unsigned cipher) {
        return encryptEnveloped(recipient, content, static_cast<CipherID>(cipher));
    }

    /// Wraps the AuthenticatedSafe in a SignedData, as `PKCS7SignedData::create` makes it, in place of the
    /// MAC. Returns false and leaves the object unchanged if `create` fails.
    bool sign(X509Certificate const& certificate, PrivateKey const& key, HashID hash);
    bool sign(X509Certificate const& certificate, PrivateKey const& key, unsigned hash);

    /// The DER of the PFX. Empty if a key is invalid, or if certificates or keys contain a null pointer. The
    /// caller wipes the result if it is not encrypted.
    std::vector<unsigned char> save() const;
    /// The DER of the AuthenticatedSafe, which the MAC and the signature cover. Empty in the same cases.
    std::vector<unsigned char> saveAuthenticatedSafe() const;
    /// The DER of the SafeContents of the object's certificates and, `withKeys`, of its keys, unencrypted.
    /// Empty in the same cases. The caller wipes it.
    std::vector<unsigned char> saveSafeContents(bool withKeys) const;
    /// Writes the outer ContentInfo: `signedData`, or the AuthenticatedSafe as data.
    void saveContentInfo(DerEncoder& to) const;
    /// Writes the MacData as it was parsed or, if a member has changed since, a new one with its count of
    /// iterations. Writes nothing if `mac` is empty.
    void saveMAC(DerEncoder& to) const;

    /// Writes the structure of the file as text, line by line, without secrets.
    void dump(std::ostream& out) const;

private:
    bool readFile(detail::PKCS12Reading& file, asn1::blob pfx);
    bool readPfx(detail::PKCS12Reading& file, asn1::blob pfx);
    bool readContentInfo(detail::PKCS12Reading& file, asn1::blob contentInfo);
    bool readAuthenticatedSafe(detail::PKCS12Reading& file, asn1::blob safe);
    bool readContent(detail::PKCS12Reading& file, asn1::blob contentInfo);
    bool readContent(detail::PKCS12Reading& file, asn1::blob contentInfo, detail::PKCS12Content& content);
    bool readMac(detail::PKCS12Reading& file, asn1::blob macData);
    bool decrypt(detail::PKCS12Reading& file, std::string_view password,
                 std::vector<unsigned> const& macCounts);
    bool decryptEnveloped(detail::PKCS12Reading& file, X509Certificate const& certificate,
                          PrivateKey const& key);
    bool readMacScheme(detail::PKCS12Reading& file, std::optional<detail::Pbmac1>& pbmac1) const;
    void addToLists(detail::PKCS12Content const& content);
    void replaceContents(std::vector<detail::PKCS12Content>&& decrypted);
    bool wouldLoseParts() const;
    bool makeMac(std::string_view password, asn1::blob safe, PKCS12PFX& made) const;
    void replaceProtection(asn1::blob safe, PKCS12PFX&& made);
    std::vector<unsigned char> withContent(asn1::blob contentInfo) const;

    std::vector<detail::PKCS12Content> contents; ///< As parsed, in the file's order.
    /// As parsed or protected; empty before either. It may hold keys that are not encrypted.
    std::vector<unsigned char, detail::WipingAllocator<unsigned char>> authenticatedSafe;
    std::vector<unsigned char> macData; ///< The whole element as it was parsed.
    bool mayBeBer = false;              ///< Whether what is decrypted is read as BER.
    bool wasBer = false;
    size_t trailing = 0;
};
