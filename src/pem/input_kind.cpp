#include "sealkit/input_kind.h"

#include "sealkit/pem.h"

#include "asn1/input_kind.h"
#include "asn1/tags.h"
#include "base/view.h"
#include "pem/read.h"

#include <algorithm>

namespace {

namespace tag = detail::tag;

bool isText(std::string_view text) {
    return std::ranges::all_of(text, [](unsigned char c) {
        return c >= ' ' ? c != 0x7F : c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
    });
}

} // namespace

bool detail::isUtf16(std::string_view text) {
    if (text.size() < 4)
        return false;
    if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF"))
        return true;
    // PEM text without the begin mark starts with a dash or a letter.
    auto const isPlain = [](char c) { return c > ' ' && c <= '~'; };
    return (text[0] == '\0' && isPlain(text[1]) && text[2] == '\0' && isPlain(text[3])) ||
           (isPlain(text[0]) && text[1] == '\0' && isPlain(text[2]) && text[3] == '\0');
}

InputKind findInputKind(asn1::blob bytes) {
    std::string_view const text = detail::viewOf(bytes);
    if (text.empty())
        return InputKind::empty;
    if (detail::isUtf16(text))
        return InputKind::utf16;
    // Checked first, because text within an object may look like PEM.
    if (InputKind const kind = detail::findDerKind(bytes); kind != InputKind::otherDer)
        return kind;
    if (detail::beginsAsObject(bytes))
        return detail::hasIndefiniteLength(bytes) ? InputKind::ber : InputKind::otherDer;
    PemReader reader(detail::withoutByteOrderMark(text));
    PemBlock block;
    if (reader.next(&block))
        return block.label == "OPENSSH PRIVATE KEY" ? InputKind::opensshPrivateKey : InputKind::pem;
    if (bytes[0] == tag::sequence && asn1::parser(bytes).tag == tag::sequence)
        return InputKind::otherDer;
    if (!reader.finish(nullptr))
        return InputKind::pem;
    for (std::string_view start : {"ssh-", "ecdsa-sha2-", "sk-ssh-", "sk-ecdsa-"})
        if (text.starts_with(start))
            return InputKind::opensshPublicKey;
    for (std::string_view start : {"\xFE\xED\xFE\xED", "\xCE\xCE\xCE\xCE"})
        if (text.starts_with(start))
            return InputKind::javaKeystore;
    if (isText(text))
        return InputKind::text;
    return bytes[0] == tag::sequence ? InputKind::otherDer : InputKind::unknown;
}
