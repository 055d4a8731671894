#include "objects/message.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"
#include "objects/description.h"
#include "objects/key_file.h"

#include "sealkit/asn1.h"
#include "sealkit/bignum.h"
#include "sealkit/pem.h"

#include <kp/text.h>

#include <algorithm>

namespace {

constexpr unsigned tagBoolean = 0x01, tagInteger = 0x02, tagBitString = 0x03, tagOctetString = 0x04,
                   tagOid = 0x06, tagUtf8String = 0x0C, tagGeneralizedTime = 0x18,
                   tagOctetStringInPieces = 0x24, tagSequence = 0x30, tagSet = 0x31;

constexpr unsigned primitive(unsigned number) { return 0x80 | number; }
constexpr unsigned constructed(unsigned number) { return 0xA0 | number; }

struct NamedOid {
    char const* dotted;
    char const* name;
};

constexpr char signedDataOid[] = "1.2.840.113549.1.7.2";
constexpr char envelopedDataOid[] = "1.2.840.113549.1.7.3";
constexpr char stampOid[] = "1.2.840.113549.1.9.16.1.4";
constexpr char counterSignatureOid[] = "1.2.840.113549.1.9.6";
constexpr char signatureStampOid[] = "1.3.6.1.4.1.311.3.3.1"; // Authenticode's
constexpr char signedName[] = "signed message", envelopedName[] = "enveloped message",
               requestName[] = "time-stamp request", responseName[] = "time-stamp response";
constexpr char rsaEncryptionOid[] = "1.2.840.113549.1.1.1";

/// Content types (RFC 5652 and others).
NamedOid const contentTypeNames[] = {
    {"1.2.840.113549.1.7.1", "data"},
    {signedDataOid, signedName},
    {envelopedDataOid, envelopedName},
    {"1.2.840.113549.1.7.4", "signed and enveloped message"},
    {"1.2.840.113549.1.7.5", "digested message"},
    {"1.2.840.113549.1.7.6", "encrypted message without recipients"},
    {"1.2.840.113549.1.9.16.1.1", "receipt"},
    {"1.2.840.113549.1.9.16.1.2", "authenticated message"},
    {stampOid, "time-stamp"},
    {"1.2.840.113549.1.9.16.1.9", "compressed message"},
    {"1.2.840.113549.1.9.16.1.23", "enveloped message with authentication (AuthEnvelopedData)"},
    {"1.3.6.1.4.1.311.2.1.4", "Authenticode digest"},
};

/// Algorithms that messages name and that the library has no name for.
NamedOid const algorithmNames[] = {
    {rsaEncryptionOid, "RSA"},
    {"1.2.840.113549.1.1.7", "RSAES-OAEP"},
    {"1.2.840.113549.1.1.10", "RSASSA-PSS"},
    {"1.2.840.113549.1.1.14", "SHA224+RSA"},
    {"1.2.840.10040.4.1", "DSA"},
    {"1.2.840.10040.4.3", "SHA1+DSA"},
    {"2.16.840.1.101.3.4.3.2", "SHA256+DSA"},
    {"1.2.840.10045.2.1", "EC"},
    {"1.2.840.113549.2.2", "MD2"},
    {"1.2.840.113549.2.4", "MD4"},
    {"2.16.840.1.101.3.4.2.4", "SHA224"},
    {"2.16.840.1.101.3.4.2.5", "SHA512/224"},
    {"2.16.840.1.101.3.4.2.6", "SHA512/256"},
    {"2.16.840.1.101.3.4.2.7", "SHA3-224"},
    {"2.16.840.1.101.3.4.2.8", "SHA3-256"},
    {"2.16.840.1.101.3.4.2.9", "SHA3-384"},
    {"2.16.840.1.101.3.4.2.10", "SHA3-512"},
    {"1.3.36.3.2.1", "RIPEMD160"},
};

template <size_t N>
std::string nameOf(NamedOid const (&names)[N], std::string const& dotted) {
    auto const row = std::ranges::find(names, dotted, &NamedOid::dotted);
    return row == std::end(names) ? "" : row->name;
}

/// Takes an element with this tag off. False, and nothing taken, when another one stands there.
bool take(asn1::parser& from, unsigned tag, asn1::blob* content) {
    if (from.tag != tag)
        return false;
    *content = from.take();
    return true;
}

/// Whether an element that has no definite length stands in the encoding. Of one that has none so far the headers
/// follow each other, whatever they are within: no stack is needed.
bool hasIndefiniteLength(asn1::blob bytes) {
    constexpr unsigned constructedBit = 0x20, highNumber = 0x1F, indefinite = 0x80;
    while (!bytes.empty()) {
        unsigned const identifier = bytes.pop_front();
        if ((identifier & highNumber) == highNumber)
            while (!bytes.empty() && (bytes.pop_front() & 0x80) != 0)
                ;
        if (bytes.empty())
            return false;
        size_t length = bytes.pop_front();
        if (length == indefinite)
            return (identifier & constructedBit) != 0;
        if (length > indefinite) {
            size_t octets = length & 0x7F;
            length = 0;
            for (; octets > 0 && !bytes.empty() && length <= inputLimit; --octets)
                length = length << 8 | bytes.pop_front();
        }
        if ((identifier & constructedBit) != 0)
            continue;
        if (length > bytes.size())
            return false;
        bytes.pop_front(length);
    }
    return false;
}

constexpr char convertToDer[] =
    "\"openssl cms -cmsout -inform DER -in FILE -outform DER -out COPY\" (-inform PEM "
    "for PEM) writes it in DER";

std::string inPieces(char const* what) {
    return std::string(what) + " is in pieces, as streaming programs write it: that is BER, not DER; " +
           convertToDer;
}

/// Why the encoding as a whole is none; empty when it may be.
std::string whyNotDer(asn1::blob der) {
    if (std::string const form = berForm(der); !form.empty())
        return form;
    asn1::parser outer(der);
    if (outer.tag != tagSequence)
        return "neither PEM nor DER of a message";
    outer.take();
    return outer.tag == asn1::parser::endTag ? "" : "there are bytes behind the message";
}

/// Why a digest's AlgorithmIdentifier, a whole element, is refused; empty when it is not.
std::string whyNotDigest(asn1::blob element) {
    if (getHashFromDER(element) != HashID::none)
        return "";
    asn1::parser algorithm(element);
    asn1::blob oid;
    if (!algorithm.enter(tagSequence) || !take(algorithm, tagOid, &oid))
        return "what names its digest algorithm is malformed";
    if (getHashID(oid) == HashID::none)
        return "its digest algorithm " + algorithmName(oid) + " is not supported";
    if (algorithm.tag == asn1::parser::endTag)
        return "its digest algorithm " + algorithmName(oid) +
               " stands without NULL parameters, which are required here; \"openssl smime\" writes them, "
               "\"openssl cms\" does not";
    return "its digest algorithm " + algorithmName(oid) + " has parameters other than NULL";
}

/// How deep the library follows what is signed within signatures.
constexpr unsigned maxNesting = 16;

std::string whyNotSigned(asn1::blob der, std::string const& said, unsigned depth);
std::string whyNotSigner(asn1::blob signer, unsigned depth);

/// Why the counter-signature or the time-stamp that an unsigned attribute, by its content, may hold is refused; empty
/// when there is none or it is not.
std::string whyNotCounterSigned(asn1::blob attribute, unsigned depth) {
    asn1::parser fields(attribute);
    asn1::blob type, values;
    if (!take(fields, tagOid, &type) || !take(fields, tagSet, &values))
        return "";
    asn1::parser value(values);
    std::string const dotted = oidStr(type);
    terminal::MuteDiagnostics const mute;
    if (PKCS7SignerInfo signer; dotted == counterSignatureOid && !signer.parse(value.takeWhole()))
        return "its counter-signature: " + whyNotSigner(asn1::parser(values).value(), depth);
    if (PKCS7SignedData token; dotted == signatureStampOid && !token.parse(value.takeWhole()))
        return "its time-stamp: " + whyNotSigned(asn1::parser(values).takeWhole(), "", depth);
    return "";
}

/// `signer` is the content of a SignerInfo, `depth` how many signatures it is within.
std::string whyNotSigner(asn1::blob signer, unsigned depth) {
    if (depth > maxNesting)
        return "it is nested too deep";
    asn1::parser fields(signer);
    asn1::blob version, content, oid;
    if (!take(fields, tagInteger, &version))
        return "it is malformed";
    if (numberText(version) == "3" || fields.tag == primitive(0))
        return "it is named by a key identifier (version 3), and only names by issuer and serial number are "
               "read; "
               "\"openssl smime\" writes those";
    if (numberText(version) != "1")
        return "it is of version " + numberText(version) + ", and only version 1 is read";
    if (!take(fields, tagSequence, &content) || fields.tag != tagSequence)
        return "it is malformed";
    if (std::string const why = whyNotDigest(fields.takeWhole()); !why.empty())
        return why;
    if (fields.tag == tagSequence)
        return "it has no signed attributes, and only signatures over those are read; \"openssl smime\" "
               "writes them without -noattr";
    if (!take(fields, constructed(0), &content) || !take(fields, tagSequence, &content))
        return "it is malformed";
    asn1::parser algorithm(content);
    if (!take(algorithm, tagOid, &oid))
        return "it is malformed";
    if (oidStr(oid) != rsaEncryptionOid)
        return "it is signed with " + algorithmName(oid) +
               ", and only rsaEncryption (RSA, PKCS#1 v1.5) is read";
    if (take(fields, tagOctetString, &content) && take(fields, constructed(1), &content))
        for (asn1::parser attributes(content); attributes.tag == tagSequence;)
            if (std::string const why = whyNotCounterSigned(attributes.take(), depth + 1); !why.empty())
                return why;
    return "it is malformed, or nested too deep";
}

/// Each certificate or list of a field; `read` says whether it can be.
template <typename Object>
std::string whyNotAll(asn1::blob field, char const* what, char const* otherKind) {
    asn1::parser elements(field);
    for (size_t number = 1; elements.tag < asn1::parser::endTag; ++number) {
        std::string const name = std::string(what) + " " + std::to_string(number);
        if (elements.tag != tagSequence)
            return name + " is of " + otherKind + ", which is not supported";
        asn1::blob const element = elements.takeWhole();
        Object object;
        terminal::CaptureDiagnostics const diagnostics;
        if (!object.parse(element.data(), static_cast<unsigned>(element.size())))
            return name + " in it cannot be read";
    }
    return "";
}

std::string withArticle(std::string const& noun) {
    if (noun == "data")
        return noun;
    bool const isVowel = std::string_view("aeiou").find(noun.front()) != std::string_view::npos;
    return (isVowel ? "an " : "a ") + noun;
}

/// That it is none of the wanted kind, and which other one; empty when it is one.
std::string whyNotKind(asn1::blob der, MessageKind kind, std::string const& wanted) {
    if (std::string const why = whyNotDer(der); !why.empty())
        return why;
    MessageKind const found = kindOfMessage(der);
    if (found == kind)
        return "";
    asn1::blob const type = contentTypeOf(der);
    std::string const name = !type.empty()                             ? contentTypeName(type)
                             : found == MessageKind::signedData        ? signedName
                             : found == MessageKind::timeStampRequest  ? requestName
                             : found == MessageKind::timeStampResponse ? responseName
                                                                       : "";
    return name.empty() ? "no " + wanted : "it holds " + withArticle(name) + ", not " + withArticle(wanted);
}

/// Goes into the ContentInfo of the kind, if there is one, and into its SEQUENCE.
std::string enterContent(asn1::parser& fields, asn1::blob der, MessageKind kind, char const* wanted) {
    if (std::string const why = whyNotKind(der, kind, wanted); !why.empty())
        return why;
    fields.enter(tagSequence);
    if (!contentTypeOf(der).empty()) {
        fields.take();
        fields.enter(constructed(0));
        fields.enter(tagSequence);
    }
    return "";
}

constexpr char malformed[] = "the message is malformed";

std::string whyNotParsedOtherwise(std::string const& said) {
    return said.empty() ? malformed : std::string(malformed) + ": " + said;
}

/// The INTEGER of Accuracy's fields with its unit.
void addAccuracy(std::string& text, asn1::blob value, char const* unit) {
    text += (text.empty() ? "" : " ") + numberText(value) + unit;
}

bool readAccuracy(asn1::blob content, std::string* text) {
    asn1::parser fields(content);
    asn1::blob value;
    if (take(fields, tagInteger, &value))
        addAccuracy(*text, value, " s");
    if (take(fields, primitive(0), &value))
        addAccuracy(*text, value, " ms");
    if (take(fields, primitive(1), &value))
        addAccuracy(*text, value, " us");
    return fields.tag == asn1::parser::endTag;
}

/// "2026-11-21 08:30:00.125 UTC", of a GeneralizedTime that was read as `time`.
std::string withFraction(TimePoint time, asn1::blob value) {
    std::string text = formatTime(time);
    std::string_view const digits(reinterpret_cast<char const*>(value.data()), value.size());
    size_t const dot = digits.find('.');
    size_t const zone = text.rfind(" UTC");
    if (dot == std::string_view::npos || zone == std::string::npos)
        return text;
    constexpr size_t longest = 10;
    std::string_view const fraction = digits.substr(dot, digits.find('Z', dot) - dot);
    return text.insert(zone, terminal::printable(fraction.substr(0, longest)));
}

/// PKIFailureInfo (RFC 3161, section 2.4.2).
struct Failure {
    unsigned bit;
    char const* name;
};

Failure const failures[] = {
    {0, "algorithm not supported"},
    {2, "request not permitted"},
    {5, "request malformed"},
    {14, "the authority's clock is not available"},
    {15, "policy not supported"},
    {16, "extension not supported"},
    {17, "additional information not available"},
    {25, "failure of the authority's system"},
};

void addDetail(std::string& details, std::string const& detail) {
    details += (details.empty() ? "" : "; ") + detail;
}

template <typename Message>
std::string parseQuietly(Message& to, asn1::blob der, std::string (*why)(asn1::blob, std::string const&)) {
    std::string said;
    {
        terminal::CaptureDiagnostics const diagnostics;
        if (to.parse(der))
            return "";
        said = diagnostics.text();
    }
    return why(der, said);
}

} // namespace

bool isMessageLabel(std::string_view label) {
    return label == messageLabel || label == "CMS" || label == "PKCS #7 SIGNED DATA";
}

std::string berForm(asn1::blob bytes) {
    if (bytes.empty() || bytes[0] != tagSequence || !hasIndefiniteLength(bytes))
        return "";
    return std::string(
               "it has indefinite lengths, as streaming programs write them: that is BER, not DER; ") +
           convertToDer;
}

std::string mailForm(std::string_view text) {
    std::string const start = str2lower(std::string(text.substr(0, 4096)));
    if (start.find("multipart/signed") != std::string::npos)
        return "a signed S/MIME e-mail: \"openssl smime -pk7out -in FILE -out SIGNATURE\" takes the "
               "signature out; "
               "what it signed is the first part of the mail, headers included, with CR LF at its line ends";
    if (start.find("application/pkcs7-mime") != std::string::npos ||
        start.find("application/x-pkcs7-mime") != std::string::npos)
        return "an S/MIME e-mail: \"openssl smime -pk7out -in FILE -out MESSAGE\" takes the message out of "
               "it";
    return "";
}

std::optional<MessageFile> MessageFile::read(std::string const& path) {
    auto const complain = [&](std::string const& what) {
        badInput(path + ": " + what);
        return std::nullopt;
    };
    auto contents = readInput(path);
    if (!contents)
        return std::nullopt;
    MessageFile file;
    file.text = std::move(*contents);
    std::string_view rest = file.text;
    std::string other;
    while (auto const block = takeBlock(rest)) {
        bool const isDecoded = pemDecode(block->body, &file.decoded) && !file.decoded.empty();
        if (isMessageLabel(block->label) && !isDecoded)
            return complain("block \"" + std::string(block->label) + "\" is malformed");
        // Of time-stamps there is no usual label.
        if (isMessageLabel(block->label) || (isDecoded && kindOfMessage(file.decoded) != MessageKind::none)) {
            file.text.clear();
            return file;
        }
        other = block->label;
    }
    if (!other.empty())
        return complain("holds no message, but \"" + other + "\"");
    if (std::string const mail = mailForm(file.text); !mail.empty())
        return complain(mail);
    if (file.text.empty())
        return complain("is empty");
    return file;
}

asn1::blob contentTypeOf(asn1::blob contentInfo) {
    asn1::parser fields(contentInfo);
    return fields.enter(tagSequence) && fields.tag == tagOid ? fields.take() : asn1::blob();
}

MessageKind kindOfMessage(asn1::blob der) {
    if (asn1::blob const type = contentTypeOf(der); !type.empty()) {
        std::string const dotted = oidStr(type);
        return dotted == signedDataOid                    ? MessageKind::signedData
               : dotted == envelopedDataOid               ? MessageKind::envelopedData
               : nameOf(contentTypeNames, dotted).empty() ? MessageKind::none
                                                          : MessageKind::otherContent;
    }
    asn1::parser fields(der);
    asn1::blob first, second;
    if (!fields.enter(tagSequence))
        return MessageKind::none;
    if (take(fields, tagInteger, &first)) {
        // A request has its digest there, and a bare SignedData a SET. Private keys have neither.
        if (fields.tag == tagSet)
            return MessageKind::signedData;
        return fields.enter(tagSequence) && fields.tag == tagSequence ? MessageKind::timeStampRequest
                                                                      : MessageKind::none;
    }
    if (!take(fields, tagSequence, &first) || asn1::parser(first).tag != tagInteger)
        return MessageKind::none;
    if (fields.tag == tagSequence)
        second = fields.take();
    bool const isToken = second.empty() || asn1::parser(second).tag == tagOid;
    return isToken && fields.tag == asn1::parser::endTag ? MessageKind::timeStampResponse : MessageKind::none;
}

std::string contentTypeName(asn1::blob oid) {
    std::string const dotted = oidStr(oid), name = nameOf(contentTypeNames, dotted);
    return name.empty() ? dotted : name;
}

std::string algorithmName(asn1::blob oid) {
    if (HashID const hash = getHashID(oid); hash != HashID::none)
        return getHashName(hash);
    std::string const dotted = oidStr(oid), name = nameOf(algorithmNames, dotted);
    return name.empty() ? oid2name(oid) : name;
}

namespace {

std::string whyNotSigned(asn1::blob der, std::string const& said, unsigned depth) {
    if (depth > maxNesting)
        return "it is nested too deep";
    asn1::parser fields(der);
    if (std::string const why = enterContent(fields, der, MessageKind::signedData, signedName); !why.empty())
        return why;
    asn1::blob content;
    if (!take(fields, tagInteger, &content))
        return whyNotParsedOtherwise(said);
    if (std::string const version = numberText(content); version != "1" && version != "3")
        return "it is of version " + version + ", and only versions 1 and 3 are read";
    if (!take(fields, tagSet, &content))
        return whyNotParsedOtherwise(said);
    for (asn1::parser algorithms(content); algorithms.tag == tagSequence;)
        if (std::string const why = whyNotDigest(algorithms.takeWhole()); !why.empty())
            return why;
    if (!take(fields, tagSequence, &content))
        return whyNotParsedOtherwise(said);
    asn1::parser encapsulated(content);
    encapsulated.take();
    if (encapsulated.enter(constructed(0)) && encapsulated.tag == tagOctetStringInPieces)
        return inPieces("its content");
    if (take(fields, constructed(0), &content))
        if (std::string const why =
                whyNotAll<X509Certificate>(content, "certificate", "another kind than X.509's");
            !why.empty())
            return why;
    if (take(fields, constructed(1), &content))
        if (std::string const why =
                whyNotAll<X509Crl>(content, "revocation list", "another kind than X.509's");
            !why.empty())
            return why;
    if (!take(fields, tagSet, &content))
        return whyNotParsedOtherwise(said);
    asn1::parser signers(content);
    for (size_t number = 1; signers.tag == tagSequence; ++number) {
        asn1::blob const element = signers.takeWhole();
        terminal::MuteDiagnostics const mute;
        PKCS7SignerInfo signer;
        if (!signer.parse(element))
            return "signer " + std::to_string(number) + ": " +
                   whyNotSigner(asn1::parser(element).value(), depth);
    }
    return whyNotParsedOtherwise(said);
}

std::string whyNotEnveloped(asn1::blob der, std::string const& said) {
    asn1::parser fields(der);
    if (std::string const why = enterContent(fields, der, MessageKind::envelopedData, envelopedName);
        !why.empty())
        return why;
    asn1::blob content;
    if (!take(fields, tagInteger, &content))
        return whyNotParsedOtherwise(said);
    std::string const version = numberText(content);
    take(fields, constructed(0), &content);
    if (!take(fields, tagSet, &content))
        return whyNotParsedOtherwise(said);
    for (asn1::parser recipients(content); recipients.tag < asn1::parser::endTag; recipients.take()) {
        char const* const kind = recipients.tag == constructed(1)   ? "by key agreement (an EC key)"
                                 : recipients.tag == constructed(2) ? "by a shared key-encryption key"
                                 : recipients.tag == constructed(3) ? "by a password"
                                 : recipients.tag == constructed(4) ? "of another kind"
                                                                    : nullptr;
        if (kind != nullptr)
            return std::string("one of its recipients is ") + kind +
                   ", and messages are read only when all have RSA keys";
    }
    if (version != "0" && version != "2")
        return "it is of version " + version + ", and only versions 0 and 2 are read";
    if (fields.tag == tagSequence) {
        asn1::parser encrypted(fields.take());
        asn1::blob part;
        if (take(encrypted, tagOid, &part) && take(encrypted, tagSequence, &part) &&
            encrypted.tag == constructed(0))
            return inPieces("its encrypted content");
    }
    return whyNotParsedOtherwise(said);
}

std::string whyNotTimeStampRequest(asn1::blob der) {
    if (std::string const why = whyNotKind(der, MessageKind::timeStampRequest, requestName); !why.empty())
        return why;
    asn1::parser fields(der);
    asn1::blob content;
    fields.enter(tagSequence);
    take(fields, tagInteger, &content);
    take(fields, tagSequence, &content);
    if (std::string const why = whyNotDigest(asn1::parser(content).takeWhole()); !why.empty())
        return why;
    while (fields.tag == tagOid || fields.tag == tagInteger || fields.tag == tagBoolean)
        fields.take();
    return fields.tag == constructed(0) ? "it has extensions, which are not supported"
                                        : "the request is malformed";
}

std::string whyNotTimeStampResponse(asn1::blob der, std::string const& said) {
    if (std::string const why = whyNotKind(der, MessageKind::timeStampResponse, responseName); !why.empty())
        return why;
    asn1::parser fields(der);
    fields.enter(tagSequence);
    fields.take();
    if (fields.tag != tagSequence)
        return "the response is malformed";
    return "its token: " + whyNotSigned(fields.takeWhole(), said, 0);
}

} // namespace

std::string parseMessage(PKCS7SignedData& to, asn1::blob der) {
    return parseQuietly<PKCS7SignedData>(
        to, der, [](asn1::blob bytes, std::string const& said) { return whyNotSigned(bytes, said, 0); });
}
std::string parseMessage(PKCS7EnvelopedData& to, asn1::blob der) {
    return parseQuietly(to, der, whyNotEnveloped);
}
std::string parseMessage(TimeStampRequest& to, asn1::blob der) {
    return parseQuietly<TimeStampRequest>(
        to, der, [](asn1::blob bytes, std::string const&) { return whyNotTimeStampRequest(bytes); });
}
std::string parseMessage(TimeStampResponse& to, asn1::blob der) {
    return parseQuietly(to, der, whyNotTimeStampResponse);
}

std::optional<StampedInfo> readStamp(PKCS7SignedData const& token) {
    if (oidStr(token.contentType) != stampOid)
        return std::nullopt;
    asn1::parser element{asn1::blob(token.content)};
    asn1::blob body, content;
    if (!take(element, tagOctetString, &body))
        return std::nullopt;
    asn1::parser fields(body);
    StampedInfo info;
    if (!fields.enter(tagSequence) || !take(fields, tagInteger, &content) || numberText(content) != "1" ||
        !take(fields, tagOid, &info.policy) || !take(fields, tagSequence, &content))
        return std::nullopt;
    asn1::parser imprint(content);
    if (!take(imprint, tagSequence, &content) || !take(imprint, tagOctetString, &info.hashedMessage) ||
        imprint.tag != asn1::parser::endTag)
        return std::nullopt;
    asn1::parser algorithm(content);
    if (!take(algorithm, tagOid, &info.hashOid) || !take(fields, tagInteger, &info.serialNumber) ||
        fields.tag != tagGeneralizedTime)
        return std::nullopt;
    asn1::blob const time = fields.value();
    if (!info.time.parse(fields))
        return std::nullopt;
    info.timeText = withFraction(info.time, time);
    if (take(fields, tagSequence, &content) && !readAccuracy(content, &info.accuracy))
        return std::nullopt;
    take(fields, tagBoolean, &content); // Whether times tell the order, which is not shown.
    take(fields, tagInteger, &info.nonce);
    take(fields, constructed(0), &info.authority);
    take(fields, constructed(1), &content); // Extensions, which the authority chose.
    return fields.tag == asn1::parser::endTag ? std::optional(info) : std::nullopt;
}

StatusText describeStatus(asn1::blob response) {
    static char const* const names[] = {"granted", "granted with changes", "rejection",
                                        "waiting", "revocation warning",   "revocation notification"};
    StatusText status;
    asn1::parser fields(response);
    asn1::blob content;
    if (!fields.enter(tagSequence) || !take(fields, tagSequence, &content))
        return status;
    asn1::parser info(content);
    unsigned const number = info.readUInt();
    status.name = number < std::size(names) ? names[number] : "status " + std::to_string(number);
    if (take(info, tagSequence, &content))
        for (asn1::parser texts(content); texts.tag == tagUtf8String;) {
            asn1::blob const text = texts.take();
            addDetail(status.details,
                      terminal::printable({reinterpret_cast<char const*>(text.data()), text.size()}));
        }
    if (take(info, tagBitString, &content)) {
        asn1::blob const bits = bitStringContent(content);
        for (Failure const& failure : failures)
            if (failure.bit / 8 < bits.size() && (bits[failure.bit / 8] & (0x80 >> failure.bit % 8)) != 0)
                addDetail(status.details, failure.name);
    }
    return status;
}

std::optional<asn1::blob> findSignedAttribute(PKCS7SignerInfo const& signer, std::string_view dotted) {
    asn1::parser attributes{asn1::blob(signer.authAttributes)};
    asn1::blob type, values;
    while (attributes.tag == tagSequence) {
        asn1::parser attribute(attributes.take());
        if (take(attribute, tagOid, &type) && take(attribute, tagSet, &values) && oidStr(type) == dotted)
            return values;
    }
    return std::nullopt;
}
