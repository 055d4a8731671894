#include "verbs/ts.h"
#include "io/clock.h"
#include "io/exit_status.h"
#include "io/file_digest.h"
#include "io/input.h"
#include "io/output_file.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/describe_message.h"
#include "objects/description.h"
#include "objects/hash_names.h"
#include "objects/input_objects.h"
#include "objects/message_check.h"
#include "objects/object_output.h"
#include "objects/serial_number.h"
#include "objects/trust.h"
#include "verbs/verb.h"

#include "sealkit/name_text.h"
#include "sealkit/oid_names.h"
#include "sealkit/rng.h"

#include <kp/text.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>

namespace {

using terminal::printable;

struct StampRequestOptions {
    std::string algorithm;
    std::string nonce;
    bool noNonce = false;
    bool certificateWanted = false;
    std::string policy;
    std::string output;
    bool force = false;
    std::string file;
};

struct StampCheckOptions {
    TrustOptions trust;
    std::string request;
    std::string data;
    std::string certificates;
    std::string policy;
    std::string reply;
};

/// The content octets of a positive INTEGER of 64 random bits, which every TSA accepts.
std::vector<unsigned char> makeNonce() {
    std::vector<unsigned char> nonce(8);
    do
        getDefaultRng().fill(nonce.data(), static_cast<unsigned>(nonce.size()));
    while (nonce[0] == 0 || nonce[0] >= 0x80);
    return nonce;
}

/// The nonce of the options, of any size. Returns nothing if it is malformed.
std::optional<std::vector<unsigned char>> readNonce(StampRequestOptions const& options) {
    if (options.noNonce)
        return std::vector<unsigned char>();
    if (options.nonce.empty())
        return makeNonce();
    auto nonce = parseSerialNumber(options.nonce);
    if (nonce && nonce->front() >= 0x80)
        nonce->insert(nonce->begin(), 0);
    return nonce;
}

int request(StampRequestOptions const& options) {
    TimeStampRequest made;
    auto const hash = findHash(options.algorithm.empty() ? "sha256" : options.algorithm);
    if (!hash || getHashOid(hash->id).empty())
        return wrongUsage(
            "\"" + options.algorithm +
            "\" is not a hash for time-stamps; the choices are sha256, sha384, sha512, sha1 and md5");
    made.hashAlgorithm = hash->id;
    auto nonce = readNonce(options);
    if (!nonce)
        return wrongUsage("a nonce is hexadecimal, above 0, of 20 octets at most");
    made.nonce = std::move(*nonce);
    if (!options.policy.empty() && (made.policy = parseOid(options.policy)).empty())
        return wrongUsage("\"" + options.policy + "\" is not an object identifier; write 1.2.3.4");
    made.certReq = options.certificateWanted;
    if (wouldFloodTerminal(options.output))
        return wrongUsage("DER would garble the terminal: give -o FILE or -o -");
    keepReportOff(options.output);
    OutputFile output;
    if (!output.open(options.output, 0666,
                     options.force ? OutputFile::Existing::replace : OutputFile::Existing::keep))
        return exitBadInput;
    FileDigest digest = digestFile(options.file, *createHash(hash->id));
    if (digest.error != 0)
        return badInput(options.file + ": " + std::strerror(digest.error));
    made.hashedMessage = std::move(digest.digest);
    DerEncoder encoder;
    made.save(encoder);
    if (!output.write(encoder.take()) || !output.commit())
        return exitBadInput;
    if (report::isJson())
        report::set({{"output", report::nameOfOutput(options.output)}, {"object", describe(made)}});
    return exitDone;
}

/// What the token must state. Complains and returns nothing if the request is unreadable.
std::optional<TimeStampExpectation> readRequest(StampCheckOptions const& options) {
    auto const file = MessageFile::read(options.request);
    if (!file)
        return std::nullopt;
    TimeStampRequest asked;
    if (std::string const why = parseMessage(asked, file->der()); !why.empty()) {
        badInput(options.request + ": " + why);
        return std::nullopt;
    }
    return TimeStampExpectation::of(asked);
}

/// A reply, or only its token.
struct Reply {
    std::optional<TimeStampStatus> status; ///< Nothing if there is only a token.
    std::unique_ptr<PKCS7SignedData> token;
};

/// Complains and returns nothing on failure.
std::optional<Reply> readReply(std::string const& path) {
    auto const file = MessageFile::read(path);
    if (!file)
        return std::nullopt;
    Reply reply;
    Complaint why;
    if (getMessageKind(file->der()) == MessageKind::signedData) {
        reply.token = std::make_unique<PKCS7SignedData>();
        why = parseMessage(*reply.token, file->der());
    } else {
        TimeStampResponse response;
        why = parseMessage(response, file->der());
        reply.status.emplace().parse(file->der(), nullptr);
        reply.token = std::move(response.token);
    }
    if (why.empty())
        return reply;
    badInput(path + ": " + why);
    return std::nullopt;
}

/// Hashes the stamped file with the hash of the token. Complains on failure.
bool readData(StampCheckOptions const& options, TimeStampInfo const& info, TimeStampExpectation* expected) {
    expected->hash = info.hash();
    auto const hash = createHash(expected->hash);
    if (!hash) {
        badInput(options.reply + ": its digest algorithm " + oidName(info.hashAlgorithm) +
                 " is not supported");
        return false;
    }
    FileDigest digest = digestFile(options.data, *hash);
    if (digest.error != 0)
        badInput(options.data + ": " + std::strerror(digest.error));
    expected->digest = std::move(digest.digest);
    return digest.error == 0;
}

std::string stampLine(TimeStampInfo const& info) {
    return "time " + timeText(info) + (info.accuracy ? ", give or take " + accuracyText(info) : "") +
           ", policy " + oidStr(info.policy) + ", serial number " + shortHexOf(info.serialNumber) + ", " +
           oidName(info.hashAlgorithm);
}

void reportJson(MessageReport const& report, TimeStampInfo const& info) {
    nlohmann::ordered_json result;
    result["time"] = isoTime(info);
    if (info.accuracy)
        result["accuracy"] = accuracyText(info);
    result["policy"] = oidStr(info.policy);
    result["serialNumber"] = shortHexOf(info.serialNumber);
    result["digestAlgorithm"] = oidName(info.hashAlgorithm);
    result["digest"] = shortHexOf(info.hashedMessage);
    addReport(report, result);
    report::set(std::move(result));
}

std::string statusText(TimeStampStatus const& status) {
    std::string const details = statusDetails(status);
    return statusName(status) + (details.empty() ? "" : ": " + details);
}

/// Complains of a reply without a time-stamp.
int sayRefused(TimeStampStatus const& status) {
    std::string const reason = "no time-stamp was given: " + statusText(status);
    if (report::isJson())
        report::set({{"verdict", "FAILED"}, {"reason", reason}});
    else
        terminal::out() << "FAILED: " << reason << std::endl;
    return exitNo;
}

int check(StampCheckOptions const& options) {
    if (options.request.empty() == options.data.empty())
        return wrongUsage("give --request, or --data with the file that was stamped");
    if (standardInputTwice(
            options.trust.inputsWith({options.request, options.data, options.certificates, options.reply})))
        return exitWrongUsage;
    MessageCheckOptions how;
    Complaint complaint;
    if (!options.trust.read(&how.path, &complaint))
        return wrongUsage(complaint);
    auto expected = options.request.empty() ? std::optional(TimeStampExpectation()) : readRequest(options);
    if (!expected)
        return exitBadInput;
    if (!options.policy.empty() && (expected->policy = parseOid(options.policy)).empty())
        return wrongUsage("\"" + options.policy + "\" is not an object identifier; write 1.2.3.4");

    auto reply = readReply(options.reply);
    if (!reply)
        return exitBadInput;
    if (!reply->token)
        return sayRefused(*reply->status);
    PKCS7SignedData const& token = *reply->token;
    TimeStampInfo info;
    if (Refusal refusal; !info.parse(token, &refusal))
        return badInput(options.reply + ": is signed, but its content is not a time-stamp (RFC 3161): " +
                        complaintOf(refusal));
    if (!options.data.empty() && !readData(options, info, &*expected))
        return exitBadInput;
    auto further = readFurtherCertificates(options.certificates, formsFor(how.path));
    if (!further)
        return exitBadInput;
    Trust trust;
    if (!loadTrust(options.trust, formsFor(how.path), &trust, &complaint))
        return badInput(complaint);

    how.certificates = std::move(*further);
    MessageReport report(checkTimeStamp(token, *expected, trust.store, how));
    if (report.isTooLarge())
        return badInput(options.reply + ": " + report.failure);
    if (!reportCrls(trust, report.verdict.crls, &report.notes, &complaint))
        return badInput(complaint);
    if (reply->status && (!reply->status->texts.empty() || !reply->status->failures.empty()))
        report.notes.push_back("the TSA says: " + statusText(*reply->status));
    if (report::isJson())
        reportJson(report, info);
    else
        printReport(report, {stampLine(info)}, terminal::out());
    return report.failure.empty() ? exitDone : exitNo;
}

Work setUpTsRequest(CommandLine commandLine) {
    auto options = std::make_shared<StampRequestOptions>();
    commandLine
        .text("-a,--algorithm", options->algorithm, "sha256 (the default), sha384, sha512, sha1 or md5")
        .valueName("HASH");
    Parameter const nonce =
        commandLine.text("--nonce", options->nonce, "this nonce; by default 64 random bits").valueName("HEX");
    commandLine.flag("--no-nonce", options->noNonce, "no nonce").excludes(nonce);
    commandLine.flag("--want-certificate|--cert", options->certificateWanted,
                     "ask for the TSA's certificate in the reply, which \"ts check\" needs");
    commandLine.text("--policy", options->policy, "ask for this policy of the TSA: 1.2.3.4").valueName("OID");
    commandLine.text("-o,--output", options->output, outputHelp).valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    commandLine.json();
    commandLine.text("FILE", options->file, "what is to be stamped, of any size; - is standard input")
        .required();
    commandLine.footer(
        "The request is DER. It contains a digest of the file, not the file. A TSA replies by\n"
        "HTTP (RFC 3161, section 3.4), for example:\n"
        "  curl -H \"Content-Type: application/timestamp-query\" --data-binary @letter.tsq -o letter.tsr "
        "ADDRESS\n\n"
        "Examples:\n"
        "  echo hello > letter.txt\n"
        "  sealkit ts request --want-certificate letter.txt -o letter.tsq\n"
        "  sealkit show letter.tsq");
    return [options] { return request(*options); };
}

Work setUpTsCheck(CommandLine commandLine) {
    auto options = std::make_shared<StampCheckOptions>();
    Parameter const asked =
        commandLine.text("--request", options->request, "the request that REPLY answers").valueName("FILE");
    commandLine.text("--data|--content", options->data, "the file that was stamped, instead of the request")
        .valueName("FILE")
        .excludes(asked);
    commandLine
        .text("--certificates|--chain", options->certificates,
              "certificates of the TSA and its issuers that are not in the reply. This does not make\n"
              "them trusted")
        .valueName("FILE");
    commandLine
        .text("--policy", options->policy,
              "the policy that the time-stamp must have, even if the request asks for another")
        .valueName("OID");
    options->trust.declare(commandLine);
    commandLine.json();
    commandLine.text("REPLY", options->reply, "the reply, or only its token; - is standard input").required();
    commandLine.footer(
        "A time-stamp must match the request (digest, nonce and policy) or the file, and be\n"
        "signed by a trusted TSA whose certificate is only for time-stamping. Prints the signer,\n"
        "the time, and \"OK\" or \"FAILED: reason\" (status 1). The certificate must be valid\n"
        "now, or at the time of --at. With --data the nonce is not compared.\n\n"
        "Examples:\n"
        "  sealkit ts check --ca root.pem --request letter.tsq letter.tsr\n"
        "  sealkit ts check --ca root.pem --data letter.txt letter.tsr");
    return [options] { return check(*options); };
}

} // namespace

Work setUpTs(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"request", "request a time-stamp of a file", setUpTsRequest},
        {"check", "check the reply", setUpTsCheck},
        {"reply", "make the reply to a request, as a TSA", setUpTsReply},
    };
    return commandLine.verbs(verbs);
}
