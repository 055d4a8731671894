#include "objects/revocation.h"

#include "sealkit/pem.h"

#include "io/input.h"
#include "io/terminal.h"

#include <algorithm>

namespace {

/// Every X509 CRL block of a PEM text, or one list in DER. Null in the result stands for a block
/// that is no readable list.
std::vector<std::shared_ptr<X509Crl>> parseCrls(std::string_view text) {
    auto parseDer = [](asn1::blob der) {
        auto crl = std::make_shared<X509Crl>();
        return crl->parse(der.data(), static_cast<unsigned>(der.size())) ? crl : nullptr;
    };
    std::vector<std::shared_ptr<X509Crl>> crls;
    std::string_view rest = text, label, body;
    bool anyBlock = false;
    while (parsePem(rest, &label, &body)) {
        anyBlock = true;
        std::vector<unsigned char> der;
        if (label == "X509 CRL")
            crls.push_back(pemDecode(body, &der) ? parseDer(der) : nullptr);
    }
    if (!anyBlock)
        crls.push_back(parseDer(text));
    return crls;
}

enum class Issued { verified, byAnother, tampered };

Issued checkIssuer(X509Crl const& crl, CertificateChain const& issuers) {
    bool named = false;
    for (auto const& issuer : issuers) {
        bool const keyFits = crl.authorityKeyId.empty() || issuer->subjectKeyId.empty() ||
                             crl.authorityKeyId == issuer->subjectKeyId;
        if (!keyFits || !(issuer->subjectBytes() == crl.issuerBytes()))
            continue;
        named = true;
        PathRes result;
        if (verifySignature(&crl, issuer->subjectPublicKeyInfo, &result))
            return Issued::verified;
    }
    return named ? Issued::tampered : Issued::byAnother;
}

} // namespace

bool isSignedByOneOf(X509Crl const& crl, CertificateChain const& issuers) {
    return checkIssuer(crl, issuers) == Issued::verified;
}

bool readCrls(std::vector<std::string> const& files, CertificateChain const& issuers,
              std::vector<std::shared_ptr<X509Crl>>* crls) {
    for (std::string const& file : files) {
        auto say = [&](std::string const& what) {
            terminal::err() << "sealkit: " << terminal::printable(file) << ": " << what << std::endl;
            return false;
        };
        auto const text = readInput(file);
        if (!text)
            return false;
        auto const found = parseCrls(*text);
        if (found.empty())
            return say("no certificate revocation list in it");
        for (auto const& crl : found) {
            if (!crl)
                return say("not a readable certificate revocation list");
            std::string const name = "the list of <" + terminal::printable(crl->issuer.str()) + ">";
            switch (checkIssuer(*crl, issuers)) {
            case Issued::verified:
                crls->push_back(crl);
                break;
            case Issued::tampered:
                return say("the signature of " + name + " does not verify");
            case Issued::byAnother:
                say("no certificate of its issuer is at hand for " + name + ", left out");
                break;
            }
        }
    }
    std::stable_sort(crls->begin(), crls->end(), [](auto const& a, auto const& b) {
        return a->thisUpdate.seconds > b->thisUpdate.seconds;
    });
    return true;
}

void dropUnverifiedCrls(CertificateChain const& issuers, std::vector<std::shared_ptr<X509Crl>>* crls) {
    std::erase_if(*crls, [&](auto const& crl) {
        Issued const issued = checkIssuer(*crl, issuers);
        if (issued != Issued::verified)
            terminal::err() << "sealkit: "
                            << (issued == Issued::tampered ? "the signature does not verify of "
                                                           : "no certificate of its issuer is at hand for ")
                            << "the list of <" << terminal::printable(crl->issuer.str()) << ">, left out"
                            << std::endl;
        return issued != Issued::verified;
    });
}
