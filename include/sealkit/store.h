/// Certificate stores: the certificates and CRLs that a caller trusts.
///
/// | member | what it is |
/// | --- | --- |
/// | `CertificateStore` | the interface through which path building and validation (path.h) look things up |
/// | `CertificateMemoryStore` | a store in memory, filled from PEM, folders or the system's configuration |
/// | `LoadedFile` | how one file of a folder was loaded |
/// | `readCertificates`, `readCertificateBundle`, `readCrls` | every certificate or CRL of a text, and why others are refused |
/// | `LoadRefusal` | what was not loaded from a file, and why |
///
/// A store is filled once and then only read. Filling takes no locks; a filled store may serve any number of
/// threads at once. The first look-up in a store of many objects makes an index, which then grows with the
/// store.
///
/// A store does not check dates, signatures or flags: validation trusts all certificates in it.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/crl.h"
#include "sealkit/detail/export.h"
#include "sealkit/name.h"
#include "sealkit/plain_form.h"
#include "sealkit/refusal.h"
#include "sealkit/x509.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// The look-ups of path building and validation. Programs may derive stores of their own.
class CertificateStore {
public:
    virtual ~CertificateStore() = default;

    /// A certificate with this subject name and this subject key identifier; null if the store has none. An
    /// empty `keyId` matches any certificate with the name.
    virtual std::shared_ptr<X509Certificate> findCertificate(DistinguishedName const& subject,
                                                             asn1::blob keyId) const = 0;

    /// The CRL of the issuer of `certificate`; null if the store has none.
    virtual std::shared_ptr<X509Crl> findCrl(X509Certificate const& certificate) const = 0;
};

/// How a file of a folder was loaded.
enum class LoadedAs : unsigned {
    nothing,     ///< It was read, but has no certificate, and no CRL if CRLs are loaded.
    certificate, ///< Its first certificate was appended.
    crl,         ///< Its CRL was appended.
    empty,       ///< It is empty, unreadable, or not a regular file.
    folder,      ///< It is a folder; folders are not entered.
};

/// One entry of a folder, in the folder's order.
struct LoadedFile {
    std::string name;                ///< The entry's name, without the folder.
    LoadedAs as = LoadedAs::nothing; ///< What was loaded from it.
};

/// What a loader did not load from a file or folder, and why.
struct LoadRefusal {
    std::string path; ///< The path of the file, or of a folder that cannot be opened.
    Refusal refusal;  ///< Its `block` is the number of the PEM block that is refused.
};

/// Every certificate of a text, in the text's order, in any form that objects.h reads. Appends to
/// `*refusals`, unless that is null, why a block is left out, or why the text gives no certificate: it is
/// empty, has an unknown form or holds other objects. Other objects are ignored. Writes nothing to any
/// stream. In this header, `forms` tells which rules of validation objects are read for.
SEALKIT_API std::vector<std::shared_ptr<X509Certificate>>
readCertificates(std::string_view text, std::vector<Refusal>* refusals,
                 FormRules forms = FormRules::platform);
/// The same or, if the text has no certificate, those in its signed messages (PKCS#7, CMS), with or without
/// signers. Trust settings (objects.h) have no effect; a note reports them. Appends to `*notes`, unless that
/// is null.
SEALKIT_API std::vector<std::shared_ptr<X509Certificate>>
readCertificateBundle(std::string_view text, std::vector<Refusal>* refusals,
                      FormRules forms = FormRules::platform, std::vector<InputNote>* notes = nullptr);
/// `readCertificateBundle` for CRLs.
SEALKIT_API std::vector<std::shared_ptr<X509Crl>>
readCrls(std::string_view text, std::vector<Refusal>* refusals, FormRules forms = FormRules::platform);

/// A store that keeps everything in memory. Loaders only append; a look-up returns the first match in load
/// order.
class SEALKIT_API CertificateMemoryStore : public CertificateStore {
public:
    std::vector<std::shared_ptr<X509Certificate>> certs; ///< In load order, duplicates included.
    std::vector<std::shared_ptr<X509Crl>> crls;          ///< In load order.

    CertificateMemoryStore();
    CertificateMemoryStore(CertificateMemoryStore const& other);
    CertificateMemoryStore(CertificateMemoryStore&& other) noexcept;
    CertificateMemoryStore& operator=(CertificateMemoryStore const& other);
    CertificateMemoryStore& operator=(CertificateMemoryStore&& other) noexcept;
    ~CertificateMemoryStore() override;

    /// Makes the next look-up rebuild the index. Call it after replacing, removing or moving elements of
    /// `certs` or `crls`, or changing their names or key identifiers: otherwise a look-up among more than 64
    /// elements may miss such an element, or return a later one. What is returned always matches. After
    /// appending, no call is needed.
    void reindex();

    /// The first certificate whose subject equals `subject` and whose subject key identifier equals `keyId`;
    /// an empty `keyId` matches any. Certificates and CRLs that only the standard rules support
    /// (`platformRefusal`) are not found.
    std::shared_ptr<X509Certificate> findCertificate(DistinguishedName const& subject,
                                                     asn1::blob keyId) const override;

    /// The first CRL whose issuer equals the certificate's issuer.
    std::shared_ptr<X509Crl> findCrl(X509Certificate const& certificate) const override;

    /// Appends every certificate of a PEM text (or one in DER). Returns false and appends nothing if the text
    /// has no certificate, or if one of several cannot be parsed.
    bool loadFromStr(std::string_view text);

    /// Appends the certificate (the first, in PEM) of every file of a folder, and with `withCrls` the CRL of
    /// every file that holds no certificate. `dir` is used unchanged. Other files are ignored. Returns false,
    /// with a line on standard output, only if the folder cannot be opened.
    bool loadFromDir(std::string_view dir, bool withCrls);

    /// The same, and appends to `*files` how each entry other than "." and ".." was loaded.
    bool loadFromDir(std::string_view dir, bool withCrls, std::vector<LoadedFile>* files);

    /// Appends what `readCertificateBundle` and `readCrls` return, except duplicates of objects in the store.
    /// Returns the number of objects that were read, including duplicates. A certificate whose trust settings
    /// limit it (objects.h) is refused, because the store would trust it for everything. So is a signed
    /// message, because its sender chose the certificates in it.
    size_t loadCertificates(std::string_view text, std::vector<Refusal>* refusals,
                            FormRules forms = FormRules::platform);
    /// The same of CRLs.
    size_t loadCrls(std::string_view text, std::vector<Refusal>* refusals,
                    FormRules forms = FormRules::platform);

    /// The same from a file, or from every file of a folder in the order of their names; subfolders are not
    /// entered. Appends to `*refusals`, unless that is null, each file or block that is left out. An empty
    /// folder gives 0 and no refusal.
    size_t loadCertificatesFrom(std::string const& path, std::vector<LoadRefusal>* refusals,
                                FormRules forms = FormRules::platform);
    /// The same of CRLs.
    size_t loadCrlsFrom(std::string const& path, std::vector<LoadRefusal>* refusals,
                        FormRules forms = FormRules::platform);

    /// Appends what the system's certificate manager trusts for a use: its trusted entries whose use mask
    /// shares a bit with `usage`, the built-in CA folder if the settings trust it for such a use, and the
    /// CRLs of both. With `all`, every trusted entry and the built-in folder, and no CRLs. What is missing or
    /// unreadable is ignored. Always returns true.
    bool loadFromCerm(unsigned usage, bool all);

    /// The same, but writes nothing to any stream and appends to `*refusals`, unless that is null, each entry
    /// and file that is left out because it is unreadable.
    bool loadFromCerm(unsigned usage, bool all, std::vector<LoadRefusal>* refusals,
                      FormRules forms = FormRules::platform);
};
