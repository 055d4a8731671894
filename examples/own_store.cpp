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

} // namespace

int main(int, char** arguments) { // chain.pem, root.pem
    Refusal refusal;
    CertificateChain chain = readCertChainFromFile(arguments[1], &refusal);
    std::shared_ptr<X509Certificate> const root = readCertFromFile(arguments[2], &refusal);
    if (chain.empty() || !root) {
        std::cout << printable(refusal.str()) << std::endl;
        return 2;
    }
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
