#include "io/clock.h"
#include "io/file_digest.h"
#include "io/input.h"
#include "io/terminal.h"
#include "objects/authority.h"
#include "objects/description.h"
#include "objects/hash_names.h"
#include "objects/message_check.h"
#include "objects/names.h"
#include "verbs/verb.h"

#include "sealkit/rng.h"

#include <kp/text.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>

namespace {

using terminal::printable;

struct RequestOptions {
    std::string algorithm;
    std::string nonce;
    bool noNonce = false;
    bool certificateWanted = false;
    std::string policy;
    std::string output;
    bool force = false;
    std::string file;
};

struct CheckOptions {
    TrustOptions trust;
    std::string request;
    std::string data;
    std::string certificates;
    std::string policy;
    bool strict = false;
    bool json = false;
    std::string reply;
};

/// The content octets of a positive INTEGER of 64 random bits, which keeps every authority happy.
std::vector<unsigned char> makeNonce() {
    std::vector<unsigned char> nonce(8);
    do
        getDefaultRng().fill(nonce.data(), static_cast<unsigned>(nonce.size()));
    while (nonce[0] == 0 || nonce[0] >= 0x80);
    return nonce;
}

/// The nonce of the options, of whatever size. Nothing for what is no number.
std::optional<std::vector<unsigned char>> readNonce(RequestOptions const& options) {
    if (options.noNonce)
        return std::vector<unsigned char>();
    if (options.nonce.empty())
        return makeNonce();
    auto nonce = parseSerialNumber(options.nonce);
    if (nonce && nonce->front() >= 0x80)
        nonce->insert(nonce->begin(), 0);
    return nonce;
}

int request(RequestOptions const& options) {
    TimeStampRequest made;
    auto const hash = findHash(options.algorithm.empty() ? "sha256" : options.algorithm);
    if (!hash || getHashOid(hash->id).empty())
        return wrongUsage("\"" + options.algorithm +
                          "\" is no hash of time-stamps; there are sha256, sha384, sha512, sha1 and md5");
    made.hashAlgorithm = hash->id;
    auto nonce = readNonce(options);
    if (!nonce)
        return wrongUsage("a nonce is hexadecimal, above 0, of 20 octets at most");
    made.nonce = std::move(*nonce);
    if (!options.policy.empty() && (made.policy = encodeOid(options.policy)).empty())
        return wrongUsage("\"" + options.policy + "\" is no object identifier; write 1.2.3.4");
    made.certReq = options.certificateWanted;
    if (wouldFloodTerminal(options.output))
        return wrongUsage("DER would garble the terminal: give -o FILE or -o -");
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
    return output.write(encoder.take()) && output.commit() ? exitDone : exitBadInput;
}

/// What the token must say: from a request, or from the file that was stamped.
struct Expected {
    std::vector<unsigned char>
        digest; ///< Empty until the token has said of which hash, where data were given.
    HashID hash = HashID::none;
    std::vector<unsigned char> policy;
    std::vector<unsigned char> nonce;
    bool certificateWanted = false;
};

/// Complains and gives nothing when there is no such request.
std::optional<Expected> readRequest(CheckOptions const& options) {
    auto const file = MessageFile::read(options.request);
    if (!file)
        return std::nullopt;
    TimeStampRequest asked;
    if (std::string const why = parseMessage(asked, file->der()); !why.empty()) {
        badInput(options.request + ": " + why);
        return std::nullopt;
    }
    return Expected{asked.hashedMessage, asked.hashAlgorithm, asked.policy, asked.nonce, asked.certReq != 0};
}

/// A reply, whole or cut down to its token.
struct Reply {
    StatusText status; ///< Empty for a token alone.
    std::unique_ptr<PKCS7SignedData> token;
};

/// Complains and gives nothing when there is none.
std::optional<Reply> readReply(std::string const& path) {
    auto const file = MessageFile::read(path);
    if (!file)
        return std::nullopt;
    Reply reply;
    std::string why;
    if (kindOfMessage(file->der()) == MessageKind::signedData) {
        reply.token = std::make_unique<PKCS7SignedData>();
        why = parseMessage(*reply.token, file->der());
    } else {
        TimeStampResponse response;
        why = parseMessage(response, file->der());
        reply.status = describeStatus(file->der());
        reply.token = std::move(response.token);
    }
    if (why.empty())
        return reply;
    badInput(path + ": " + why);
    return std::nullopt;
}

constexpr unsigned sequenceTag = 0x30, octetStringTag = 0x04, oidTag = 0x06, directoryNameTag = 0xA4;

/// Whether an ESSCertID or ESSCertIDv2 (RFC 5035), by its content, is that of the certificate.
bool isIdOf(asn1::blob content, HashID hash, X509Certificate const& certificate) {
    asn1::parser fields(content);
    if (fields.tag == sequenceTag) { // Of version 2 alone, whose default is SHA-256.
        asn1::parser algorithm(fields.take());
        hash = algorithm.tag == oidTag ? getHashID(algorithm.take()) : HashID::none;
    }
    return fields.tag == octetStringTag && hash != HashID::none &&
           asn1::blob(calcDigest(hash, certificate.serialize())) == fields.value();
}

enum class EssId { absent, matches, differs };

/// Whether the signed attribute that says which certificate the signer used names this one (RFC 5816).
EssId checkEssId(PKCS7SignerInfo const& signer, X509Certificate const& certificate) {
    struct Form {
        char const* oid;
        HashID hash;
    };
    static constexpr Form forms[] = {
        {"1.2.840.113549.1.9.16.2.47", HashID::SHA256}, // id-aa-signingCertificateV2
        {"1.2.840.113549.1.9.16.2.12", HashID::SHA1},   // id-aa-signingCertificate
    };
    EssId result = EssId::absent;
    for (Form const& form : forms) {
        auto const values = findSignedAttribute(signer, form.oid);
        if (!values)
            continue;
        // SigningCertificate ::= SEQUENCE { certs SEQUENCE OF ESSCertID, ... }, of which the first is the signer's.
        asn1::parser ids(*values);
        bool const isFound = ids.enter(sequenceTag) && ids.enter(sequenceTag) && ids.tag == sequenceTag;
        if (!isFound || !isIdOf(ids.value(), form.hash, certificate))
            return EssId::differs;
        result = EssId::matches;
    }
    return result;
}

/// Whether the certificate is one of an authority for time-stamps: its one purpose, and critical (RFC 3161,
/// section 2.3).
bool isForTimeStamps(X509Certificate const& certificate) {
    constexpr unsigned char extKeyUsageOid[] = {0x55, 0x1D, 0x25};
    for (X509Extension const& extension : certificate.extensions()) {
        if (!(extension.oid == asn1::blob(extKeyUsageOid)))
            continue;
        asn1::parser purposes(extension.value);
        if (!extension.critical || !purposes.enter(sequenceTag) || purposes.tag != oidTag ||
            oidStr(purposes.take()) != "1.3.6.1.5.5.7.3.8")
            return false;
        return purposes.tag == asn1::parser::endTag;
    }
    return false;
}

void warn(MessageVerdict& verdict, char const* rule, char const* sentence, std::string facts = "") {
    verdict.warnings.push_back({0, rule, sentence, std::move(facts)});
}

/// Compares what the token says with what was asked for.
void checkStamp(MessageVerdict& verdict, StampedInfo const& stamp, Expected const& expected, TimePoint now) {
    constexpr int64_t toleratedSeconds = 300;
    if (getHashID(stamp.hashOid) != expected.hash || stamp.hashedMessage != asn1::blob(expected.digest))
        fail(verdict, "it stamps something else");
    if (!expected.nonce.empty() && stamp.nonce != asn1::blob(expected.nonce))
        fail(verdict, stamp.nonce.empty() ? "it has no nonce, and the request has one"
                                          : "its nonce is not that of the request: it answers another one");
    if (!expected.policy.empty() && stamp.policy != asn1::blob(expected.policy))
        fail(verdict, "it is of the policy " + oidStr(stamp.policy) + ", not " + oidStr(expected.policy));
    if (stamp.time.seconds > now.seconds + toleratedSeconds)
        fail(verdict, "its time has not come yet: " + stamp.timeText);
    if (expected.hash == HashID::MD5 || expected.hash == HashID::SHA1)
        warn(verdict, "weak-imprint", "forgers can make another file with the digest that is stamped",
             getHashName(expected.hash));
}

void checkAuthority(MessageVerdict& verdict, StampedInfo const& stamp, PKCS7SignedData const& token) {
    if (token.signerInfos.size() != 1) {
        fail(verdict,
             "it is signed by " + std::to_string(token.signerInfos.size()) + ", and not by one authority");
        return;
    }
    auto const& certificate = verdict.signers.front().certificate;
    if (!certificate)
        return; // The message does not verify then.
    if (!isForTimeStamps(*certificate))
        fail(verdict,
             "the signer's certificate is not for time-stamps: that must be its one extended key usage, and "
             "critical");
    if (stamp.time < certificate->notBefore || stamp.time > certificate->notAfter)
        fail(verdict, "the authority's certificate was not valid at the time that it states");
    EssId const id = checkEssId(*token.signerInfos.front(), *certificate);
    if (id == EssId::differs)
        fail(verdict, "it says that it was signed with another certificate");
    else if (id == EssId::absent)
        warn(verdict, "no-signing-certificate",
             "it does not say with which certificate it was signed, as time-stamps should");
    asn1::parser authority(stamp.authority);
    if (authority.tag == directoryNameTag && authority.value() != certificate->subjectBytes())
        warn(verdict, "authority-name", "it names another authority than its certificate does",
             nameText(authority.value()));
}

std::string stampLine(StampedInfo const& stamp) {
    return "time " + stamp.timeText + (stamp.accuracy.empty() ? "" : ", give or take " + stamp.accuracy) +
           ", policy " + oidStr(stamp.policy) + ", serial number " + shortHexOf(stamp.serialNumber) + ", " +
           algorithmName(stamp.hashOid);
}

void printJson(MessageVerdict const& verdict, StampedInfo const& stamp) {
    nlohmann::ordered_json result;
    result["time"] = stamp.timeText;
    result["accuracy"] = stamp.accuracy;
    result["policy"] = oidStr(stamp.policy);
    result["serialNumber"] = shortHexOf(stamp.serialNumber);
    result["digestAlgorithm"] = algorithmName(stamp.hashOid);
    result["digest"] = shortHexOf(stamp.hashedMessage);
    addVerdict(verdict, result);
    terminal::out() << result.dump(2, ' ', true) << std::endl;
}

/// The reply of an authority that gave no time-stamp.
int sayRefused(StatusText const& status, bool isJson) {
    std::string const reason =
        "no time-stamp was given: " + status.name + (status.details.empty() ? "" : ": " + status.details);
    if (isJson)
        terminal::out()
            << nlohmann::ordered_json({{"verdict", "FAILED"}, {"reason", reason}}).dump(2, ' ', true)
            << std::endl;
    else
        terminal::out() << "FAILED: " << reason << std::endl;
    return exitNo;
}

int check(CheckOptions const& options) {
    if (options.request.empty() == options.data.empty())
        return wrongUsage("give --request, or --data with the file that was stamped");
    if (standardInputTwice(
            options.trust.inputsWith({options.request, options.data, options.certificates, options.reply})))
        return exitWrongUsage;
    PathOptions question;
    std::string complaint;
    auto const now = readTime(options.trust, &complaint);
    if (!now)
        return wrongUsage(complaint);
    question.now = *now;
    question.checkCrls = options.trust.wantsCrls();
    question.purpose = PathPurpose::timeStamping;
    auto expected = options.request.empty() ? std::optional(Expected()) : readRequest(options);
    if (!expected)
        return exitBadInput;
    if (!options.policy.empty() && (expected->policy = encodeOid(options.policy)).empty())
        return wrongUsage("\"" + options.policy + "\" is no object identifier; write 1.2.3.4");

    auto reply = readReply(options.reply);
    if (!reply)
        return exitBadInput;
    if (!reply->token)
        return sayRefused(reply->status, options.json);
    PKCS7SignedData& token = *reply->token;
    auto const stamp = readStamp(token);
    if (!stamp)
        return badInput(options.reply + ": signed, but what was signed is no time-stamp (RFC 3161)");
    bool const hasOwnCertificate = !token.signerInfos.empty() && token.findCertificate(*token.signerInfos[0]);
    if (!options.certificates.empty() && !addCertificates(token, options.certificates))
        return exitBadInput;
    if (isTooLarge(token, options.reply))
        return exitBadInput;
    if (!options.data.empty()) {
        expected->hash = getHashID(stamp->hashOid);
        auto const hash = createHash(expected->hash);
        if (!hash)
            return badInput(options.reply + ": its digest algorithm " + algorithmName(stamp->hashOid) +
                            " is not supported");
        FileDigest digest = digestFile(options.data, *hash);
        if (digest.error != 0)
            return badInput(options.data + ": " + std::strerror(digest.error));
        expected->digest = std::move(digest.digest);
    }
    Trust trust;
    int status = exitDone;
    if (!loadTrust(options.trust, &trust, &status))
        return status;

    MessageVerdict verdict = judgeMessage(token, {}, trust.store, question);
    if (!reportCrls(trust, verdict.crls, &verdict.notes))
        return exitBadInput;
    checkAuthority(verdict, *stamp, token);
    checkStamp(verdict, *stamp, *expected, *now);
    if (expected->certificateWanted && !hasOwnCertificate)
        fail(verdict, "it does not hold its signer's certificate, which the request asks for");
    if (!reply->status.details.empty())
        verdict.notes.push_back("the authority says: " + reply->status.name + ": " + reply->status.details);
    applyStrictness(verdict, options.strict);
    if (options.json)
        printJson(verdict, *stamp);
    else
        printVerdict(verdict, {stampLine(*stamp)}, terminal::out());
    return verdict.failure.empty() ? exitDone : exitNo;
}

Work setUpTsRequest(CommandLine commandLine) {
    auto options = std::make_shared<RequestOptions>();
    commandLine.text("-a,--algorithm", options->algorithm, "sha256 (without it), sha384, sha512, sha1 or md5")
        .valueName("HASH");
    Parameter const nonce =
        commandLine.text("--nonce", options->nonce, "this nonce; without it 64 random bits").valueName("HEX");
    commandLine.flag("--no-nonce", options->noNonce, "no nonce").excludes(nonce);
    commandLine.flag("--cert", options->certificateWanted,
                     "ask for the authority's certificate in the reply, which \"ts\ncheck\" needs");
    commandLine.text("--policy", options->policy, "ask for this policy of the authority: 1.2.3.4")
        .valueName("OID");
    commandLine.text("-o,--output", options->output, outputHelp).valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    commandLine.text("FILE", options->file, "what is to be stamped, of any size; - is standard input")
        .required();
    commandLine.footer("The request is DER. It holds a digest of the file, not the file. The reply comes by "
                       "HTTP (RFC 3161, section\n"
                       "3.4), for instance:\n"
                       "  curl -H \"Content-Type: application/timestamp-query\" --data-binary @letter.tsq -o "
                       "letter.tsr ADDRESS\n\n"
                       "Examples:\n"
                       "  echo hello > letter.txt\n"
                       "  sealkit ts request --cert letter.txt -o letter.tsq\n"
                       "  sealkit show letter.tsq");
    return [options] { return request(*options); };
}

Work setUpTsCheck(CommandLine commandLine) {
    auto options = std::make_shared<CheckOptions>();
    Parameter const asked =
        commandLine.text("--request", options->request, "the request that REPLY answers").valueName("FILE");
    commandLine.text("--data", options->data, "the file that was stamped, instead of the request")
        .valueName("FILE")
        .excludes(asked);
    commandLine
        .text("--certificates", options->certificates,
              "certificates of the authority and its issuers that are not in the\nreply. This does not make "
              "them "
              "trusted")
        .valueName("FILE");
    commandLine.text("--policy", options->policy, "the policy that it must be of, whatever the request says")
        .valueName("OID");
    options->trust.declare(commandLine);
    commandLine.flag("--strict", options->strict, "a warning is a refusal (status 1)");
    commandLine.flag("--json", options->json, "print the verdict as JSON");
    commandLine.text("REPLY", options->reply, "the reply, or the token in it alone; - is standard input")
        .required();
    commandLine.footer(
        "A time-stamp must be of this request (digest, nonce and policy) or file, signed by an authority "
        "that is\n"
        "trusted and whose certificate is for time-stamps alone. Prints who signed, the time, and \"OK\" or\n"
        "\"FAILED: reason\" (status 1). The certificate is judged now, or at the time of --at. With --data "
        "the nonce\n"
        "is not compared, as nobody knows it.");
    return [options] { return check(*options); };
}

} // namespace

Work setUpTs(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"request", "ask for a time-stamp of a file", setUpTsRequest},
        {"check", "check the reply", setUpTsCheck},
    };
    return commandLine.verbs(verbs);
}
