#include "io/input.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/describe_message.h"
#include "objects/kem_object.h"
#include "objects/key_file.h"
#include "objects/message.h"
#include "objects/pkcs12_file.h"
#include "objects/printed_description.h"
#include "verbs/verb.h"

#include "sealkit/asn1_tree.h"
#include "sealkit/ber.h"
#include "sealkit/input_kind.h"
#include "sealkit/pem.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <memory>
#include <variant>

namespace {

using terminal::printable;

struct ShowOptions {
    bool dump = false;
    bool secrets = false;
    bool partial = false;
    PasswordSource password;
    std::vector<std::string> files;
};

/// A private key in one of two representations, or only the encryption of a key that was not decrypted.
struct PrivateKeyFound {
    std::unique_ptr<PrivateKey> key;
    std::optional<KemKey> kemKey;
    std::optional<KeyEncryption> encryption;
};

struct EcParameters {
    std::string curve;
};

/// The readable parts of an object that the library refuses or does not represent.
struct Described {
    Description description;
};

struct ResponseFound {
    TimeStampResponse response;
    TimeStampStatus status;
};

using Object = std::variant<std::monostate, X509Certificate, X509Crl, X509Req, std::unique_ptr<PublicKey>,
                            KemKey, PrivateKeyFound, EcParameters, PKCS7SignedData, EnvelopedMessage,
                            TimeStampRequest, ResponseFound, Pkcs12File, Described>;

/// An object, or the reason why it is missing.
struct Found {
    Object object;
    int status = exitBadInput;
    Complaint complaint;                   ///< If there is an object, a problem with it.
    std::vector<std::string> unreadable{}; ///< The unreadable parts of an object.

    Found(Object found = {}) : object(std::move(found)) {}
    explicit operator bool() const { return object.index() != 0; }
};

/// Whether it is a kind of object; the object itself may be malformed.
bool isKnown(InputKind kind) { return kind > InputKind::pem && kind <= InputKind::timeStampResponse; }

/// Reads a certificate, CRL or request. If the library refuses it, the result is its readable parts and the
/// reason. If only the platform's rules refuse it, there is no complaint.
template <typename T>
Found parseAs(asn1::blob der, InputKind kind, Description (*describeOutline)(asn1::blob)) {
    T object;
    Refusal refusal;
    if (object.parse(der, &refusal))
        return Object(std::move(object));
    InputKind const found = findInputKind(der);
    Found result;
    if (found != kind && isKnown(found)) {
        result.complaint = std::string("no ") + getInputKindName(kind) + ": " + getInputKindName(found);
        return result;
    }
    Description description = describeOutline(der);
    if (!description.contains("refusedByPlatform"))
        result.complaint = std::string("a ") + getInputKindName(kind) + " that is refused: " + refusal;
    if (!description.is_null())
        result.object = Described{std::move(description)};
    return result;
}

Found readCertificateAs(asn1::blob der) {
    return parseAs<X509Certificate>(der, InputKind::certificate, describeCertificate);
}
Found readCrlAs(asn1::blob der) { return parseAs<X509Crl>(der, InputKind::crl, describeCrl); }
Found readRequestAs(asn1::blob der) { return parseAs<X509Req>(der, InputKind::request, describeRequest); }

/// Reads OpenSSL's trusted certificate, which has trusted purposes and names after the certificate.
Found readTrustedCertificate(asn1::blob der) {
    asn1::blob const certificate = asn1::findElement(der, 0);
    asn1::blob const trust(certificate.finish, der.finish);
    Found found = readCertificateAs(certificate.empty() ? der : certificate);
    if (auto const* const read = std::get_if<X509Certificate>(&found.object)) {
        Description description = describe(*read);
        found.object = Described{std::move(description)};
    }
    if (auto* const shown = std::get_if<Described>(&found.object); shown && !certificate.empty())
        shown->description["trust"] = trust.empty() ? "(none)" : printable(asn1::derText(trust));
    return found;
}

/// Whether a key of an unknown algorithm may be an ML-KEM key, for which OpenSSH has no form.
bool mayBeKemKey(std::string_view text) {
    InputKind const kind = findInputKind(text);
    return kind != InputKind::opensshPrivateKey && kind != InputKind::opensshPublicKey;
}

Found readPublicKeyAs(std::string_view text) {
    OpenedPublicKey opened = openPublicKey({.label = {}, .body = {}, .whole = text});
    if (opened.key)
        return Object(std::move(opened.key));
    Found nothing;
    nothing.complaint = opened.complaint;
    if (opened.reason == RefusalId::unknownKeyAlgorithm && mayBeKemKey(text)) {
        OpenedKemKey kem = openKemPublicKey(text);
        if (kem.key)
            return Object(std::move(*kem.key));
        if (!kem.complaint.empty())
            nothing.complaint = kem.complaint;
    }
    return nothing;
}

/// `password` is null if none was given.
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
    if (opened.reason == RefusalId::unknownKeyAlgorithm && mayBeKemKey(text)) {
        OpenedKemKey kem = openKemPrivateKey(text, password ? &password->text : nullptr);
        if (kem.key)
            return Object(PrivateKeyFound{nullptr, std::move(kem.key), std::move(encryption)});
        if (!kem.complaint.empty())
            nothing.complaint = kem.complaint;
    }
    return nothing;
}

/// The curve that precedes an EC key, which names it again (RFC 5480, section 2.1.1).
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

Found readMessageAs(MessageKind kind, asn1::blob der) {
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
        if (std::vector<unsigned char> converted;
            findInputKind(der) == InputKind::ber && asn1::berToDer(der, &converted, nullptr))
            return readMessageAs(getMessageKind(converted), converted);
        found.complaint = berComplaint(der);
        if (found.complaint.empty())
            found.complaint = "a message of an unknown form";
        return found;
    }
    return found;
}

/// Decrypts the file if a password is given.
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

/// Refuses a block with an unknown label.
Found refuseLabel(InputKind kind) {
    Found nothing;
    nothing.complaint = isKnown(kind) ? std::string(getInputKindName(kind)) + " under an unsupported label"
                                      : "of a kind that is not shown";
    if (kind == InputKind::certificate)
        nothing.complaint += R"( - "openssl x509" writes a copy under the label CERTIFICATE)";
    return nothing;
}

/// Reads the object of one PEM block.
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
        nothing.complaint = "OpenPGP, which is not PEM";
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
    if (block.label == "CERTIFICATE" || block.label == "X509 CERTIFICATE")
        return readCertificateAs(der);
    if (block.label == "TRUSTED CERTIFICATE")
        return readTrustedCertificate(der);
    if (block.label == "X509 CRL")
        return readCrlAs(der);
    if (isRequestLabel(block.label))
        return readRequestAs(der);
    if (block.label == pkcs12Label)
        return readPkcs12As(der, password);
    MessageKind const kind = getMessageKind(der); // Time-stamps have no usual label.
    return kind != MessageKind::none || isMessageLabel(block.label) ? readMessageAs(kind, der)
                                                                    : refuseLabel(findInputKind(der));
}

/// The complaint about a file without objects, with advice.
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
    case InputKind::javaKeystore:
        return "a Java keystore (JKS, JCEKS): \"keytool -importkeystore -deststoretype pkcs12\" makes "
               "PKCS#12 of it";
    default:
        return "neither PEM nor the DER of a certificate, CRL, request, key, message or PKCS#12";
    }
}

Found readDer(std::string_view der, Password const* password) {
    if (looksLikePkcs12(der))
        return readPkcs12As(der, password);
    if (MessageKind const kind = getMessageKind(der); kind != MessageKind::none)
        return readMessageAs(kind, der);
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

/// The library's dump writes names unescaped. Here they must not end a line or contain control characters.
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

/// Escapes the encoded names of signers.
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
                // The dump of the key includes the curve.
            } else if constexpr (std::is_same_v<T, ResponseFound>) {
                makePrintable(value.response);
                value.response.dump(terminal::out());
            } else if constexpr (std::is_same_v<T, EnvelopedMessage> || std::is_same_v<T, KemKey> ||
                                 std::is_same_v<T, Described>) {
                // The library cannot dump them.
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
        result["key"] = "not decrypted (give --password-file)";
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
            } else if constexpr (std::is_same_v<T, Described>) {
                return value.description;
            } else {
                return describe(value);
            }
        },
        object);
}

/// Why the library's dump of an object is not written; empty if it is.
std::string whyNoDump(Object const& object, bool withSecrets) {
    if (std::holds_alternative<EnvelopedMessage>(object))
        return "the library has no dump of enveloped messages: omit --dump";
    if (std::holds_alternative<Described>(object))
        return "the library has no object to dump: omit --dump";
    auto const* const found = std::get_if<PrivateKeyFound>(&object);
    if (std::holds_alternative<KemKey>(object) || (found && found->kemKey))
        return "the library has no dump of ML-KEM keys: omit --dump";
    if (!found)
        return "";
    if (!withSecrets)
        return "the dump of a private key shows its secrets: give --secrets to allow that";
    return found->key ? "" : "the private key is encrypted: give --password-file";
}

/// A malformed label may extend to the next dashes.
std::string firstLine(std::string_view label) { return std::string(label.substr(0, label.find('\n'))); }

bool isKeyLabel(std::string_view label) {
    return label.ends_with("PRIVATE KEY") || label.ends_with("PUBLIC KEY");
}

/// Shows the files and collects the JSON.
class Display {
public:
    /// `password` is null if none was given.
    Display(ShowOptions const& wanted, Password const* given) : options(wanted), password(given) {}

    int status = exitDone;

    void showFile(std::string const& path) {
        file = path;
        auto const text = readSecretInput(file);
        if (!text) {
            status = exitBadInput;
            return;
        }
        if (options.files.size() > 1 && !report::isJson())
            terminal::out() << terminal::Style::heading << printable(file) << ":\n" << terminal::Style::plain;
        showText(textOf(*text));
    }

    void finish() const {
        if (report::isJson() && !described.empty())
            report::set({{"objects", described}});
    }

private:
    void showText(std::string_view text) {
        std::string_view rest = text;
        size_t blocks = 0;
        while (auto const block = takeBlock(rest)) {
            ++blocks;
            std::string const name = "block " + std::to_string(blocks) + ", \"" + firstLine(block->label) +
                                     "\", " +
                                     (isKeyLabel(block->label) ? "is a key that cannot be shown: " : "");
            present(readBlock(*block, password), name);
        }
        if (blocks == 0)
            present(readDer(text, password), "");
    }

    void complain(Complaint const& what, int why) {
        badInput(file + ": " + what);
        status = why;
    }

    /// `name` is that of the block, for messages.
    void present(Found found, std::string const& name) {
        if (!found || !found.complaint.empty())
            complain(name + found.complaint, found.status);
        if (!found)
            return;
        for (std::string const& problem : found.unreadable)
            complain(problem, options.partial ? status : exitBadInput);
        Object object = std::move(found.object);
        if (!options.dump) {
            Description description = describeObject(object, options.secrets);
            if (!report::isJson())
                return print(description);
            if (options.files.size() > 1)
                description["file"] = printable(file);
            described.push_back(std::move(description));
        } else if (std::string const why = whyNoDump(object, options.secrets); !why.empty()) {
            bool const isRefused = std::holds_alternative<Described>(object);
            complain(name + why, isRefused ? exitBadInput : exitWrongUsage);
        } else {
            dump(std::move(object));
        }
    }

    ShowOptions const& options;
    Password const* password;
    std::string file;
    Description described = Description::array();
};

int show(ShowOptions const& options) {
    std::vector<std::string_view> inputs(options.files.begin(), options.files.end());
    inputs.push_back(options.password.file);
    if (standardInputTwice(inputs))
        return exitWrongUsage;
    std::unique_ptr<Password> password;
    if (options.password.isGiven()) {
        int status = exitDone;
        password = readPassword(options.password, AskFor::existing, options.files.front(), &status);
        if (!password)
            return status;
    }
    Display display(options, password.get());
    for (std::string const& file : options.files)
        display.showFile(file);
    display.finish();
    return display.status;
}

} // namespace

Work setUpShow(CommandLine commandLine) {
    auto options = std::make_shared<ShowOptions>();
    commandLine.flag("--dump", options->dump, "print the dump of the library");
    commandLine.json();
    commandLine.flag("--secrets", options->secrets, "also show the secrets of private keys");
    commandLine.flag("--partial", options->partial,
                     "exit with 0 even if a part of a PKCS#12 file cannot be read");
    addPasswordOptions(commandLine, options->password, "of encrypted private keys and PKCS#12 files");
    commandLine.texts("FILE", options->files, "PEM (any number of blocks) or DER; - is standard input")
        .required();
    commandLine.footer(
        "Shows certificates, chains, CRLs, certificate requests, public and private keys (also\n"
        "encrypted keys and those of ML-KEM-768), PKCS#12 files, signed and enveloped messages\n"
        "(PKCS#7, CMS), and time-stamp requests and responses. The dump of a private key needs\n"
        "--secrets; enveloped messages and ML-KEM keys cannot be dumped. A certificate, CRL or\n"
        "request that the library refuses is shown after the reason, and the exit status is 2.\n"
        "For anything else, \"sealkit asn1\" shows every element.\n\n"
        "Examples:\n"
        "  sealkit show /etc/ssl/certs/ca-certificates.crt\n"
        "  sealkit key new rsa-2048 | sealkit show -");
    return [options] { return show(*options); };
}
