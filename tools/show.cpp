#include "description.h"
#include "input.h"
#include "terminal.h"
#include "verb.h"

#include "sealkit/pem.h"

#include <nlohmann/json.hpp>

#include <cctype>
#include <functional>
#include <memory>
#include <variant>

namespace {

using terminal::printable;

struct Options {
    bool dump = false;
    bool json = false;
    std::string file;
};

using Object = std::variant<std::monostate, X509Certificate, X509Crl, X509Req, std::unique_ptr<PublicKey>>;

template <typename T>
Object parseAs(asn1::blob der) {
    T object;
    if (object.parse(der.data(), static_cast<unsigned>(der.size())))
        return object;
    return {};
}

Object parsePublicKeyAs(std::string_view text) {
    if (auto key = readPublicKey(text))
        return key;
    return {};
}

/// The object of one PEM block.
Object readBlock(std::string_view label, std::string_view body, std::string_view block) {
    if (label.ends_with("PUBLIC KEY"))
        return parsePublicKeyAs(block);
    std::vector<unsigned char> der;
    if (!pemDecode(body, &der))
        return {};
    if (label == "CERTIFICATE")
        return parseAs<X509Certificate>(der);
    if (label == "X509 CRL")
        return parseAs<X509Crl>(der);
    if (label == "CERTIFICATE REQUEST" || label == "NEW CERTIFICATE REQUEST") // RFC 7468, section 7
        return parseAs<X509Req>(der);
    return {};
}

Object readDer(std::string_view der) {
    for (auto read : {parseAs<X509Certificate>, parseAs<X509Crl>, parseAs<X509Req>})
        if (Object object = read(der); object.index() != 0)
            return object;
    return parsePublicKeyAs(der);
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

void dump(Object object) {
    std::visit(
        [](auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::unique_ptr<PublicKey>>) {
                value->dump(terminal::out());
            } else if constexpr (!std::is_same_v<T, std::monostate>) {
                makePrintable(value);
                value.dump(terminal::out());
            }
        },
        object);
}

Description describeObject(Object const& object) {
    return std::visit(
        [](auto const& value) -> Description {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::monostate>) {
                return {};
            } else if constexpr (std::is_same_v<T, std::unique_ptr<PublicKey>>) {
                Description result{{"object", "public key"}};
                result.update(describe(*value));
                return result;
            } else {
                return describe(value);
            }
        },
        object);
}

/// "notBefore" as "not before".
std::string inWords(std::string const& key) {
    if (key.find('.') != std::string::npos)
        return key;
    std::string words;
    for (char c : key) {
        if (std::isupper(static_cast<unsigned char>(c)))
            words += ' ';
        words += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return words;
}

std::string scalarText(Description const& value) {
    if (value.is_boolean())
        return value.get<bool>() ? "yes" : "no";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

/// In characters: what is longer goes on lines of its own.
constexpr size_t longestList = 100;

void printMembers(Description const& object, std::string const& indent);

void printValue(Description const& value, std::string const& indent) {
    std::ostream& out = terminal::out();
    if (value.is_object()) {
        out << '\n';
        printMembers(value, indent + "  ");
    } else if (value.is_array() && value.empty()) {
        out << " (none)\n";
    } else if (value.is_array()) {
        size_t length = 0;
        for (auto const& item : value)
            length += scalarText(item).size();
        bool const oneLine = value.size() == 1 || length <= longestList;
        std::string const separator = oneLine ? ", " : "\n" + indent + "  ";
        out << (oneLine ? " " : separator.c_str());
        for (size_t i = 0; i < value.size(); ++i)
            out << (i > 0 ? separator.c_str() : "") << scalarText(value[i]);
        out << '\n';
    } else {
        out << ' ' << scalarText(value) << '\n';
    }
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
            printValue(value, indent);
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

int show(Options const& options) {
    auto const text = readInput(options.file);
    if (!text)
        return exitBadInput;
    auto complain = [&](std::string const& what) {
        terminal::err() << "sealkit: " << printable(options.file) << ": " << what << std::endl;
        return exitBadInput;
    };

    int status = exitDone;
    auto described = Description::array();
    auto present = [&](Object object) {
        if (options.dump)
            dump(std::move(object));
        else if (options.json)
            described.push_back(describeObject(object));
        else
            print(describeObject(object));
    };

    std::string_view rest = *text, label, body;
    size_t blocks = 0;
    for (std::string_view before = rest; parsePem(rest, &label, &body); before = rest) {
        ++blocks;
        Object object = readBlock(label, body, before.substr(0, before.size() - rest.size()));
        if (object.index() == 0)
            status = complain("block " + std::to_string(blocks) + ", \"" + printable(label) +
                              "\", is malformed or of a kind that is not shown");
        else
            present(std::move(object));
    }
    if (blocks == 0) {
        Object object = readDer(*text);
        if (object.index() == 0)
            return complain(
                "neither PEM nor the DER of a certificate, revocation list, request or public key");
        present(std::move(object));
    }
    if (options.json)
        terminal::out() << described.dump(2, ' ', true) << std::endl;
    return status;
}

} // namespace

Work setUpShow(CommandLine commandLine) {
    auto options = std::make_shared<Options>();
    commandLine.flag("--dump", options->dump, "print the library's own dump");
    commandLine.flag("--json", options->json, "print JSON: an array with one object for each one found");
    commandLine.text("FILE", options->file, "PEM (any number of blocks) or DER; - is standard input")
        .required();
    commandLine.footer(
        "Knows certificates, chains, revocation lists, certificate requests and public keys.\n\n"
        "Example: sealkit show /etc/ssl/certs/ca-certificates.crt");
    return [options] { return show(*options); };
}
