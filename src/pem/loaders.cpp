#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"

#include "base/secret_bytes.h"
#include "kp/file.h"

#include <iostream>
#include <limits>

namespace {

/// Null when the bytes are not a `T`, or more than its parser takes.
template <typename T>
std::unique_ptr<T> parseDer(asn1::blob der) {
    if (der.size() > std::numeric_limits<unsigned>::max())
        return nullptr;
    auto object = std::make_unique<T>();
    if (!object->parse(der.data(), static_cast<unsigned>(der.size())))
        return nullptr;
    return object;
}

template <typename T>
std::unique_ptr<T> parseBody(std::string_view body) {
    std::vector<unsigned char> der;
    return pemDecode(body, &der) ? parseDer<T>(der) : nullptr;
}

/// The object of the first block, which must have the label, or of the whole text as DER.
template <typename T>
std::unique_ptr<T> readFirst(std::string_view text, std::string_view wantedLabel) {
    std::string_view rest = text;
    std::string_view label, body;
    if (!parsePem(rest, &label, &body))
        return parseDer<T>(text);
    return label == wantedLabel ? parseBody<T>(body) : nullptr;
}

/// The key of a class in its own DER.
template <typename K>
std::unique_ptr<K> parseBareKey(asn1::blob der) {
    auto key = std::make_unique<K>();
    if (!key->parseFromDerEncoded({}, der))
        return nullptr;
    return key;
}

/// The key of a block, or null. The DER is wiped.
std::unique_ptr<PrivateKey> parseOneAssimetricKeyBody(std::string_view body) {
    detail::SecretBytes der;
    return pemDecode(body, &der.value) ? parseOneAssimetricKey(der) : nullptr;
}

/// The key of a block that holds a class's own DER, encrypted if it says so, or null.
template <typename K>
std::unique_ptr<PrivateKey> readBareKey(std::string_view body, std::string const& password) {
    detail::SecretBytes der;
    bool const isRead =
        body.starts_with("Proc-Type:") ? pemDecrypt(body, &der.value, password) : pemDecode(body, &der.value);
    return isRead ? parseBareKey<K>(der) : nullptr;
}

/// The contents of a file. They are wiped, whatever is read: a certificate's key may stand beside it.
class FileText {
public:
    explicit FileText(std::string const& path) : text(kp::readFile(path, -1, 0)) {}
    ~FileText() { detail::wipe(text); }
    FileText(FileText const&) = delete;
    FileText& operator=(FileText const&) = delete;

    operator std::string_view() const { return text; }

private:
    std::string text;
};

} // namespace

std::unique_ptr<X509Certificate> readCertFromStr(std::string_view text) {
    return readFirst<X509Certificate>(text, "CERTIFICATE");
}

std::unique_ptr<X509Certificate> readCertFromFile(std::string const& path) {
    return readCertFromStr(FileText(path));
}

std::vector<std::shared_ptr<X509Certificate>> readCertChain(std::string_view text) {
    std::vector<std::shared_ptr<X509Certificate>> chain;
    std::string_view rest = text;
    std::string_view label, body;
    bool anyBlock = false;
    while (parsePem(rest, &label, &body)) {
        anyBlock = true;
        std::cout << "LABEL: " << label << std::endl;
        if (label != "CERTIFICATE")
            continue;
        chain.push_back(parseBody<X509Certificate>(body));
        if (chain.back() == nullptr)
            return {};
    }
    if (!anyBlock)
        if (std::shared_ptr<X509Certificate> certificate = parseDer<X509Certificate>(text))
            chain.push_back(std::move(certificate));
    return chain;
}

std::vector<std::shared_ptr<X509Certificate>> readCertChainFromFile(std::string const& path) {
    return readCertChain(FileText(path));
}

std::unique_ptr<X509Crl> readCrl(std::string_view text) { return readFirst<X509Crl>(text, "X509 CRL"); }

std::unique_ptr<X509Crl> readCrlFromFile(std::string const& path) { return readCrl(FileText(path)); }

std::unique_ptr<X509Req> readReq(std::string_view text) {
    return readFirst<X509Req>(text, "CERTIFICATE REQUEST");
}

std::unique_ptr<X509Req> readReqFromFile(std::string const& path) { return readReq(FileText(path)); }

std::unique_ptr<PublicKey> readPublicKey(std::string_view text) {
    std::string_view rest = text;
    std::string_view label, body;
    if (!parsePem(rest, &label, &body))
        return parsePkcs8PublicKey(text);
    // The label first: the bytes of a private key are not decoded where nobody wipes them.
    std::vector<unsigned char> der;
    auto const decode = [&] { return pemDecode(body, &der); };
    if (label == "PUBLIC KEY")
        return decode() ? parsePkcs8PublicKey(der) : nullptr;
    if (label == "RSA PUBLIC KEY")
        return decode() ? parseBareKey<RsaPublicKey>(der) : nullptr;
    if (label == "EC PUBLIC KEY")
        return decode() ? parseBareKey<EcPublicKey>(der) : nullptr;
    return nullptr;
}

std::unique_ptr<PublicKey> readPublicKeyFromFile(std::string const& path) {
    return readPublicKey(FileText(path));
}

std::unique_ptr<PrivateKey> readOneAssimetricKey(std::string_view text) {
    std::string_view label, body;
    while (parsePem(text, &label, &body))
        if (label == "PRIVATE KEY")
            return parseOneAssimetricKeyBody(body);
    return nullptr;
}

std::unique_ptr<PrivateKey> readPrivateKey(std::string_view text, std::string const& password) {
    std::string_view label, body;
    while (!text.empty()) {
        if (!parsePem(text, &label, &body)) {
            std::unique_ptr<PrivateKey> key = parseOneAssimetricKey(text);
            return key != nullptr ? std::move(key) : parsePkcs8EncryptedPrivateKey(text, password);
        }
        if (label == "PRIVATE KEY")
            return parseOneAssimetricKeyBody(body);
        if (label == "ENCRYPTED PRIVATE KEY") {
            detail::SecretBytes der; // The label may be wrong.
            return pemDecode(body, &der.value) ? parsePkcs8EncryptedPrivateKey(der, password) : nullptr;
        }
        if (label == "RSA PRIVATE KEY")
            return readBareKey<RsaPrivateKey>(body, password);
        if (label == "EC PRIVATE KEY")
            return readBareKey<EcPrivateKey>(body, password);
    }
    return nullptr;
}

std::unique_ptr<PrivateKey> readPrivateKeyFromFile(std::string const& path, std::string const& password) {
    return readPrivateKey(FileText(path), password);
}
