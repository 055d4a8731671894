#include "objects/input_objects.h"

#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/key_file.h"

#include "sealkit/pem.h"

namespace {

/// The first request of a PEM text, or one in DER.
bool parseRequest(std::string_view text, X509Req& request, Refusal* refusal) {
    std::vector<unsigned char> der(text.begin(), text.end());
    while (auto const block = takeBlock(text)) {
        der.clear();
        if (block->label == "CERTIFICATE REQUEST" || block->label == "NEW CERTIFICATE REQUEST") {
            pemDecode(block->body, &der);
            break;
        }
    }
    return request.parse(asn1::blob(der), refusal);
}

} // namespace

std::optional<X509Certificate> readCertificate(std::string const& path) {
    auto const text = readInput(path);
    if (!text)
        return std::nullopt;
    std::vector<Refusal> refusals;
    auto const certificates = readCertificates(*text, &refusals);
    if (certificates.empty()) {
        badInput(path + ": " + complaintOf(certificates, refusals));
        return std::nullopt;
    }
    return *certificates.front();
}

std::optional<X509Req> readRequest(std::string const& path) {
    auto const text = readInput(path);
    if (!text)
        return std::nullopt;
    X509Req request;
    Refusal refusal;
    if (parseRequest(*text, request, &refusal))
        return request;
    badInput(path + ": no certificate request: " + terminal::printable(refusal.str()));
    return std::nullopt;
}

std::unique_ptr<PublicKey> readSubjectKey(std::string const& path, int* status) {
    *status = exitBadInput;
    auto const text = readInput(path);
    if (!text)
        return nullptr;
    X509Req request;
    if (parseRequest(*text, request, nullptr)) {
        *status = wrongUsage(path + " is a request, whose signature counts: give it without --public-key");
        return nullptr;
    }
    OpenedPublicKey opened = openPublicKey({.label = {}, .body = {}, .whole = *text});
    if (!opened.key)
        badInput(path + ": " + opened.complaint);
    return std::move(opened.key);
}
