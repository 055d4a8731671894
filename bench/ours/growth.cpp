// Operations whose time grows with their input: PEM bundles, stores and CRLs.
#include "ours/ours.h"

#include "inputs.h"

#include <sealkit/crl.h>
#include <sealkit/pem.h>
#include <sealkit/store.h>

namespace bench {

void addGrowth(Rows& rows) {
    size_t const certificateSize = bundle(1).size();
    for (size_t const megabytes : {1, 4, 16, 64}) {
        size_t const count = megabytes * 1'000'000 / certificateSize;
        rows.add(
            "pem_load/" + std::to_string(megabytes) + "MB",
            [=] {
                return [=, text = bundle(count)] { return readCertificates(text, nullptr).size() == count; };
            },
            count * certificateSize);
    }

    for (size_t const count : {100, 1'000, 10'000, 50'000}) {
        std::string const size = "/" + std::to_string(count);
        auto const fill = [=] {
            auto store = std::make_shared<CertificateMemoryStore>();
            for (size_t i = 0; i < count; i++) {
                store->certs.push_back(std::make_shared<X509Certificate>());
                store->certs.back()->parse(numberedCertificate(i), nullptr);
            }
            return store;
        };
        rows.add("store_find_by_key" + size, [=] {
            return [=, store = fill()] {
                auto const& last = *store->certs.back();
                return store->findCertificate(last.subject, last.subjectKeyId) == store->certs.back();
            };
        });
        rows.add("store_find_by_name" + size, [=] {
            return [=, store = fill()] {
                return store->findCertificate(store->certs.back()->subject, {}) == store->certs.back();
            };
        });
    }

    for (size_t const entries : {1'000, 10'000, 100'000, 1'000'000}) {
        std::string const size = "/" + std::to_string(entries);
        rows.add(
            "crl_parse" + size,
            [=] {
                return [=, der = crl(entries)] {
                    X509Crl list;
                    return list.parse(der, nullptr) && list.revoked.size() == entries;
                };
            },
            entries);
        rows.add("crl_find" + size, [=] {
            auto const list = std::make_shared<X509Crl>();
            list->parse(crl(entries), nullptr);
            return [=, serial = crlSerial(entries - 1)] { return list->findRevoked(serial) != nullptr; };
        });
    }
}

} // namespace bench
