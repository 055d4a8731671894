#include "objects/register.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "io/hex.h"
#include "io/input.h"
#include "io/output_file.h"
#include "io/terminal.h"
#include "objects/revocation.h"
#include "objects/serial_number.h"

#include "sealkit/bignum.h"
#include "sealkit/name_text.h"
#include "sealkit/pem.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

namespace {

constexpr char lockName[] = "lock";
constexpr char crlNumberName[] = "crl-number";
constexpr std::string_view suffix = ".pem";
/// Distinct from the prefix of the user's own temporary files, which may be in use in the same folder.
constexpr std::string_view temporaryPrefix = ".register-";
constexpr std::string_view revokedLabel = "revoked: ";

std::string hexadecimal(asn1::blob serialNumber) {
    while (serialNumber.size() > 1 && serialNumber[0] == 0)
        serialNumber.pop_front();
    return toHex(std::span<unsigned char const>(serialNumber.start, serialNumber.size()));
}

/// The lines of a file for people. Values are printable and have no line ends.
std::string describe(RegisteredCertificate const& entry) {
    X509Certificate const& certificate = *entry.certificate;
    std::string names;
    for (GeneralName const& name : certificate.subjectAltNames)
        names += (names.empty() ? "" : ", ") + terminal::printable(generalNameText(name));
    std::string text = "serial number: " + hexadecimal(certificate.serialNumber) +
                       "\nsubject: " + terminal::printable(nameText(certificate.subjectBytes())) +
                       "\nnames: " + names +
                       "\nissuer: " + terminal::printable(nameText(certificate.issuerBytes())) +
                       "\nnot before: " + isoTime(certificate.notBefore) +
                       "\nnot after: " + isoTime(certificate.notAfter) + "\n";
    if (entry.revocation) {
        text.append(revokedLabel).append(isoTime(entry.revocation->revocationDate));
        if (entry.revocation->reasonCode != noReason)
            text.append(" ").append(crlReasonName(entry.revocation->reasonCode));
        text += "\n";
    }
    std::vector<unsigned char> const pem = encodePemType("CERTIFICATE", certificate.serialize());
    return text.append(pem.begin(), pem.end());
}

/// "2026-11-22T10:00:00Z keyCompromise".
std::optional<RevokedCertificate> parseRevocation(std::string_view text) {
    size_t const blank = std::min(text.find(' '), text.size());
    auto const time = parseTime(std::string(text.substr(0, blank)));
    if (!time)
        return std::nullopt;
    RevokedCertificate revocation{{}, *time, noReason};
    if (blank == text.size())
        return revocation;
    auto const reason = parseCrlReason(text.substr(blank + 1));
    if (!reason)
        return std::nullopt;
    revocation.reasonCode = *reason;
    return revocation;
}

bool writeWhole(std::string const& path, std::string_view text, OutputFile::Existing existing) {
    OutputFile file;
    return file.open(path, 0666, existing, temporaryPrefix) &&
           file.write({reinterpret_cast<unsigned char const*>(text.data()), text.size()}) && file.commit();
}

/// The text of a regular file. Complains on failure.
std::optional<std::string> readRegular(std::string const& path) {
    struct stat status;
    if (lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        badInput(path + ": not a regular file");
        return std::nullopt;
    }
    return readInput(path);
}

} // namespace

std::optional<Register> Register::open(std::string const& path, Missing missing) {
    if (missing == Missing::create && mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) {
        badInput(path + ": " + std::strerror(errno));
        return std::nullopt;
    }
    // Opening a pipe in the lock's place would block.
    int const flags =
        O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | (missing == Missing::create ? O_CREAT : 0);
    int const lock = ::open((path + "/" + lockName).c_str(), flags, 0666);
    int result = lock;
    while (lock >= 0 && (result = flock(lock, LOCK_EX)) != 0 && errno == EINTR) {
    }
    if (result < 0) {
        bool const isMissing = errno == ENOENT;
        badInput(path + ": " +
                 (isMissing ? "is not a register of certificates: \"cert issue --register\" makes one"
                            : std::strerror(errno)));
        if (lock >= 0)
            close(lock);
        return std::nullopt;
    }
    Register opened(path, lock);
    if (!opened.removeLeftovers())
        return std::nullopt;
    return opened;
}

Register::Register(Register&& other) noexcept
    : path(std::move(other.path)),
      issuer(std::move(other.issuer)),
      lockDescriptor(std::exchange(other.lockDescriptor, -1)) {}

Register::~Register() {
    if (lockDescriptor >= 0)
        close(lockDescriptor);
}

/// Removes temporary files. While the lock is held, they can only come from a program that was killed.
bool Register::removeLeftovers() const {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end;
         entry.increment(error))
        if (entry->path().filename().string().starts_with(temporaryPrefix))
            unlink(entry->path().c_str());
    if (error)
        badInput(path + ": " + error.message());
    return !error;
}

std::string Register::fileOf(asn1::blob serialNumber) const {
    return path + "/" + hexadecimal(serialNumber) + std::string(suffix);
}

bool Register::has(asn1::blob serialNumber) const { return access(fileOf(serialNumber).c_str(), F_OK) == 0; }

/// Sets the issuer to that of the existing certificates, if any. Complains on failure.
bool Register::readIssuer() {
    auto const files = listFiles();
    if (!files || files->empty())
        return files.has_value();
    auto const entry = readFile(files->front());
    if (!entry)
        return false;
    asn1::blob const found = entry->certificate->issuerBytes();
    issuer.assign(found.begin(), found.end());
    return true;
}

int Register::add(X509Certificate const& certificate) {
    if (has(certificate.serialNumber))
        return badInput(path + ": a certificate with the serial number " +
                        hexadecimal(certificate.serialNumber) + " was already issued");
    if (issuer.empty() && !readIssuer())
        return exitBadInput;
    asn1::blob const itsIssuer = certificate.issuerBytes();
    if (issuer.empty())
        issuer.assign(itsIssuer.begin(), itsIssuer.end());
    if (itsIssuer != issuer)
        return badInput(path + ": is the register of another CA: <" + terminal::printable(nameText(issuer)) +
                        ">");
    RegisteredCertificate const entry{std::make_shared<X509Certificate>(certificate), std::nullopt};
    bool const isWritten =
        writeWhole(fileOf(certificate.serialNumber), describe(entry), OutputFile::Existing::keep);
    return isWritten ? exitDone : exitBadInput;
}

int Register::update(RegisteredCertificate const& changed) {
    bool const isWritten = writeWhole(fileOf(changed.certificate->serialNumber), describe(changed),
                                      OutputFile::Existing::replace);
    return isWritten ? exitDone : exitBadInput;
}

std::optional<RegisteredCertificate> Register::readFile(std::string const& name) const {
    std::string const file = path + "/" + name;
    auto const text = readRegular(file);
    if (!text)
        return std::nullopt;
    RegisteredCertificate entry;
    std::vector<Refusal> refusals;
    CertificateChain const certificates = readCertificates(*text, &refusals, FormRules::standard);
    if (certificates.size() != 1 || !refusals.empty() ||
        hexadecimal(certificates[0]->serialNumber) + std::string(suffix) != name) {
        badInput(file + ": does not hold exactly the certificate with the serial number in its name");
        return std::nullopt;
    }
    entry.certificate = certificates[0];
    std::string_view lines = *text;
    for (size_t end = 0; !lines.empty() && !lines.starts_with("-----"); lines.remove_prefix(end)) {
        end = std::min(lines.find('\n'), lines.size() - 1) + 1;
        std::string_view line = lines.substr(0, end);
        while (line.ends_with('\n') || line.ends_with('\r') || line.ends_with(' '))
            line.remove_suffix(1);
        if (!line.starts_with(revokedLabel))
            continue;
        entry.revocation = parseRevocation(line.substr(revokedLabel.size()));
        if (!entry.revocation) {
            badInput(file + ": \"" + std::string(line) + "\" is not a time and reason");
            return std::nullopt;
        }
        entry.revocation->serialNumber = entry.certificate->serialNumber;
    }
    return entry;
}

std::optional<RegisteredCertificate> Register::read(asn1::blob serialNumber) const {
    if (has(serialNumber))
        return readFile(hexadecimal(serialNumber) + std::string(suffix));
    badInput(path + ": holds no certificate with the serial number " + hexadecimal(serialNumber));
    return std::nullopt;
}

/// The names of the certificates' files.
std::optional<std::vector<std::string>> Register::listFiles() const {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator file(path, error), end; !error && file != end;
         file.increment(error)) {
        std::string name = file->path().filename();
        if (name.ends_with(suffix) && !name.starts_with('.'))
            names.push_back(std::move(name));
    }
    if (!error)
        return names;
    badInput(path + ": " + error.message());
    return std::nullopt;
}

std::optional<std::vector<RegisteredCertificate>> Register::readAll() const {
    auto const files = listFiles();
    if (!files)
        return std::nullopt;
    std::vector<RegisteredCertificate> all;
    for (std::string const& name : *files) {
        auto entry = readFile(name);
        if (!entry)
            return std::nullopt;
        all.push_back(std::move(*entry));
    }
    std::ranges::sort(all, [](RegisteredCertificate const& a, RegisteredCertificate const& b) {
        return std::pair(a.certificate->notAfter, a.certificate->serialNumber) <
               std::pair(b.certificate->notAfter, b.certificate->serialNumber);
    });
    return all;
}

std::optional<std::vector<unsigned char>> Register::takeCrlNumber() {
    std::string const file = path + "/" + crlNumberName;
    BigNum number;
    if (access(file.c_str(), F_OK) == 0) {
        auto text = readRegular(file);
        if (!text)
            return std::nullopt;
        while (text->ends_with('\n'))
            text->pop_back();
        auto const last = parseCrlNumber(*text);
        if (!last) {
            badInput(file + ": is not a CRL number");
            return std::nullopt;
        }
        number = BigNum(asn1::blob(*last));
    }
    number = number + bn64(1);
    auto next = crlNumberOf(number);
    if (!next) {
        badInput(file + ": this is the largest possible number");
        return std::nullopt;
    }
    if (!writeWhole(file, number.strDec() + "\n", OutputFile::Existing::replace))
        return std::nullopt;
    return next;
}
