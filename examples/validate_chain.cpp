/// Validates the certificate in a file, with the others in it, for a host name under a folder of trusted CAs.
#include <sealkit/sealkit.h>

#include <iostream>

int main(int count, char** arguments) {
    if (count != 4) {
        std::cout << "usage: validate_chain CHAIN FOLDER-OF-CAS HOST" << std::endl;
        return 3;
    }
    Refusal refusal;
    CertificateChain const chain = readCertChainFromFile(arguments[1], &refusal);
    if (refusal) {
        std::cout << arguments[1] << ": " << printable(refusal.str()) << std::endl;
        return 2;
    }
    CertificateMemoryStore store;
    store.loadCertificatesFrom(arguments[2], nullptr);

    PathOptions options;
    options.now = TimePoint::nowUtc();
    options.hostName = arguments[3];
    options.rules = PathRules::platform | PathRules::rfc5280;
    PathSearch search(store);
    search.addCertificates(chain);
    PathVerdict const verdict = search.find(x509ChooseLeaf(chain, options), options);
    std::cout << (verdict.isValid() ? "trusted" : printable(verdict.reason())) << std::endl;
    return verdict.isValid() ? 0 : 1;
}
