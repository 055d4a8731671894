#include "objects/issuing.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "io/terminal.h"
#include "objects/ca_certificate.h"
#include "objects/input_objects.h"
#include "objects/register.h"
#include "objects/trust.h"

#include "sealkit/issue.h"

#include <algorithm>

namespace {

/// Notes unusual but allowed properties of the certificate.
void remark(X509Certificate const& certificate) {
    bool const isForServers = (certificate.extKeyUsage & ExtKeyUsage::tlsServer) != 0;
    auto const isHost = [](GeneralName const& name) {
        return name.type == GeneralName::dnsName || name.type == GeneralName::ipAddress;
    };
    if (isForServers && certificate.basicConstraints != 1 &&
        std::ranges::none_of(certificate.subjectAltNames, isHost))
        note("no host is named: browsers only check alternative names (--san DNS:host)");
    Refusal refusal;
    if (!X509Certificate().parse(certificate.serialize(), &refusal))
        note("the platform's rules refuse this certificate: " + terminal::printable(refusal.str()));
}

/// Complains that the standard rules reject the certificate, with the reason.
int sayRefused(PathExplanation const& why, IssuerOptions const& options) {
    auto const& term = *findPathCode(why.code);
    std::string const who = why.depth == 0 ? "" : "the CA <" + terminal::printable(why.subject) + ">: ";
    std::string const facts = factsOf(why.facts);
    return badInput((options.authority.empty() ? "" : options.authority + ": ") +
                    "the standard rules refuse the certificate: " + who + term.name + ": " + term.sentence +
                    (facts.empty() ? "" : " (" + facts + ")"));
}

} // namespace

void IssuerOptions::declareOutput(CommandLine& commandLine) {
    commandLine
        .text("--register", registerFolder,
              "also keep the certificate in this folder, which is created if necessary (\"ca list\")")
        .valueName("DIR");
    output.declare(commandLine);
}

void IssuerOptions::declareChain(CommandLine& commandLine) {
    commandLine.text("--chain", chain, "certificates above that of the CA, whose constraints apply as well")
        .valueName("FILE");
}

std::optional<Issuer> readIssuer(IssuerOptions const& options, int* status) {
    auto signer = readSigner(options.signer, status);
    if (!signer)
        return std::nullopt;
    *status = exitBadInput;
    Issuer issuer{std::move(*signer), nullptr, {}};
    if (options.authority.empty())
        return issuer;
    auto const authority = readAuthority(options.authority, issuer.signer, KeyUsage::keyCertSign);
    if (!authority)
        return std::nullopt;
    issuer.authority = std::make_shared<X509Certificate>(*authority);
    if (options.chain.empty())
        return issuer;
    auto others = readAllCertificates(options.chain, FormRules::standard);
    if (!others)
        return std::nullopt;
    issuer.others = std::move(*others);
    return issuer;
}

int issueCertificate(X509Certificate& certificate, Issuer const& issuer, IssuerOptions const& options) {
    OutputFile output;
    if (int const status = options.output.open(output); status != exitDone)
        return status;
    if (!certificate.sign(*issuer.signer.key, issuer.signer.hash))
        return badInput("the certificate cannot be signed: the key is too short for the hash, or its numbers "
                        "are inconsistent");
    PathExplanation const verdict =
        x509CheckIssue(std::make_shared<X509Certificate>(certificate), issuer.authority, issuer.others);
    if (verdict.code != static_cast<int>(PathCode::valid))
        return sayRefused(verdict, options);
    remark(certificate);
    if (!options.registerFolder.empty()) {
        auto issued = Register::open(options.registerFolder, Register::Missing::create);
        if (!issued)
            return exitBadInput;
        if (int const status = issued->add(certificate); status != exitDone)
            return status;
    }
    return options.output.write(output, "CERTIFICATE", certificate);
}
