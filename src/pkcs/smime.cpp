#include "sealkit/smime.h"

#include "sealkit/message.h"
#include "sealkit/oid.h"
#include "sealkit/pkcs7.h"
#include "sealkit/rng.h"

#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "pkcs/mime.h"

#include <kp/base64.h>
#include <kp/text.h>

#include <algorithm>
#include <array>

namespace mime = detail::mime;
using detail::Reading;

namespace {

constexpr size_t maxLineLength = 998; // RFC 5322, section 2.1.1.

std::string_view textOf(asn1::blob bytes) {
    return {reinterpret_cast<char const*>(bytes.start), bytes.size()};
}

/// Whether a type is the registered one or its older form with "x-".
bool isType(std::string_view type, std::string_view registered) {
    constexpr std::string_view application = "application/";
    return type == registered ||
           (type.starts_with("application/x-") && registered.starts_with(application) &&
            type.substr(application.size() + 2) == registered.substr(application.size()));
}

bool isMessageType(std::string_view type) {
    return isType(type, "application/pkcs7-mime") || isType(type, "application/pkcs7-signature");
}

/// The delimiter lines of a multipart body (RFC 2046, section 5.1.1).
enum class Delimiter { none, between, last };

Delimiter delimiterOf(std::string_view line, std::string_view boundary) {
    if (!line.starts_with("--") || !line.substr(2).starts_with(boundary))
        return Delimiter::none;
    line = mime::withoutLineEnd(line.substr(2 + boundary.size()));
    Delimiter const kind = line.starts_with("--") ? Delimiter::last : Delimiter::between;
    if (kind == Delimiter::last)
        line.remove_prefix(2);
    return line.find_first_not_of(" \t") == std::string_view::npos ? kind : Delimiter::none;
}

/// The parts of a multipart body, up to the closing delimiter. Unterminated parts are ignored.
std::vector<std::string_view> splitParts(std::string_view body, std::string_view boundary, size_t maxParts) {
    std::vector<std::string_view> parts;
    char const* begin = nullptr;
    while (!body.empty() && parts.size() < maxParts) {
        std::string_view const line = mime::takeWholeLine(body);
        Delimiter const kind = delimiterOf(line, boundary);
        if (kind == Delimiter::none)
            continue;
        // The line end before a delimiter is part of it.
        if (begin != nullptr)
            parts.push_back(mime::withoutLineEnd({begin, static_cast<size_t>(line.data() - begin)}));
        if (kind == Delimiter::last)
            break;
        begin = line.data() + line.size();
    }
    return parts;
}

bool refuseType(Reading& reading, std::string_view where, std::string_view expected,
                mime::Entity const& entity) {
    return reading.refuse(RefusalId::otherMail, asn1::blob(where),
                          {{"expected", std::string(expected)},
                           {"found", entity.contentType ? entity.contentType->type : "no Content-Type"}});
}

bool readClearSigned(Reading& reading, mime::Entity const& mail, SmimeMail& to) {
    std::optional<std::string> const boundary = mail.contentType->parameter("boundary");
    if (!boundary || boundary->empty())
        return reading.refuse(RefusalId::malformedMail, asn1::blob(mail.body), {{"expected", "a boundary"}});
    std::vector<std::string_view> const parts = splitParts(mail.body, *boundary, 3);
    if (parts.size() != 2)
        return reading.refuse(
            RefusalId::malformedMail, asn1::blob(mail.body),
            {{"expected", "a content and its signature"},
             {"found", parts.size() < 2 ? std::to_string(parts.size()) + " of two parts" : "more parts"}});
    mime::Entity signature;
    if (!mime::read(reading, parts[1], &signature))
        return false;
    if (!signature.contentType || !isMessageType(signature.contentType->type))
        return refuseType(reading, parts[1], "application/pkcs7-signature", signature);
    to.isClearSigned = true;
    to.content = canonicalLineEnds(parts[0]);
    return mime::decodeBody(reading, signature, &to.message);
}

bool readMail(Reading& reading, std::string_view text, SmimeMail& to) {
    if (text.starts_with("From "))
        mime::takeWholeLine(text);
    mime::Entity mail;
    if (!mime::read(reading, text, &mail))
        return false;
    if (!mail.contentType)
        return refuseType(reading, text, "application/pkcs7-mime or multipart/signed", mail);
    to.type = str2lower(mail.contentType->parameter("smime-type").value_or(""));
    if (mail.contentType->type == "multipart/signed")
        return readClearSigned(reading, mail, to);
    if (!isMessageType(mail.contentType->type))
        return refuseType(reading, text, "application/pkcs7-mime or multipart/signed", mail);
    return mime::decodeBody(reading, mail, &to.message);
}

bool isPrintableAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= ' ' && c < 127; });
}

/// Encoded words (RFC 2047) in lines of at most 76 characters, without splitting a UTF-8 character.
std::string encodeWords(std::string_view text) {
    constexpr size_t maxBytes = 39;
    std::string words;
    while (!text.empty()) {
        size_t size = std::min(maxBytes, text.size());
        while (size > 1 && size < text.size() && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80)
            --size;
        asn1::blob const part = text.substr(0, size);
        words += (words.empty() ? "=?utf-8?B?" : "\r\n =?utf-8?B?") +
                 kp::base64Encode({part.start, part.size()}) + "?=";
        text.remove_prefix(size);
    }
    return words;
}

/// Appends a header field. Returns false if it is malformed.
bool appendHeader(std::string& mail, MailHeader const& header) {
    bool const isName = !header.name.empty() && std::ranges::all_of(header.name, [](char c) {
        return c > ' ' && c < 127 && c != ':';
    });
    if (!isName || header.value.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos)
        return false;
    // A repeated MIME header would hide the real one, which follows it.
    std::string const name = str2lower(header.name);
    if (name.starts_with("content-") || name == "mime-version")
        return false;
    bool const isAscii = isPrintableAscii(header.value);
    if (!isAscii && name != "subject")
        return false;
    if (header.name.size() + header.value.size() + 2 > maxLineLength && isAscii)
        return false;
    mail += header.name + ": " + (isAscii ? header.value : encodeWords(header.value)) + "\r\n";
    return true;
}

bool appendHeaders(Reading& reading, std::string& mail, std::span<MailHeader const> headers) {
    for (MailHeader const& header : headers)
        if (!appendHeader(mail, header))
            return reading.refuse(RefusalId::malformedHeader, nullptr, {{"header", header.name}});
    mail += "MIME-Version: 1.0\r\n";
    return true;
}

struct MailType {
    char const* type;
    char const* name;
};

/// The type of a message; null for messages that mail does not contain.
MailType const* typeOf(asn1::blob message) {
    static constexpr MailType signedData = {"signed-data", "smime.p7m"};
    static constexpr MailType certsOnly = {"certs-only", "smime.p7c"};
    static constexpr MailType envelopedData = {"enveloped-data", "smime.p7m"};
    static constexpr MailType authEnvelopedData = {"authEnveloped-data", "smime.p7m"};
    switch (getMessageKind(message)) {
    case MessageKind::signedData: {
        PKCS7SignedData read;
        return read.parse(message, nullptr) && read.signerInfos.empty() ? &certsOnly : &signedData;
    }
    case MessageKind::envelopedData:
        return getContentType(message) == asn1::blob(detail::oid::authEnvelopedData) ? &authEnvelopedData
                                                                                     : &envelopedData;
    default:
        return nullptr;
    }
}

/// The name of a hash in RFC 8551, section 3.5.3.2.
std::string_view micalgOf(HashID hash) {
    switch (hash) {
    case HashID::MD5:
        return "md5";
    case HashID::SHA1:
        return "sha-1";
    case HashID::SHA256:
        return "sha-256";
    case HashID::SHA384:
        return "sha-384";
    case HashID::SHA512:
        return "sha-512";
    default:
        return "unknown";
    }
}

/// The names of the hashes, each once: "sha-256,sha-512".
std::string micalgOf(std::span<HashID const> hashes) {
    std::string names;
    for (size_t i = 0; i < hashes.size(); ++i)
        if (std::ranges::find(hashes.first(i), hashes[i]) == hashes.first(i).end())
            names.append(names.empty() ? "" : ",").append(micalgOf(hashes[i]));
    return names;
}

/// Whether the text, with CR LF line ends, is safe from changes by mail gateways.
bool isSevenBit(asn1::blob text) {
    size_t length = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char const c = text[i];
        bool const isLineEnd = c == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
        if (c == 0 || c > 127 || (c == '\r' && !isLineEnd))
            return false;
        if (isLineEnd) {
            ++i;
            length = 0;
        } else if (++length > maxLineLength)
            return false;
    }
    return true;
}

std::string makeBoundary() {
    std::array<unsigned char, 18> bytes{};
    getDefaultRng().fill(bytes.data(), static_cast<unsigned>(bytes.size()));
    return "----" + kp::base64Encode(bytes);
}

} // namespace

bool SmimeMail::parse(asn1::blob mail, Refusal* refusal) {
    *this = {};
    Reading reading(mail, refusal);
    return readMail(reading, textOf(mail), *this);
}

bool looksLikeMail(asn1::blob input) {
    std::string_view text = textOf(input);
    if (text.starts_with("From "))
        mime::takeWholeLine(text);
    Reading reading;
    mime::Entity mail;
    return mime::read(reading, text, &mail) && mail.contentType;
}

std::vector<unsigned char> canonicalLineEnds(asn1::blob text) {
    size_t const added = static_cast<size_t>(std::ranges::count(text, '\n'));
    std::vector<unsigned char> canonical;
    canonical.reserve(text.size() + added);
    unsigned char before = 0;
    for (unsigned char const c : text) {
        if (c == '\n' && before != '\r')
            canonical.push_back('\r');
        canonical.push_back(c);
        before = c;
    }
    return canonical;
}

std::string makeSmimeMail(asn1::blob message, std::span<MailHeader const> headers, Refusal* refusal) {
    Reading reading(message, refusal);
    MailType const* const type = typeOf(message);
    std::string mail;
    if (type == nullptr) {
        reading.refuse(RefusalId::unsupportedContentType, message);
        return {};
    }
    if (!appendHeaders(reading, mail, headers))
        return {};
    std::string const name = std::string("name=\"") + type->name + "\"";
    return mail + "Content-Type: application/pkcs7-mime; smime-type=" + type->type + ";\r\n " + name +
           "\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment; file" + name +
           "\r\n\r\n" + mime::encodeBase64Lines(message);
}

std::string makeClearSigned(asn1::blob content, asn1::blob signature, std::span<HashID const> hashes,
                            std::span<MailHeader const> headers, Refusal* refusal) {
    Reading reading(content, refusal);
    std::vector<unsigned char> const canonical = canonicalLineEnds(content);
    std::string mail;
    if (!isSevenBit(canonical)) {
        reading.refuse(RefusalId::notSevenBit, content);
        return {};
    }
    if (!appendHeaders(reading, mail, headers))
        return {};
    std::string const boundary = makeBoundary();
    mail += "Content-Type: multipart/signed; protocol=\"application/pkcs7-signature\";\r\n micalg=\"" +
            micalgOf(hashes) + "\"; boundary=\"" + boundary +
            "\"\r\n\r\nThis is a signed message in MIME form.\r\n\r\n--" + boundary + "\r\n";
    mail.append(textOf(canonical));
    return mail + "\r\n--" + boundary +
           "\r\nContent-Type: application/pkcs7-signature; name=\"smime.p7s\"\r\n"
           "Content-Transfer-Encoding: base64\r\nContent-Disposition: attachment; "
           "filename=\"smime.p7s\"\r\n\r\n" +
           mime::encodeBase64Lines(signature) + "\r\n--" + boundary + "--\r\n";
}

std::string makeTextEntity(asn1::blob text) {
    detail::SecretBytes canonical(canonicalLineEnds(text));
    if (isSevenBit(canonical)) {
        std::string entity =
            "Content-Type: text/plain; charset=us-ascii\r\nContent-Transfer-Encoding: 7bit\r\n\r\n";
        entity.reserve(entity.size() + canonical.value.size());
        return entity.append(textOf(canonical));
    }
    return "Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
           mime::encodeBase64Lines(canonical);
}

bool readTextEntity(asn1::blob entity, std::string* text, Refusal* refusal) {
    Reading reading(entity, refusal);
    mime::Entity parts;
    detail::SecretBytes body;
    bool isRead = mime::read(reading, textOf(entity), &parts);
    if (isRead && (!parts.contentType || parts.contentType->type != "text/plain"))
        isRead = refuseType(reading, textOf(entity), "text/plain", parts);
    isRead = isRead && mime::decodeBody(reading, parts, &body.value);
    detail::wipe(*text);
    text->clear();
    if (!isRead)
        return false;
    text->reserve(body.value.size());
    for (size_t i = 0; i < body.value.size(); ++i)
        if (body.value[i] != '\r' || i + 1 == body.value.size() || body.value[i + 1] != '\n')
            text->push_back(static_cast<char>(body.value[i]));
    return true;
}
