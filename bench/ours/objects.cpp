// Certificates, chains, PKCS#12 files and signed messages. Readers write no diagnostics, like other
// libraries.
#include "ours/ours.h"

#include "inputs.h"

#include <sealkit/path.h>
#include <sealkit/pkcs12.h>
#include <sealkit/pkcs7.h>
#include <sealkit/store.h>
#include <sealkit/x509.h>

namespace bench {

namespace {

std::shared_ptr<X509Certificate> read(Bytes const& der) {
    auto certificate = std::make_shared<X509Certificate>();
    return certificate->parse(der, nullptr) ? certificate : nullptr;
}

/// Leaf and intermediate from DER to the verdict. The root is already in the store.
void addChain(Rows& rows, std::string const& name, Chain const& (*made)()) {
    rows.add(name, [=] {
        auto const store = std::make_shared<CertificateMemoryStore>();
        store->certs = {read(made().root)};
        return [=, &given = made()] {
            CertificateChain chain = {read(given.leaf), read(given.intermediate)};
            PathOptions options;
            options.now = TimePoint::fromSeconds(validationTime);
            return x509BuildPath(*store, chain, nullptr) && chain.size() == 3 &&
                   x509ExplainPath(chain, *store, options).code == 0;
        };
    });
}

} // namespace

void addObjects(Rows& rows) {
    rows.add("certificate_parse", [] {
        return [&der = rsaChain().leaf] {
            X509Certificate certificate;
            return certificate.parse(der, nullptr);
        };
    });
    rows.add(
        "bundle_load",
        [] {
            return [text = bundle(bundleSize)] {
                CertificateMemoryStore store;
                return store.loadCertificates(text, nullptr) == bundleSize;
            };
        },
        bundleSize);
    addChain(rows, "rsa_chain", rsaChain);
    addChain(rows, "p256_chain", p256Chain);
    rows.add("pkcs12_open", [] {
        return [&file = pkcs12()] {
            PKCS12PFX pfx;
            return pfx.parse(file, nullptr) && pfx.decrypt(password, nullptr) && pfx.keys.size() == 1;
        };
    });
    rows.add("cms_verify", [] {
        auto const store = std::make_shared<CertificateMemoryStore>();
        store->certs = {read(rsaChain().root)};
        return [=, &encoded = signedMessage()] {
            PKCS7SignedData message;
            return message.parse(encoded, nullptr) &&
                   message.verify(*store, {}, TimePoint::fromSeconds(validationTime), nullptr);
        };
    });
}

} // namespace bench
