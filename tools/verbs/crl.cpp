#include "io/clock.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"
#include "objects/ca_certificate.h"
#include "objects/input_objects.h"
#include "objects/object_output.h"
#include "objects/serial_number.h"
#include "objects/signer.h"
#include "verbs/verb.h"

#include "sealkit/bignum.h"
#include "sealkit/crl.h"
#include "sealkit/pem.h"

#include <algorithm>
#include <unistd.h>

namespace {

constexpr std::int64_t secondsOfDay = 86400;
constexpr unsigned defaultDays = 30;

struct Options {
    SignerOptions signer;
    ObjectOutput output;
    std::string authority;
    std::string previous;
    std::vector<std::string> revoked;
    std::vector<std::string> released;
    std::string number;
    std::string from, to;
    std::optional<std::uint32_t> days;
};

constexpr unsigned char certificateHold = 6;
constexpr unsigned char removeFromCrl = 8; ///< For delta CRLs, which are not made here.
constexpr unsigned char noReason = 255;

/// Takes what stands before the first comma.
std::string takeField(std::string& text) {
    size_t const comma = std::min(text.find(','), text.size());
    std::string const field = text.substr(0, comma);
    text.erase(0, comma + 1);
    return field;
}

/// The serial number of WHAT: hexadecimal, or a file with a certificate of the authority.
std::optional<std::vector<unsigned char>> findSerialNumber(std::string const& what,
                                                           X509Certificate const& authority, int* status) {
    *status = exitWrongUsage;
    bool const isFile = access(what.c_str(), R_OK) == 0;
    if (auto const number = parseSerialNumber(what)) {
        if (!isFile)
            return number;
        wrongUsage("\"" + what + "\" is a serial number and a file: write 0x" + what + " or ./" + what);
        return std::nullopt;
    }
    if (!isFile) {
        wrongUsage("\"" + what + "\" is neither a serial number in hexadecimal nor a certificate's file");
        return std::nullopt;
    }
    *status = exitBadInput;
    auto const certificate = readCertificate(what);
    if (!certificate)
        return std::nullopt;
    if (certificate->issuerBytes() != authority.subjectBytes()) {
        badInput(what + ": was issued by another authority");
        return std::nullopt;
    }
    return certificate->serialNumber;
}

/// Entries that say the same number in other octets are the same entry.
auto findEntry(X509Crl& crl, std::vector<unsigned char> const& serialNumber) {
    BigNum const wanted{asn1::blob(serialNumber)};
    return std::ranges::find_if(crl.revoked, [&](RevokedCertificate const& entry) {
        return BigNum(asn1::blob(entry.serialNumber)) == wanted;
    });
}

/// Adds WHAT[,REASON[,TIME]]; returns the exit status.
int revoke(X509Crl& crl, std::string text, X509Certificate const& authority) {
    std::string const what = takeField(text), reason = takeField(text), time = text;
    int status = exitDone;
    auto const serialNumber = findSerialNumber(what, authority, &status);
    if (!serialNumber)
        return status;
    RevokedCertificate entry{*serialNumber, crl.thisUpdate, noReason};
    if (!reason.empty()) {
        auto const code = parseCrlReason(reason);
        if (!code || code == removeFromCrl)
            return wrongUsage("\"" + reason +
                              "\" is no reason; there are keyCompromise, caCompromise, affiliationChanged, "
                              "superseded, cessationOfOperation, certificateHold, privilegeWithdrawn, "
                              "aaCompromise, unspecified");
        entry.reasonCode = *code;
    }
    if (!time.empty()) {
        auto const date = parseTime(time);
        if (!date)
            return wrongUsage("\"" + time + "\" is no time");
        if (!isWritableTime(*date))
            return exitWrongUsage;
        entry.revocationDate = *date;
    }
    auto const before = findEntry(crl, *serialNumber);
    if (before == crl.revoked.end())
        crl.revoked.push_back(entry);
    else if (before->reasonCode == certificateHold) {
        entry.serialNumber = before->serialNumber; // In the octets that its other extensions are found by.
        *before = entry;
    } else
        return wrongUsage("\"" + what + "\" is revoked already");
    return exitDone;
}

/// Removes an entry that is on hold; returns the exit status.
int release(X509Crl& crl, std::string const& what, X509Certificate const& authority) {
    int status = exitDone;
    auto const serialNumber = findSerialNumber(what, authority, &status);
    if (!serialNumber)
        return status;
    auto const entry = findEntry(crl, *serialNumber);
    if (entry == crl.revoked.end() || entry->reasonCode != certificateHold)
        return wrongUsage("\"" + what + "\" is not on hold: what was revoked otherwise stays so");
    crl.revoked.erase(entry);
    return exitDone;
}

/// Reads the list to be continued, which must be the authority's. Complains; returns the exit status.
int readPrevious(X509Crl& crl, std::string const& path, X509Certificate const& authority,
                 PublicKey const& key) {
    auto const text = readInput(path);
    if (!text)
        return exitBadInput;
    Refusal refusal;
    auto const previous = readCrl(*text, &refusal);
    if (!previous)
        return badInput(path + ": not a readable CRL: " + refusal);
    if (previous->issuerBytes() != authority.subjectBytes() || !previous->verify(key))
        return answerNo(path + ": is not signed by this authority");
    crl = std::move(*previous);
    return exitDone;
}

/// The number of a list has 20 octets at most (RFC 5280, section 5.2.3), and a sign.
constexpr unsigned maxNumberBits = 159;

/// The number of a list in decimal or behind 0x hexadecimal.
std::optional<std::vector<unsigned char>> parseCrlNumber(std::string const& text) {
    BigNum number;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        auto const octets = parseSerialNumber(text);
        if (!octets)
            return std::nullopt;
        number = BigNum(asn1::blob(*octets));
    } else {
        if (text.empty() || text.size() > 48 || text.find_first_not_of("0123456789") != std::string::npos)
            return std::nullopt;
        for (char const digit : text)
            number = number * bn64(10) + bn64(static_cast<std::uint64_t>(digit - '0'));
    }
    if (number.bits() > maxNumberBits)
        return std::nullopt;
    return number.bin(number.bits() / 8 + 1);
}

int makeCrl(Options const& options) {
    if (standardInputTwice(
            {options.signer.key, options.signer.password.file, options.authority, options.previous}))
        return exitWrongUsage;
    int status = exitDone;
    auto const signer = readSigner(options.signer, &status);
    if (!signer)
        return status;
    auto const authority = readAuthority(options.authority, *signer, KeyUsage::crlSign);
    if (!authority)
        return exitBadInput;

    X509Crl crl;
    if (!options.previous.empty()) {
        status = readPrevious(crl, options.previous, *authority, *signer->key);
        if (status != exitDone)
            return status;
    }
    BigNum const next = BigNum(asn1::blob(crl.crlNumber)) + bn64(1);
    crl.crlNumber = next.bin(next.bits() / 8 + 1);
    if (next.bits() > maxNumberBits)
        return badInput(options.previous + ": no number comes after its own");
    if (!options.number.empty()) {
        auto const number = parseCrlNumber(options.number);
        if (!number)
            return wrongUsage("\"" + options.number + "\" is no number of a list");
        if (!options.previous.empty() && BigNum(asn1::blob(*number)) < next)
            return wrongUsage("the numbers of an authority's lists go up: the next is " + str(crl.crlNumber) +
                              " (hexadecimal)");
        crl.crlNumber = *number;
    }
    auto const start = options.from.empty() ? currentTime() : parseTime(options.from);
    auto const end = parseTime(options.to);
    if (!start || (!options.to.empty() && !end))
        return wrongUsage("\"" + (start ? options.to : options.from) + "\" is no time");
    if (!options.previous.empty() && *start <= crl.thisUpdate)
        note("the list is not later than the one it continues: some programs keep that one");
    if (*start > authority->notAfter)
        note("the authority's own certificate ended at " + formatTime(authority->notAfter));
    crl.thisUpdate = *start;
    crl.nextUpdate =
        end ? *end
            : TimePoint::fromSeconds(start->seconds + options.days.value_or(defaultDays) * secondsOfDay);
    if (crl.nextUpdate <= crl.thisUpdate)
        return wrongUsage("the list would be out of date before it begins");
    if (!isWritableTime(crl.thisUpdate) || !isWritableTime(crl.nextUpdate))
        return exitWrongUsage;
    for (std::string const& text : options.released)
        if (status = release(crl, text, *authority); status != exitDone)
            return status;
    for (std::string const& text : options.revoked)
        if (status = revoke(crl, text, *authority); status != exitDone)
            return status;

    OutputFile output;
    if (status = options.output.open(output); status != exitDone)
        return status;
    crl.setIssuer(authority->subjectBytes());
    crl.authorityKeyId = authority->subjectKeyId;
    if (!crl.sign(*signer->key, signer->hash))
        return badInput("the CRL cannot be signed: the key is too short for the hash, or its numbers are "
                        "inconsistent");
    return options.output.write(output, "X509 CRL", crl);
}

Work newVerb(CommandLine commandLine) {
    auto options = std::make_shared<Options>();
    commandLine.text("--ca", options->authority, "the certificate of the authority, PEM or DER")
        .valueName("FILE")
        .required();
    addSignerOptions(commandLine, options->signer, "-k,--key|--ca-key", "the private key of the authority");
    commandLine.text("--previous", options->previous, "the list that this one continues").valueName("CRL");
    commandLine
        .texts("--revoke", options->revoked,
               "revoke a certificate, a file or its serial number in\n"
               "hexadecimal; may be given more than once")
        .valueName("WHAT[,REASON[,TIME]]");
    commandLine.texts("--release", options->released, "revoke it no longer, where it was on hold alone")
        .valueName("WHAT");
    commandLine
        .text("--number", options->number, "the number of the list; without it the next one, from 1 on")
        .valueName("NUMBER");
    Parameter const days =
        commandLine.number("--days", options->days, "when the next list comes; without it 30");
    commandLine.text("--from", options->from, "when this list is made: ISO 8601 (UTC); without it now")
        .valueName("TIME");
    commandLine.text("--next-update", options->to, "when the next list comes, instead of --days")
        .valueName("TIME")
        .excludes(days);
    options->output.declare(commandLine);
    commandLine.footer(
        "Reasons: keyCompromise, caCompromise, affiliationChanged, superseded, cessationOfOperation,\n"
        "certificateHold, privilegeWithdrawn, aaCompromise, unspecified.\n\n"
        "Examples:\n"
        "  sealkit key new p256 -o ca.key\n"
        "  sealkit cert self-sign -k ca.key --subject \"/O=Acme/CN=Acme root\" -o ca.pem\n"
        "  sealkit crl new --ca ca.pem -k ca.key --revoke 1F:02,keyCompromise -o first.crl\n"
        "  sealkit crl new --ca ca.pem -k ca.key --previous first.crl --revoke 2A -o second.crl");
    return [options] { return makeCrl(*options); };
}

} // namespace

Work setUpCrl(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"new", "make a certificate revocation list", newVerb},
    };
    return commandLine.verbs(verbs);
}
