/// PEM text, and the loaders that turn text, DER and files into objects.
///
/// | object      | from text or DER     | from a file            | PEM label                                            |
/// |-------------|----------------------|------------------------|------------------------------------------------------|
/// | certificate | readCertFromStr      | readCertFromFile       | CERTIFICATE                                          |
/// | chain       | readCertChain        | readCertChainFromFile  | CERTIFICATE, others passed over                      |
/// | CRL         | readCrl              | readCrlFromFile        | X509 CRL                                             |
/// | request     | readReq              | readReqFromFile        | CERTIFICATE REQUEST                                  |
/// | public key  | readPublicKey        | readPublicKeyFromFile  | PUBLIC KEY, RSA PUBLIC KEY                           |
/// | private key | readPrivateKey       | readPrivateKeyFromFile | [ENCRYPTED, RSA, EC] PRIVATE KEY, others passed over |
/// | one plain   | readOneAssimetricKey |                        | PRIVATE KEY, others passed over                      |
///
/// Every loader takes the whole contents of a file: text with PEM blocks (RFC 7468), or one object in
/// DER when the text has no block at all (`readOneAssimetricKey` takes text alone). Where other labels are not
/// passed over, only the first block is looked at. A loader that fails returns null, or an empty chain, and
/// gives no reason. A file that cannot be read is an empty one.
///
/// `pemDecode` does not take bodies with headers; `pemDecrypt` takes those of encrypted keys.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/crl.h"
#include "sealkit/detail/export.h"
#include "sealkit/keys.h"
#include "sealkit/req.h"
#include "sealkit/x509.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// Finds the first block: `label` becomes the text between "-----BEGIN " at the start of a line and
/// the next "-----", `body` what stands from the next line up to "-----END ". Both are views into
/// `input`, which is advanced past the END line, so that calling again gives the next block. False
/// when there is no whole block; `input` then is as it was. The label of the END line is not
/// compared.
SEALKIT_API bool parsePem(std::string_view& input, std::string_view* label, std::string_view* body);

/// Decodes the base64 lines of a block's body. Line ends may be LF or CR LF, and lines may have blanks
/// and tabs around them. False when the rest is not base64.
SEALKIT_API bool pemDecode(std::string_view body, std::vector<unsigned char>* out);

/// Decrypts a body whose first line is "Proc-Type:" (RFC 1421, section 4.6.1), as traditional "RSA PRIVATE
/// KEY" and "EC PRIVATE KEY" blocks have it. The next line is "DEK-Info: " with the cipher, DES-EDE3-CBC or
/// AES-128-CBC, AES-192-CBC or AES-256-CBC, a comma and the IV in hexadecimal. Further headers, each with a
/// colon in it, and lines that continue them are passed over; a blank line may follow, and then the base64
/// text. The key is made of MD5 over the password and the first 8 bytes of the IV, as this old form has it:
/// one guess costs one or two MD5s. The padding is checked whole.
///
/// False when the headers are others, the IV is not one block, the text is not base64 or not whole blocks,
/// or the padding is wrong, as it nearly always is under a wrong password. Another cipher writes "[ERR]
/// unkown encrypted PEM type: " and its name on standard output. What `out` held is wiped in any case, and
/// `out` is empty when the result is false.
SEALKIT_API bool pemDecrypt(std::string_view body, std::vector<unsigned char>* out,
                            std::string const& password);

/// The PEM block of `der`, in lines of 64 characters ended by line feeds. Empty for empty `der`.
SEALKIT_API std::vector<unsigned char> encodePemType(std::string const& label,
                                                     std::vector<unsigned char> const& der);

/// The blocks "CERTIFICATE" and "X509 CRL" with the object's own DER (`X509Base::serialize`).
SEALKIT_API std::vector<unsigned char> encodePemCertificate(X509Certificate const& certificate);
SEALKIT_API std::vector<unsigned char> encodePemCrl(X509Crl const& crl);
/// The block "PRIVATE KEY" with the OneAsymmetricKey of `key`, not encrypted. Empty when the members make
/// no key. The result is as secret as the key: the caller wipes it.
SEALKIT_API std::vector<unsigned char> encodePemPkcs8PrivateKey(PrivateKey const& key);
/// The block "ENCRYPTED PRIVATE KEY" with `encodePkcs8EncryptedPrivateKey` of `key` under 2048 iterations.
/// Empty when the members make no key.
SEALKIT_API std::vector<unsigned char> encodePemPkcs8EncryptedPrivateKey(PrivateKey const& key,
                                                                         std::string const& password);
/// The block "PUBLIC KEY" with the SubjectPublicKeyInfo of `key`. Empty when the members make no key.
SEALKIT_API std::vector<unsigned char> encodePemPkcs8PublicKey(PublicKey const& key);

/// A certificate. Null when the first block has another label.
SEALKIT_API std::unique_ptr<X509Certificate> readCertFromStr(std::string_view text);
SEALKIT_API std::unique_ptr<X509Certificate> readCertFromFile(std::string const& path);

/// All certificates, in the order of the file. Blocks with other labels are passed over; one broken
/// certificate empties the whole chain. Writes "LABEL: " and the label of each block on standard
/// output.
SEALKIT_API std::vector<std::shared_ptr<X509Certificate>> readCertChain(std::string_view text);
SEALKIT_API std::vector<std::shared_ptr<X509Certificate>> readCertChainFromFile(std::string const& path);

/// A certificate revocation list. Null when the first block has another label.
SEALKIT_API std::unique_ptr<X509Crl> readCrl(std::string_view text);
SEALKIT_API std::unique_ptr<X509Crl> readCrlFromFile(std::string const& path);

/// A certificate request. Null when the first block has another label.
SEALKIT_API std::unique_ptr<X509Req> readReq(std::string_view text);
SEALKIT_API std::unique_ptr<X509Req> readReqFromFile(std::string const& path);

/// A public key: a SubjectPublicKeyInfo ("PUBLIC KEY", or DER), or PKCS#1's RSAPublicKey ("RSA PUBLIC
/// KEY"). A block "EC PUBLIC KEY" holds a point without its curve, which makes no key: null, as for any
/// other label.
SEALKIT_API std::unique_ptr<PublicKey> readPublicKey(std::string_view text);
SEALKIT_API std::unique_ptr<PublicKey> readPublicKeyFromFile(std::string const& path);

/// The private key of the first block "PRIVATE KEY", not encrypted. Blocks with other labels are passed
/// over. Null when there is no such block: unlike the other loaders this one does not take DER.
SEALKIT_API std::unique_ptr<PrivateKey> readOneAssimetricKey(std::string_view text);

/// A private key: a OneAsymmetricKey ("PRIVATE KEY", or DER), an EncryptedPrivateKeyInfo ("ENCRYPTED PRIVATE
/// KEY", or DER; `parsePkcs8EncryptedPrivateKey`), PKCS#1's RSAPrivateKey ("RSA PRIVATE KEY") or RFC 5915's
/// ECPrivateKey with its curve ("EC PRIVATE KEY"), these two also encrypted (`pemDecrypt`). The password is for
/// those that are; the others do not look at it. Blocks with other labels in front are passed over, so that
/// the key may stand behind certificates; the first block of a key decides.
SEALKIT_API std::unique_ptr<PrivateKey> readPrivateKey(std::string_view text, std::string const& password);
SEALKIT_API std::unique_ptr<PrivateKey> readPrivateKeyFromFile(std::string const& path,
                                                               std::string const& password);
