/// Identifier octets of the universal types (ITU-T X.680, section 8.6) and of context-specific tags, as
/// `asn1::parser` and `DerEncoder` use them.
#pragma once

namespace detail::tag {

inline constexpr unsigned boolean = 0x01;
inline constexpr unsigned integer = 0x02;
inline constexpr unsigned bitString = 0x03;
inline constexpr unsigned octetString = 0x04;
inline constexpr unsigned null = 0x05;
inline constexpr unsigned oid = 0x06;
inline constexpr unsigned enumerated = 0x0A;
inline constexpr unsigned utf8String = 0x0C;
inline constexpr unsigned numericString = 0x12;
inline constexpr unsigned printableString = 0x13;
inline constexpr unsigned t61String = 0x14;
inline constexpr unsigned ia5String = 0x16;
inline constexpr unsigned utcTime = 0x17;
inline constexpr unsigned generalizedTime = 0x18;
inline constexpr unsigned visibleString = 0x1A;
inline constexpr unsigned universalString = 0x1C;
inline constexpr unsigned bmpString = 0x1E;
inline constexpr unsigned sequence = 0x30;
inline constexpr unsigned set = 0x31;

/// [number] of a primitive type.
constexpr unsigned primitive(unsigned number) { return 0x80 | number; }
/// [number] of a constructed type, or EXPLICIT.
constexpr unsigned constructed(unsigned number) { return 0xA0 | number; }

} // namespace detail::tag
