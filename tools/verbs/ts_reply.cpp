#include "verbs/ts.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "io/number.h"
#include "io/output_file.h"
#include "io/report.h"
#include "objects/ca_certificate.h"
#include "objects/describe_message.h"
#include "objects/input_objects.h"
#include "objects/message.h"
#include "objects/object_output.h"
#include "objects/serial_number.h"
#include "objects/signer.h"

#include "sealkit/oid_names.h"
#include "sealkit/timestamp_reply.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

struct ReplyOptions {
    SignerOptions signer;
    std::string certificate;
    std::string chain;
    std::string policy;
    std::vector<std::string> otherPolicies;
    std::string serialNumber;
    std::string accuracy;
    bool isOrdered = false;
    bool acceptSha1 = false;
    std::string output;
    bool force = false;
    std::string request;
};

/// Seconds with at most six digits after the point: "1", "0.25".
std::optional<TimeStampAccuracy> parseAccuracy(std::string const& text) {
    size_t const point = std::min(text.find('.'), text.size());
    auto const seconds = parseNumber<std::uint32_t>(std::string_view(text).substr(0, point));
    std::string fraction = point < text.size() ? text.substr(point + 1) : "0";
    constexpr size_t maxDigits = 6;
    if (!seconds || fraction.empty() || fraction.size() > maxDigits ||
        fraction.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    fraction.resize(maxDigits, '0');
    auto const microseconds = static_cast<std::uint32_t>(std::stoul(fraction));
    TimeStampAccuracy accuracy;
    if (*seconds != 0)
        accuracy.seconds = seconds;
    if (microseconds / 1000 != 0)
        accuracy.milliseconds = microseconds / 1000;
    if (microseconds % 1000 != 0)
        accuracy.microseconds = microseconds % 1000;
    return accuracy;
}

/// Sets the options of replies. Complains on failure. Returns the exit status.
int readReplyOptions(ReplyOptions const& options, TimeStampReplyOptions* to) {
    for (std::string const& text : options.otherPolicies)
        if (to->otherPolicies.emplace_back(parseOid(text)).empty())
            return wrongUsage("\"" + text + "\" is not an object identifier; write 1.2.3.4");
    if ((to->policy = parseOid(options.policy)).empty())
        return wrongUsage("\"" + options.policy + "\" is not an object identifier; write 1.2.3.4");
    auto number = options.serialNumber.empty() ? makeSerialNumber() : parseSerialNumber(options.serialNumber);
    if (options.serialNumber.empty())
        number->front() |= 1; // DER forbids an INTEGER that begins with zeros.
    if (!number)
        return wrongUsage("a serial number is hexadecimal, above 0, of 20 octets at most");
    if (number->front() >= 0x80)
        number->insert(number->begin(), 0);
    to->serialNumber = std::move(*number);
    if (!options.accuracy.empty() && !(to->accuracy = parseAccuracy(options.accuracy)))
        return wrongUsage("\"" + options.accuracy + "\" is not a number of seconds; write 1 or 0.25");
    to->isOrdered = options.isOrdered;
    to->acceptSha1 = options.acceptSha1;
    to->time = currentTime();
    return exitDone;
}

/// The JSON of a reply that was written.
void describe(ReplyOptions const& options, TimeStampReply const& made) {
    TimeStampResponse response;
    response.parse(made.encoding, nullptr, FormRules::standard);
    report::set({{"verdict", made.isGranted() ? "OK" : "FAILED"},
                 {"reason", made.isGranted() ? "" : made.status.texts.front()},
                 {"output", report::nameOfOutput(options.output)},
                 {"object", ::describe(response, made.status)}});
}

int reply(ReplyOptions const& options) {
    if (standardInputTwice({options.signer.key, options.signer.password.file, options.certificate,
                            options.chain, options.request}))
        return exitWrongUsage;
    TimeStampReplyOptions how;
    int status = readReplyOptions(options, &how);
    if (status != exitDone)
        return status;
    if (wouldFloodTerminal(options.output))
        return wrongUsage("DER would garble the terminal: give -o FILE or -o -");
    auto const signer = readSigner(options.signer, &status);
    if (!signer)
        return status;
    how.hash = signer->hash;
    auto const certificate = readCertificate(options.certificate, FormRules::standard);
    if (!certificate)
        return exitBadInput;
    if (!options.chain.empty()) {
        auto const chain = readAllCertificates(options.chain, FormRules::standard);
        if (!chain)
            return exitBadInput;
        how.chain = *chain;
    }
    auto const request = MessageFile::read(options.request);
    if (!request)
        return exitBadInput;
    keepReportOff(options.output);
    OutputFile output;
    if (!output.open(options.output, 0666,
                     options.force ? OutputFile::Existing::replace : OutputFile::Existing::keep))
        return exitBadInput;
    TimeStampReply made;
    TimeStampReplyProblem const problem =
        replyToTimeStamp(request->der(), *certificate, *signer->key, how, &made);
    if (problem != TimeStampReplyProblem::none)
        return badInput(options.certificate + ": " + getReasonText(problem).sentence +
                        (problem == TimeStampReplyProblem::notForTimeStamps
                             ? " \"sealkit cert issue --profile time-stamping\" makes such certificates."
                             : ""));
    if (!output.write(made.encoding) || !output.commit())
        return exitBadInput;
    if (report::isJson())
        describe(options, made);
    if (made.isGranted())
        return exitDone;
    return answerNo(options.request + ": rejected: " + made.status.texts.front());
}

} // namespace

Work setUpTsReply(CommandLine commandLine) {
    auto options = std::make_shared<ReplyOptions>();
    commandLine.text("REQUEST", options->request, "the request; - is standard input").required();
    commandLine
        .text("--certificate", options->certificate,
              "the certificate of the TSA, which is only for time-stamping")
        .valueName("FILE")
        .required();
    addSignerOptions(commandLine, options->signer, "-k,--key", "the private key of the TSA");
    commandLine.text("--chain", options->chain, "certificates of its issuers, for replies with certificates")
        .valueName("FILE");
    commandLine.text("--policy", options->policy, "the policy of the time-stamps: 1.2.3.4")
        .valueName("OID")
        .required();
    commandLine
        .texts("--other-policy", options->otherPolicies,
               "another policy that a request may ask for; may be given\nmore than once")
        .valueName("OID");
    commandLine.text("--serial", options->serialNumber, "the serial number; by default 128 random bits")
        .valueName("HEX");
    commandLine.text("--accuracy", options->accuracy, "by how much the time may be wrong: 1, or 0.25")
        .valueName("SECONDS");
    commandLine.flag("--ordering", options->isOrdered,
                     "state that the time-stamps can be ordered by their times");
    commandLine.flag("--accept-sha1", options->acceptSha1, "also stamp SHA-1 digests");
    commandLine.text("-o,--output", options->output, outputHelp).valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    commandLine.json();
    commandLine.footer(
        "The reply is DER and has the time of this machine's clock. A request that is malformed,\n"
        "or asks for another policy or hash, gets a rejection with the reason (status 1).\n\n"
        "Examples:\n"
        "  sealkit key new rsa -o tsa.key\n"
        "  sealkit cert self-sign -k tsa.key --profile time-stamping --subject /CN=TSA -o tsa.pem\n"
        "  echo hello > letter.txt\n"
        "  sealkit ts request --want-certificate letter.txt -o letter.tsq\n"
        "  sealkit ts reply --certificate tsa.pem -k tsa.key --policy 1.2.3.4 letter.tsq -o letter.tsr\n"
        "  sealkit ts check --request letter.tsq --ca tsa.pem letter.tsr");
    return [options] { return reply(*options); };
}
