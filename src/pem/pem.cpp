#include "sealkit/pem.h"

#include "sealkit/detail/wiping_allocator.h"
#include "sealkit/pkcs8.h"

#include "base/secret_bytes.h"
#include "kp/base64.h"

#include <algorithm>

namespace {

constexpr std::string_view beginMark = "-----BEGIN ";
constexpr std::string_view endMark = "-----END ";
constexpr std::string_view dashes = "-----";
constexpr size_t lineLength = 64;
constexpr unsigned pemIterations = 2048; ///< Of PBKDF2, for the keys that are written.

/// Where the first line that starts with the mark begins, or npos.
size_t findBeginLine(std::string_view text) {
    size_t at = text.find(beginMark);
    while (at != std::string_view::npos && at != 0 && text[at - 1] != '\n')
        at = text.find(beginMark, at + 1);
    return at;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

std::string_view withoutBlanksAround(std::string_view line) {
    while (!line.empty() && isBlank(line.front()))
        line.remove_prefix(1);
    while (!line.empty() && isBlank(line.back()))
        line.remove_suffix(1);
    return line;
}

} // namespace

bool parsePem(std::string_view& input, std::string_view* label, std::string_view* body) {
    size_t const begin = findBeginLine(input);
    if (begin == std::string_view::npos)
        return false;
    size_t const labelStart = begin + beginMark.size();
    size_t const labelEnd = input.find(dashes, labelStart);
    size_t const beginLineEnd = input.find('\n', labelStart);
    if (labelEnd == std::string_view::npos || beginLineEnd == std::string_view::npos)
        return false;
    size_t const bodyStart = beginLineEnd + 1;
    size_t const bodyEnd = input.find(endMark, bodyStart);
    if (bodyEnd == std::string_view::npos)
        return false;
    *label = input.substr(labelStart, labelEnd - labelStart);
    *body = input.substr(bodyStart, bodyEnd - bodyStart);
    size_t const endLineEnd = input.find('\n', bodyEnd);
    input.remove_prefix(endLineEnd == std::string_view::npos ? input.size() : endLineEnd + 1);
    return true;
}

bool pemDecode(std::string_view body, std::vector<unsigned char>* out) {
    // The text of a private key is as secret as the key.
    std::vector<char, detail::WipingAllocator<char>> text;
    text.reserve(body.size());
    while (!body.empty()) {
        size_t const end = std::min(body.find('\n'), body.size());
        std::string_view const line = withoutBlanksAround(body.substr(0, end));
        text.insert(text.end(), line.begin(), line.end());
        body.remove_prefix(std::min(end + 1, body.size()));
    }
    out->resize(text.size() / 4 * 3);
    size_t const decoded = kp::base64Decode({text.data(), text.size()}, *out);
    if (decoded == kp::base64Failure)
        return false;
    out->resize(decoded);
    return true;
}

std::vector<unsigned char> encodePemType(std::string const& label, std::vector<unsigned char> const& der) {
    if (der.empty())
        return {};
    std::string text = kp::base64Encode(der);
    std::string const begin = "-----BEGIN " + label + "-----\n";
    std::string const end = "-----END " + label + "-----\n";
    size_t const lines = (text.size() + lineLength - 1) / lineLength;
    // Room for all of it at once: a vector that grows would leave parts of a private key behind.
    std::vector<unsigned char> pem;
    pem.reserve(begin.size() + text.size() + lines + end.size());
    pem.assign(begin.begin(), begin.end());
    for (asn1::blob rest = text; !rest.empty();) {
        asn1::blob const line = rest.pop_front(std::min(rest.size(), lineLength));
        pem.insert(pem.end(), line.begin(), line.end());
        pem.push_back('\n');
    }
    pem.insert(pem.end(), end.begin(), end.end());
    detail::wipe(text);
    return pem;
}

std::vector<unsigned char> encodePemCertificate(X509Certificate const& certificate) {
    return encodePemType("CERTIFICATE", certificate.serialize());
}

std::vector<unsigned char> encodePemCrl(X509Crl const& crl) {
    return encodePemType("X509 CRL", crl.serialize());
}

std::vector<unsigned char> encodePemPkcs8PublicKey(PublicKey const& key) {
    return encodePemType("PUBLIC KEY", encodePkcs8PublicKey(key));
}

std::vector<unsigned char> encodePemPkcs8PrivateKey(PrivateKey const& key) {
    return encodePemType("PRIVATE KEY", detail::SecretBytes(encodePkcs8PrivateKey(key)).value);
}

std::vector<unsigned char> encodePemPkcs8EncryptedPrivateKey(PrivateKey const& key,
                                                             std::string const& password) {
    return encodePemType("ENCRYPTED PRIVATE KEY",
                         encodePkcs8EncryptedPrivateKey(key, password, pemIterations));
}
