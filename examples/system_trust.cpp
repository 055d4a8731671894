/// Validates a chain under the trust of the system's certificate manager, and names entries that could not be
/// loaded.
#include <sealkit/sealkit.h>

#include <iostream>

int main(int count, char** arguments) {
    if (count != 3) {
        std::cout << "usage: system_trust CHAIN HOST" << std::endl;
        return 3;
    }
    CertificateMemoryStore store;
    std::vector<LoadRefusal> leftOut;
    store.loadFromCerm(CermEntry::everyUse, false, &leftOut);
    for (LoadRefusal const& entry : leftOut)
        std::cout << printable(entry.path) << ": " << printable(entry.refusal.str()) << std::endl;

    Refusal refusal;
    CertificateChain const chain = readCertChainFromFile(arguments[1], &refusal);
    if (refusal) {
        std::cout << arguments[1] << ": " << printable(refusal.str()) << std::endl;
        return 2;
    }
    PathOptions options;
    options.now = TimePoint::nowUtc();
    options.hostName = arguments[2];
    PathSearch search(store);
    search.addCertificates(chain);
    PathVerdict const verdict = search.find(x509ChooseLeaf(chain, options), options);
    std::cout << store.certs.size() << " trusted certificates; "
              << (verdict.isValid() ? "valid" : printable(verdict.reason())) << std::endl;
    return verdict.isValid() ? 0 : 1;
}
