#include "objects/certificates.h"

#include "sealkit/path.h"
#include "sealkit/pem.h"

#include "io/input.h"
#include "io/terminal.h"

#include <kp/file.h>

#include <algorithm>
#include <filesystem>

namespace {

std::shared_ptr<X509Certificate> parseCertificate(asn1::blob der) {
    auto certificate = std::make_shared<X509Certificate>();
    bool const parsed =
        der.size() <= inputLimit && certificate->parse(der.data(), static_cast<unsigned>(der.size()));
    return parsed ? certificate : nullptr;
}

} // namespace

CertificatesRead readCertificates(std::string_view text) {
    CertificatesRead result;
    std::string_view rest = text, label, body;
    bool anyBlock = false;
    for (size_t block = 1; parsePem(rest, &label, &body); ++block) {
        anyBlock = true;
        if (label != "CERTIFICATE")
            continue;
        std::vector<unsigned char> der;
        auto certificate = pemDecode(body, &der) ? parseCertificate(der) : nullptr;
        if (certificate)
            result.certificates.push_back(std::move(certificate));
        else
            result.problems.push_back("block " + std::to_string(block) + " is no readable certificate");
    }
    if (anyBlock)
        return result;
    if (auto certificate = parseCertificate(text))
        result.certificates.push_back(std::move(certificate));
    else
        result.problems.push_back("neither PEM nor a certificate in DER");
    return result;
}

size_t TrustedAuthorities::addText(std::string_view text, std::string const& source) {
    CertificatesRead read = readCertificates(text);
    for (std::string const& problem : read.problems)
        terminal::err() << "sealkit: " << terminal::printable(source) << ": " << problem << ", left out"
                        << std::endl;
    for (auto& certificate : read.certificates) {
        std::vector<unsigned char> encoding = certificate->serialize();
        auto const place = std::lower_bound(encodings.begin(), encodings.end(), encoding);
        if (place != encodings.end() && *place == encoding)
            continue;
        encodings.insert(place, std::move(encoding));
        trusted.push_back(certificate);
    }
    return read.certificates.size();
}

bool TrustedAuthorities::add(std::string const& path) {
    auto complain = [&](char const* why) {
        terminal::err() << "sealkit: " << terminal::printable(path) << ": " << why << std::endl;
        return false;
    };
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) {
        auto const text = readInput(path);
        return text && (addText(*text, path) > 0 || complain("no certificate in it"));
    }

    std::vector<std::string> files;
    for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end;
         entry.increment(error))
        if (!entry->is_directory(error))
            files.push_back(entry->path().string());
    if (error)
        return complain(error.message().c_str());
    std::sort(files.begin(), files.end());
    size_t found = 0;
    terminal::MuteDiagnostics const quiet;
    for (std::string const& file : files)
        found += addText(kp::readFile(file, -1, 0), file);
    return found > 0 || complain("a folder without any certificate");
}

std::string nameFor(X509Certificate const& certificate) {
    std::string const name = getDisplayName(certificate);
    return name.empty() ? "(no name)" : terminal::printable(name);
}
