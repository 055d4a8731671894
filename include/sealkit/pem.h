/// PEM text, and the loaders that turn text, DER and files into objects.
///
/// | object      | from text or DER     | from a file            | PEM label                                            |
/// |-------------|----------------------|------------------------|------------------------------------------------------|
/// | certificate | readCertFromStr      | readCertFromFile       | CERTIFICATE                                          |
/// | chain       | readCertChain        | readCertChainFromFile  | CERTIFICATE, others ignored                          |
/// | CRL         | readCrl              | readCrlFromFile        | X509 CRL                                             |
/// | request     | readReq              | readReqFromFile        | CERTIFICATE REQUEST                                  |
/// | public key  | readPublicKey        | readPublicKeyFromFile  | PUBLIC KEY, RSA PUBLIC KEY                           |
/// | private key | readPrivateKey       | readPrivateKeyFromFile | [ENCRYPTED, RSA, EC] PRIVATE KEY, others ignored     |
/// | plain key   | readOneAssimetricKey |                        | PRIVATE KEY, others ignored                          |
///
/// Every loader takes the whole contents of a file: text with PEM blocks (RFC 7468), or one object in DER if
/// the text has no block at all (`readOneAssimetricKey` takes only text). If other labels are not ignored,
/// only the first block is read. A loader that fails returns null, or an empty chain. An unreadable file
/// counts as empty.
///
/// Each loader has an overload with a `Refusal`, which distinguishes a missing, an unreadable and an empty
/// file, an object of another kind (input_kind.h), and malformed PEM, with the number of the line.
///
/// `PemReader` walks the blocks of a text. `pemDecode` does not accept bodies with headers; `pemDecrypt`
/// accepts those of encrypted keys.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/crl.h"
#include "sealkit/detail/export.h"
#include "sealkit/keys.h"
#include "sealkit/password_schemes.h"
#include "sealkit/pbes2.h"
#include "sealkit/refusal.h"
#include "sealkit/req.h"
#include "sealkit/x509.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// Finds the first block: `label` becomes the text between "-----BEGIN " at the start of a line and the next
/// "-----", `body` the text from the next line up to "-----END ". Both are views into `input`, which is
/// advanced past the END line, so that calling again gives the next block. Returns false and leaves `input`
/// unchanged if there is no whole block. The label of the END line is not checked.
SEALKIT_API bool parsePem(std::string_view& input, std::string_view* label, std::string_view* body);

/// A block of PEM text. The views are of that text.
struct PemBlock {
    std::string_view label; ///< The text after "BEGIN ".
    std::string_view body;  ///< The lines between the BEGIN line and the END line.
    std::string_view whole; ///< From the BEGIN line to the END line.
    size_t number = 0;      ///< From 1.
    size_t line = 0;        ///< The number of the BEGIN line in the text, from 1.
};

/// Walks the blocks of a text, with the rules of `parsePem`, and counts blocks and lines. The text must
/// outlive it.
class SEALKIT_API PemReader {
public:
    /// Starts before the first block of `text`.
    explicit PemReader(std::string_view text);

    /// Moves to the next whole block. Returns false if there is no further block; `*block` must then not be
    /// used.
    bool next(PemBlock* block);

    /// Returns true if no block begins in the rest of the text. Returns false, with the reason, for a
    /// malformed BEGIN line and for one without an END line.
    bool finish(Refusal* refusal) const;

    std::string_view rest() const { return unread; } ///< The text after the last block.
    size_t count() const { return blocks; }          ///< The number of blocks so far.
    size_t lineOfRest() const { return line; }       ///< The line where `rest` begins, from 1.

private:
    std::string_view unread;
    size_t blocks = 0;
    size_t line = 1;
};

/// The labels of the first three blocks of a text, separated by commas.
SEALKIT_API std::string listPemLabels(std::string_view text);

/// Decodes the base64 lines of a block's body. Line ends may be LF or CR LF, and lines may begin and end with
/// blanks and tabs. Returns false if the rest is not base64. The previous content of `out` is always wiped,
/// and `out` is empty if the result is false. `body` may be a view of it.
SEALKIT_API bool pemDecode(std::string_view body, std::vector<unsigned char>* out);
/// The line of a refusal is counted in `body`.
SEALKIT_API bool pemDecode(std::string_view body, std::vector<unsigned char>* out, Refusal* refusal);

/// Decrypts a body whose first line is "Proc-Type:" (RFC 1421, section 4.6.1), as traditional "RSA PRIVATE
/// KEY" and "EC PRIVATE KEY" blocks have it. The next line is "DEK-Info: " with the cipher, DES-EDE3-CBC or
/// AES-128-CBC, AES-192-CBC or AES-256-CBC, a comma and the IV in hexadecimal. Further headers, each with a
/// colon in it, and lines that continue them are ignored; a blank line may follow, and then the base64 text.
/// As this old form requires, the key is derived by MD5 from the password and the first 8 bytes of the IV, so
/// that a guess costs only one or two MD5 digests. The whole padding is checked.
///
/// Returns false if the headers are different, if the IV is not one block, if the text is not base64 or not
/// whole blocks, or if the padding is wrong, as it nearly always is under a wrong password. For an
/// unsupported cipher it writes "[ERR] unkown encrypted PEM type: " and its name to standard output. The
/// previous content of `out` is always wiped, and `out` is empty if the result is false.
SEALKIT_API bool pemDecrypt(std::string_view body, std::vector<unsigned char>* out,
                            std::string const& password);
/// The line of a refusal is counted in `body`. Wrong padding is `RefusalId::wrongPassword`.
SEALKIT_API bool pemDecrypt(std::string_view body, std::vector<unsigned char>* out,
                            std::string const& password, Refusal* refusal);

/// The PEM block of `der`, in lines of 64 characters ended by line feeds. Empty for empty `der`.
SEALKIT_API std::vector<unsigned char> encodePemType(std::string const& label,
                                                     std::vector<unsigned char> const& der);

/// The block "CERTIFICATE" with the object's own DER (`X509Base::serialize`).
SEALKIT_API std::vector<unsigned char> encodePemCertificate(X509Certificate const& certificate);
/// The block "X509 CRL" with the object's own DER.
SEALKIT_API std::vector<unsigned char> encodePemCrl(X509Crl const& crl);
/// The same for a request: the block "CERTIFICATE REQUEST".
SEALKIT_API std::vector<unsigned char> encodePemReq(X509Req const& request);
/// The block "RSA PUBLIC KEY" with the RSAPublicKey of PKCS#1. Empty if the key is invalid.
SEALKIT_API std::vector<unsigned char> encodePemRsaPublicKey(RsaPublicKey const& key);
/// The block "RSA PRIVATE KEY" or "EC PRIVATE KEY" with the key's own DER, not encrypted, for old programs.
/// Empty for other keys, and if the key is invalid. The caller wipes it.
SEALKIT_API std::vector<unsigned char> encodePemTraditionalPrivateKey(PrivateKey const& key);
/// The block "PRIVATE KEY" with the OneAsymmetricKey of `key`, not encrypted. Empty if the key is invalid.
/// The result is as secret as the key: the caller wipes it.
SEALKIT_API std::vector<unsigned char> encodePemPkcs8PrivateKey(PrivateKey const& key);
/// The block "ENCRYPTED PRIVATE KEY" with `encodePkcs8EncryptedPrivateKey` of `key` under 2048 iterations.
/// Empty if the key is invalid.
SEALKIT_API std::vector<unsigned char> encodePemPkcs8EncryptedPrivateKey(PrivateKey const& key,
                                                                         std::string const& password);
/// The block "PUBLIC KEY" with the SubjectPublicKeyInfo of `key`. Empty if the key is invalid.
SEALKIT_API std::vector<unsigned char> encodePemPkcs8PublicKey(PublicKey const& key);

/// A certificate. Null if the first block has another label. `forms` tells which rules of validation it is
/// read for.
SEALKIT_API std::unique_ptr<X509Certificate> readCertFromStr(std::string_view text);
SEALKIT_API std::unique_ptr<X509Certificate> readCertFromStr(std::string_view text, Refusal* refusal,
                                                             FormRules forms = FormRules::platform);
/// The same, from the file at `path`.
SEALKIT_API std::unique_ptr<X509Certificate> readCertFromFile(std::string const& path);
SEALKIT_API std::unique_ptr<X509Certificate> readCertFromFile(std::string const& path, Refusal* refusal);

/// All certificates, in the order of the file. Blocks with other labels are ignored; one malformed
/// certificate makes the whole chain empty. Writes "LABEL: " and the label of each block to standard output.
SEALKIT_API std::vector<std::shared_ptr<X509Certificate>> readCertChain(std::string_view text);
SEALKIT_API std::vector<std::shared_ptr<X509Certificate>> readCertChain(std::string_view text,
                                                                        Refusal* refusal);
/// The same, from the file at `path`.
SEALKIT_API std::vector<std::shared_ptr<X509Certificate>> readCertChainFromFile(std::string const& path);
SEALKIT_API std::vector<std::shared_ptr<X509Certificate>> readCertChainFromFile(std::string const& path,
                                                                                Refusal* refusal);

/// A CRL. Null if the first block has another label.
SEALKIT_API std::unique_ptr<X509Crl> readCrl(std::string_view text);
/// `forms` tells which rules of validation it is read for.
SEALKIT_API std::unique_ptr<X509Crl> readCrl(std::string_view text, Refusal* refusal,
                                             FormRules forms = FormRules::platform);
/// The same, from the file at `path`.
SEALKIT_API std::unique_ptr<X509Crl> readCrlFromFile(std::string const& path);
SEALKIT_API std::unique_ptr<X509Crl> readCrlFromFile(std::string const& path, Refusal* refusal);

/// Further forms of request files that are accepted.
struct ReqFileOptions {
    bool amongOthers = false; ///< Ignores blocks with other labels, and accepts "NEW CERTIFICATE REQUEST"
                              ///< (RFC 7468, section 7).
    FormRules forms = FormRules::platform; ///< With `FormRules::standard`, BER is accepted, too.
};

/// A certificate request. Null if the first block has another label.
SEALKIT_API std::unique_ptr<X509Req> readReq(std::string_view text);
SEALKIT_API std::unique_ptr<X509Req> readReq(std::string_view text, Refusal* refusal,
                                             ReqFileOptions options = {});
/// The same, from the file at `path`.
SEALKIT_API std::unique_ptr<X509Req> readReqFromFile(std::string const& path);
SEALKIT_API std::unique_ptr<X509Req> readReqFromFile(std::string const& path, Refusal* refusal);

/// Further forms of key files that are accepted.
struct KeyFileOptions {
    bool traditionalDer = false;   ///< RSAPublicKey, RSAPrivateKey and ECPrivateKey in DER without PEM.
    bool fromCertificates = false; ///< The public key of a certificate or certificate request.
    bool openssh = false;          ///< OpenSSH's own forms (openssh.h).
    PasswordSchemes schemes = {};  ///< The encryption schemes that are accepted.
    FormRules forms = FormRules::platform; ///< With `FormRules::standard`, BER is accepted, too, and so are
                                           ///< certificates of version 1.
};

/// A public key: a SubjectPublicKeyInfo ("PUBLIC KEY", or DER), or PKCS#1's RSAPublicKey ("RSA PUBLIC KEY").
/// Null for any other label, such as "EC PUBLIC KEY", which holds a point without its curve.
SEALKIT_API std::unique_ptr<PublicKey> readPublicKey(std::string_view text);
/// The same, from the file at `path`.
SEALKIT_API std::unique_ptr<PublicKey> readPublicKeyFromFile(std::string const& path);
/// The same, silently and with a reason.
SEALKIT_API std::unique_ptr<PublicKey> readPublicKey(std::string_view text, Refusal* refusal,
                                                     KeyFileOptions options = {});
/// The same, from the file at `path`.
SEALKIT_API std::unique_ptr<PublicKey> readPublicKeyFromFile(std::string const& path, Refusal* refusal,
                                                             KeyFileOptions options = {});

/// The private key of the first block "PRIVATE KEY", not encrypted. Blocks with other labels are ignored.
/// Null if there is no such block: unlike the other loaders, this one does not accept DER.
SEALKIT_API std::unique_ptr<PrivateKey> readOneAssimetricKey(std::string_view text);
SEALKIT_API std::unique_ptr<PrivateKey> readOneAssimetricKey(std::string_view text, Refusal* refusal);

/// A private key: a OneAsymmetricKey ("PRIVATE KEY", or DER), an EncryptedPrivateKeyInfo ("ENCRYPTED PRIVATE
/// KEY", or DER; `parsePkcs8EncryptedPrivateKey`), PKCS#1's RSAPrivateKey ("RSA PRIVATE KEY") or RFC 5915's
/// ECPrivateKey with its curve ("EC PRIVATE KEY"), these two also encrypted (`pemDecrypt`). The password is
/// only used for encrypted keys. Blocks with other labels are ignored, so that the key may follow
/// certificates; the first block with a key decides.
SEALKIT_API std::unique_ptr<PrivateKey> readPrivateKey(std::string_view text, std::string const& password);
/// The same, from the file at `path`.
SEALKIT_API std::unique_ptr<PrivateKey> readPrivateKeyFromFile(std::string const& path,
                                                               std::string const& password);
/// The same, silently and with a reason.
SEALKIT_API std::unique_ptr<PrivateKey> readPrivateKey(std::string_view text, std::string const& password,
                                                       Refusal* refusal, KeyFileOptions options = {});
/// The same, from the file at `path`.
SEALKIT_API std::unique_ptr<PrivateKey> readPrivateKeyFromFile(std::string const& path,
                                                               std::string const& password, Refusal* refusal,
                                                               KeyFileOptions options = {});

/// The same without a password: an encrypted key is refused as `RefusalId::passwordRequired` or, if no
/// password can decrypt it, for that reason.
SEALKIT_API std::unique_ptr<PrivateKey> readPrivateKey(std::string_view text, Refusal* refusal,
                                                       KeyFileOptions options);
/// The same, from the file at `path`.
SEALKIT_API std::unique_ptr<PrivateKey> readPrivateKeyFromFile(std::string const& path, Refusal* refusal,
                                                               KeyFileOptions options);

/// Describes how the private key of the first block, or of the DER, is encrypted. Returns false if it is not
/// encrypted. `schemes` tells which encryption the reader of the key accepts.
SEALKIT_API bool findKeyEncryption(std::string_view text, KeyEncryption* to,
                                   PasswordSchemes const& schemes = {});

/// Whether `label` is that of a private key that `readPrivateKey` reads, possibly with `KeyFileOptions`.
SEALKIT_API bool isPrivateKeyLabel(std::string_view label);
/// Whether `label` is one of the two for certificate requests (RFC 7468, section 7).
SEALKIT_API bool isRequestLabel(std::string_view label);
/// Whether `label` is one of the three for messages of PKCS#7 and CMS (RFC 7468, sections 8 and 9).
SEALKIT_API bool isMessageLabel(std::string_view label);
