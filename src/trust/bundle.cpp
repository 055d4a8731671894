// Certificates and CRLs of texts, files and folders, of which one that is malformed never loses the rest.
#include "sealkit/message.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs7.h"
#include "sealkit/store.h"

#include "base/file.h"
#include "base/reading.h"
#include "pem/read.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <utility>

namespace {

template <typename T>
using Objects = std::vector<std::shared_ptr<T>>;

constexpr std::string_view labelOf(X509Certificate const*) { return "CERTIFICATE"; }
constexpr std::string_view labelOf(X509Crl const*) { return "X509 CRL"; }

std::unique_ptr<X509Certificate> readFirst(std::string_view text, Refusal* refusal, FormRules forms,
                                           X509Certificate const*) {
    return readCertFromStr(text, refusal, forms);
}
std::unique_ptr<X509Crl> readFirst(std::string_view text, Refusal* refusal, FormRules forms, X509Crl const*) {
    return readCrl(text, refusal, forms);
}

void add(std::vector<Refusal>* refusals, Refusal refusal) {
    if (refusals != nullptr)
        refusals->push_back(std::move(refusal));
}

/// Every block of a PEM text with the label of `T`, or one object in DER.
template <typename T>
Objects<T> readAll(std::string_view text, FormRules forms, std::vector<Refusal>* refusals) {
    text = detail::withoutByteOrderMark(text);
    constexpr T const* kind = nullptr;
    Objects<T> objects;
    PemReader reader(text);
    PemBlock block;
    bool isFound = false;
    while (reader.next(&block)) {
        if (block.label != labelOf(kind))
            continue;
        isFound = true;
        Refusal refusal;
        if (auto object = readFirst(block.whole, &refusal, forms, kind)) {
            objects.push_back(std::move(object));
            continue;
        }
        // It counts blocks and lines in what it was given.
        refusal.block = block.number;
        if (refusal.line != 0)
            refusal.line += block.line - 1;
        add(refusals, std::move(refusal));
    }
    Refusal refusal;
    if (isFound) {
        if (!reader.finish(&refusal))
            add(refusals, std::move(refusal));
    } else if (auto object = readFirst(text, &refusal, forms, kind)) {
        objects.push_back(std::move(object));
    } else {
        add(refusals, std::move(refusal));
    }
    return objects;
}

Objects<X509Certificate> readEvery(std::string_view text, FormRules forms, std::vector<Refusal>* refusals,
                                   X509Certificate const*) {
    return readCertificateBundle(text, refusals, forms);
}
Objects<X509Crl> readEvery(std::string_view text, FormRules forms, std::vector<Refusal>* refusals,
                           X509Crl const*) {
    return readCrls(text, refusals, forms);
}

/// What tells copies: the signed bytes and the signature.
template <typename T>
class Distinct {
public:
    explicit Distinct(Objects<T>& all) : objects(all) {
        for (auto const& object : objects)
            present.insert(keyOf(*object));
    }

    /// Appends those that are new; the number of all.
    size_t add(Objects<T> const& some) {
        for (auto const& object : some)
            if (present.insert(keyOf(*object)).second)
                objects.push_back(object);
        return some.size();
    }

private:
    static std::pair<std::string_view, std::string_view> keyOf(T const& object) {
        auto const view = [](std::vector<unsigned char> const& bytes) {
            return std::string_view(reinterpret_cast<char const*>(bytes.data()), bytes.size());
        };
        return {view(object.tbs), view(object.signature)};
    }

    Objects<T>& objects;
    std::set<std::pair<std::string_view, std::string_view>> present;
};

void add(std::vector<LoadRefusal>* refusals, std::string const& path, std::vector<Refusal> some) {
    if (refusals != nullptr)
        for (Refusal& refusal : some)
            refusals->push_back({path, std::move(refusal)});
}

template <typename T>
size_t loadFile(std::string const& path, FormRules forms, Distinct<T>& to,
                std::vector<LoadRefusal>* refusals) {
    detail::FileText const file(path);
    std::string_view const text = file;
    std::vector<Refusal> refused;
    size_t found = 0;
    if (text.empty()) {
        detail::Reading reading({}, &refused.emplace_back());
        file.explain(reading);
    } else {
        found = to.add(readEvery(text, forms, &refused, static_cast<T const*>(nullptr)));
    }
    add(refusals, path, std::move(refused));
    return found;
}

/// The entries of a folder that are not folders, sorted.
bool listFiles(std::string const& folder, std::vector<std::string>* files, Refusal* refusal) {
    std::vector<std::string> names;
    if (int const error = detail::listFolder(folder, &names); error != 0) {
        refusal->id = error == ENOENT ? RefusalId::missingFile : RefusalId::unreadableFile;
        refusal->facts = {{"reason", std::strerror(error)}};
        return false;
    }
    for (std::string const& name : names) {
        std::string path = folder + "/" + name;
        if (!detail::isFolder(path))
            files->push_back(std::move(path));
    }
    std::ranges::sort(*files);
    return true;
}

template <typename T>
size_t loadFrom(std::string const& path, FormRules forms, Objects<T>& objects,
                std::vector<LoadRefusal>* refusals) {
    Distinct<T> to(objects);
    if (!detail::isFolder(path))
        return loadFile(path, forms, to, refusals);
    std::vector<std::string> files;
    Refusal refusal;
    if (!listFiles(path, &files, &refusal)) {
        add(refusals, path, {std::move(refusal)});
        return 0;
    }
    size_t found = 0;
    for (std::string const& file : files)
        found += loadFile(file, forms, to, refusals);
    return found;
}

} // namespace

std::vector<std::shared_ptr<X509Certificate>>
readCertificates(std::string_view text, std::vector<Refusal>* refusals, FormRules forms) {
    return readAll<X509Certificate>(text, forms, refusals);
}

std::vector<std::shared_ptr<X509Certificate>>
readCertificateBundle(std::string_view text, std::vector<Refusal>* refusals, FormRules forms) {
    asn1::blob der(text);
    std::vector<unsigned char> decoded;
    PemReader reader(text);
    for (PemBlock block; decoded.empty() && reader.next(&block);) {
        if (block.label == labelOf(static_cast<X509Certificate const*>(nullptr)))
            break;
        if (isMessageLabel(block.label) && pemDecode(block.body, &decoded, nullptr))
            der = decoded;
    }
    if (getMessageKind(der) != MessageKind::signedData)
        return readCertificates(text, refusals, forms);
    PKCS7SignedData message;
    Refusal refusal;
    if (message.parse(der, &refusal, forms))
        return message.certificates;
    add(refusals, std::move(refusal));
    return {};
}

std::vector<std::shared_ptr<X509Crl>> readCrls(std::string_view text, std::vector<Refusal>* refusals,
                                               FormRules forms) {
    return readAll<X509Crl>(text, forms, refusals);
}

size_t CertificateMemoryStore::loadCertificates(std::string_view text, std::vector<Refusal>* refusals,
                                                FormRules forms) {
    return Distinct(certs).add(readCertificateBundle(text, refusals, forms));
}

size_t CertificateMemoryStore::loadCrls(std::string_view text, std::vector<Refusal>* refusals,
                                        FormRules forms) {
    return Distinct(crls).add(readCrls(text, refusals, forms));
}

size_t CertificateMemoryStore::loadCertificatesFrom(std::string const& path,
                                                    std::vector<LoadRefusal>* refusals, FormRules forms) {
    return loadFrom(path, forms, certs, refusals);
}

size_t CertificateMemoryStore::loadCrlsFrom(std::string const& path, std::vector<LoadRefusal>* refusals,
                                            FormRules forms) {
    return loadFrom(path, forms, crls, refusals);
}
