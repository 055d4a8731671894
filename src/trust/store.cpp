#include "sealkit/store.h"

#include "base/file.h"
#include "base/reading.h"
#include "sealkit/pem.h"
#include "trust/load.h"
#include "trust/store_index.h"

#include <algorithm>
#include <cstring>
#include <iostream>
#include <iterator>
#include <utility>

namespace {

template <typename T, typename Predicate>
std::shared_ptr<T> findFirst(std::vector<std::shared_ptr<T>> const& objects, Predicate matches) {
    auto found = std::ranges::find_if(objects, [&](auto const& object) { return matches(*object); });
    return found == objects.end() ? nullptr : *found;
}

} // namespace

CertificateMemoryStore::CertificateMemoryStore() = default;
CertificateMemoryStore::CertificateMemoryStore(CertificateMemoryStore const&) = default;
CertificateMemoryStore::CertificateMemoryStore(CertificateMemoryStore&& other) noexcept
    : CertificateStore(std::move(other)), certs(std::move(other.certs)), crls(std::move(other.crls)) {
    other.reindex();
}

CertificateMemoryStore& CertificateMemoryStore::operator=(CertificateMemoryStore const& other) {
    certs = other.certs;
    crls = other.crls;
    reindex();
    return *this;
}

CertificateMemoryStore& CertificateMemoryStore::operator=(CertificateMemoryStore&& other) noexcept {
    certs = std::move(other.certs);
    crls = std::move(other.crls);
    reindex();
    other.reindex();
    return *this;
}

CertificateMemoryStore::~CertificateMemoryStore() { reindex(); }

void CertificateMemoryStore::reindex() { detail::dropIndex(*this); }

std::shared_ptr<X509Certificate> CertificateMemoryStore::findCertificate(DistinguishedName const& subject,
                                                                         asn1::blob keyId) const {
    if (certs.size() > detail::maxUnindexed)
        return detail::findByIndex(*this, subject, keyId);
    return findFirst(certs, [&](X509Certificate const& certificate) {
        return detail::isMatch(certificate, subject, keyId);
    });
}

std::shared_ptr<X509Crl> CertificateMemoryStore::findCrl(X509Certificate const& certificate) const {
    if (crls.size() > detail::maxUnindexed)
        return detail::findByIndex(*this, certificate.issuer);
    return findFirst(crls, [&](X509Crl const& crl) { return detail::isMatch(crl, certificate.issuer); });
}

bool CertificateMemoryStore::loadFromStr(std::string_view text) {
    auto chain = readCertChain(text);
    std::ranges::move(chain, std::back_inserter(certs));
    return !chain.empty();
}

bool CertificateMemoryStore::loadFromDir(std::string_view dir, bool withCrls) {
    return loadFromDir(dir, withCrls, nullptr);
}

bool CertificateMemoryStore::loadFromDir(std::string_view dir, bool withCrls,
                                         std::vector<LoadedFile>* files) {
    return detail::loadFolder(*this, dir, withCrls, files, detail::Diagnostics::stated, nullptr);
}

bool detail::loadFolder(CertificateMemoryStore& to, std::string_view dir, bool withCrls,
                        std::vector<LoadedFile>* files, Diagnostics diagnostics,
                        std::vector<LoadRefusal>* refusals, FormRules forms) {
    std::vector<std::string> names;
    if (int const error = listFolder(std::string(dir), &names); error != 0) {
        if (diagnostics == Diagnostics::stated)
            std::cout << "[ERR] opendir: " << strerror(error) << std::endl;
        return false;
    }
    bool const isSilent = diagnostics == Diagnostics::silent;
    for (std::string const& name : names) {
        std::string const path = std::string(dir) + "/" + name;
        FileText const file(path);
        std::string_view const content = file;
        LoadedAs as = !content.empty() ? LoadedAs::nothing
                      : isFolder(path) ? LoadedAs::folder
                                       : LoadedAs::empty;
        Refusal refusal;
        if (auto certificate =
                isSilent ? readCertFromStr(content, &refusal, forms) : readCertFromStr(content)) {
            to.certs.push_back(std::move(certificate));
            as = LoadedAs::certificate;
        } else if (auto crl = !withCrls  ? nullptr
                              : isSilent ? readCrl(content, nullptr, forms)
                                         : readCrl(content)) {
            to.crls.push_back(std::move(crl));
            as = LoadedAs::crl;
        }
        if (files != nullptr && name != "." && name != "..")
            files->push_back({name, as});
        if (refusals == nullptr || (as != LoadedAs::nothing && as != LoadedAs::empty))
            continue;
        if (as == LoadedAs::empty) {
            refusal = {};
            Reading reading({}, &refusal);
            file.explain(reading);
        }
        refusals->push_back({path, std::move(refusal)});
    }
    return true;
}
