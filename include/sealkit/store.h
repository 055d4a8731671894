/// Certificate stores: the certificates and CRLs that a caller trusts.
///
/// | member | what it is |
/// | --- | --- |
/// | `CertificateStore` | the interface through which path building and validation (path.h) look things up |
/// | `CertificateMemoryStore` | a store in memory, filled from PEM, folders or the system's configuration |
/// | `LoadedFile` | what became of one file of a folder |
/// | `readCertificates`, `readCertificateBundle`, `readCrls` | every certificate or CRL of a text, and why others are refused |
/// | `LoadRefusal` | what a store did not take of a file, and why |
///
/// A store is filled once and then only read. Filling takes no locks; a filled store may serve any number of
/// threads at once. Look-ups in a store of many objects go through an index, which the first of them makes,
/// and which grows with the store.
///
/// A store decides nothing: it does not check dates, signatures or flags, and validation trusts all that it
/// holds.
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
    /// empty `keyId` means that the name alone decides.
    virtual std::shared_ptr<X509Certificate> findCertificate(DistinguishedName const& subject,
                                                             asn1::blob keyId) const = 0;

    /// The CRL of the issuer of `certificate`; null if the store has none.
    virtual std::shared_ptr<X509Crl> findCrl(X509Certificate const& certificate) const = 0;
};

/// What a file of a folder was loaded as.
enum class LoadedAs : unsigned {
    nothing,     ///< It was read, and holds neither a certificate nor a CRL that was wanted.
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

/// What a loader left out of a file or folder, and why.
struct LoadRefusal {
    std::string path; ///< Of the file; of the folder if that cannot be opened.
    Refusal refusal;  ///< Its `block` is the number of the PEM block that is refused.
};

/// Every certificate of a text, in the text's order, in any form that objects.h takes. Appends to
/// `*refusals`, unless that is null, why a block is left out, or why the text gives nothing: it is empty, of
/// an unknown form or holds other objects. Other objects are ignored. Writes nothing to any stream. Here and
/// below, `forms` tells for which rules of validation objects are read.
SEALKIT_API std::vector<std::shared_ptr<X509Certificate>>
readCertificates(std::string_view text, std::vector<Refusal>* refusals,
                 FormRules forms = FormRules::platform);
/// The same, or the certificates that signed messages carry (PKCS#7, CMS), whether anybody signed them or
/// not. Of a text with certificates the messages are ignored. Trust settings (objects.h) do not count: a note
/// tells of them. Appends to `*notes`, unless that is null.
SEALKIT_API std::vector<std::shared_ptr<X509Certificate>>
readCertificateBundle(std::string_view text, std::vector<Refusal>* refusals,
                      FormRules forms = FormRules::platform, std::vector<InputNote>* notes = nullptr);
/// `readCertificateBundle` for CRLs.
SEALKIT_API std::vector<std::shared_ptr<X509Crl>>
readCrls(std::string_view text, std::vector<Refusal>* refusals, FormRules forms = FormRules::platform);

/// A store that keeps everything in memory. Loaders only append; the first match in load order
/// answers a look-up.
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

    /// Lets the next look-up index the store anew. To be called after elements of `certs` or `crls` were
    /// replaced, removed or moved, or their names or key identifiers changed: look-ups among more than 64 may
    /// miss such an element otherwise, or give one that stands behind it. What they give does match, always.
    /// Appending needs no call.
    void reindex();

    /// The first certificate whose subject equals `subject` and whose subject key identifier equals `keyId`;
    /// an empty `keyId` lets the name alone decide. Certificates and CRLs that only the standard rules
    /// support (`platformRefusal`) are not found.
    std::shared_ptr<X509Certificate> findCertificate(DistinguishedName const& subject,
                                                     asn1::blob keyId) const override;

    /// The first CRL whose issuer equals the certificate's issuer.
    std::shared_ptr<X509Crl> findCrl(X509Certificate const& certificate) const override;

    /// Appends every certificate of a PEM text (or one in DER). Returns false and appends nothing if there is
    /// none, or if one of several cannot be parsed.
    bool loadFromStr(std::string_view text);

    /// Appends the certificate (the first, in PEM) of every file of a folder, and with `withCrls` the CRL of
    /// every file that holds no certificate. `dir` is used as it is given. Files that hold neither are
    /// ignored. Returns false, with a line on standard output, only if the folder cannot be opened.
    bool loadFromDir(std::string_view dir, bool withCrls);

    /// The same, and appends to `*files` what became of each entry other than "." and "..".
    bool loadFromDir(std::string_view dir, bool withCrls, std::vector<LoadedFile>* files);

    /// Appends what `readCertificateBundle` and `readCrls` give, but for copies of what the store holds. The
    /// number of objects that were read, copies included. A certificate whose trust settings limit it
    /// (objects.h) is refused, as the store would trust it for everything.
    size_t loadCertificates(std::string_view text, std::vector<Refusal>* refusals,
                            FormRules forms = FormRules::platform);
    /// The same of CRLs.
    size_t loadCrls(std::string_view text, std::vector<Refusal>* refusals,
                    FormRules forms = FormRules::platform);

    /// The same from a file, or from every file of a folder in the order of their names; folders in it are
    /// not entered. Appends to `*refusals`, unless that is null, each file or block that is left out. An
    /// empty folder gives 0 and no refusal.
    size_t loadCertificatesFrom(std::string const& path, std::vector<LoadRefusal>* refusals,
                                FormRules forms = FormRules::platform);
    /// The same of CRLs.
    size_t loadCrlsFrom(std::string const& path, std::vector<LoadRefusal>* refusals,
                        FormRules forms = FormRules::platform);

    /// Appends what the system's certificate manager trusts for a use: its trusted entries whose use mask
    /// shares a bit with `usage`, the built-in CA folder where the settings trust it for such a use, and the
    /// CRLs of both. With `all`, every trusted entry and the built-in folder, and no CRLs. What is missing or
    /// unreadable is ignored. Always returns true.
    bool loadFromCerm(unsigned usage, bool all);

    /// The same, but writes nothing to any stream and appends to `*refusals`, unless that is null, each entry
    /// and file that is left out because it is unreadable.
    bool loadFromCerm(unsigned usage, bool all, std::vector<LoadRefusal>* refusals,
                      FormRules forms = FormRules::platform);
};
