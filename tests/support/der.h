/// DER for test inputs in the notation of ASN.1: each function returns one whole element.
///
///     sequence(oid("2.5.29.19"), boolean(true), octetString(sequence(boolean(true))))
///
/// It shares no code with the library. Tests make malformed DER with `element` and raw bytes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace test::der {

using Bytes = std::vector<unsigned char>;

inline Bytes bytes(std::string_view text) { return Bytes(text.begin(), text.end()); }

inline Bytes join(std::vector<Bytes> const& parts) {
    Bytes all;
    for (Bytes const& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

/// `times` copies of `part`.
inline Bytes repeat(Bytes const& part, size_t times) {
    Bytes all;
    all.reserve(part.size() * times);
    for (size_t i = 0; i < times; i++)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

/// `content` with identifier and length octets.
inline Bytes element(unsigned tag, Bytes const& content) {
    Bytes whole = {static_cast<unsigned char>(tag)};
    size_t size = content.size();
    if (size < 0x80) {
        whole.push_back(static_cast<unsigned char>(size));
    } else {
        Bytes octets;
        for (size_t rest = size; rest != 0; rest >>= 8)
            octets.insert(octets.begin(), static_cast<unsigned char>(rest));
        whole.push_back(static_cast<unsigned char>(0x80 | octets.size()));
        whole.insert(whole.end(), octets.begin(), octets.end());
    }
    whole.insert(whole.end(), content.begin(), content.end());
    return whole;
}

template <typename... Parts>
Bytes sequence(Parts const&... parts) {
    return element(0x30, join({parts...}));
}
template <typename... Parts>
Bytes set(Parts const&... parts) {
    return element(0x31, join({parts...}));
}
/// [number] of a constructed type, or EXPLICIT.
template <typename... Parts>
Bytes context(unsigned number, Parts const&... parts) {
    return element(0xA0 | number, join({parts...}));
}
/// [number] of a primitive type.
inline Bytes implicit(unsigned number, Bytes const& content) { return element(0x80 | number, content); }
inline Bytes implicit(unsigned number, std::string_view content) { return implicit(number, bytes(content)); }

inline Bytes boolean(bool value) { return {0x01, 0x01, static_cast<unsigned char>(value ? 0xFF : 0x00)}; }
/// An INTEGER with these content octets.
inline Bytes integer(Bytes const& content) { return element(0x02, content); }
/// A small non-negative number.
inline Bytes integer(unsigned char value) { return integer(value < 0x80 ? Bytes{value} : Bytes{0, value}); }
inline Bytes enumerated(Bytes const& content) { return element(0x0A, content); }
inline Bytes null() { return {0x05, 0x00}; }
inline Bytes octetString(Bytes const& content) { return element(0x04, content); }
inline Bytes bitString(Bytes const& bits, unsigned char unused = 0) {
    return element(0x03, join({{unused}, bits}));
}
inline Bytes utf8String(std::string_view text) { return element(0x0C, bytes(text)); }
inline Bytes printableString(std::string_view text) { return element(0x13, bytes(text)); }
inline Bytes utcTime(std::string_view text) { return element(0x17, bytes(text)); }
inline Bytes generalizedTime(std::string_view text) { return element(0x18, bytes(text)); }

/// An OBJECT IDENTIFIER from its dotted form.
inline Bytes oid(std::string_view dotted) {
    std::vector<unsigned long> arcs(1, 0);
    for (char c : dotted)
        if (c == '.')
            arcs.push_back(0);
        else
            arcs.back() = arcs.back() * 10 + static_cast<unsigned long>(c - '0');
    arcs[1] += arcs[0] * 40;
    arcs.erase(arcs.begin());
    Bytes content;
    for (unsigned long arc : arcs) {
        Bytes digits = {static_cast<unsigned char>(arc & 0x7F)};
        while ((arc >>= 7) != 0)
            digits.insert(digits.begin(), static_cast<unsigned char>(0x80 | (arc & 0x7F)));
        content.insert(content.end(), digits.begin(), digits.end());
    }
    return element(0x06, content);
}

/// An AlgorithmIdentifier. The parameters are absent by default.
inline Bytes algorithm(std::string_view dotted, Bytes const& parameters = {}) {
    return sequence(oid(dotted), parameters);
}

/// An attribute of a Name that has one attribute in each set.
struct Attribute {
    std::string_view oid;
    std::string_view value;
};
inline Bytes name(std::vector<Attribute> const& attributes) {
    std::vector<Bytes> sets;
    for (Attribute const& attribute : attributes)
        sets.push_back(set(sequence(oid(attribute.oid), utf8String(attribute.value))));
    return sequence(join(sets));
}

/// An extension of X.509. The critical flag is omitted if it is false.
inline Bytes extension(std::string_view dotted, Bytes const& value, bool critical = false) {
    return sequence(oid(dotted), critical ? boolean(true) : Bytes(), octetString(value));
}

} // namespace test::der
