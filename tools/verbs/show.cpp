#include "io/clock.h"
#include "io/input.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/describe_message.h"
#include "objects/kem_object.h"
#include "objects/key_file.h"
#include "objects/message.h"
#include "objects/pkcs12_file.h"
#include "verbs/verb.h"

#include "sealkit/input_kind.h"
#include "sealkit/pem.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <functional>
#include <memory>
#include <variant>

namespace {

using terminal::printable;

struct Options {
    bool dump = false;
    bool secrets = false;
    bool partial = false;
    PasswordSource password;
    std::string file;
};

/// A private key, in one of two ways, or of one that stays closed its encryption alone.
struct PrivateKeyFound {
    std::unique_ptr<PrivateKey> key;
    std::optional<KemKey> kemKey;
    std::optional<KeyEncryption> encryption;
};

struct EcParameters {
    std::string curve;
};

struct ResponseFound {
    TimeStampResponse response;
    TimeStampStatus status;
};

using Object = std::variant<std::monostate, X509Certificate, X509Crl, X509Req, std::unique_ptr<PublicKey>,
                            KemKey, PrivateKeyFound, EcParameters, PKCS7SignedData, EnvelopedMessage,
                            TimeStampRequest, ResponseFound, Pkcs12File>;

/// An object, or why there is none.
struct Found {
    Object object;
    int status = exitBadInput;
    Complaint complaint;
    std::vector<std::string> unreadable{}; ///< What could not be read of an object that is there.

    Found(Object found = {}) : object(std::move(found)) {}
    explicit operator bool() const { return object.index() != 0; }
};

/// Whether it is a kind of object, which may be damaged.
bool isKnown(InputKind kind) { return kind > InputKind::pem && kind <= InputKind::timeStampResponse; }

/// A certificate, CRL or request, or which field or extension the library refuses, and why.
template <typename T>
Found parseAs(asn1::blob der, InputKind kind) {
    T object;
    Refusal refusal;
    if (object.parse(der, &refusal))
        return Object(std::move(object));
    InputKind const found = findInputKind(der);
    Found nothing;
    nothing.complaint =
        found == kind || !isKnown(found)
            ? std::string("a ") + getInputKindName(kind) + " that is refused: " + refusal
            : Complaint(std::string("no ") + getInputKindName(kind) + ": " + getInputKindName(found));
    return nothing;
}

Found readCertificateAs(asn1::blob der) { return parseAs<X509Certificate>(der, InputKind::certificate); }
Found readCrlAs(asn1::blob der) { return parseAs<X509Crl>(der, InputKind::crl); }
Found readRequestAs(asn1::blob der) { return parseAs<X509Req>(der, InputKind::request); }

Found readPublicKeyAs(std::string_view text) {
    OpenedPublicKey opened = openPublicKey({.label = {}, .body = {}, .whole = text});
    if (opened.key)
        return Object(std::move(opened.key));
    Found nothing;
    nothing.complaint = opened.complaint;
    if (opened.reason == RefusalId::unknownKeyAlgorithm) {
        OpenedKemKey kem = openKemPublicKey(text);
        if (kem.key)
            return Object(std::move(*kem.key));
        if (!kem.complaint.empty())
            nothing.complaint = kem.complaint;
    }
    return nothing;
}

/// `password` is null when none was given.
Found readPrivateKeyAs(std::string_view text, Password const* password) {
    auto encryption = findEncryption(text);
    if (encryption && !password)
        return Object(PrivateKeyFound{nullptr, std::nullopt, std::move(encryption)});
    OpenedKey opened =
        openPrivateKey({.label = {}, .body = {}, .whole = text}, password ? &password->text : nullptr);
    if (opened.key)
        return Object(PrivateKeyFound{std::move(opened.key), std::nullopt, std::move(encryption)});
    Found nothing;
    nothing.status = opened.status;
    nothing.complaint = opened.complaint;
    if (opened.reason == RefusalId::unknownKeyAlgorithm) {
        OpenedKemKey kem = openKemPrivateKey(text, password ? &password->text : nullptr);
        if (kem.key)
            return Object(PrivateKeyFound{nullptr, std::move(kem.key), std::move(encryption)});
        if (!kem.complaint.empty())
            nothing.complaint = kem.complaint;
    }
    return nothing;
}

/// The curve that is named before an EC key, which names it again (RFC 5480, section 2.1.1).
Found readEcParameters(asn1::blob der) {
    Refusal refusal;
    Curve const curve = parseEcParameters(der, &refusal);
    if (curve != Curve{})
        return Object(EcParameters{getCurveName(curve)});
    if (refusal.id == RefusalId::unknownCurve)
        return Object(EcParameters{refusal.facts.front().value});
    Found nothing;
    nothing.complaint = refusal;
    return nothing;
}

template <typename Message>
Found readAs(asn1::blob der) {
    Message message;
    Found found;
    found.complaint = parseMessage(message, der);
    if (found.complaint.empty())
        found.object = std::move(message);
    return found;
}

Found readMessage(MessageKind kind, asn1::blob der) {
    Found found;
    switch (kind) {
    case MessageKind::signedData:
        return readAs<PKCS7SignedData>(der);
    case MessageKind::envelopedData:
        return readAs<EnvelopedMessage>(der);
    case MessageKind::timeStampRequest:
        return readAs<TimeStampRequest>(der);
    case MessageKind::timeStampResponse: {
        ResponseFound response;
        found.complaint = parseMessage(response.response, der);
        response.status.parse(der, nullptr);
        if (found.complaint.empty())
            found.object = std::move(response);
        return found;
    }
    case MessageKind::otherContent:
        found.complaint =
            "a message of the type \"" + getContentTypeName(getContentType(der)) + "\", which is not shown";
        return found;
    case MessageKind::none:
        found.complaint = berComplaint(der);
        if (found.complaint.empty())
            found.complaint = "no message that is known";
        return found;
    }
    return found;
}

/// Decrypted if a password is given.
Found readPkcs12As(asn1::blob der, Password const* password) {
    Pkcs12File file = readPkcs12(der);
    Found found;
    found.complaint = file.complaint;
    if (file.pfx && password) {
        Decrypting const result = decryptPkcs12(*file.pfx, password->text, pkcs12Options());
        found.status = result.status;
        found.complaint = result.complaint;
        file.isDecrypted = true;
    }
    if (found.complaint.empty()) {
        found.unreadable = listUnreadable(*file.pfx);
        found.object = std::move(file);
    }
    return found;
}

/// A block with a label that is not known.
Found refuseLabel(InputKind kind) {
    Found nothing;
    nothing.complaint = isKnown(kind) ? std::string(getInputKindName(kind)) + " under an unsupported label"
                                      : "of a kind that is not shown";
    if (kind == InputKind::certificate)
        nothing.complaint += R"( - "openssl x509" writes a copy under the label CERTIFICATE)";
    return nothing;
}

/// The object of one PEM block.
Found readBlock(PemBlock const& block, Password const* password) {
    if (isPrivateKeyLabel(block.label))
        return readPrivateKeyAs(block.whole, password);
    if (block.label.ends_with("PUBLIC KEY"))
        return readPublicKeyAs(block.whole);
    std::vector<unsigned char> der;
    Refusal refusal;
    bool const isWhole = block.label.find('\n') == std::string_view::npos;
    if (!isWhole)
        refusal.id = RefusalId::pemMalformedBegin;
    if (block.label.starts_with("PGP ")) {
        Found nothing;
        nothing.complaint = "OpenPGP, which is another format than PEM";
        return nothing;
    }
    if (!isWhole || !pemDecode(block.body, &der, &refusal)) {
        refusal.line += block.line;
        Found nothing;
        nothing.complaint = refusal;
        return nothing;
    }
    if (block.label == "EC PARAMETERS")
        return readEcParameters(der);
    if (block.label == "CERTIFICATE")
        return readCertificateAs(der);
    if (block.label == "X509 CRL")
        return readCrlAs(der);
    if (isRequestLabel(block.label))
        return readRequestAs(der);
    if (block.label == pkcs12Label)
        return readPkcs12As(der, password);
    MessageKind const kind = getMessageKind(der); // Of time-stamps there is no usual label.
    return kind != MessageKind::none || isMessageLabel(block.label) ? readMessage(kind, der)
                                                                    : refuseLabel(findInputKind(der));
}

/// What is said of a file in which there is no object, and what can be done about it.
Complaint whyNothing(InputKind kind, std::string_view text) {
    Refusal refusal;
    switch (kind) {
    case InputKind::empty:
        return "the file is empty";
    case InputKind::utf16:
        return "text in UTF-16, as some editors write it: save it as UTF-8 or ASCII";
    case InputKind::pem:
        PemReader(text).finish(&refusal);
        return refusal + " A part of the file may be missing.";
    case InputKind::text:
        return "text without a PEM block";
    default:
        return "neither PEM nor the DER of a certificate, revocation list, request, key, message or PKCS#12";
    }
}

Found readDer(std::string_view der, Password const* password) {
    if (looksLikePkcs12(der))
        return readPkcs12As(der, password);
    if (MessageKind const kind = getMessageKind(der); kind != MessageKind::none)
        return readMessage(kind, der);
    InputKind const kind = findInputKind(der);
    switch (kind) {
    case InputKind::certificate:
        return readCertificateAs(der);
    case InputKind::crl:
        return readCrlAs(der);
    case InputKind::request:
        return readRequestAs(der);
    case InputKind::publicKey:
    case InputKind::rsaPublicKey:
    case InputKind::opensshPublicKey:
        return readPublicKeyAs(der);
    case InputKind::privateKey:
    case InputKind::encryptedPrivateKey:
    case InputKind::rsaPrivateKey:
    case InputKind::ecPrivateKey:
        return readPrivateKeyAs(der, password);
    default:
        break;
    }
    Found nothing;
    nothing.complaint = mailForm(der) + berComplaint(der);
    if (nothing.complaint.empty())
        nothing.complaint = whyNothing(kind, der);
    return nothing;
}

/// The library dumps names as they are; here nothing in them may end a line or steer a terminal.
void makePrintable(std::string& text) { text = printable(text); }

void makePrintable(DistinguishedName& name) {
    for (std::string* part : {&name.country, &name.state, &name.locality, &name.organization,
                              &name.organizationalUnit, &name.commonName, &name.serialNumber})
        makePrintable(*part);
}

void makePrintable(GeneralName& name) {
    if (name.type != 7) // The library prints an address as text.
        makePrintable(name.data);
}

void makePrintable(X509Certificate& certificate) {
    makePrintable(certificate.issuer);
    makePrintable(certificate.subject);
    for (auto* names : {&certificate.subjectAltNames, &certificate.crlDistributionPoints})
        for (GeneralName& name : *names)
            makePrintable(name);
    makePrintable(certificate.nameConstraintPermitted);
    makePrintable(certificate.nameConstraintExcluded);
}

void makePrintable(X509Crl& crl) { makePrintable(crl.issuer); }

void makePrintable(X509Req& request) {
    makePrintable(request.subject);
    makePrintable(request.challengePassword);
    for (GeneralName& name : request.subjectAltNames)
        makePrintable(name);
}

/// In names of signers, which are kept encoded.
void makePrintable(PKCS7SignedData& message);

void makePrintable(PKCS7SignerInfo& signer) {
    DistinguishedName issuer;
    issuer.parse(signer.issuer, nullptr);
    makePrintable(issuer);
    signer.issuer = issuer.serialize();
    if (signer.counterSignature)
        makePrintable(*signer.counterSignature);
    if (signer.msCounterSignature)
        makePrintable(*signer.msCounterSignature);
}

void makePrintable(PKCS7SignedData& message) {
    for (auto const& certificate : message.certificates)
        makePrintable(*certificate);
    for (auto const& signer : message.signerInfos)
        makePrintable(*signer);
}

void makePrintable(TimeStampRequest&) {}

void makePrintable(TimeStampResponse& response) {
    if (response.token)
        makePrintable(*response.token);
}

void dump(Object object) {
    std::visit(
        [](auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::unique_ptr<PublicKey>>) {
                value->dump(terminal::out());
            } else if constexpr (std::is_same_v<T, PrivateKeyFound>) {
                value.key->dump(terminal::out());
            } else if constexpr (std::is_same_v<T, EcParameters>) {
                // The dump of the key says which curve it is.
            } else if constexpr (std::is_same_v<T, ResponseFound>) {
                makePrintable(value.response);
                value.response.dump(terminal::out());
            } else if constexpr (std::is_same_v<T, EnvelopedMessage> || std::is_same_v<T, KemKey>) {
                // The library has no dump of them.
            } else if constexpr (std::is_same_v<T, Pkcs12File>) {
                if (value.pfx->signedData)
                    makePrintable(*value.pfx->signedData);
                value.pfx->dump(terminal::out());
            } else if constexpr (!std::is_same_v<T, std::monostate>) {
                makePrintable(value);
                value.dump(terminal::out());
            }
        },
        object);
}

Description describePrivateKey(PrivateKeyFound const& found, bool withSecrets) {
    Description result{{"object", found.encryption ? "encrypted private key" : "private key"}};
    if (found.key)
        result.update(describe(*found.key, withSecrets));
    if (found.kemKey)
        result.update(describe(*found.kemKey, withSecrets));
    if (found.encryption)
        result["encryption"] = describe(*found.encryption);
    if (!found.key && !found.kemKey && !found.encryption->problem)
        result["key"] = "not opened (--password-file opens it)";
    return result;
}

Description describeObject(Object const& object, bool withSecrets) {
    return std::visit(
        [withSecrets](auto const& value) -> Description {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::monostate>) {
                return {};
            } else if constexpr (std::is_same_v<T, std::unique_ptr<PublicKey>>) {
                Description result{{"object", "public key"}};
                result.update(describe(*value));
                return result;
            } else if constexpr (std::is_same_v<T, KemKey>) {
                Description result{{"object", "public key"}};
                result.update(describe(value, false));
                return result;
            } else if constexpr (std::is_same_v<T, PrivateKeyFound>) {
                return describePrivateKey(value, withSecrets);
            } else if constexpr (std::is_same_v<T, EcParameters>) {
                return {{"object", "EC parameters"}, {"curve", value.curve}};
            } else if constexpr (std::is_same_v<T, ResponseFound>) {
                return describe(value.response, value.status);
            } else if constexpr (std::is_same_v<T, Pkcs12File>) {
                return describe(value, withSecrets);
            } else {
                return describe(value);
            }
        },
        object);
}

/// "notBefore" as "not before", "removeFromCRL" as "remove from crl".
std::string inWords(std::string const& key) {
    if (key.find('.') != std::string::npos)
        return key;
    std::string words;
    bool wasUpper = false;
    for (char c : key) {
        bool const isUpper = std::isupper(static_cast<unsigned char>(c)) != 0;
        if (isUpper && !wasUpper)
            words += ' ';
        words += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        wasUpper = isUpper;
    }
    return words;
}

std::string scalarText(Description const& value) {
    if (value.is_boolean())
        return value.get<bool>() ? "yes" : "no";
    if (value.is_null())
        return "(none)";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

/// An entry of a CRL on a line of its own: there may be hundreds of thousands.
std::string revocationText(Description const& entry) {
    std::string line =
        scalarText(entry["serialNumber"]) + " since " + showTime(scalarText(entry["revocationDate"]));
    if (entry.contains("reason"))
        line += ", reason " + scalarText(entry["reasonCode"]) + " " + inWords(scalarText(entry["reason"]));
    return line;
}

/// In characters: what is longer goes on lines of its own.
constexpr size_t maxListLength = 100;

void printMembers(Description const& object, std::string const& indent);

void printValue(Description const& value, std::string const& indent) {
    std::ostream& out = terminal::out();
    if (value.is_object()) {
        out << '\n';
        printMembers(value, indent + "  ");
    } else if (value.is_array() && value.empty()) {
        out << " (none)\n";
    } else if (value.is_array() && value.front().contains("revocationDate")) {
        out << '\n';
        for (Description const& entry : value)
            out << indent << "  " << revocationText(entry) << '\n';
    } else if (value.is_array() && value.front().is_object()) {
        out << '\n';
        for (size_t i = 0; i < value.size(); ++i) {
            out << indent << "  " << i + 1 << ":\n";
            printMembers(value[i], indent + "    ");
        }
    } else if (value.is_array()) {
        size_t length = 0;
        for (auto const& item : value)
            length += scalarText(item).size();
        bool const oneLine = value.size() == 1 || length <= maxListLength;
        std::string const separator = oneLine ? ", " : "\n" + indent + "  ";
        out << (oneLine ? " " : separator.c_str());
        for (size_t i = 0; i < value.size(); ++i)
            out << (i > 0 ? separator.c_str() : "") << scalarText(value[i]);
        out << '\n';
    } else {
        out << ' ' << scalarText(value) << '\n';
    }
}

/// Whether the member is a time, as `isoTime` writes it.
bool isTime(std::string_view key) {
    static constexpr std::string_view times[] = {"notBefore",  "notAfter", "thisUpdate",
                                                 "nextUpdate", "time",     "signingTime"};
    return std::ranges::find(times, key) != std::end(times);
}

void printMembers(Description const& object, std::string const& indent) {
    for (auto const& [key, value] : object.items()) {
        terminal::out() << indent << inWords(key);
        // An extension: its criticality stands with its name.
        if (value.is_object() && value.size() == 2 && value.contains("critical") && value.contains("value")) {
            terminal::out() << (value["critical"].get<bool>() ? " (critical):" : ":");
            printValue(value["value"], indent);
        } else {
            terminal::out() << ':';
            printValue(isTime(key) && value.is_string() ? Description(showTime(value)) : value, indent);
        }
    }
}

void print(Description const& description) {
    bool first = true;
    for (auto const& [key, value] : description.items()) {
        if (first) {
            terminal::out() << scalarText(value) << '\n';
            first = false;
            continue;
        }
        printMembers({{key, value}}, "  ");
    }
}

/// Why the library's dump of an object is not written; empty when it is.
std::string whyNoDump(Object const& object, bool withSecrets) {
    if (std::holds_alternative<EnvelopedMessage>(object))
        return "the library has no dump of enveloped messages: leave --dump out";
    auto const* const found = std::get_if<PrivateKeyFound>(&object);
    if (std::holds_alternative<KemKey>(object) || (found && found->kemKey))
        return "the library has no dump of ML-KEM keys: leave --dump out";
    if (!found)
        return "";
    if (!withSecrets)
        return "the dump of a private key shows its secrets: --secrets allows that";
    return found->key ? "" : "the private key is encrypted: --password-file opens it";
}

/// A malformed label may reach to the next dashes.
std::string firstLine(std::string_view label) { return std::string(label.substr(0, label.find('\n'))); }

bool isKeyLabel(std::string_view label) {
    return label.ends_with("PRIVATE KEY") || label.ends_with("PUBLIC KEY");
}

int show(Options const& options) {
    if (standardInputTwice({options.file, options.password.file}))
        return exitWrongUsage;
    int status = exitDone;
    std::unique_ptr<Password> password;
    if (options.password.isGiven()) {
        password = readPassword(options.password, AskFor::existing, options.file, &status);
        if (!password)
            return status;
        status = exitDone;
    }
    auto const text = readSecretInput(options.file);
    if (!text)
        return exitBadInput;
    auto complain = [&](Complaint const& what, int why) {
        badInput(options.file + ": " + what);
        status = why;
    };

    auto described = Description::array();
    auto present = [&](Found found) {
        for (std::string const& problem : found.unreadable)
            complain(problem, options.partial ? status : exitBadInput);
        Object object = std::move(found.object);
        if (!options.dump) {
            Description const description = describeObject(object, options.secrets);
            if (report::isJson())
                described.push_back(description);
            else
                print(description);
        } else if (std::string const why = whyNoDump(object, options.secrets); !why.empty()) {
            complain(why, exitWrongUsage);
        } else {
            dump(std::move(object));
        }
    };

    std::string_view rest = textOf(*text);
    size_t blocks = 0;
    while (auto const block = takeBlock(rest)) {
        ++blocks;
        Found found = readBlock(*block, password.get());
        if (found)
            present(std::move(found));
        else
            complain("block " + std::to_string(blocks) + ", \"" + firstLine(block->label) + "\", " +
                         (isKeyLabel(block->label) ? "is a key that cannot be shown: " : "") +
                         found.complaint,
                     found.status);
    }
    if (blocks == 0) {
        Found found = readDer(textOf(*text), password.get());
        if (!found) {
            complain(found.complaint, found.status);
            return status;
        }
        present(std::move(found));
    }
    if (report::isJson() && !described.empty())
        report::set({{"objects", std::move(described)}});
    return status;
}

} // namespace

Work setUpShow(CommandLine commandLine) {
    auto options = std::make_shared<Options>();
    commandLine.flag("--dump", options->dump, "print the library's own dump");
    commandLine.json();
    commandLine.flag("--secrets", options->secrets, "show the secrets of private keys, too");
    commandLine.flag("--partial", options->partial,
                     "end with 0 also when a part of a PKCS#12 file cannot be\nread");
    addPasswordOptions(commandLine, options->password, "of encrypted private keys and PKCS#12 files");
    commandLine.text("FILE", options->file, "PEM (any number of blocks) or DER; - is standard input")
        .required();
    commandLine.footer(
        "Knows certificates, chains, revocation lists, certificate requests, public and private\n"
        "keys, encrypted ones and those of ML-KEM-768 too, PKCS#12 files, signed and enveloped messages\n"
        "(PKCS#7, CMS), and requests and responses of time-stamps. The dump of a private key needs\n"
        "--secrets; enveloped messages and ML-KEM keys have none.\n\n"
        "Examples:\n"
        "  sealkit show /etc/ssl/certs/ca-certificates.crt\n"
        "  sealkit key new rsa-2048 | sealkit show -");
    return [options] { return show(*options); };
}
