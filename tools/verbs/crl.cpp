#include "io/clock.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"
#include "objects/ca_certificate.h"
#include "objects/certificates.h"
#include "objects/input_objects.h"
#include "objects/object_output.h"
#include "objects/register.h"
#include "objects/revocation.h"
#include "objects/serial_number.h"
#include "objects/signer.h"
#include "verbs/verb.h"

#include "sealkit/bignum.h"
#include "sealkit/crl.h"
#include "sealkit/pem.h"

#include <algorithm>

namespace {

constexpr std::int64_t secondsOfDay = 86400;
constexpr unsigned defaultDays = 30;

struct CrlOptions {
    SignerOptions signer;
    ObjectOutput output;
    std::string authority;
    std::string previous;
    std::string registerFolder;
    std::vector<std::string> revoked;
    std::vector<std::string> released;
    std::string number;
    std::string from, to;
    std::optional<std::uint32_t> days;
};

/// Takes the text before the first comma.
std::string takeField(std::string& text) {
    size_t const comma = std::min(text.find(','), text.size());
    std::string const field = text.substr(0, comma);
    text.erase(0, comma + 1);
    return field;
}

/// Compares serial numbers as numbers, because the octets of equal numbers may differ.
auto findEntry(X509Crl& crl, std::vector<unsigned char> const& serialNumber) {
    BigNum const wanted{asn1::blob(serialNumber)};
    return std::ranges::find_if(crl.revoked, [&](RevokedCertificate const& entry) {
        return BigNum(asn1::blob(entry.serialNumber)) == wanted;
    });
}

/// Adds WHAT[,REASON[,TIME]]. Returns the exit status.
int revoke(X509Crl& crl, std::string text, X509Certificate const& authority) {
    std::string const what = takeField(text), reason = takeField(text), time = text;
    int status = exitDone;
    auto const target = readRevocationTarget(what, authority.subjectBytes(), &status);
    if (!target)
        return status;
    RevokedCertificate entry{target->serialNumber, crl.thisUpdate, noReason};
    if (!reason.empty()) {
        auto const code = readReason(reason);
        if (!code)
            return exitWrongUsage;
        entry.reasonCode = *code;
    }
    if (!time.empty()) {
        auto const date = parseTime(time);
        if (!date)
            return wrongUsage("\"" + time + "\" is not a time; write 2026-11-21 or 2026-11-21T08:30:00Z");
        if (!isWritableTime(*date))
            return exitWrongUsage;
        entry.revocationDate = *date;
    }
    auto const before = findEntry(crl, target->serialNumber);
    if (before == crl.revoked.end())
        crl.revoked.push_back(entry);
    else if (before->reasonCode == certificateHold) {
        entry.serialNumber = before->serialNumber; // The entry's other extensions are found by these octets.
        *before = entry;
    } else
        return wrongUsage("\"" + what + "\" is already revoked");
    return exitDone;
}

/// Removes an entry that is on hold. Returns the exit status.
int release(X509Crl& crl, std::string const& what, X509Certificate const& authority) {
    int status = exitDone;
    auto const target = readRevocationTarget(what, authority.subjectBytes(), &status);
    if (!target)
        return status;
    auto const entry = findEntry(crl, target->serialNumber);
    if (entry == crl.revoked.end() || entry->reasonCode != certificateHold)
        return wrongUsage("\"" + what + "\" is not on hold: only certificates on hold can be released");
    crl.revoked.erase(entry);
    return exitDone;
}

/// Reads the previous CRL, which the CA must have issued. Complains on failure. Returns the exit status.
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
        return answerNo(path + ": is not signed by this CA");
    crl = std::move(*previous);
    return exitDone;
}

/// Takes the entries and the next CRL number of a register. Complains on failure. Returns the exit status.
int readRegister(X509Crl& crl, Register& issued, std::string const& folder,
                 X509Certificate const& authority) {
    auto const all = issued.readAll();
    if (!all)
        return exitBadInput;
    for (RegisteredCertificate const& entry : *all) {
        if (entry.certificate->issuerBytes() != authority.subjectBytes())
            return badInput(folder + ": holds a certificate of another CA: " + nameFor(*entry.certificate));
        if (entry.revocation)
            crl.revoked.push_back(*entry.revocation);
    }
    auto const number = issued.takeCrlNumber();
    if (!number)
        return exitBadInput;
    crl.crlNumber = *number;
    return exitDone;
}

int makeCrl(CrlOptions const& options) {
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
    auto const nextNumber = crlNumberOf(next);
    if (!nextNumber)
        return badInput(options.previous + ": its number is the largest possible");
    crl.crlNumber = *nextNumber;
    if (!options.number.empty()) {
        auto const number = parseCrlNumber(options.number);
        if (!number)
            return wrongUsage("\"" + options.number + "\" is not a CRL number");
        if (!options.previous.empty() && BigNum(asn1::blob(*number)) < next)
            return wrongUsage("the CRL numbers of a CA must increase: the next is " + str(crl.crlNumber) +
                              " (hexadecimal)");
        crl.crlNumber = *number;
    }
    auto const start = options.from.empty() ? currentTime() : parseTime(options.from);
    auto const end = parseTime(options.to);
    if (!start || (!options.to.empty() && !end))
        return wrongUsage("\"" + (start ? options.to : options.from) +
                          "\" is not a time; write 2026-11-21 or 2026-11-21T08:30:00Z");
    if (!options.previous.empty() && *start <= crl.thisUpdate)
        note("the CRL is not newer than the previous one: some programs will keep that one");
    if (*start > authority->notAfter)
        note("the CA's own certificate ended at " + formatTime(authority->notAfter));
    crl.thisUpdate = *start;
    crl.nextUpdate =
        end ? *end
            : TimePoint::fromSeconds(start->seconds + options.days.value_or(defaultDays) * secondsOfDay);
    if (crl.nextUpdate <= crl.thisUpdate)
        return wrongUsage("the CRL would be out of date before it is issued");
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
    // Locked until the CRL is written, so that an older CRL never replaces a newer one.
    std::string const& folder = options.registerFolder;
    auto issued = folder.empty() ? std::nullopt : Register::open(folder, Register::Missing::refuse);
    if (!issued && !folder.empty())
        return exitBadInput;
    if (issued)
        if (status = readRegister(crl, *issued, folder, *authority); status != exitDone)
            return status;
    crl.setIssuer(authority->subjectBytes());
    crl.authorityKeyId = authority->subjectKeyId;
    if (!crl.sign(*signer->key, signer->hash))
        return badInput("the CRL cannot be signed: the key is too short for the hash, or its numbers are "
                        "inconsistent");
    return options.output.write(output, "X509 CRL", crl);
}

Work newCrlVerb(CommandLine commandLine) {
    auto options = std::make_shared<CrlOptions>();
    commandLine.text("--ca", options->authority, "the certificate of the CA, PEM or DER")
        .valueName("FILE")
        .required();
    addSignerOptions(commandLine, options->signer, "-k,--key|--ca-key", "the private key of the CA");
    Parameter const previous =
        commandLine.text("--previous", options->previous, "the CRL that this one continues").valueName("CRL");
    Parameter const folder =
        commandLine
            .text("--register", options->registerFolder,
                  "the register of issued certificates, which has the revocations and the next number")
            .valueName("DIR")
            .excludes(previous);
    commandLine
        .texts("--revoke", options->revoked,
               "revoke a certificate, a file or its serial number in\n"
               "hexadecimal; may be given more than once")
        .valueName("WHAT[,REASON[,TIME]]")
        .excludes(folder);
    commandLine.texts("--release", options->released, "remove the entry of a certificate that was on hold")
        .valueName("WHAT")
        .excludes(folder);
    commandLine
        .text("--number", options->number, "the number of the CRL; by default the next one, starting from 1")
        .valueName("NUMBER")
        .excludes(folder);
    Parameter const days =
        commandLine.number("--days", options->days, "in how many days the next CRL is due; by default 30");
    commandLine.text("--from", options->from, "when this CRL is issued: ISO 8601 (UTC); by default now")
        .valueName("TIME");
    commandLine.text("--next-update", options->to, "when the next CRL is due, instead of --days")
        .valueName("TIME")
        .excludes(days);
    options->output.declare(commandLine);
    commandLine.footer(
        std::string(reasonsHelp) +
        "\n\n"
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
        {"new", "make a certificate revocation list", newCrlVerb},
    };
    return commandLine.verbs(verbs);
}
