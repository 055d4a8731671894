#include "sealkit/pem.h"

#include "sealkit/detail/wiping_allocator.h"
#include "sealkit/pkcs8.h"

#include "base/secret_bytes.h"
#include "kp/base64.h"
#include "pem/read.h"

#include <algorithm>

namespace {

using detail::beginMark, detail::endMark;

constexpr std::string_view dashes = "-----";
constexpr size_t lineLength = 64;
constexpr unsigned pemIterations = 2048; ///< For PBKDF2, in keys that are written.

/// The start of the first line that begins with the mark, or npos.
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

size_t countLines(std::string_view text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

bool isBase64(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

/// Refuses a body that is not base64, at its first impossible line or otherwise at its last.
bool refuseBody(detail::Reading& reading, PemBlock const& block) {
    if (!reading.wantsReason())
        return false;
    size_t number = block.line, last = number;
    for (std::string_view rest = block.body; !rest.empty();) {
        std::string_view const whole = detail::takeLine(rest), line = withoutBlanksAround(whole);
        number++;
        if (line.empty())
            continue;
        last = number;
        if (whole.starts_with(beginMark))
            return reading.refuseLine(RefusalId::pemWithoutEnd, block.number, block.line);
        auto const odd = std::find_if_not(line.begin(), line.end(), isBase64);
        bool const isPadding =
            withoutBlanksAround(rest).find_first_not_of("\r\n \t") == std::string_view::npos &&
            line.find_first_not_of('=', static_cast<size_t>(odd - line.begin())) == std::string_view::npos;
        if (odd != line.end() && !isPadding)
            break;
    }
    return reading.refuseLine(RefusalId::pemMalformedBase64, block.number, last);
}

/// Refuses the first line with an indented begin mark, which hides a block. Otherwise returns true.
bool refuseIndented(detail::Reading& reading, std::string_view text) {
    size_t number = 0;
    while (!text.empty()) {
        number++;
        if (withoutBlanksAround(detail::takeLine(text)).starts_with(beginMark))
            return reading.refuseLine(RefusalId::pemMalformedBegin, 1, number,
                                      {{"found", "blanks in front of it"}});
    }
    return true;
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

PemReader::PemReader(std::string_view pemText) : unread(pemText) {}

bool PemReader::next(PemBlock* block) {
    std::string_view const before = unread;
    if (!parsePem(unread, &block->label, &block->body))
        return false;
    size_t const begin = findBeginLine(before);
    block->whole = before.substr(begin, before.size() - unread.size() - begin);
    block->number = ++blocks;
    block->line = line + countLines(before.substr(0, begin));
    line += countLines(before.substr(0, before.size() - unread.size()));
    return true;
}

bool PemReader::finish(Refusal* refusal) const {
    detail::Reading reading(unread, refusal);
    return detail::finish(reading, *this);
}

std::string listPemLabels(std::string_view text) {
    constexpr size_t maxShown = 3;
    PemReader reader(text);
    PemBlock block;
    std::string list;
    while (reader.next(&block))
        if (block.number <= maxShown)
            list += (list.empty() ? "" : ", ") + std::string(block.label.substr(0, block.label.find('\n')));
    return list + (reader.count() > maxShown ? ", ..." : "");
}

bool detail::finish(Reading& reading, PemReader const& reader) {
    std::string_view const rest = reader.rest();
    size_t const begin = findBeginLine(rest);
    if (begin == std::string_view::npos)
        return reader.count() != 0 || refuseIndented(reading, rest);
    std::string_view const line = rest.substr(begin, rest.find('\n', begin) - begin);
    bool const isWhole = line.find(dashes, beginMark.size()) != std::string_view::npos;
    return reading.refuseLine(isWhole ? RefusalId::pemWithoutEnd : RefusalId::pemMalformedBegin,
                              reader.count() + 1, reader.lineOfRest() + countLines(rest.substr(0, begin)));
}

bool detail::decode(Reading& reading, PemBlock const& block, std::vector<unsigned char>* out) {
    // Wiped, because the text of a private key is as secret as the key.
    std::vector<char, WipingAllocator<char>> text;
    text.reserve(block.body.size());
    for (std::string_view rest = block.body; !rest.empty();) {
        std::string_view const line = withoutBlanksAround(takeLine(rest));
        text.insert(text.end(), line.begin(), line.end());
    }
    SecretBytes result;
    result.value.resize(text.size() / 4 * 3);
    size_t const decoded = kp::base64Decode({text.data(), text.size()}, result.value);
    // Decoded before `out` is wiped, because the body may be a view of its previous contents.
    bool const isDecoded = decoded != kp::base64Failure || refuseBody(reading, block);
    wipe(*out);
    out->clear();
    if (!isDecoded)
        return false;
    result.value.resize(decoded);
    out->swap(result.value);
    return true;
}

bool pemDecode(std::string_view body, std::vector<unsigned char>* out) {
    return pemDecode(body, out, nullptr);
}

bool pemDecode(std::string_view body, std::vector<unsigned char>* out, Refusal* refusal) {
    detail::Reading reading(body, refusal);
    PemBlock block;
    block.body = body;
    return detail::decode(reading, block, out);
}

std::vector<unsigned char> encodePemType(std::string const& label, std::vector<unsigned char> const& der) {
    if (der.empty())
        return {};
    std::string text = kp::base64Encode(der);
    std::string const begin = "-----BEGIN " + label + "-----\n";
    std::string const end = "-----END " + label + "-----\n";
    size_t const lines = (text.size() + lineLength - 1) / lineLength;
    // Reserved at once, because a reallocation would leave parts of a private key behind.
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

std::vector<unsigned char> encodePemReq(X509Req const& request) {
    return encodePemType("CERTIFICATE REQUEST", request.serialize());
}

std::vector<unsigned char> encodePemRsaPublicKey(RsaPublicKey const& key) {
    std::vector<unsigned char> const der = key.RsaPublicKey::encodeToDerEncoded();
    RsaPublicKey read;
    return read.parseFromDerEncoded({}, der) ? encodePemType("RSA PUBLIC KEY", der)
                                             : std::vector<unsigned char>();
}

std::vector<unsigned char> encodePemTraditionalPrivateKey(PrivateKey const& key) {
    // Only a complete and readable key is written. PKCS#8 adds a missing EC point.
    auto const whole = parseOneAssimetricKey(detail::SecretBytes(encodePkcs8PrivateKey(key)), nullptr);
    if (whole == nullptr || (whole->keyType() != KeyType::RSA && whole->keyType() != KeyType::EC))
        return {};
    return encodePemType(whole->keyType() == KeyType::RSA ? "RSA PRIVATE KEY" : "EC PRIVATE KEY",
                         detail::SecretBytes(whole->encodeToDerEncoded()).value);
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
