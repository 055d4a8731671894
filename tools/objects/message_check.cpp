#include "objects/message_check.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/description.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>

namespace {

using terminal::printable;

/// More than any message has. What is done for each of them looks at the others.
constexpr size_t maxCertificates = 1000;
constexpr size_t maxSigners = 100;

/// Looking for a chain takes long where a forger lays out issuers for it. One failure decides; these are told.
constexpr unsigned mostUntrusted = 4;

/// Clocks differ.
constexpr int64_t toleratedSeconds = 300;

/// The certificate of the message, or the self-signed one that is trusted, as the library finds it.
std::shared_ptr<X509Certificate> findCertificate(PKCS7SignedData const& message,
                                                 PKCS7SignerInfo const& signer,
                                                 CertificateMemoryStore const& trusted) {
    if (auto certificate = message.findCertificate(signer))
        return certificate;
    terminal::MuteDiagnostics const mute;
    DistinguishedName name;
    auto own = name.parse(signer.issuer) ? trusted.findCertificate(name, {}) : nullptr;
    return own && own->selfSigned && own->serialNumber == signer.serialNumber ? own : nullptr;
}

class Judgement {
public:
    Judgement(PKCS7SignedData const& judged, CertificateMemoryStore const& store, PathOptions const& asked,
              MessageVerdict& result)
        : message(judged), trusted(store), question(asked), verdict(result), search(store) {
        search.addCertificates(message.certificates);
    }

    void addSigner(PKCS7SignerInfo const& signer) {
        verdict.signers.push_back({&signer, findCertificate(message, signer, trusted)});
        number = verdict.signers.size();
        checkForm(signer);
        if (auto const& certificate = verdict.signers.back().certificate) {
            checkAgainst(signer, *certificate);
            checkChain(certificate);
        } else {
            verdict.notes.push_back("signer " + std::to_string(number) +
                                    ": its certificate may be given with --certificates");
        }
    }

    void addMessage() {
        number = 0;
        if (!message.crls.empty())
            warn("unchecked-lists", "the revocation lists in the message are not looked at");
    }

    /// What is trusted, with the ends of the chains that were found first: the library takes the first of several
    /// authorities of one name.
    CertificateMemoryStore trustedFirst() const {
        CertificateMemoryStore store = trusted;
        for (auto const& [certificate, chain] : verdicts)
            if (auto const end = std::ranges::find(store.certs, chain.chain.back()); end != store.certs.end())
                std::rotate(store.certs.begin(), end, end + 1);
        return store;
    }

private:
    void warn(std::string rule, std::string sentence, std::string facts = "") {
        verdict.warnings.push_back({number, std::move(rule), std::move(sentence), std::move(facts)});
    }

    void checkForm(PKCS7SignerInfo const& signer) {
        if (signer.digestAlgorithm == HashID::MD5 || signer.digestAlgorithm == HashID::SHA1)
            warn("weak-digest", "forgers can make another content with the same digest",
                 getHashName(signer.digestAlgorithm));
        if (signer.counterSignature)
            warn("unchecked-counter-signature", "its counter-signature is not checked");
        if (signer.msCounterSignature)
            warn("unchecked-time-stamp", "its time-stamp is not checked");
        if (signer.hasSigningTime != 0 &&
            signer.signingTime.seconds > question.now.seconds + toleratedSeconds)
            warn("future-signing-time", "it says that it will sign in the future",
                 formatTime(signer.signingTime));
    }

    void checkAgainst(PKCS7SignerInfo const& signer, X509Certificate const& certificate) {
        if (certificate.issuerBytes() != asn1::blob(signer.issuer))
            warn("issuer-written-anew", "it names the issuer of its certificate in other bytes: other "
                                        "programs do not find the certificate");
        else if (!DistinguishedName::roundTrips(signer.issuer))
            verdict.notes.push_back(
                "signer " + std::to_string(number) +
                ": the name of its issuer is one that the library would write in other bytes");
        unsigned const signing = KeyUsage::digitalSignature | KeyUsage::contentCommitment;
        if (certificate.keyUsage != 0 && (certificate.keyUsage & signing) == 0)
            warn("key-usage", "the key usage of its certificate does not allow signing messages");
        if (signer.hasSigningTime != 0 &&
            (signer.signingTime < certificate.notBefore || signer.signingTime > certificate.notAfter))
            warn("signing-time", "it says that it signed when its certificate was not valid",
                 formatTime(signer.signingTime));
    }

    void checkChain(std::shared_ptr<X509Certificate> const& certificate) {
        if (untrusted == mostUntrusted)
            return;
        auto const [found, isNew] = verdicts.try_emplace(certificate.get());
        if (isNew)
            found->second = search.find(certificate, question);
        PathVerdict const& chain = found->second;
        if (int const code = chain.explanation.code; code != 0) {
            ++untrusted;
            fail(verdict,
                 "signer " + std::to_string(number) + ": its certificate is not trusted: " + chain.reason());
            auto const& term = *findPathCode(code);
            verdict.notes.push_back("signer " + std::to_string(number) + ": certificate " +
                                    std::to_string(chain.explanation.depth) + " <" +
                                    printable(chain.explanation.subject) + ">: " + term.name + ": " +
                                    term.sentence + withFacts(chain.explanation.facts));
        }
        addCrls(chain.crls);
        for (PathWarning const& warning : chain.warnings) {
            auto const& term = getReasonText(warning.id);
            warn(term.name,
                 "certificate " + std::to_string(warning.depth) + " <" + printable(warning.subject) +
                     ">: " + term.sentence,
                 factsOf(warning.facts));
        }
    }

    /// A CRL counts as the best of what the signers' chains make of it.
    void addCrls(std::vector<CrlVerdict> const& crls) {
        if (verdict.crls.empty())
            verdict.crls = crls;
        for (size_t i = 0; i < crls.size(); ++i)
            verdict.crls[i].status = std::min(verdict.crls[i].status, crls[i].status);
    }

    static std::string withFacts(std::vector<Fact> const& facts) {
        return facts.empty() ? "" : " (" + factsOf(facts) + ")";
    }

    PKCS7SignedData const& message;
    CertificateMemoryStore const& trusted;
    PathOptions const& question;
    MessageVerdict& verdict;
    size_t number = 0;
    unsigned untrusted = 0;
    PathSearch search;
    std::map<X509Certificate const*, PathVerdict> verdicts;
};

std::string signerLine(size_t number, SignerFound const& signer) {
    PKCS7SignerInfo const& info = *signer.info;
    std::string line = std::to_string(number) + ": ";
    if (signer.certificate)
        line += "<" + nameFor(*signer.certificate) + ">, issued by <" +
                printable(signer.certificate->issuer.str()) + ">";
    else
        line += "serial number " + shortHexOf(info.serialNumber) + " of <" + nameText(info.issuer) +
                ">, its certificate is not at hand";
    line += ", " + getHashName(info.digestAlgorithm);
    if (info.hasSigningTime != 0)
        line += ", signed at " + formatTime(info.signingTime) + " by its own account";
    return line;
}

std::string whose(MessageWarning const& warning) {
    return warning.signer == 0 ? "" : "signer " + std::to_string(warning.signer) + ": ";
}

} // namespace

bool isTooLarge(PKCS7SignedData const& message, std::string const& path) {
    if (message.certificates.size() <= maxCertificates && message.signerInfos.size() <= maxSigners)
        return false;
    badInput(path + ": more signers or certificates than any message has");
    return true;
}

bool addCertificates(PKCS7SignedData& message, std::string const& path) {
    auto const text = readInput(path);
    if (!text)
        return false;
    std::vector<Refusal> refusals;
    auto certificates = readCertificates(*text, &refusals);
    if (!refusals.empty()) {
        badInput(path + ": " + complaintOf(certificates, refusals));
        return false;
    }
    for (auto& certificate : certificates) {
        auto const isCopy = [&](auto const& other) {
            return other->tbs == certificate->tbs && other->signature == certificate->signature;
        };
        if (std::ranges::none_of(message.certificates, isCopy))
            message.certificates.push_back(std::move(certificate));
    }
    return true;
}

MessageVerdict judgeMessage(PKCS7SignedData const& message, asn1::blob detachedContent,
                            CertificateMemoryStore const& trusted, PathOptions const& question) {
    MessageVerdict verdict;
    Judgement judgement(message, trusted, question, verdict);
    for (auto const& signer : message.signerInfos)
        judgement.addSigner(*signer);
    judgement.addMessage();
    std::string reason;
    terminal::MuteDiagnostics const mute;
    if (!message.verify(judgement.trustedFirst(), detachedContent, question.now, &reason))
        verdict.failure = printable(reason); // Before what fails a chain: it may be the content.
    return verdict;
}

void fail(MessageVerdict& verdict, std::string const& why) {
    if (verdict.failure.empty())
        verdict.failure = printableLine(why);
}

void applyStrictness(MessageVerdict& verdict, bool isStrict) {
    if (isStrict && !verdict.warnings.empty())
        fail(verdict, "there are warnings, which --strict does not let pass");
}

void printVerdict(MessageVerdict const& verdict, std::vector<std::string> const& further, std::ostream& out) {
    for (std::string const& note : verdict.notes)
        terminal::err() << "note: " << note << std::endl;
    for (size_t i = 0; i < verdict.signers.size(); ++i)
        out << signerLine(i + 1, verdict.signers[i]) << '\n';
    for (std::string const& line : further)
        out << line << '\n';
    out << (verdict.failure.empty() ? "OK" : "FAILED: " + verdict.failure) << std::endl;
    for (MessageWarning const& warning : verdict.warnings) {
        terminal::err() << "warning: " << whose(warning) << warning.rule << ": " << warning.sentence
                        << std::endl;
        if (!warning.facts.empty())
            terminal::err() << "  " << warning.facts << std::endl;
    }
}

void addVerdict(MessageVerdict const& verdict, nlohmann::ordered_json& to) {
    to["verdict"] = verdict.failure.empty() ? "OK" : "FAILED";
    to["reason"] = verdict.failure;
    to["signers"] = nlohmann::json::array();
    for (SignerFound const& signer : verdict.signers) {
        PKCS7SignerInfo const& info = *signer.info;
        nlohmann::ordered_json entry{{"issuer", nameText(info.issuer)},
                                     {"serialNumber", shortHexOf(info.serialNumber)},
                                     {"digestAlgorithm", getHashName(info.digestAlgorithm)}};
        if (signer.certificate)
            entry["subject"] = nameFor(*signer.certificate);
        if (info.hasSigningTime != 0)
            entry["signingTime"] = formatTime(info.signingTime);
        to["signers"].push_back(std::move(entry));
    }
    to["warnings"] = nlohmann::json::array();
    for (MessageWarning const& warning : verdict.warnings)
        to["warnings"].push_back({{"signer", warning.signer},
                                  {"rule", warning.rule},
                                  {"sentence", warning.sentence},
                                  {"facts", warning.facts}});
    to["notes"] = verdict.notes;
}
