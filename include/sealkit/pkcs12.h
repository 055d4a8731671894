/// PKCS#12 files (RFC 7292): certificates and private keys, kept under a password or for a certificate's holder.
///
/// | member | what it is | RFC 7292 |
/// | --- | --- | --- |
/// | `PKCS12PFX` | a whole file: reading, opening, protecting, signing, writing | 4 |
/// | `PKCS12Attributes` | what a file says of one of its certificates or keys | 4.2 |
/// | `PBEParams` | the parameters of the schemes below; `parse`, `save` and `encode` are their DER | C |
/// | `pbe1_crypt` | encrypts or decrypts with pbeWithSHAAnd3-KeyTripleDES-CBC | C |
/// | `pkcs12_kdf`, `PKCS12Purpose` | derives a key, an IV or a MAC key from a password | B.2, B.3 |
/// | `pkcs12_password` | a password in the form that the derivation takes | B.1 |
/// | `PKCS12Options` | how a file is read: BER, damaged and unsupported parts, MACs without a count | |
/// | `PKCS12IgnoredBag` | what a file holds and this library does not read | |
/// | `describeEncryption` | names what contents or keys are encrypted with, supported or not | |
/// | `looksLikePkcs12` | whether bytes have the shape of a file | |
///
/// Reading a file: `parse`, then `decrypt` with the password, then `certificates` and `keys`. The overloads with
/// `PKCS12Options` or a `Refusal` write nothing to any stream.
/// Making one: fill `certificates` and `keys`, `computeLocalKeyId`, `encrypt` with the password, `save`.
///
/// What is understood:
///
/// | part | read | written |
/// | --- | --- | --- |
/// | integrity | a MAC, a signature (PKCS#7 SignedData), neither | a MAC or a signature |
/// | the MAC's hash | MD5, SHA-1, SHA-256, SHA-384, SHA-512 | those; SHA-256 unless told otherwise |
/// | privacy | PBES2 (pbes2.h), `pbe1_crypt`, to an RSA recipient (PKCS#7 EnvelopedData), none | all |
/// | bags | keys, keys under a password, X.509 certificates, bags in bags | keys, keys under a password, X.509 certificates |
///
/// RC2 and RC4 are refused by their numbers: they never look like a wrong password. Bags of CRLs and of other secrets
/// are ignored: `ignoredBags` lists them. Not here: PBMAC1 (RFC 9579), and deciding whom to trust: a signature is only
/// checked by `signedData->verify`, and no certificate is.
///
/// A password is UTF-8. The MAC and `pbe1_crypt` take it as `pkcs12_password` gives it, PBES2 as its own bytes. An
/// empty one is tried as the terminator alone and as nothing at all, since files are made with both; it is
/// written as the first.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/cipher.h"
#include "sealkit/der.h"
#include "sealkit/detail/export.h"
#include "sealkit/detail/wiping_allocator.h"
#include "sealkit/hash.h"
#include "sealkit/keys.h"
#include "sealkit/oid.h"
#include "sealkit/pbes2.h"
#include "sealkit/pkcs7.h"
#include "sealkit/refusal.h"
#include "sealkit/x509.h"

#include <iosfwd>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace detail {
struct PKCS12Content;
class PKCS12Reading;
} // namespace detail

/// The most iterations of one derivation that are done, and so taken from a file.
inline constexpr unsigned pkcs12MaxIterations = 10'000'000;

/// The most iterations that one `PKCS12PFX::decrypt` does for all that a file asks for: a MAC, a content and a
/// key at the limit above. A file that asks for more is refused before it has taken minutes. An empty password,
/// which is tried in two forms, may take twice as many, and each count that is tried for a MAC adds its own.
inline constexpr unsigned pkcs12MaxIterationsPerFile = 3 * pkcs12MaxIterations;

/// Iterations of a MAC whose file does not say how many.
inline constexpr unsigned pkcs12MacIterations = 2048;

/// A password as `pkcs12_kdf` takes it: UTF-8 becomes UTF-16, big-endian, with two zero bytes behind it (RFC 7292,
/// appendix B.1). Characters beyond the basic plane become surrogate pairs. When the bytes are not UTF-8 each
/// of them is one character, as in Latin-1. The caller wipes the result.
SEALKIT_API std::vector<unsigned char> pkcs12_password(std::string_view password);

/// What is derived: the octet that RFC 7292, appendix B.3, calls ID.
enum class PKCS12Purpose : unsigned char { key = 1, iv = 2, mac = 3 };

/// Fills `out` by the key derivation of RFC 7292, appendix B.2. `password` is as `pkcs12_password` gives it, or
/// empty for none at all; `hash` is MD5 or one of SHA-1 to SHA-512. The time is `iterations` digests for each
/// digest's length of `out` begun. False, with `out` as it was, for another hash and for a count of 0.
SEALKIT_API bool pkcs12_kdf(HashID hash, asn1::blob password, asn1::blob salt, unsigned iterations,
                            PKCS12Purpose purpose, std::span<unsigned char> out);
inline bool pkcs12_kdf(unsigned hash, asn1::blob password, asn1::blob salt, unsigned iterations,
                       PKCS12Purpose purpose, std::span<unsigned char> out) {
    return pkcs12_kdf(static_cast<HashID>(hash), password, salt, iterations, purpose, out);
}

/// pkcs-12PbeParams (RFC 7292, appendix C). None of it is secret.
struct PBEParams {
    std::vector<unsigned char> salt; ///< Of any length.
    unsigned iterations = 0;         ///< 1 to `pkcs12MaxIterations`.
};

/// Reads the whole encoding of the parameters, which is the `params` of an `AlgorithmIdentifier`: SEQUENCE { salt
/// OCTET STRING, iterations INTEGER }. False when the shape is another, something follows, or the count is 0, has
/// more than four bytes or is above `pkcs12MaxIterations`.
SEALKIT_API bool parse(PBEParams& to, asn1::blob params);
SEALKIT_API bool parse(PBEParams& to, asn1::blob params, Refusal* refusal);
/// Writes the SEQUENCE.
SEALKIT_API void save(PBEParams const& from, DerEncoder& to);
/// The SEQUENCE's encoding.
SEALKIT_API std::vector<unsigned char> encode(PBEParams const& from);

/// Encrypts or decrypts `data` with triple DES in CBC mode; key and IV come from the password and
/// `params.params`, a `PBEParams`, over SHA-1. `params.oid` is not looked at: the caller has found
/// pbeWithSHAAnd3-KeyTripleDES-CBC there. An empty password is the terminator alone.
///
/// Encryption pads, so that the result is 1 to 8 bytes longer. Decryption needs whole blocks, and one at least.
/// Of the padding only the last byte is looked at: it may be 0 to 8, and as many bytes are taken off. So a wrong
/// password shows in the padding or in what comes out, or not at all.
///
/// False when `params` cannot be parsed, when `data` cannot be decrypted, and for 4 GiB and more. What `out` held
/// is wiped in any case, and `out` is empty when the result is false. `data` may be a view of it.
SEALKIT_API bool pbe1_crypt(AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
                            std::vector<unsigned char>& out, bool encrypt);
/// Offsets count in `params.params`. A padding that cannot be right is `RefusalId::wrongPassword`.
SEALKIT_API bool pbe1_crypt(AlgorithmIdentifier const& params, std::string_view password, asn1::blob data,
                            std::vector<unsigned char>& out, bool encrypt, Refusal* refusal);

/// How contents or keys of a file are encrypted under its password. The problem is that of the parameters alone, and
/// offsets count in `algorithm.params`.
SEALKIT_API KeyEncryption describeEncryption(AlgorithmIdentifier const& algorithm);

/// Whether `bytes` begin as a PKCS#12 file does, in DER or BER: a version, and a content with its type. The rest may be
/// malformed or missing.
SEALKIT_API bool looksLikePkcs12(asn1::blob bytes);

/// How a file is read. The defaults are those of the functions without options.
struct PKCS12Options {
    /// For `parse`: reads BER, too, as `parseBer` does.
    bool ber = false;

    /// A content, bag, certificate or key that is malformed or unsupported is set aside with its refusal
    /// (`PKCS12PFX::unreadable`), and the rest is read. Applies to `parse`, and to `decrypt` and `decryptEnveloped` for what
    /// comes to light then. What protects the file as a whole must be right: its form, its signature's form, its MAC,
    /// and without a MAC the password of one part at least. More than `pkcs12MaxUnreadable` parts are refused.
    bool partial = false;

    /// For `decrypt`: the counts that are tried, in this order, for a MAC whose file does not give its iterations. RFC 7292
    /// means 1, which `openssl pkcs12 -nomaciter` and old versions of Python's cryptography rely on. Counts that are 0 or
    /// above `pkcs12MaxIterations` are ignored.
    std::vector<unsigned> macIterations = {pkcs12MacIterations};
};

/// The most parts that one content of a file that is read partially may have set aside.
inline constexpr size_t pkcs12MaxUnreadable = 1000;

/// A bag of a type that is not read, or a certificate of one.
struct SEALKIT_API PKCS12IgnoredBag {
    std::vector<unsigned char> type; ///< Content octets of its object identifier.
    std::string path;                ///< Where it stands: "content 2, bag 3".

    /// "CRL", "secret", "SDSI certificate"; the dotted form of other types.
    std::string name() const;
};

/// What a file says of one of its certificates or keys.
struct PKCS12Attributes {
    std::string friendlyName;              ///< For people, in UTF-8; empty when there is none.
    std::vector<unsigned char> localKeyId; ///< The same bytes at a key and at its certificate; may be empty.
    std::vector<unsigned char> others;     ///< All other attributes, encoded, as they were read.
};

/// A PKCS#12 file.
///
/// What `save` writes is what was parsed, or what the last of `encrypt`, `setPbes2Params` and `encryptEnveloped`
/// protected; until there is either, certificates and keys as they are, *without protection*. Whoever changes
/// them afterwards protects them again.
class SEALKIT_API PKCS12PFX {
public:
    std::unique_ptr<PKCS7SignedData> signedData;   ///< Null when the file is not signed.
    std::vector<PKCS7EncryptedData> encryptedData; ///< The contents under the password, decrypted or not.
    std::vector<PKCS7EnvelopedData> envelopedData; ///< The contents to recipients, decrypted or not.
    std::vector<std::shared_ptr<X509Certificate>> certificates; ///< In the file's order.
    std::vector<std::shared_ptr<PrivateKey>> keys;              ///< In the file's order.
    AlgorithmIdentifier macAlgorithm; ///< The MAC's hash. Without an `oid` a MAC is made with SHA-256.
    std::vector<unsigned char> mac;   ///< Empty when the file has none.
    std::vector<unsigned char> macSalt;
    unsigned macIterations = 0; ///< 0 when the file does not say, which means `pkcs12MacIterations`.

    /// Those of `certificates` and of `keys`, by position. One that is shorter lacks the rest.
    std::vector<PKCS12Attributes> certificateAttributes;
    std::vector<PKCS12Attributes> keyAttributes;

    /// What `encrypt` encrypts with: the scheme, content octets of pbeWithSHAAnd3-KeyTripleDES-CBC or PBES2. Empty
    /// for the former. `setPbes2Params` sets it to PBES2.
    std::vector<unsigned char> scheme;
    /// The cipher of PBES2: `AesCbc`, which is AES-256, or `TripleDesCbc`.
    CipherID pbes2Cipher = CipherID::AesCbc;
    /// Iterations of each derivation in what is encrypted, and of its MAC unless `macIterations` says otherwise.
    unsigned iterations = 10'000;

    PKCS12PFX();
    PKCS12PFX(PKCS12PFX&&) noexcept;
    PKCS12PFX& operator=(PKCS12PFX&&) noexcept;
    ~PKCS12PFX();

    /// Reads a DER PFX of version 3, anew; `scheme`, `pbes2Cipher` and `iterations` stay. What is not encrypted is
    /// in `certificates` and `keys` then. False, and the object empty, when it is malformed, has bytes behind it, a
    /// MAC of 0 or more than `pkcs12MaxIterations` iterations, or is refused by a function below; "PFX: invalid
    /// version: " and the number go to standard output.
    bool parse(asn1::blob pfx);
    bool parse(asn1::blob pfx, Refusal* refusal) { return parse(pfx, {}, refusal); }
    bool parse(asn1::blob pfx, PKCS12Options const& options, Refusal* refusal);

    /// The same for BER, which NSS (and so Firefox and Thunderbird) writes: lengths may be indefinite and strings
    /// in pieces, here and in what is decrypted later. DER is BER.
    bool parseBer(asn1::blob pfx);

    /// The parts of `parse`. Each takes a whole element and adds what it holds to the object; false when it is
    /// malformed or has bytes behind it.
    ///
    /// The outer ContentInfo, of type data or signedData. Any other type is false.
    bool parseContentInfo(asn1::blob contentInfo);
    /// The AuthenticatedSafe: contents of type data, encryptedData and envelopedData. Any other type is false.
    /// "PFX: unable to parse SafeContents" is said of an unencrypted content that `parseSafeContents` refuses.
    bool parseAuthenticatedSafe(asn1::blob authenticatedSafe);
    /// The SafeContents. Bags in bags are followed 16 deep; deeper ones are false, and so is a certificate or an
    /// unencrypted key that its class refuses. "PFX: unknown SafeBag type - " and its number are said of a bag
    /// of another type, which is ignored.
    bool parseSafeContents(asn1::blob safeContents);
    /// The CertBag. A certificate of a type other than X.509 is ignored, its number said as above.
    bool parseCertBag(asn1::blob certBag);
    /// The MacData. False for a count of iterations that is 0, longer than four bytes, or above
    /// `pkcs12MaxIterations`.
    bool parseMAC(asn1::blob macData);

    /// The MAC of `data`, the AuthenticatedSafe: HMAC with the hash that `macAlgorithm` names, under a key from the
    /// password, `salt` and `macIterations`. When `salt` is empty it is `macSalt`, and when that is empty too, 16
    /// bytes are drawn for it from `getDefaultRng`. A `macAlgorithm` without `oid` becomes SHA-256. Empty when
    /// there is no such hash or `macIterations` is too large. `mac` stays as it is.
    std::vector<unsigned char> computeMAC(std::string_view password, asn1::blob salt, asn1::blob data);

    /// Checks the MAC, where there is one, and opens all that is encrypted under the password: contents, and the
    /// keys in them and elsewhere. They take their places in `certificates` and `keys`, which become what the
    /// file holds. Calling it again does no harm, and opens what `decryptEnveloped` has brought to light since.
    ///
    /// Returns false and leaves the object unchanged if the password is wrong or something cannot be decrypted. Then
    /// standard output says:
    ///
    /// - "PFX: MAC verification failed" when the MAC is another: the password is wrong, or the file was changed.
    ///   A file that does not say how many iterations its MAC has (`macIterations` is 0) and was written by
    ///   the rules of RFC 7292, where that means 1, fails so as well;
    /// - "PFX: unsupported PBE: <" with the name or number of a scheme, and ">"; what pbes2.h says of
    ///   functions and ciphers;
    /// - "PFX: unable to parse SafeContents" when what was decrypted is none, or no key;
    /// - "PFX: too many iterations" for more than `pkcs12MaxIterationsPerFile`, before any is done where all are known;
    /// - nothing when the padding is wrong, without a MAC the usual sign of a wrong password, when a scheme's
    ///   parameters are malformed, and when the MAC has a hash that `getHashID` does not know.
    ///
    /// Without a MAC nothing vouches for the file, and where nothing is encrypted any password is right.
    bool decrypt(std::string_view password);
    bool decrypt(std::string_view password, Refusal* refusal) { return decrypt(password, {}, refusal); }
    /// `RefusalId::macMismatch` is a wrong password or a damaged file. Without a MAC that is `wrongPassword`; with one,
    /// `contentPassword` means that the password is right for the MAC and not for an encrypted part. Offsets count in the
    /// file: those of the encrypted part.
    bool decrypt(std::string_view password, PKCS12Options const& options, Refusal* refusal);

    /// Whether there is a MAC to check or something encrypted under the password.
    bool needsPassword() const;
    /// Whether there is a content encrypted to a certificate.
    bool needsRecipient() const;
    /// Whether `decrypt` supports what protects the file, as far as that shows without the password.
    bool canDecrypt(PKCS12Options const& options, Refusal* refusal) const;

    /// Opens the contents that are encrypted to `certificate`, with its RSA `key`, as `PKCS7EnvelopedData::decrypt`
    /// does and says. Contents to others stay encrypted. What they hold takes its place in `certificates` and
    /// `keys`; keys under a password in them need `decrypt`. Returns false and leaves the object unchanged if
    /// a content to `certificate` cannot be decrypted or is missing.
    bool decryptEnveloped(X509Certificate const& certificate, PrivateKey const& key);
    bool decryptEnveloped(X509Certificate const& certificate, PrivateKey const& key, Refusal* refusal) {
        return decryptEnveloped(certificate, key, {}, refusal);
    }
    bool decryptEnveloped(X509Certificate const& certificate, PrivateKey const& key,
                          PKCS12Options const& options, Refusal* refusal);

    /// How many keys, of contents that are decrypted, are not decrypted yet.
    size_t encryptedKeys() const;
    /// How the keys under the password are encrypted, decrypted or not, of contents that are decrypted.
    std::vector<AlgorithmIdentifier> keyEncryptions() const;
    /// How many contents are not decrypted yet: of `encryptedData` and `envelopedData` together.
    size_t encryptedContents() const;

    /// The parts that could not be read, where `PKCS12Options::partial` was asked for, in the file's order.
    std::vector<Refusal> unreadable() const;
    /// The bags and certificates of types that are not read, of contents that are decrypted, in the file's order.
    std::vector<PKCS12IgnoredBag> ignoredBags() const;
    /// Whether the file is BER and not DER, as far as that shows without the password.
    bool isBer() const { return wasBer; }
    /// Chooses the hash of the MAC that `encrypt` and `computeMAC` make. False for a hash that `pkcs12_kdf` does not take.
    bool setMacHash(HashID hash);
    /// The name of the MAC's hash, supported or not, or of another scheme; the dotted form of an unknown one.
    std::string macName() const;

    /// Gives the first key and the first certificate the same localKeyId, the SHA-1 digest of the certificate. False
    /// when one of them is missing; when the certificate has no readable key, which is "[ERR] certificate
    /// publicKey invalid" on standard error; and when it has another key: "PFX: first key does not match
    /// first certificate, localKeyId not set" on standard output.
    bool computeLocalKeyId();

    /// Protects certificates and keys with the password: certificates in one encrypted content, each key in a bag
    /// of its own encryption, and a MAC over it all. Salts and IVs come from `getDefaultRng`. What protected
    /// them before is dropped, and so is a signature; a MAC that was there gives its hash, its count and a
    /// new salt.
    ///
    /// Returns false and leaves the object unchanged if something that is still encrypted or unreadable would be lost,
    /// if a key's members are inconsistent, and if a count, the cipher or the MAC is unsupported. Another `scheme` is "PFX:
    /// encrypt supports only 3des" on standard output.
    bool encrypt(std::string_view password);

    /// Chooses PBES2 with `cipher` (Java reads AES alone), PBKDF2 and hmacWithSHA256, for now and for later calls of
    /// `encrypt`. When `content` is empty, it then does what `encrypt` does. Otherwise `content`, a SafeContents,
    /// becomes one more encrypted content behind those that are there, a MAC over it all is made, and certificates
    /// and keys of the object are not written. False as in `encrypt`.
    bool setPbes2Params(std::string_view password, asn1::blob content, CipherID cipher);
    bool setPbes2Params(std::string_view password, asn1::blob content, unsigned cipher) {
        return setPbes2Params(password, content, static_cast<CipherID>(cipher));
    }

    /// Protects certificates and keys for the holder of `recipient`, which has an RSA key: all in one enveloped
    /// content. What protected them before is dropped. When `content`, a SafeContents, is not empty, it is
    /// that which becomes one more content, as above. A MAC or signature is dropped, as it would be wrong now:
    /// `sign` comes afterwards, and so does a MAC: `pfx.mac = pfx.computeMAC(password, {},
    /// pfx.saveAuthenticatedSafe())`. Returns false and leaves the object unchanged if something
    /// that is still encrypted or unreadable would be lost, and if `PKCS7EnvelopedData::encrypt` fails.
    bool encryptEnveloped(X509Certificate const& recipient, asn1::blob content, CipherID cipher);
    bool encryptEnveloped(X509Certificate const& recipient, asn1::blob content, unsigned cipher) {
        return encryptEnveloped(recipient, content, static_cast<CipherID>(cipher));
    }

    /// Wraps the AuthenticatedSafe in a SignedData, as `PKCS7SignedData::create` makes it, in place of the MAC.
    /// Returns false and leaves the object unchanged if `create` fails.
    bool sign(X509Certificate const& certificate, PrivateKey const& key, HashID hash);
    bool sign(X509Certificate const& certificate, PrivateKey const& key, unsigned hash);

    /// The DER of the PFX. Empty when there is nothing to write: a key's members make no key, or a null pointer is
    /// among certificates or keys. The caller wipes what is not encrypted.
    std::vector<unsigned char> save() const;
    /// The DER of the AuthenticatedSafe, which is what the MAC and the signature are over. Empty as above.
    std::vector<unsigned char> saveAuthenticatedSafe() const;
    /// The DER of the SafeContents of the object's certificates and, `withKeys`, of its keys, unencrypted. Empty
    /// as above. The caller wipes it.
    std::vector<unsigned char> saveSafeContents(bool withKeys) const;
    /// Writes the outer ContentInfo: `signedData`, or the AuthenticatedSafe as data.
    void saveContentInfo(DerEncoder& to) const;
    /// Writes the MacData as it was parsed or, where a member has changed since, anew, with its count of iterations.
    /// Nothing when `mac` is empty.
    void saveMAC(DerEncoder& to) const;

    /// Writes what the file consists of, line by line; nothing of what it holds is secret.
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
    void addToLists(detail::PKCS12Content const& content);
    void replaceContents(std::vector<detail::PKCS12Content>&& decrypted);
    bool wouldLoseParts() const;
    bool makeMac(std::string_view password, asn1::blob safe, PKCS12PFX& made) const;
    void replaceProtection(asn1::blob safe, PKCS12PFX&& made);
    std::vector<unsigned char> withContent(asn1::blob contentInfo) const;

    std::vector<detail::PKCS12Content> contents; ///< As parsed, in the file's order.
    /// As parsed or protected; empty when neither was done. It may hold keys that are not encrypted.
    std::vector<unsigned char, detail::WipingAllocator<unsigned char>> authenticatedSafe;
    std::vector<unsigned char> macData; ///< The whole element as it was parsed.
    bool mayBeBer = false;              ///< How what is decrypted is read.
    bool wasBer = false;
};
