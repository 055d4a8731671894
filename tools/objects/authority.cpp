#include "objects/authority.h"

#include "io/clock.h"
#include "io/command_line.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/hash_names.h"

#include "sealkit/pem.h"
#include "sealkit/rng.h"
#include "sealkit/signature.h"

#include <kp/text.h>

#include <algorithm>

namespace {

/// The first request of a PEM text, or one in DER. Whoever made it gets no line of the terminal.
bool parseRequest(std::string_view text, X509Req& request) {
    terminal::MuteDiagnostics const mute;
    std::vector<unsigned char> der(text.begin(), text.end());
    while (auto const block = takeBlock(text)) {
        der.clear();
        if (block->label == "CERTIFICATE REQUEST" || block->label == "NEW CERTIFICATE REQUEST")
            return pemDecode(block->body, &der) && request.parseReq(der);
    }
    return request.parseReq(der);
}

} // namespace

void addSignerOptions(CommandLine& commandLine, SignerOptions& options, std::string const& keyOption,
                      std::string const& keyHelp) {
    commandLine.text(keyOption, options.key, keyHelp).valueName("KEY").required();
    commandLine
        .text("-a,--algorithm", options.algorithm,
              "the hash to sign with: sha256 (without it), sha384,\nsha512 or sha1")
        .valueName("HASH");
    addPasswordOptions(commandLine, options.password, "of an encrypted key");
}

std::optional<Signer> readSigner(SignerOptions const& options, int* status) {
    auto const hash = findHash(options.algorithm.empty() ? "sha256" : options.algorithm);
    if (!hash || getKeyInfoFromKeyHash(KeyType::RSA, hash->id).empty()) {
        *status = wrongUsage("\"" + options.algorithm + "\" is no hash that is signed with here");
        return std::nullopt;
    }
    if (standardInputTwice({options.key, options.password.file})) {
        *status = exitWrongUsage;
        return std::nullopt;
    }
    Signer signer;
    signer.key = readPrivateKeyOf(options.key, options.password, status);
    if (!signer.key)
        return std::nullopt;
    if (signer.key->keyType() == KeyType::X25519) {
        *status = badInput(options.key + ": an X25519 key agrees on secrets, it signs nothing");
        return std::nullopt;
    }
    if (signer.key->keyType() != KeyType::Ed25519)
        signer.hash = hash->id;
    else if (!options.algorithm.empty()) {
        *status = wrongUsage("an Ed25519 key brings its own hash: leave --algorithm out");
        return std::nullopt;
    }
    return signer;
}

void ObjectOutput::declare(CommandLine& commandLine) {
    commandLine.text("-o,--output", path, outputHelp).valueName("FILE");
    commandLine.flag("--der", der, "write DER instead of PEM");
    commandLine.flag("--force", force, forceHelp);
}

int ObjectOutput::open(OutputFile& output) const {
    if (der && wouldFloodTerminal(path))
        return wrongUsage("DER would garble the terminal: give -o FILE or -o -");
    bool const isOpen =
        output.open(path, 0666, force ? OutputFile::Existing::replace : OutputFile::Existing::keep);
    return isOpen ? exitDone : exitBadInput;
}

int ObjectOutput::write(OutputFile& output, std::string const& label, X509Base const& object) const {
    return write(output, label, object.serialize());
}

int ObjectOutput::write(OutputFile& output, std::string const& label,
                        std::vector<unsigned char> encoded) const {
    if (!der)
        encoded = encodePemType(label, encoded);
    return output.write(encoded) && output.commit() ? exitDone : exitBadInput;
}

bool isOwnKey(std::string const& path, X509Certificate const& certificate, PrivateKey const& key) {
    auto const own = certificate.parsePublicKey();
    if (own && own->equals(key))
        return true;
    badInput(path + ": the key is not that of this certificate");
    return false;
}

bool isFitNow(std::string const& path, X509Certificate const& certificate, unsigned usages, char const* use) {
    TimePoint const now = currentTime();
    std::string problem;
    if (now < certificate.notBefore)
        problem = "is not valid before " + formatTime(certificate.notBefore);
    else if (now > certificate.notAfter)
        problem = "ended at " + formatTime(certificate.notAfter);
    else if (certificate.keyUsage != 0 && (certificate.keyUsage & usages) == 0)
        problem = std::string("its key usage does not allow ") + use;
    else
        return true;
    badInput(path + ": " + problem);
    return false;
}

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

std::optional<X509Certificate> readAuthority(std::string const& path, Signer const& signer, unsigned usage) {
    auto certificate = readCertificate(path);
    if (!certificate)
        return std::nullopt;
    if (!isOwnKey(path, *certificate, *signer.key))
        return std::nullopt;
    char const* problem = nullptr;
    if (certificate->basicConstraints != 1)
        problem = "is no certificate of an authority: its basic constraints do not say so";
    else if (certificate->keyUsage != 0 && (certificate->keyUsage & usage) == 0)
        problem = usage == KeyUsage::crlSign ? "its key usage does not allow signing revocation lists"
                                             : "its key usage does not allow signing certificates";
    if (problem != nullptr) {
        badInput(path + ": " + problem);
        return std::nullopt;
    }
    return certificate;
}

std::optional<X509Req> readRequest(std::string const& path) {
    auto const text = readInput(path);
    if (!text)
        return std::nullopt;
    X509Req request;
    if (parseRequest(*text, request))
        return request;
    badInput(path + ": no certificate request");
    return std::nullopt;
}

std::unique_ptr<PublicKey> readSubjectKey(std::string const& path, int* status) {
    *status = exitBadInput;
    auto const text = readInput(path);
    if (!text)
        return nullptr;
    X509Req request;
    if (parseRequest(*text, request)) {
        *status = wrongUsage(path + " is a request, whose signature counts: give it without --public-key");
        return nullptr;
    }
    auto key = openPublicKey(*text).key;
    if (!key)
        badInput(path + ": no public key that is known");
    return key;
}

std::vector<unsigned char> makeSerialNumber() {
    std::vector<unsigned char> number(16);
    do
        getDefaultRng().fill(number.data(), static_cast<unsigned>(number.size()));
    while (std::ranges::all_of(number, [](unsigned char octet) { return octet == 0; }));
    return number;
}

std::optional<std::vector<unsigned char>> parseSerialNumber(std::string const& text) {
    std::string digits = text;
    std::erase(digits, ':');
    if (digits.starts_with("0x") || digits.starts_with("0X"))
        digits.erase(0, 2);
    if (digits.size() % 2 != 0)
        digits.insert(0, 1, '0');
    std::vector<unsigned char> number;
    if (digits.empty() || !hex2bin(digits, &number))
        return std::nullopt;
    number.erase(number.begin(),
                 std::ranges::find_if(number, [](unsigned char octet) { return octet != 0; }));
    constexpr size_t longest = 20;
    if (number.empty() || number.size() + (number[0] >> 7) > longest)
        return std::nullopt;
    return number;
}

void note(std::string const& text) { terminal::err() << "note: " << printableLine(text) << std::endl; }

bool isWritableTime(TimePoint time) {
    constexpr TimePoint first = TimePoint::fromSeconds(-631152000); // 1950-01-01
    constexpr TimePoint end = TimePoint::fromSeconds(2524608000);   // 2050-01-01
    if (time >= first && time < end)
        return true;
    wrongUsage("dates must lie in the years 1950 to 2049");
    return false;
}
