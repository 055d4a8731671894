/// Validates a PEM chain for a host name against a folder of trusted CAs.
#include <sealkit/sealkit.h>

#include <ctime>
#include <iostream>

int main(int, char** arguments) { // chain.pem, folder of CAs, host name
    CertificateMemoryStore store;
    store.loadFromDir(arguments[2], false);
    CertificateChain chain = readCertChainFromFile(arguments[1]);
    x509BuildPath(store, chain, nullptr);

    std::string reason;
    int const code = x509ValidatePath(chain, store, TimePoint::fromSeconds(std::time(nullptr)), arguments[3],
                                      IPAddr6(), "", false, &reason);
    std::cout << code << ": " << (code == 0 ? "trusted" : reason) << std::endl;
    return code;
}
