// Reads certificates and CRLs from texts, files and folders. A malformed one does not lose the others.
#include "sealkit/pem.h"
#include "sealkit/store.h"

#include "base/file.h"
#include "base/reading.h"
#include "base/view.h"
#include "pkcs/objects.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <set>
#include <utility>

namespace {

template <typename T>
using Objects = std::vector<std::shared_ptr<T>>;

constexpr InputKind kindFor(X509Certificate const*) { return InputKind::certificate; }
constexpr InputKind kindFor(X509Crl const*) { return InputKind::crl; }

std::shared_ptr<X509Certificate> const& partOf(InputObject const& object, X509Certificate const*) {
    return object.certificate;
}
std::shared_ptr<X509Crl> const& partOf(InputObject const& object, X509Crl const*) { return object.crl; }

Objects<X509Certificate> const& carriedBy(PKCS7SignedData const& message, X509Certificate const*) {
    return message.certificates;
}
Objects<X509Crl> const& carriedBy(PKCS7SignedData const& message, X509Crl const*) { return message.crls; }

/// The step of a refusal's path that names an object of this kind in a message.
constexpr std::string_view stepOf(X509Certificate const*) { return "certificate "; }
constexpr std::string_view stepOf(X509Crl const*) { return "CRL "; }

bool refuseFirst(std::string_view text, Refusal* refusal, FormRules forms, X509Certificate const*) {
    return readCertFromStr(text, refusal, forms) == nullptr;
}
bool refuseFirst(std::string_view text, Refusal* refusal, FormRules forms, X509Crl const*) {
    return readCrl(text, refusal, forms) == nullptr;
}

void add(std::vector<Refusal>* refusals, Refusal refusal) {
    if (refusals != nullptr)
        refusals->push_back(std::move(refusal));
}

/// The options for reading all objects of a kind.
struct BundleOptions {
    FormRules forms;
    bool fromMessages = false; ///< Also reads those of signed messages, if there are no others.
    bool asAnchors = false;    ///< Refuses signed messages, and certificates whose trust settings limit them.
};

/// Collects the objects of one kind.
template <typename T>
class Bundle {
public:
    Bundle(BundleOptions const& how, std::vector<Refusal>* to) : options(how), refusals(to) {}

    Objects<T> read(std::string_view text, std::vector<InputNote>* notes) {
        std::vector<InputNote> discarded;
        std::vector<InputNote>& found = notes != nullptr ? *notes : discarded;
        detail::PlainFile const plain(text, &found);
        detail::walkObjects(plain, {.forms = options.forms}, found, [this](InputObject&& object) {
            take(std::move(object));
            if (refused <= maxRefused)
                return true;
            refuseAs(RefusalId::inputTooLarge, 0,
                     {{"maximum", std::to_string(maxRefused) + " malformed objects"}});
            return false;
        });
        if (!isFound && hasMessage) {
            if (carried.empty() && carriedRefusals.empty())
                refuse(otherKind(0, InputKind::message));
            objects = std::move(carried);
            if (refusals != nullptr)
                std::ranges::move(carriedRefusals, std::back_inserter(*refusals));
        } else if (!isFound && isPkcs12) {
            refuse(otherKind(0, InputKind::pkcs12));
        } else if (!isFound) {
            refuseAll(text, asn1::blob(plain));
        }
        return std::move(objects);
    }

private:
    /// Reading a text stops at more, because their refusals would take more memory than the text.
    static constexpr size_t maxRefused = 10'000;
    static constexpr T const* type = nullptr;
    static constexpr InputKind wanted = kindFor(type);

    void take(InputObject&& object) {
        bool const isPromised = detail::kindOfLabel(object.label) == wanted;
        if (auto const& part = partOf(object, type); part != nullptr) {
            isFound = true;
            if (options.asAnchors && object.trust && object.trust->isLimited())
                refuseAs(RefusalId::limitedTrust, object.block, {{"settings", object.trust->str()}});
            else
                objects.push_back(part);
        } else if (object.message != nullptr || object.kind == InputKind::message) {
            takeMessage(std::move(object));
        } else if (object.refusal && (object.kind == wanted || (object.kind == InputKind::pem && isFound))) {
            isFound = true;
            refused++;
            add(refusals, std::move(object.refusal));
        } else if (isPromised) {
            isFound = true;
            refuse(otherKind(object.block, object.kind));
        } else if (object.kind == InputKind::pkcs12) {
            isPkcs12 = true;
        }
    }

    void takeMessage(InputObject&& object) {
        if (!options.fromMessages)
            return;
        hasMessage = hasMessage || object.message != nullptr || object.refusal;
        // The sender of a message chooses its certificates, so they are not anchors.
        if (options.asAnchors && object.message != nullptr && !object.message->signerInfos.empty())
            carriedRefusals.push_back(otherKind(object.block, InputKind::message));
        else if (object.message != nullptr) {
            std::ranges::copy(carriedBy(*object.message, type), std::back_inserter(carried));
            for (Refusal const& ignored : object.message->ignored())
                if (ignored.id != RefusalId::unsupportedCertificateKind &&
                    ignored.path.starts_with(stepOf(type)))
                    carriedRefusals.push_back(ignored);
        } else if (object.refusal)
            carriedRefusals.push_back(std::move(object.refusal));
    }

    void refuse(Refusal refusal) {
        refused++;
        add(refusals, std::move(refusal));
    }
    void refuseAs(RefusalId id, size_t block, std::vector<Fact> facts) {
        refuse(refusalOf(id, block, std::move(facts)));
    }

    static Refusal refusalOf(RefusalId id, size_t block, std::vector<Fact> facts) {
        Refusal refusal;
        refusal.id = id;
        refusal.block = block;
        refusal.facts = std::move(facts);
        return refusal;
    }
    /// The refusal of a block whose content is not what its label promises or what is wanted.
    static Refusal otherKind(size_t block, InputKind found) {
        return refusalOf(RefusalId::otherKind, block,
                         {{"expected", getInputKindName(wanted)}, {"found", getInputKindName(found)}});
    }

    /// Refuses a text without a wanted object, with the reason that the loader of a single one gives.
    void refuseAll(std::string_view text, asn1::blob plain) {
        Refusal refusal;
        bool const isText = findInputKind(plain) == InputKind::text;
        if (refuseFirst(isText ? text : detail::viewOf(plain), &refusal, options.forms, type))
            add(refusals, std::move(refusal));
    }

    BundleOptions options;
    std::vector<Refusal>* refusals;
    Objects<T> objects;
    Objects<T> carried; ///< From messages.
    std::vector<Refusal> carriedRefusals;
    size_t refused = 0;   ///< The number of malformed objects.
    bool isFound = false; ///< Whether there is an object of the kind outside messages, refused or not.
    bool hasMessage = false;
    bool isPkcs12 = false;
};

Objects<X509Certificate> readEvery(std::string_view text, FormRules forms, std::vector<Refusal>* refusals,
                                   X509Certificate const*) {
    return Bundle<X509Certificate>({forms, true, true}, refusals).read(text, nullptr);
}
Objects<X509Crl> readEvery(std::string_view text, FormRules forms, std::vector<Refusal>* refusals,
                           X509Crl const*) {
    return readCrls(text, refusals, forms);
}

/// Equal objects have the same signed bytes and the same signature.
template <typename T>
class Distinct {
public:
    explicit Distinct(Objects<T>& all) : objects(all) {
        for (auto const& object : objects)
            present.insert(keyOf(*object));
    }

    /// Appends the new ones and returns the number of all.
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

/// The sorted entries of a folder, without its subfolders.
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
    return Bundle<X509Certificate>({.forms = forms}, refusals).read(text, nullptr);
}

std::vector<std::shared_ptr<X509Certificate>> readCertificateBundle(std::string_view text,
                                                                    std::vector<Refusal>* refusals,
                                                                    FormRules forms,
                                                                    std::vector<InputNote>* notes) {
    return Bundle<X509Certificate>({.forms = forms, .fromMessages = true}, refusals).read(text, notes);
}

std::vector<std::shared_ptr<X509Crl>> readCrls(std::string_view text, std::vector<Refusal>* refusals,
                                               FormRules forms) {
    return Bundle<X509Crl>({.forms = forms, .fromMessages = true}, refusals).read(text, nullptr);
}

size_t CertificateMemoryStore::loadCertificates(std::string_view text, std::vector<Refusal>* refusals,
                                                FormRules forms) {
    return Distinct(certs).add(
        readEvery(text, forms, refusals, static_cast<X509Certificate const*>(nullptr)));
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
