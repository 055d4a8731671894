#include "key_file.h"

#include "input.h"
#include "terminal.h"

#include "sealkit/asn1.h"
#include "sealkit/pbes2.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"

#include <algorithm>

namespace {

constexpr unsigned tagInteger = 0x02, tagOctetString = 0x04, tagOid = 0x06, tagSequence = 0x30;

struct NamedOid {
    char const* dotted;
    char const* name;
};

/// Names of what stands in encrypted keys, whether it can be read or not.
NamedOid const encryptionNames[] = {
    {"1.2.840.113549.1.5.12", "PBKDF2"},
    {"1.3.6.1.4.1.11591.4.11", "scrypt"},
    {"1.2.840.113549.1.5.13", "PBES2"},
    {"1.2.840.113549.2.7", "HMAC-SHA1"},
    {"1.2.840.113549.2.8", "HMAC-SHA224"},
    {"1.2.840.113549.2.9", "HMAC-SHA256"},
    {"1.2.840.113549.2.10", "HMAC-SHA384"},
    {"1.2.840.113549.2.11", "HMAC-SHA512"},
    {"1.3.14.3.2.7", "DES-CBC"},
    {"1.2.840.113549.3.7", "DES-EDE3-CBC"},
    {"1.2.840.113549.3.2", "RC2-CBC"},
    {"2.16.840.1.101.3.4.1.2", "AES-128-CBC"},
    {"2.16.840.1.101.3.4.1.22", "AES-192-CBC"},
    {"2.16.840.1.101.3.4.1.42", "AES-256-CBC"},
    {"1.2.840.113549.1.5.3", "PBE-MD5-DES"},
    {"1.2.840.113549.1.5.10", "PBE-SHA1-DES"},
    {"1.2.840.113549.1.12.1.1", "PBE-SHA1-RC4"},
    {"1.2.840.113549.1.12.1.3", "PBE-SHA1-3DES"},
    {"1.2.840.113549.1.12.1.6", "PBE-SHA1-RC2"},
};

/// Key algorithms that people have and the library does not.
NamedOid const otherKeyNames[] = {
    {"1.2.840.113549.1.1.10", "RSA-PSS"},
    {"1.2.840.10040.4.1", "DSA"},
    {"1.2.840.113549.1.3.1", "DH"},
    {"1.3.101.111", "X448"},
    {"1.3.101.113", "Ed448"},
};

template <size_t N>
std::string nameOf(NamedOid const (&names)[N], asn1::blob oid) {
    std::string const dotted = oidStr(oid);
    auto const row = std::ranges::find(names, dotted, &NamedOid::dotted);
    return row == std::end(names) ? dotted : row->name;
}

/// The DER of a block, or DER itself; wiped at its end.
class WipedDer {
public:
    explicit WipedDer(std::string_view text) : view(text) {
        std::string_view label, body;
        if (!parsePem(text, &label, &body))
            return;
        if (!pemDecode(body, &decoded))
            decoded.clear();
        view = decoded;
    }
    ~WipedDer() { secureMemset(decoded.data(), 0, decoded.size()); }
    WipedDer(WipedDer const&) = delete;
    WipedDer& operator=(WipedDer const&) = delete;

    operator asn1::blob() const { return view; }

private:
    std::vector<unsigned char> decoded;
    asn1::blob view;
};

/// The fields of an EncryptedPrivateKeyInfo (RFC 5958, section 3).
struct EncryptedInfo {
    asn1::blob algorithm; ///< The content of the AlgorithmIdentifier.
    asn1::blob data;
};

std::optional<EncryptedInfo> parseEncryptedInfo(asn1::blob der) {
    asn1::parser fields(der);
    if (!fields.enter(tagSequence) || fields.tag != tagSequence)
        return std::nullopt;
    EncryptedInfo info;
    info.algorithm = fields.take();
    if (fields.tag != tagOctetString)
        return std::nullopt;
    info.data = fields.take();
    return fields.tag == asn1::parser::endTag ? std::optional(info) : std::nullopt;
}

/// The algorithm of PBES2's key derivation.
asn1::blob derivationOf(asn1::blob pbes2Params) {
    asn1::parser fields(pbes2Params);
    if (!fields.enter(tagSequence) || !fields.enter(tagSequence) || fields.tag != tagOid)
        return {};
    return fields.take();
}

KeyEncryption describeEncryption(EncryptedInfo const& info) {
    KeyEncryption found;
    AlgorithmIdentifier algorithm;
    if (!parse(algorithm, info.algorithm)) {
        found.problem = "what says how it is encrypted is malformed";
        return found;
    }
    found.scheme = nameOf(encryptionNames, algorithm.oid);
    if (found.scheme != "PBES2")
        return found; // The library says that it does not know it.
    PBES2Params params;
    if (!parse(params, algorithm.params)) {
        found.keyDerivation = nameOf(encryptionNames, derivationOf(algorithm.params));
        found.problem = found.keyDerivation == "PBKDF2" || found.keyDerivation == "()"
                            ? "what says how it is encrypted is malformed, or asks for more than 10 million "
                              "iterations"
                            : "its key derivation " + found.keyDerivation + " is not supported";
        return found;
    }
    std::string const function = params.prf.empty() ? "HMAC-SHA1" : nameOf(encryptionNames, params.prf);
    found.cipher = nameOf(encryptionNames, params.cipher);
    found.keyDerivation = "PBKDF2 with " + function;
    found.iterations = params.iterations;
    size_t const block = found.cipher.starts_with("AES") ? 16 : found.cipher.starts_with("DES") ? 8 : 0;
    if (block != 0 && (params.iv.size() != block || info.data.empty() || info.data.size() % block != 0))
        found.problem = "the encrypted bytes or their IV are of no length that " + found.cipher + " gives";
    return found;
}

/// The value of a header of a PEM body (RFC 1421, section 4.6), up to a comma.
std::string headerOf(std::string_view body, std::string_view name) {
    size_t const at = body.find(name);
    if (at == std::string_view::npos)
        return "";
    std::string_view const value = body.substr(at + name.size());
    return std::string(value.substr(0, value.find_first_of(",\r\n")));
}

/// The algorithm of a OneAsymmetricKey (RFC 5958, section 2); empty when it is none.
asn1::blob keyAlgorithmOf(asn1::blob der) {
    asn1::parser fields(der);
    if (!fields.enter(tagSequence) || fields.tag != tagInteger)
        return {};
    fields.take();
    return fields.enter(tagSequence) && fields.tag == tagOid ? fields.take() : asn1::blob();
}

/// Why there is no key in `der`, which is not encrypted.
std::string whyNoKey(asn1::blob der) {
    asn1::blob const algorithm = keyAlgorithmOf(der);
    if (algorithm.empty())
        return "no key that can be read";
    if (isKeyAlgorithm(algorithm))
        return "a malformed private key";
    return "a private key for " + nameOf(otherKeyNames, algorithm) + ", which is not supported";
}

/// What is wrong where the password is right, which decryption to a key's shape tells; empty otherwise.
std::string whyNoKeyWithin(EncryptedInfo const& info, std::string const& password) {
    AlgorithmIdentifier algorithm;
    std::vector<unsigned char> plain;
    std::string why;
    if (parse(algorithm, info.algorithm) && pbes2_crypt(algorithm, password, info.data, plain, false) &&
        !keyAlgorithmOf(plain).empty())
        why = "opens with this password, but holds " + whyNoKey(plain);
    secureMemset(plain.data(), 0, plain.size());
    return why;
}

/// The DER of PKCS#1 or RFC 5915 without PEM, as "-outform DER -traditional" writes it.
std::unique_ptr<PrivateKey> parseTraditional(asn1::blob der) {
    auto rsa = std::make_unique<RsaPrivateKey>();
    if (rsa->parseFromDerEncoded({}, der))
        return rsa;
    auto ec = std::make_unique<EcPrivateKey>();
    if (ec->parseFromDerEncoded({}, der))
        return ec;
    return nullptr;
}

template <typename T>
std::unique_ptr<PublicKey> keyWithin(asn1::blob der) {
    T object;
    return object.parse(der.data(), static_cast<unsigned>(der.size())) ? object.parsePublicKey() : nullptr;
}

/// The labels of the blocks that are there, for a complaint.
std::string listLabels(std::string_view text) {
    std::string list;
    unsigned count = 0;
    while (auto const block = takeBlock(text))
        if (++count <= 3)
            list += (list.empty() ? "\"" : ", \"") + std::string(block->label) + "\"";
    return list + (count > 3 ? ", ..." : "");
}

/// The first block that `wanted` says yes to; the whole text when there are no blocks.
template <typename Wanted>
std::optional<PemBlock> findBlock(std::string_view text, Wanted wanted) {
    std::string_view rest = text;
    bool any = false;
    while (auto const block = takeBlock(rest)) {
        any = true;
        if (wanted(block->label))
            return block;
    }
    return any ? std::nullopt : std::optional(PemBlock{{}, {}, text});
}

std::string whyNothingFound(std::string const& path, std::string_view text, char const* wanted) {
    std::string const labels = listLabels(text);
    if (labels.find("OPENSSH PRIVATE KEY") != std::string::npos)
        return path +
               ": a key in OpenSSH's own form; ssh-keygen -p -m PKCS8 -f FILE turns it into one for others";
    return path + ": holds no " + wanted + " that can be read, only " + labels;
}

/// The private key of a block or DER of the file `path`.
std::unique_ptr<PrivateKey> openAsking(std::string_view text, std::string const& path,
                                       PasswordSource const& source, int* status) {
    std::string const name = path == "-" ? "the key on standard input" : path;
    auto const encryption = findEncryption(text);
    OpenedKey opened;
    if (!encryption || !encryption->problem.empty() || !source.isGiven())
        opened = openPrivateKey(text, ""); // Nobody is asked for the password of what cannot be opened.
    if (encryption && encryption->problem.empty() && !opened.key && opened.status != exitBadInput) {
        auto const password = readPassword(source, AskFor::existing, name, status);
        if (!password)
            return nullptr;
        opened = openPrivateKey(text, password->text);
    }
    if (!opened.key)
        *status = opened.status == exitNo ? answerNo(path + ": " + opened.complaint)
                                          : badInput(path + ": " + opened.complaint);
    return std::move(opened.key);
}

} // namespace

std::optional<PemBlock> takeBlock(std::string_view& text) {
    std::string_view const before = text;
    PemBlock block;
    if (!parsePem(text, &block.label, &block.body))
        return std::nullopt;
    block.whole = before.substr(0, before.size() - text.size());
    return block;
}

bool isPrivateKeyLabel(std::string_view label) {
    return label == "PRIVATE KEY" || label == "ENCRYPTED PRIVATE KEY" || label == "RSA PRIVATE KEY" ||
           label == "EC PRIVATE KEY";
}

std::optional<KeyEncryption> findEncryption(std::string_view text) {
    std::string_view rest = text;
    auto const block = takeBlock(rest);
    if (block && block->body.starts_with("Proc-Type:")) {
        KeyEncryption found;
        found.scheme = "traditional PEM";
        found.cipher = headerOf(block->body, "DEK-Info: ");
        found.keyDerivation = "MD5";
        found.iterations = 1;
        return found;
    }
    if (block && block->label != "ENCRYPTED PRIVATE KEY")
        return std::nullopt;
    WipedDer const der(text);
    if (auto const info = parseEncryptedInfo(der))
        return describeEncryption(*info);
    if (!block)
        return std::nullopt;
    KeyEncryption malformed;
    malformed.problem = "the encrypted key is malformed";
    return malformed;
}

OpenedKey openPrivateKey(std::string_view text, std::string const& password) {
    auto const encryption = findEncryption(text);
    if (encryption && !encryption->problem.empty())
        return {nullptr, exitBadInput, encryption->problem};
    terminal::CaptureDiagnostics const diagnostics;
    auto key = readPrivateKey(text, password);
    std::string_view label, body, rest = text;
    bool const isPem = parsePem(rest, &label, &body);
    if (!key && !isPem && !encryption)
        key = parseTraditional(text);
    if (key)
        return {std::move(key), exitDone, ""};
    if (std::string const said = diagnostics.text(); !said.empty())
        return {nullptr, exitBadInput, said};
    WipedDer const der(text);
    if (!encryption)
        return {nullptr, exitBadInput, whyNoKey(der)};
    if (auto const info = parseEncryptedInfo(der))
        if (std::string const why = whyNoKeyWithin(*info, password); !why.empty())
            return {nullptr, exitBadInput, why};
    return {nullptr, exitNo, "the password is wrong"};
}

std::unique_ptr<PublicKey> openPublicKey(std::string_view text) {
    terminal::CaptureDiagnostics const diagnostics;
    if (auto key = readPublicKey(text))
        return key;
    std::string_view rest = text;
    auto const block = takeBlock(rest);
    WipedDer const der(text);
    if (!block || block->label == "CERTIFICATE")
        if (auto key = keyWithin<X509Certificate>(der))
            return key;
    if (!block || block->label.ends_with("CERTIFICATE REQUEST"))
        if (auto key = keyWithin<X509Req>(der))
            return key;
    if (!block)
        if (auto key = std::make_unique<RsaPublicKey>(); key->parseFromDerEncoded({}, der))
            return key;
    return nullptr;
}

std::unique_ptr<PrivateKey> readPrivateKeyOf(std::string const& path, PasswordSource const& password,
                                             int* status) {
    *status = exitBadInput;
    auto const text = readSecretInput(path);
    if (!text)
        return nullptr;
    auto const block = findBlock(textOf(*text), isPrivateKeyLabel);
    if (block)
        return openAsking(block->whole, path, password, status);
    *status = badInput(whyNothingFound(path, textOf(*text), "private key"));
    return nullptr;
}

std::unique_ptr<PublicKey> readPublicKeyOf(std::string const& path, PasswordSource const& password,
                                           int* status) {
    *status = exitBadInput;
    auto const text = readSecretInput(path);
    if (!text)
        return nullptr;
    auto const holdsKey = [](std::string_view label) {
        return isPrivateKeyLabel(label) || label.ends_with("PUBLIC KEY") || label == "CERTIFICATE" ||
               label.ends_with("CERTIFICATE REQUEST");
    };
    auto const block = findBlock(textOf(*text), holdsKey);
    if (!block) {
        *status = badInput(whyNothingFound(path, textOf(*text), "key"));
        return nullptr;
    }
    if (!isPrivateKeyLabel(block->label)) {
        if (auto key = openPublicKey(block->whole))
            return key;
        if (!block->label.empty()) {
            *status = badInput(path + ": the key of \"" + std::string(block->label) +
                               "\" is malformed or of an algorithm that is not supported");
            return nullptr;
        }
    }
    auto const key = openAsking(block->whole, path, password, status);
    return key ? key->publicKey() : nullptr;
}

bool standardInputTwice(std::initializer_list<std::string_view> names) {
    if (std::ranges::count(names, "-") < 2)
        return false;
    wrongUsage("only one thing can be read from standard input");
    return true;
}
