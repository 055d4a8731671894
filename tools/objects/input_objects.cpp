#include "objects/input_objects.h"

#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/key_file.h"

#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"

namespace {

constexpr ReqFileOptions requestOptions{.amongOthers = true, .forms = FormRules::standard};

} // namespace

std::optional<X509Certificate> readCertificate(std::string const& path, FormRules forms) {
    auto const text = readInput(path);
    if (!text)
        return std::nullopt;
    std::vector<Refusal> refusals;
    auto const certificates = readCertificateText(path, *text, forms, &refusals);
    if (certificates.empty()) {
        badInput(path + ": " + complaintOf(certificates, refusals));
        return std::nullopt;
    }
    return *certificates.front();
}

std::optional<CertificateChain> readAllCertificates(std::string const& path, FormRules forms) {
    auto const text = readInput(path);
    if (!text)
        return std::nullopt;
    std::vector<Refusal> refusals;
    CertificateChain certificates = readCertificateText(path, *text, forms, &refusals);
    if (refusals.empty())
        return certificates;
    badInput(path + ": " + complaintOf(certificates, refusals));
    return std::nullopt;
}

std::optional<X509Req> readRequest(std::string const& path) {
    auto const text = readInput(path);
    if (!text)
        return std::nullopt;
    Refusal refusal;
    if (auto const request = readReq(*text, &refusal, requestOptions))
        return *request;
    badInput(path + ": not a certificate request: " + refusal);
    return std::nullopt;
}

std::optional<X509Req> readVerifiedRequest(std::string const& path, int* status) {
    *status = exitBadInput;
    auto request = readRequest(path);
    if (!request)
        return std::nullopt;
    Refusal refusal;
    if (!parsePkcs8PublicKey(request->subjectPublicKeyInfo, &refusal)) {
        badInput(path + ": the public key cannot be read: " + refusal);
        return std::nullopt;
    }
    if (request->verifyOwnSignature())
        return request;
    *status = answerNo(path + ": its own signature does not verify: its maker does not hold the key");
    return std::nullopt;
}

std::unique_ptr<PublicKey> readSubjectKey(std::string const& path, int* status) {
    *status = exitBadInput;
    auto const text = readInput(path);
    if (!text)
        return nullptr;
    if (readReq(*text, nullptr, requestOptions)) {
        *status =
            wrongUsage(path + " is a request, whose signature must be checked: give it without --public-key");
        return nullptr;
    }
    OpenedPublicKey opened = openPublicKey({.label = {}, .body = {}, .whole = *text});
    if (!opened.key)
        badInput(path + ": " + opened.complaint);
    return std::move(opened.key);
}
