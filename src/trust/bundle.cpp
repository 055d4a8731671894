// Certificates and CRLs of texts, files and folders, of which one that is malformed never loses the rest.
#include "sealkit/pem.h"
#include "sealkit/store.h"

#include "base/file.h"
#include "base/reading.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <set>
#include <sys/stat.h>
#include <utility>

namespace {

template <typename T>
using Objects = std::vector<std::shared_ptr<T>>;

constexpr std::string_view labelOf(X509Certificate const*) { return "CERTIFICATE"; }
constexpr std::string_view labelOf(X509Crl const*) { return "X509 CRL"; }

void add(std::vector<Refusal>* refusals, Refusal refusal) {
    if (refusals != nullptr)
        refusals->push_back(std::move(refusal));
}

Refusal refusalOf(RefusalId id, std::vector<Fact> facts = {}) {
    Refusal refusal;
    refusal.id = id;
    refusal.facts = std::move(facts);
    return refusal;
}

template <typename T>
bool append(asn1::blob der, size_t block, Objects<T>* to, std::vector<Refusal>* refusals) {
    auto object = std::make_shared<T>();
    Refusal refusal;
    if (object->parse(der, &refusal)) {
        to->push_back(std::move(object));
        return true;
    }
    refusal.block = block;
    add(refusals, std::move(refusal));
    return false;
}

/// Every block of a PEM text with the label of `T`, or one object in DER.
template <typename T>
Objects<T> readAll(std::string_view text, std::vector<Refusal>* refusals) {
    constexpr std::string_view wanted = labelOf(static_cast<T const*>(nullptr));
    Objects<T> objects;
    std::string_view rest = text, label, body, firstOther;
    size_t block = 0;
    bool isFound = false;
    while (parsePem(rest, &label, &body)) {
        ++block;
        if (label != wanted) {
            if (firstOther.empty())
                firstOther = label;
            continue;
        }
        isFound = true;
        std::vector<unsigned char> der;
        if (pemDecode(body, &der)) {
            append(asn1::blob(der), block, &objects, refusals);
        } else {
            Refusal refusal = refusalOf(RefusalId::pemMalformedBase64);
            refusal.block = block;
            add(refusals, std::move(refusal));
        }
    }
    if (isFound)
        return objects;
    if (block > 0)
        add(refusals, refusalOf(RefusalId::otherKind,
                                {{"expected", std::string(wanted)}, {"found", std::string(firstOther)}}));
    else if (text.empty())
        add(refusals, refusalOf(RefusalId::emptyInput));
    else if (text.front() != '0')
        add(refusals, refusalOf(RefusalId::unknownForm));
    else
        append(asn1::blob(text), 0, &objects, refusals);
    return objects;
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
size_t loadFile(std::string const& path, Distinct<T>& to, std::vector<LoadRefusal>* refusals) {
    detail::FileText const file(path);
    std::string_view const text = file;
    std::vector<Refusal> refused;
    size_t found = 0;
    if (text.empty()) {
        detail::Reading reading({}, &refused.emplace_back());
        file.explain(reading);
    } else {
        found = to.add(readAll<T>(text, &refused));
    }
    add(refusals, path, std::move(refused));
    return found;
}

bool isFolder(std::string const& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// The entries of a folder that are not folders, sorted.
bool listFiles(std::string const& folder, std::vector<std::string>* files, Refusal* refusal) {
    std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(folder.c_str()), closedir);
    if (!stream) {
        refusal->id = errno == ENOENT ? RefusalId::missingFile : RefusalId::unreadableFile;
        refusal->facts = {{"reason", std::strerror(errno)}};
        return false;
    }
    while (dirent const* entry = readdir(stream.get())) {
        std::string path = folder + "/" + entry->d_name;
        if (!isFolder(path))
            files->push_back(std::move(path));
    }
    std::ranges::sort(*files);
    return true;
}

template <typename T>
size_t loadFrom(std::string const& path, Objects<T>& objects, std::vector<LoadRefusal>* refusals) {
    Distinct<T> to(objects);
    if (!isFolder(path))
        return loadFile(path, to, refusals);
    std::vector<std::string> files;
    Refusal refusal;
    if (!listFiles(path, &files, &refusal)) {
        add(refusals, path, {std::move(refusal)});
        return 0;
    }
    size_t found = 0;
    for (std::string const& file : files)
        found += loadFile(file, to, refusals);
    return found;
}

} // namespace

std::vector<std::shared_ptr<X509Certificate>> readCertificates(std::string_view text,
                                                               std::vector<Refusal>* refusals) {
    return readAll<X509Certificate>(text, refusals);
}

std::vector<std::shared_ptr<X509Crl>> readCrls(std::string_view text, std::vector<Refusal>* refusals) {
    return readAll<X509Crl>(text, refusals);
}

size_t CertificateMemoryStore::loadCertificates(std::string_view text, std::vector<Refusal>* refusals) {
    return Distinct(certs).add(readCertificates(text, refusals));
}

size_t CertificateMemoryStore::loadCrls(std::string_view text, std::vector<Refusal>* refusals) {
    return Distinct(crls).add(readCrls(text, refusals));
}

size_t CertificateMemoryStore::loadCertificatesFrom(std::string const& path,
                                                    std::vector<LoadRefusal>* refusals) {
    return loadFrom(path, certs, refusals);
}

size_t CertificateMemoryStore::loadCrlsFrom(std::string const& path, std::vector<LoadRefusal>* refusals) {
    return loadFrom(path, crls, refusals);
}
