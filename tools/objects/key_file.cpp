#include "objects/key_file.h"

#include "io/input.h"
#include "io/terminal.h"

#include "sealkit/asn1.h"
#include "sealkit/pbes2.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs12.h"
#include "sealkit/pkcs8.h"

#include <algorithm>
#include <cctype>

namespace {

constexpr unsigned tagInteger = 0x02, tagBitString = 0x03, tagOctetString = 0x04, tagOid = 0x06,
                   tagSequence = 0x30, tagEcParameters = 0xA0;

struct NamedOid {
    char const* dotted;
    char const* name;
};

/// Names of what stands in encrypted keys, whether it can be read or not.
NamedOid const encryptionNames[] = {
    {"1.2.840.113549.1.5.12", "PBKDF2"},
    {"1.3.6.1.4.1.11591.4.11", "scrypt"},
    {"1.2.840.113549.1.5.13", "PBES2"},
    {"1.2.840.113549.2.6", "HMAC-MD5"},
    {"1.2.840.113549.2.7", "HMAC-SHA1"},
    {"1.2.840.113549.2.8", "HMAC-SHA224"},
    {"1.2.840.113549.2.9", "HMAC-SHA256"},
    {"1.2.840.113549.2.10", "HMAC-SHA384"},
    {"1.2.840.113549.2.11", "HMAC-SHA512"},
    {"1.2.840.113549.2.12", "HMAC-SHA512-224"},
    {"1.2.840.113549.2.13", "HMAC-SHA512-256"},
    {"1.3.14.3.2.7", "DES-CBC"},
    {"1.2.840.113549.3.7", "DES-EDE3-CBC"},
    {"1.2.840.113549.3.2", "RC2-CBC"},
    {"1.2.840.113549.3.4", "RC4"},
    {"1.2.840.113549.3.9", "RC5-CBC"},
    {"1.2.840.113533.7.66.10", "CAST5-CBC"},
    {"1.3.6.1.4.1.3029.1.2", "Blowfish-CBC"},
    {"1.2.392.200011.61.1.1.1.2", "Camellia-128-CBC"},
    {"1.2.392.200011.61.1.1.1.3", "Camellia-192-CBC"},
    {"1.2.392.200011.61.1.1.1.4", "Camellia-256-CBC"},
    {"1.2.410.200046.1.1.2", "ARIA-128-CBC"},
    {"1.2.410.200046.1.1.7", "ARIA-192-CBC"},
    {"1.2.410.200046.1.1.12", "ARIA-256-CBC"},
    {"1.2.410.200004.1.4", "SEED-CBC"},
    {"1.2.156.10197.1.104.2", "SM4-CBC"},
    {"2.16.840.1.101.3.4.1.2", "AES-128-CBC"},
    {"2.16.840.1.101.3.4.1.22", "AES-192-CBC"},
    {"2.16.840.1.101.3.4.1.42", "AES-256-CBC"},
    {"2.16.840.1.101.3.4.1.6", "AES-128-GCM"},
    {"2.16.840.1.101.3.4.1.26", "AES-192-GCM"},
    {"2.16.840.1.101.3.4.1.46", "AES-256-GCM"},
    {"1.2.840.113549.1.5.1", "PBE-MD2-DES"},
    {"1.2.840.113549.1.5.3", "PBE-MD5-DES"},
    {"1.2.840.113549.1.5.4", "PBE-MD2-RC2"},
    {"1.2.840.113549.1.5.6", "PBE-MD5-RC2"},
    {"1.2.840.113549.1.5.10", "PBE-SHA1-DES"},
    {"1.2.840.113549.1.5.11", "PBE-SHA1-RC2-64"},
    {"1.2.840.113549.1.12.1.1", "PBE-SHA1-RC4"},
    {"1.2.840.113549.1.12.1.2", "PBE-SHA1-RC4-40"},
    {"1.2.840.113549.1.12.1.3", "PBE-SHA1-3DES"},
    {"1.2.840.113549.1.12.1.4", "PBE-SHA1-2DES"},
    {"1.2.840.113549.1.12.1.5", "PBE-SHA1-RC2-128"},
    {"1.2.840.113549.1.12.1.6", "PBE-SHA1-RC2-40"},
};

/// Key algorithms that people have and the library does not.
NamedOid const otherKeyNames[] = {
    {"1.2.840.113549.1.1.10", "RSA-PSS"},
    {"1.2.840.10040.4.1", "DSA"},
    {"1.2.840.113549.1.3.1", "DH"},
    {"1.3.101.111", "X448"},
    {"1.3.101.113", "Ed448"},
    {"2.16.840.1.101.3.4.4.1", "ML-KEM-512"},
    {"2.16.840.1.101.3.4.4.2", "ML-KEM-768"},
    {"2.16.840.1.101.3.4.4.3", "ML-KEM-1024"},
};

/// Curves that people have and the library does not.
NamedOid const otherCurveNames[] = {
    {"1.3.132.0.10", "secp256k1"},
    {"1.3.132.0.1", "sect163k1"},
    {"1.3.132.0.26", "sect233k1"},
    {"1.3.132.0.27", "sect233r1"},
    {"1.3.132.0.16", "sect283k1"},
    {"1.3.132.0.17", "sect283r1"},
    {"1.3.36.3.3.2.8.1.1.7", "brainpoolP256r1"},
    {"1.3.36.3.3.2.8.1.1.11", "brainpoolP384r1"},
    {"1.3.36.3.3.2.8.1.1.13", "brainpoolP512r1"},
    {"1.2.156.10197.1.301", "SM2"},
};

template <size_t N>
std::string nameOf(NamedOid const (&names)[N], std::string const& dotted) {
    auto const row = std::ranges::find(names, dotted, &NamedOid::dotted);
    return row == std::end(names) ? dotted : row->name;
}

template <size_t N>
std::string nameOf(NamedOid const (&names)[N], asn1::blob oid) {
    return nameOf(names, oidStr(oid));
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

/// The names of what PBES2Params (RFC 8018, appendix A.4) ask for; "()" for what is not there.
struct Pbes2Names {
    std::string keyDerivation = "()";
    std::string cipher = "()";
};

Pbes2Names namesWithin(asn1::blob pbes2Params) {
    Pbes2Names names;
    asn1::parser fields(pbes2Params);
    if (!fields.enter(tagSequence))
        return names;
    for (std::string* name : {&names.keyDerivation, &names.cipher}) {
        if (fields.tag != tagSequence)
            return names;
        asn1::parser algorithm(fields.take());
        if (algorithm.tag == tagOid)
            *name = nameOf(encryptionNames, algorithm.take());
    }
    return names;
}

/// The bytes of a block of a cipher that the library reads keys with; 0 for others.
size_t blockOf(std::string_view cipher) {
    if (cipher == "DES-EDE3-CBC")
        return 8;
    return cipher == "AES-128-CBC" || cipher == "AES-192-CBC" || cipher == "AES-256-CBC" ? 16 : 0;
}

/// Why parameters of PBES2 could not be parsed.
std::string whyNotParsed(Pbes2Names const& names) {
    if (names.keyDerivation != "()" && names.keyDerivation != "PBKDF2")
        return "its key derivation " + names.keyDerivation + " is not supported";
    if (names.cipher != "()" && blockOf(names.cipher) == 0)
        return "its cipher " + names.cipher + " is not supported";
    return "what says how it is encrypted is malformed, or asks for more than 10 million iterations";
}

std::string wrongLengths(std::string const& cipher) {
    return "the encrypted bytes or their IV are of no length that " + cipher + " gives";
}

KeyEncryption describeEncryption(AlgorithmIdentifier const& algorithm) {
    KeyEncryption found;
    found.scheme = nameOf(encryptionNames, algorithm.oid);
    if (found.scheme != "PBES2")
        return found; // The library says that it does not know it.
    PBES2Params params;
    if (!parse(params, algorithm.params)) {
        Pbes2Names const names = namesWithin(algorithm.params);
        found.problem = whyNotParsed(names);
        found.keyDerivation = names.keyDerivation;
        return found;
    }
    std::string const function = params.prf.empty() ? "HMAC-SHA1" : nameOf(encryptionNames, params.prf);
    found.cipher = nameOf(encryptionNames, params.cipher);
    found.keyDerivation = "PBKDF2 with " + function;
    found.iterations = params.iterations;
    size_t const block = blockOf(found.cipher);
    if (block != 0 && params.iv.size() != block)
        found.problem = wrongLengths(found.cipher);
    return found;
}

KeyEncryption describeEncryption(EncryptedInfo const& info) {
    KeyEncryption found;
    AlgorithmIdentifier algorithm;
    if (!parse(algorithm, info.algorithm)) {
        found.problem = "what says how it is encrypted is malformed";
        return found;
    }
    found = describeEncryption(algorithm);
    size_t const block = blockOf(found.cipher);
    if (found.problem.empty() && block != 0 && (info.data.empty() || info.data.size() % block != 0))
        found.problem = wrongLengths(found.cipher);
    return found;
}

constexpr std::string_view blanks = " \t\r";

/// Takes the text up to one of `ends` off, without blanks before it.
std::string_view takeField(std::string_view& text, std::string_view ends) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    std::string_view const field = text.substr(0, text.find_first_of(ends));
    text.remove_prefix(std::min(field.size() + 1, text.size()));
    return field;
}

/// Of the body of a traditional PEM block: its header "DEK-Info: NAME,IV" (RFC 1421, section 4.6.1.3).
KeyEncryption describeTraditional(std::string_view body) {
    constexpr std::string_view dekInfo = "DEK-Info:";
    KeyEncryption found;
    found.scheme = "traditional PEM";
    found.keyDerivation = "MD5";
    found.iterations = 1;
    size_t const at = body.find(dekInfo);
    std::string_view line = at == std::string_view::npos ? "" : body.substr(at + dekInfo.size());
    line = line.substr(0, line.find('\n'));
    found.cipher = takeField(line, ",");
    std::string_view const iv = takeField(line, blanks);
    size_t const block = blockOf(found.cipher);
    auto const isDigit = [](unsigned char c) { return std::isxdigit(c) != 0; };
    if (found.cipher.empty())
        found.problem = "what says how it is encrypted is missing";
    else if (block != 0 && (iv.size() != 2 * block || !std::ranges::all_of(iv, isDigit)))
        found.problem = "the IV of its encryption is malformed";
    return found;
}

/// The algorithm of a OneAsymmetricKey (RFC 5958, section 2); empty when it is none.
asn1::blob keyAlgorithmOf(asn1::blob der) {
    asn1::parser fields(der);
    if (!fields.enter(tagSequence) || fields.tag != tagInteger)
        return {};
    fields.take();
    return fields.enter(tagSequence) && fields.tag == tagOid ? fields.take() : asn1::blob();
}

/// The algorithm of a SubjectPublicKeyInfo (RFC 5280, section 4.1); empty when it is none.
asn1::blob publicKeyAlgorithmOf(asn1::blob der) {
    asn1::parser fields(der);
    if (!fields.enter(tagSequence) || fields.tag != tagSequence)
        return {};
    asn1::parser algorithm(fields.take());
    return fields.tag == tagBitString && algorithm.tag == tagOid ? algorithm.take() : asn1::blob();
}

/// The name of the curve of an EC key: what follows the algorithm of a OneAsymmetricKey or
/// SubjectPublicKeyInfo, or stands in an ECPrivateKey (RFC 5915, section 3). Empty when there is none.
std::string curveNameOf(asn1::blob der) {
    asn1::parser fields(der);
    if (!fields.enter(tagSequence))
        return "";
    if (fields.tag == tagInteger)
        fields.take();
    if (fields.tag == tagOctetString) {
        fields.take();
        if (!fields.enter(tagEcParameters))
            return "";
    } else if (fields.enter(tagSequence) && fields.tag == tagOid) {
        fields.take();
    }
    return fields.tag == tagOid ? nameOf(otherCurveNames, fields.take()) : "";
}

/// What the library said of the key `der`, with the names of what it tells by numbers or not at all.
std::string withNames(std::string said, asn1::blob der) {
    if (said.find("unknown ec id") != std::string::npos)
        if (std::string const curve = curveNameOf(der); !curve.empty())
            return said + ": the curve " + curve + " is not supported";
    return withEncryptionName(said);
}

/// What is said of a key for an algorithm that has no class.
std::string otherKey(char const* kind, asn1::blob algorithm) {
    std::string const name = nameOf(otherKeyNames, algorithm);
    return kind + name + (name == "ML-KEM-768" ? ", which is for the verb kem" : ", which is not supported");
}

/// Why there is no key in `der`, which is not encrypted.
std::string whyNoKey(asn1::blob der) {
    if (asn1::blob const algorithm = publicKeyAlgorithmOf(der);
        !algorithm.empty() && !isKeyAlgorithm(algorithm))
        return otherKey("a public key for ", algorithm);
    asn1::blob const algorithm = keyAlgorithmOf(der);
    if (algorithm.empty())
        return noKeyThere;
    if (isKeyAlgorithm(algorithm))
        return "a malformed private key";
    return otherKey("a private key for ", algorithm);
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
bool parseWhole(T& object, asn1::blob der) {
    return object.parse(der.data(), static_cast<unsigned>(der.size()));
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
    if (std::string const form = sshForm(text); !form.empty())
        return path + ": " + form;
    return path + ": holds no " + wanted + " that can be read, only " + listLabels(text);
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
    if (block && block->body.starts_with("Proc-Type:"))
        return describeTraditional(block->body);
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

KeyEncryption describePkcs12Encryption(AlgorithmIdentifier const& algorithm) {
    KeyEncryption found = describeEncryption(algorithm);
    if (!found.problem.empty())
        return found;
    PBEParams params;
    if (found.scheme == "PBES2") {
        constexpr std::string_view functions[] = {"PBKDF2 with HMAC-SHA1", "PBKDF2 with HMAC-SHA256"};
        if (std::ranges::count(functions, found.keyDerivation) == 0)
            found.problem = "its key derivation " + found.keyDerivation + " is not supported";
        else if (blockOf(found.cipher) == 0)
            found.problem = "its cipher " + found.cipher + " is not supported";
    } else if (found.scheme != "PBE-SHA1-3DES") {
        found.problem = "its encryption " + found.scheme + " is not supported";
    } else if (parse(params, algorithm.params)) {
        found.cipher = "DES-EDE3-CBC";
        found.keyDerivation = "PKCS#12 with SHA1";
        found.iterations = params.iterations;
    } else {
        found.problem =
            "what says how it is encrypted is malformed, or asks for more than 10 million iterations";
    }
    return found;
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
    WipedDer const der(text);
    if (std::string const said = diagnostics.text(); !said.empty())
        return {nullptr, exitBadInput, withNames(said, der)};
    if (!encryption)
        return {nullptr, exitBadInput, whyNoKey(der)};
    if (auto const info = parseEncryptedInfo(der))
        if (std::string const why = whyNoKeyWithin(*info, password); !why.empty())
            return {nullptr, exitBadInput, why};
    return {nullptr, exitNo, "the password is wrong"};
}

OpenedPublicKey openPublicKey(std::string_view text) {
    terminal::CaptureDiagnostics const diagnostics;
    if (auto key = readPublicKey(text))
        return {std::move(key), ""};
    std::string_view rest = text;
    auto const block = takeBlock(rest);
    WipedDer const der(text);
    asn1::blob info = der;
    X509Certificate certificate;
    X509Req request;
    if ((!block || block->label == "CERTIFICATE") && parseWhole(certificate, der)) {
        info = certificate.subjectPublicKeyInfo;
        if (auto key = certificate.parsePublicKey())
            return {std::move(key), ""};
    } else if ((!block || block->label.ends_with("CERTIFICATE REQUEST")) && parseWhole(request, der)) {
        info = request.subjectPublicKeyInfo;
        if (auto key = request.parsePublicKey())
            return {std::move(key), ""};
    }
    if (!block)
        if (auto key = std::make_unique<RsaPublicKey>(); key->parseFromDerEncoded({}, der))
            return {std::move(key), ""};
    asn1::blob const algorithm = publicKeyAlgorithmOf(info);
    if (algorithm.empty())
        return {nullptr, block ? "malformed" : noKeyThere};
    if (!isKeyAlgorithm(algorithm))
        return {nullptr, whyNoKey(info)};
    std::string const said = diagnostics.text();
    return {nullptr, said.empty() ? "a malformed public key" : withNames(said, info)};
}

std::string encryptionName(asn1::blob oid) { return nameOf(encryptionNames, oid); }

std::string withEncryptionName(std::string said) {
    size_t const begin = said.find('<'), end = said.find('>', begin);
    if (end == std::string::npos)
        return said;
    std::string const dotted = said.substr(begin + 1, end - begin - 1);
    if (std::string const name = nameOf(encryptionNames, dotted); name != dotted)
        said.insert(end + 1, " (" + name + ")");
    return said;
}

std::string listLabels(std::string_view text) {
    std::string list;
    unsigned count = 0;
    while (auto const block = takeBlock(text))
        if (++count <= 3)
            list += (list.empty() ? "\"" : ", \"") + std::string(block->label) + "\"";
    return list + (count > 3 ? ", ..." : "");
}

std::string sshForm(std::string_view text) {
    std::string_view rest = text;
    while (auto const block = takeBlock(rest))
        if (block->label == "OPENSSH PRIVATE KEY")
            return "a key in OpenSSH's own form; \"ssh-keygen -p -m PKCS8 -f COPY\" turns a copy of it into "
                   "one for others (of Ed25519 keys since OpenSSH 9.6)";
    for (std::string_view start : {"ssh-", "ecdsa-sha2-", "sk-ssh-", "sk-ecdsa-"})
        if (text.starts_with(start))
            return "a public key in OpenSSH's own form; \"ssh-keygen -e -m PKCS8 -f FILE\" writes it in one "
                   "for others (no Ed25519 keys)";
    return "";
}

std::unique_ptr<PrivateKey> readPrivateKeyOf(std::string const& path, PasswordSource const& password,
                                             int* status) {
    *status = exitBadInput;
    auto const text = readSecretInput(path);
    if (!text)
        return nullptr;
    auto const block = findBlock(textOf(*text), isPrivateKeyLabel);
    if (block && (!block->label.empty() || sshForm(textOf(*text)).empty()))
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
    if (!block || (block->label.empty() && !sshForm(textOf(*text)).empty())) {
        *status = badInput(whyNothingFound(path, textOf(*text), "key"));
        return nullptr;
    }
    if (!isPrivateKeyLabel(block->label)) {
        OpenedPublicKey opened = openPublicKey(block->whole);
        if (opened.key)
            return std::move(opened.key);
        if (!block->label.empty() || opened.complaint != noKeyThere) {
            std::string const where = block->label.empty() ? "" : "\"" + std::string(block->label) + "\": ";
            *status = badInput(path + ": " + where + opened.complaint);
            return nullptr;
        }
    }
    auto const key = openAsking(block->whole, path, password, status);
    return key ? key->publicKey() : nullptr;
}

bool standardInputTwice(std::vector<std::string_view> const& names) {
    if (std::ranges::count(names, "-") < 2)
        return false;
    wrongUsage("only one thing can be read from standard input");
    return true;
}
