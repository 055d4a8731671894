#include "sealkit/plain_form.h"

#include "asn1/ber.h"
#include "asn1/header.h"
#include "asn1/input_kind.h"
#include "asn1/tags.h"
#include "base/secret_bytes.h"
#include "base/view.h"
#include "kp/base64.h"
#include "pem/read.h"

#include <algorithm>
#include <array>
#include <limits>

namespace {

namespace tag = detail::tag;

using Notes = std::vector<InputNote>;
using Row = ReasonText<InputNoteId>;

constexpr std::array rows = {
    Row{InputNoteId::utf16, "utf16", "The text is in UTF-16."},
    Row{InputNoteId::byteOrderMark, "byte-order-mark", "There is a byte-order mark within the text."},
    Row{InputNoteId::carriageReturns, "carriage-returns",
        "Lines end with a carriage return without a line feed."},
    Row{InputNoteId::indented, "indented", "PEM is indented."},
    Row{InputNoteId::blockHeaders, "block-headers", "Header lines in a block are ignored."},
    Row{InputNoteId::oneLine, "one-line", "A whole PEM block is in one line."},
    Row{InputNoteId::bareBase64, "bare-base64", "The text is base64 without PEM lines around it."},
    Row{InputNoteId::ber, "ber", "The object is BER and not DER."},
    Row{InputNoteId::otherLabel, "other-label", "The label names another kind of object."},
    Row{InputNoteId::trustSettings, "trust-settings",
        "OpenSSL's trust settings for the certificate are ignored."},
};
static_assert(rows.size() == static_cast<size_t>(InputNoteId::trustSettings) + 1);

using detail::beginMark, detail::endMark;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF", indents = " \t\v\f";

/// Notes each id once per file.
void noteOnce(Notes& notes, InputNoteId id) {
    if (std::ranges::find(notes, id, &InputNote::id) == notes.end())
        notes.push_back({id, 0});
}

asn1::blob blobOf(WipedBytes const& bytes) { return {bytes.data(), bytes.size()}; }

void append(WipedBytes& to, std::string_view text) { to.insert(to.end(), text.begin(), text.end()); }

/// Appends a code point in UTF-8 (RFC 3629, section 3).
void appendUtf8(WipedBytes& to, unsigned point) {
    auto const tail = [&](unsigned shift) {
        to.push_back(static_cast<unsigned char>(0x80 | (point >> shift & 0x3F)));
    };
    if (point < 0x80) {
        to.push_back(static_cast<unsigned char>(point));
    } else if (point < 0x800) {
        to.push_back(static_cast<unsigned char>(0xC0 | point >> 6));
        tail(0);
    } else if (point < 0x10000) {
        to.push_back(static_cast<unsigned char>(0xE0 | point >> 12));
        tail(6);
        tail(0);
    } else {
        to.push_back(static_cast<unsigned char>(0xF0 | point >> 18));
        tail(12);
        tail(6);
        tail(0);
    }
}

/// Converts UTF-16 to UTF-8 (RFC 2781, section 2.2). An unpaired surrogate becomes U+FFFD, and an odd last
/// byte is ignored, because text around PEM has no effect.
WipedBytes fromUtf16(asn1::blob bytes) {
    constexpr unsigned mark = 0xFEFF, replacement = 0xFFFD;
    bool const isLittle = bytes[0] == 0xFF || (bytes[0] != 0xFE && bytes[1] == 0);
    auto const unitAt = [&](size_t at) -> unsigned {
        unsigned const first = bytes[at], second = bytes[at + 1];
        return isLittle ? second << 8 | first : first << 8 | second;
    };
    WipedBytes text;
    text.reserve(bytes.size() / 2 * 3);
    for (size_t at = unitAt(0) == mark ? 2 : 0; at + 1 < bytes.size(); at += 2) {
        unsigned point = unitAt(at);
        unsigned const next = at + 3 < bytes.size() ? unitAt(at + 2) : 0;
        if (point >= 0xD800 && point < 0xDC00 && next >= 0xDC00 && next < 0xE000) {
            point = 0x10000 + ((point - 0xD800) << 10) + (next - 0xDC00);
            at += 2;
        } else if (point >= 0xD800 && point < 0xE000) {
            point = replacement;
        }
        appendUtf8(text, point);
    }
    return text;
}

/// Takes the first line, which ends with LF, CR LF or CR. `*end` is its end: CR only if it stands alone.
std::string_view takeAnyLine(std::string_view& text, std::string_view* end) {
    size_t const size = std::min(text.find_first_of("\r\n"), text.size());
    std::string_view const line = text.substr(0, size);
    *end = text.substr(size, text.substr(size, 2) == "\r\n" ? 2 : 1);
    text.remove_prefix(size + end->size());
    return line;
}

std::string_view withoutIndent(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(indents), line.size()));
    return line;
}

/// Rewrites a text with PEM line by line.
class PemRewriter {
public:
    PemRewriter(std::string_view all, Notes& found) : text(all), notes(found) { plain.reserve(all.size()); }

    WipedBytes run() {
        while (!text.empty()) {
            std::string_view end;
            std::string_view const line = takeAnyLine(text, &end);
            write(line);
            if (end == "\r") {
                noteOnce(notes, InputNoteId::carriageReturns);
                end = "\n";
            }
            append(plain, end);
        }
        return std::move(plain);
    }

private:
    enum class State { outside, inHeaders, inBody };

    void write(std::string_view line) {
        std::string_view inner = withoutIndent(line);
        bool const hasMark = inner.starts_with(byteOrderMark);
        if (hasMark)
            inner = withoutIndent(inner.substr(byteOrderMark.size()));
        if (inner.starts_with(beginMark) && splitLine(inner))
            return;
        bool const isFrame = inner.starts_with(beginMark) || inner.starts_with(endMark);
        if (state == State::outside && !inner.starts_with(beginMark)) {
            append(plain, line);
            return;
        }
        if (hasMark)
            noteOnce(notes, InputNoteId::byteOrderMark);
        size_t const indent = line.size() - inner.size();
        if (isFrame) {
            if (indent > 0 && !hasMark)
                noteOnce(notes, InputNoteId::indented);
            state = inner.starts_with(beginMark) ? State::inHeaders : State::outside;
            blockIndent = indent;
            isEncrypted = wasHeader = false;
        } else if (state == State::inHeaders && isHeader(inner, indent)) {
            if (!isEncrypted) {
                noteOnce(notes, InputNoteId::blockHeaders);
                return;
            }
            if (indent > blockIndent) // A continuation of the previous header.
                plain.push_back(' ');
        }
        append(plain, inner);
    }

    /// Writes blocks that are on one line, without line ends, as three lines each. Returns false if the line
    /// has no such block.
    bool splitLine(std::string_view line) {
        size_t count = 0;
        for (; line.starts_with(beginMark); count++) {
            size_t const body = endOfMark(line, 0), end = line.find(endMark, body),
                         next = endOfMark(line, end);
            if (next == std::string_view::npos || line.substr(0, end).find(':') != std::string_view::npos)
                break;
            append(plain, line.substr(0, body));
            plain.push_back('\n');
            appendBody(line.substr(body, end - body));
            plain.push_back('\n');
            append(plain, line.substr(end, next - end));
            line.remove_prefix(next);
            line.remove_prefix(sizeOfLineEnds(line));
            if (!line.empty())
                plain.push_back('\n');
        }
        if (count == 0)
            return false;
        noteOnce(notes, InputNoteId::oneLine);
        append(plain, line);
        state = State::outside;
        return true;
    }

    /// The position after a BEGIN or END mark with its label; npos if it is incomplete.
    static size_t endOfMark(std::string_view line, size_t at) {
        constexpr std::string_view dashes = "-----";
        size_t const end = at < line.size() ? line.find(dashes, at + dashes.size()) : std::string_view::npos;
        return end == std::string_view::npos ? end : end + dashes.size();
    }

    /// The size of the substitutes for line ends at the start of the text: blanks, and the two characters of
    /// an escaped line end.
    static size_t sizeOfLineEnds(std::string_view of) {
        size_t size = 0;
        while (size < of.size()) {
            if (indents.find(of[size]) != std::string_view::npos)
                size++;
            else if (of.substr(size, 2) == "\\n" || of.substr(size, 2) == "\\r")
                size += 2;
            else
                break;
        }
        return size;
    }

    void appendBody(std::string_view body) {
        for (body.remove_prefix(sizeOfLineEnds(body)); !body.empty();
             body.remove_prefix(sizeOfLineEnds(body))) {
            size_t const size = std::min(body.find_first_of(" \t\\", 1), body.size());
            append(plain, body.substr(0, size));
            body.remove_prefix(size);
        }
    }

    /// Whether a line has a colon, or continues the previous one after a blank (RFC 1421, section 4.6; RFC
    /// 822, section 3.1.1). If not, the headers end.
    bool isHeader(std::string_view inner, size_t indent) {
        bool const continues = wasHeader && indent > blockIndent && !inner.empty();
        bool const isFirst = !wasHeader;
        wasHeader = continues || inner.find(':') != std::string_view::npos;
        if (wasHeader && isFirst)
            isEncrypted =
                inner.starts_with("Proc-Type:") && inner.find("ENCRYPTED") != std::string_view::npos;
        if (!wasHeader && !inner.empty())
            state = State::inBody;
        return wasHeader;
    }

    std::string_view text;
    Notes& notes;
    WipedBytes plain;
    State state = State::outside;
    size_t blockIndent = 0;
    bool isEncrypted = false;
    bool wasHeader = false;
};

/// Whether the frames of a text with PEM already have the form that the loaders take, as in most files.
bool isPlainPem(std::string_view text) {
    for (size_t at = text.find('\r'); at != std::string_view::npos; at = text.find('\r', at + 2))
        if (text.substr(at, 2) != "\r\n")
            return false;
    for (size_t at = text.find(beginMark); at != std::string_view::npos; at = text.find(beginMark, at + 1)) {
        if (at != 0 && text[at - 1] != '\n')
            return false;
        size_t const body = std::min(text.find('\n', at), text.size() - 1) + 1;
        if (text.substr(at, body - at).find(endMark) != std::string_view::npos)
            return false;
        std::string_view const first = text.substr(body, text.find('\n', body) - body);
        if (first.empty() || first == "\r" || first.find(':') != std::string_view::npos)
            return false;
    }
    return true;
}

/// Whether the bytes are exactly one element with a SEQUENCE tag.
bool isOneElement(asn1::blob bytes) {
    asn1::blob rest = bytes;
    unsigned elementTag = 0;
    size_t length = 0;
    return !bytes.empty() && bytes[0] == tag::sequence &&
           (detail::hasIndefiniteLength(bytes) ||
            (detail::takeHeader(rest, &elementTag, &length) == detail::HeaderError::none &&
             length == rest.size()));
}

/// Converts a request or key from BER to DER. Returns false for any other input: the readers of certificates,
/// CRLs, messages and PKCS#12 handle BER themselves.
bool convertBer(asn1::blob bytes, WipedBytes* plain) {
    bool const isMessage = bytes.size() > 2 && bytes[2] == tag::oid;
    if (!detail::hasIndefiniteLength(bytes) || isMessage ||
        bytes.size() > std::numeric_limits<unsigned>::max())
        return false;
    detail::BerConversion conversion(bytes);
    detail::Reading silent;
    if (!conversion.scan(silent))
        return false;
    detail::SecretBytes const der(conversion.write());
    InputKind const kind = detail::findDerKind(der);
    if (kind < InputKind::request || kind > InputKind::ecPrivateKey)
        return false;
    plain->assign(der.value.begin(), der.value.end());
    return true;
}

/// The element that a text encodes in base64; empty for any other text.
WipedBytes decodeBare(std::string_view text) {
    constexpr std::string_view spaces = " \t\r\n\v\f";
    constexpr char ofSequence = 'M'; // The first six bits of a SEQUENCE tag.
    size_t const start = text.find_first_not_of(spaces);
    if (start == std::string_view::npos || text[start] != ofSequence)
        return {};
    std::vector<char, detail::WipingAllocator<char>> joined;
    joined.reserve(text.size() - start + 3);
    for (char const c : text.substr(start))
        if (spaces.find(c) == std::string_view::npos)
            joined.push_back(c);
    while (joined.size() % 4 != 0) // Some tools omit the padding.
        joined.push_back('=');
    WipedBytes bytes(joined.size() / 4 * 3);
    size_t const size = kp::base64Decode({joined.data(), joined.size()}, bytes);
    if (size == kp::base64Failure)
        return {};
    bytes.resize(size);
    if (!isOneElement(blobOf(bytes)))
        bytes.clear();
    return bytes;
}

} // namespace

std::string InputNote::str() const {
    return (block == 0 ? "" : "block " + std::to_string(block) + ": ") + getReasonText(id).sentence;
}

std::span<Row const> inputNotes() { return rows; }

Row const& getReasonText(InputNoteId id) { return rows[static_cast<size_t>(id)]; }

bool makePlain(asn1::blob file, WipedBytes* plain, std::vector<InputNote>* notes) {
    Notes discarded;
    Notes& found = notes != nullptr ? *notes : discarded;
    if (convertBer(file, plain)) {
        noteOnce(found, InputNoteId::ber);
        return true;
    }
    if (file.empty() || detail::beginsAsObject(file) || isOneElement(file) ||
        detail::findDerKind(file) != InputKind::otherDer)
        return false;
    WipedBytes converted;
    std::string_view text = detail::viewOf(file);
    bool const isUtf16 = detail::isUtf16(text);
    if (isUtf16) {
        noteOnce(found, InputNoteId::utf16);
        converted = fromUtf16(file);
        text = detail::viewOf(blobOf(converted));
    }
    text = detail::withoutByteOrderMark(text);
    if (text.find(beginMark) != std::string_view::npos) {
        if (!isUtf16 && isPlainPem(text) && text.size() == file.size())
            return false;
        WipedBytes rewritten = PemRewriter(text, found).run();
        if (detail::viewOf(blobOf(rewritten)) == detail::viewOf(file))
            return false;
        *plain = std::move(rewritten);
        return true;
    }
    if (WipedBytes decoded = decodeBare(text); !decoded.empty()) {
        noteOnce(found, InputNoteId::bareBase64);
        *plain = std::move(decoded);
        return true;
    }
    if (isUtf16)
        *plain = std::move(converted);
    return isUtf16;
}
