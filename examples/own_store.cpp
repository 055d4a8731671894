/// Path building over an own store: this one answers from a table in memory, and could use a database
/// instead.
#include <sealkit/sealkit.h>

#include <iostream>
#include <map>

namespace {

/// Trusts one certificate for each subject.
class TableStore : public CertificateStore {
public:
    void add(std::shared_ptr<X509Certificate> const& certificate) {
        asn1::blob const subject = certificate->subjectBytes();
        bySubject[std::string(subject.begin(), subject.end())] = certificate;
    }

    std::shared_ptr<X509Certificate> findCertificate(DistinguishedName const& subject,
                                                     asn1::blob keyId) const override {
        for (auto const& [name, certificate] : bySubject)
            if (certificate->subject == subject &&
                (keyId.empty() || keyId == asn1::blob(certificate->subjectKeyId)))
                return certificate;
        return nullptr;
    }

    std::shared_ptr<X509Crl> findCrl(X509Certificate const&) const override { return nullptr; }

private:
    std::map<std::string, std::shared_ptr<X509Certificate>> bySubject;
};

/// Prints why a file cannot be used. Returns the exit status.
int cannotUse(char const* path, Refusal const& refusal) {
    std::cout << path << ": " << printable(refusal.str()) << std::endl;
    return 2;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::cout << "usage: own_store CHAIN ROOT" << std::endl;
        return 3;
    }
    Refusal refusal;
    CertificateChain chain = readCertChainFromFile(arguments[1], &refusal);
    if (refusal)
        return cannotUse(arguments[1], refusal);
    std::shared_ptr<X509Certificate> const root = readCertFromFile(arguments[2], &refusal);
    if (!root)
        return cannotUse(arguments[2], refusal);
    TableStore store;
    store.add(root);

    x509BuildPath(store, chain, nullptr);
    PathOptions options;
    options.now = TimePoint::nowUtc();
    PathExplanation const explanation = x509ExplainPath(chain, store, options);
    for (std::shared_ptr<X509Certificate> const& certificate : chain)
        std::cout << printable(nameText(certificate->subjectBytes())) << std::endl;
    std::cout << (explanation.code == 0 ? "valid" : printable(explanation.reason())) << std::endl;
    return explanation.code == 0 ? 0 : 1;
}
