// The trust settings of the certificate manager, from the system's configuration stores:
//
// "cert/settings", record 0
//     u32 7, u32 5         uses for which the built-in CA folder is trusted, newer and older form
//     bool 4, u32 0xfe0012 whether it is trusted, in records that have neither
//     u32 3                other than 0: CRLs are kept in memory
// "cerm", a record for each certificate
//     bool 12              it is trusted
//     u32 45               for these uses
//     raw 129, raw 11      the certificate in DER; the first goes before the second
//     u32 135              2: raw 129 is not to be used, nor the entry that has it
//     string 0xfe0010      its name
//     string 113           its DNS name
//     u32 123              with bit 6, raw 143 and string array 32: its CRL is fetched
// "cert/crl", a record for each CRL
//     u32 12               for these uses
#include "sealkit/cerm.h"
#include "kp/cloud.h"
#include "kp/file.h"
#include "kp/root.h"
#include "kp/store.h"
#include "sealkit/pem.h"
#include "sealkit/store.h"
#include "trust/load.h"

#include <algorithm>
#include <string>
#include <utility>

namespace {

/// The uses for which the built-in roots are trusted unless the settings say otherwise: bits 4, 7, 8,
/// 9, 11, 13, 17, 18, 20 and 21.
constexpr uint32_t defaultTrust = 0x00362b90;
/// Every use in u32 7, which stands for the default ones, and an older default of u32 5.
constexpr uint32_t everyUse = 0x7fffffff;
constexpr uint32_t olderDefaultTrust = 0x00022b90;
/// The use for which the built-in roots are trusted under any settings.
constexpr uint32_t alwaysTrusted = 0x00800000;

constexpr uint32_t settingsId = 0;

namespace field {

constexpr uint32_t certificate = 11;
constexpr uint32_t isTrusted = 12;
constexpr uint32_t crlUrls = 32;
constexpr uint32_t uses = 45;
constexpr uint32_t dnsName = 113;
constexpr uint32_t options = 123;
constexpr uint32_t issuedCertificate = 129;
constexpr uint32_t issuedState = 135;
constexpr uint32_t crl = 143;
constexpr uint32_t name = 0xfe0010;

} // namespace field

constexpr uint32_t issuedStateUnusable = 2;
constexpr uint32_t optionFetchCrl = 0x40;

/// The uses for which a store of a few entries trusts the built-in roots: the default ones when every
/// entry is a "Lets encrypt" certificate and one of them belongs to the cloud service.
uint32_t trustByCloudScan(kp::Store const& cerm) {
    bool ofCloud = false;
    for (int32_t id : kp::Allocator(cerm)) {
        if (id == settingsId || id == -5)
            continue;
        CermEntry const entry = readCermEntry(id, cerm.get(id));
        if (!entry.name.starts_with("Lets encrypt"))
            return 0;
        ofCloud = ofCloud || std::ranges::any_of(kp::cloudDnsSuffixes(), [&](std::string_view suffix) {
                      return entry.dnsName.ends_with(suffix);
                  });
    }
    return ofCloud ? defaultTrust : 0;
}

/// The uses for which the built-in roots are trusted.
uint32_t builtInTrust(kp::message const& settings, kp::Store const& cerm) {
    if (settings.hasU32(7)) {
        uint32_t const mask = settings.getU32(7);
        return mask == everyUse ? defaultTrust : mask;
    }
    if (settings.hasU32(5)) {
        uint32_t const mask = settings.getU32(5);
        return mask == olderDefaultTrust ? defaultTrust : mask;
    }
    if (settings.empty())
        return defaultTrust;
    if (settings.getU32(0xfe0012) != 0)
        return settings.getBool(4, true) ? defaultTrust : 0;
    uint32_t const count = ~cerm.state();
    if (count <= 1)
        return defaultTrust;
    return count > 4 ? 0 : trustByCloudScan(cerm);
}

/// The certificate of a trusted entry, in DER; empty if it has no usable one.
asn1::blob certificateOf(kp::message const& entry) {
    if (!entry.hasRaw(field::issuedCertificate))
        return entry.getRaw(field::certificate);
    if (entry.getU32(field::issuedState) == issuedStateUnusable)
        return {};
    return entry.getRaw(field::issuedCertificate);
}

/// Fills a store from the certificate manager, with diagnostics or with refusals.
class CermLoader {
public:
    CermLoader(CertificateMemoryStore& store, detail::Diagnostics said, std::vector<LoadRefusal>* left,
               FormRules read = FormRules::platform)
        : to(store), diagnostics(said), refusals(left), forms(read) {}

    void load(unsigned usage, bool all);

private:
    bool isSilent() const { return diagnostics == detail::Diagnostics::silent; }

    void leaveOut(std::string path, Refusal refusal) const {
        if (refusals != nullptr)
            refusals->push_back({std::move(path), std::move(refusal)});
    }

    bool appendCertificate(int32_t id, asn1::blob der) const {
        auto certificate = std::make_shared<X509Certificate>();
        Refusal refusal;
        bool const isGood = isSilent() ? certificate->parse(der, &refusal, forms)
                                       : certificate->parse(der.data(), static_cast<unsigned>(der.size()));
        if (isGood)
            to.certs.push_back(std::move(certificate));
        else
            leaveOut("entry " + std::to_string(id) + " of the certificate manager", std::move(refusal));
        return isGood;
    }

    /// A CRL that has not been fetched yet has no file, or an empty one.
    void appendCrl(std::string const& path) const {
        std::string const content = kp::readFile(kp::rootPath(path), -1, 0);
        Refusal refusal;
        if (auto crl = isSilent() ? readCrl(content, &refusal, forms) : readCrl(content))
            to.crls.push_back(std::move(crl));
        else if (!content.empty())
            leaveOut(kp::rootPath(path), std::move(refusal));
    }

    CertificateMemoryStore& to;
    detail::Diagnostics diagnostics;
    std::vector<LoadRefusal>* refusals;
    FormRules forms;
};

} // namespace

CermEntry readCermEntry(int32_t id, kp::message const& record) {
    CermEntry entry;
    entry.isTrusted = id != settingsId && record.getBool(field::isTrusted);
    entry.uses = record.getU32(field::uses, CermEntry::everyUse);
    asn1::blob const der = certificateOf(record);
    entry.certificate.assign(der.begin(), der.end());
    entry.name = record.getString(field::name);
    entry.dnsName = record.getString(field::dnsName);
    entry.fetchesCrl = (record.getU32(field::options) & optionFetchCrl) != 0 && record.hasRaw(field::crl) &&
                       record.hasStrings(field::crlUrls);
    return entry;
}

kp::message makeCermRecord(CermEntry const& entry) {
    kp::message record;
    record.setBool(field::isTrusted, entry.isTrusted);
    record.setU32(field::uses, entry.uses);
    record.setRaw(field::certificate, entry.certificate);
    if (!entry.name.empty())
        record.setString(field::name, entry.name);
    if (!entry.dnsName.empty())
        record.setString(field::dnsName, entry.dnsName);
    return record;
}

void CermLoader::load(unsigned usage, bool all) {
    kp::Store const cerm(cermStoreName);
    kp::message const settings = kp::Store("cert/settings").get(0);

    if (all || ((builtInTrust(settings, cerm) | alwaysTrusted) & usage) != 0)
        detail::loadFolder(to, kp::rootPath("/kelp/etc/ca/"), false, nullptr, diagnostics, refusals, forms);

    std::vector<int32_t> fetchedCrls;
    for (int32_t id : kp::Allocator(cerm)) {
        CermEntry const entry = readCermEntry(id, cerm.get(id));
        if (!entry.isTrusted || (!all && (entry.uses & usage) == 0))
            continue;
        if (appendCertificate(id, entry.certificate) && entry.fetchesCrl)
            fetchedCrls.push_back(id);
    }
    if (all)
        return;

    std::string const crlFolder = settings.getU32(3) != 0 ? "/ram/crl" : "/rw/cm/crl";
    kp::Store const crlStore("cert/crl");
    for (int32_t id : kp::Allocator(crlStore)) {
        auto const record = crlStore.find(id);
        if (record && (record->getU32(12, 0xffffffff) & usage) != 0)
            appendCrl(crlFolder + "/" + std::to_string(id));
    }
    for (int32_t id : fetchedCrls)
        appendCrl("/rw/cm/ca_crl/" + std::to_string(id) + ".crl");
}

bool CertificateMemoryStore::loadFromCerm(unsigned usage, bool all) {
    CermLoader(*this, detail::Diagnostics::stated, nullptr).load(usage, all);
    return true;
}

bool CertificateMemoryStore::loadFromCerm(unsigned usage, bool all, std::vector<LoadRefusal>* refusals,
                                          FormRules forms) {
    CermLoader(*this, detail::Diagnostics::silent, refusals, forms).load(usage, all);
    return true;
}
