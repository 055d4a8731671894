/// The domain parameters of the named curves.
#pragma once

#include <array>
#include <string_view>

namespace detail {

constexpr unsigned maxModLen = 66;

/// A big-endian number with the width of the widest field.
using Bytes = std::array<unsigned char, maxModLen>;

consteval unsigned hexDigit(char c) { return c <= '9' ? c - '0' : c - 'a' + 10; }

/// The bytes of a number written in hexadecimal.
consteval Bytes number(std::string_view hex) {
    Bytes bytes{};
    for (size_t i = 0; i < hex.size(); ++i) {
        size_t const position = hex.size() - 1 - i; // Counted from the lowest digit.
        bytes[maxModLen - 1 - position / 2] |=
            static_cast<unsigned char>(hexDigit(hex[i]) << (position % 2 * 4));
    }
    return bytes;
}

struct DomainParameters {
    std::string_view name;
    unsigned modLen; ///< in bytes
    Bytes p;
    Bytes b;
    Bytes n;
    Bytes x;
    Bytes y;
};

// FIPS 186-4, appendix D.1.2, which equals SEC 2 version 2, sections 2.2 to 2.6. All curves have a = p - 3.
// Every b is verifiably random: b^2 * c = -27 modulo p, with c hashed from a published seed.
inline constexpr DomainParameters namedCurves[] = {
    {"p192", 24,
     // p = 2^192 - 2^64 - 1
     number("fffffffffffffffffffffffffffffffeffffffffffffffff"),
     // b
     number("64210519e59c80e70fa7e9ab72243049feb8deecc146b9b1"),
     // n
     number("ffffffffffffffffffffffff99def836146bc9b1b4d22831"),
     // x of G
     number("188da80eb03090f67cbf20eb43a18800f4ff0afd82ff1012"),
     // y of G
     number("07192b95ffc8da78631011ed6b24cdd573f977a11e794811")},
    {"p224", 28,
     // p = 2^224 - 2^96 + 1
     number("ffffffffffffffffffffffffffffffff000000000000000000000001"),
     // b
     number("b4050a850c04b3abf54132565044b0b7d7bfd8ba270b39432355ffb4"),
     // n
     number("ffffffffffffffffffffffffffff16a2e0b8f03e13dd29455c5c2a3d"),
     // x of G
     number("b70e0cbd6bb4bf7f321390b94a03c1d356c21122343280d6115c1d21"),
     // y of G
     number("bd376388b5f723fb4c22dfe6cd4375a05a07476444d5819985007e34")},
    {"p256", 32,
     // p = 2^256 - 2^224 + 2^192 + 2^96 - 1
     number("ffffffff00000001000000000000000000000000ffffffffffffffffffffffff"),
     // b
     number("5ac635d8aa3a93e7b3ebbd55769886bc651d06b0cc53b0f63bce3c3e27d2604b"),
     // n
     number("ffffffff00000000ffffffffffffffffbce6faada7179e84f3b9cac2fc632551"),
     // x of G
     number("6b17d1f2e12c4247f8bce6e563a440f277037d812deb33a0f4a13945d898c296"),
     // y of G
     number("4fe342e2fe1a7f9b8ee7eb4a7c0f9e162bce33576b315ececbb6406837bf51f5")},
    {"p384", 48,
     // p = 2^384 - 2^128 - 2^96 + 2^32 - 1
     number("fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffe"
            "ffffffff0000000000000000ffffffff"),
     // b
     number("b3312fa7e23ee7e4988e056be3f82d19181d9c6efe8141120314088f5013875a"
            "c656398d8a2ed19d2a85c8edd3ec2aef"),
     // n
     number("ffffffffffffffffffffffffffffffffffffffffffffffffc7634d81f4372ddf"
            "581a0db248b0a77aecec196accc52973"),
     // x of G
     number("aa87ca22be8b05378eb1c71ef320ad746e1d3b628ba79b9859f741e082542a38"
            "5502f25dbf55296c3a545e3872760ab7"),
     // y of G
     number("3617de4a96262c6f5d9e98bf9292dc29f8f41dbd289a147ce9da3113b5f0b8c0"
            "0a60b1ce1d7e819d7a431d7c90ea0e5f")},
    {"p521", 66,
     // p = 2^521 - 1
     number("01ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff"
            "ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff"
            "ffff"),
     // b
     number("0051953eb9618e1c9a1f929a21a0b68540eea2da725b99b315f3b8b489918ef1"
            "09e156193951ec7e937b1652c0bd3bb1bf073573df883d2c34f1ef451fd46b50"
            "3f00"),
     // n
     number("01ffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff"
            "fffa51868783bf2f966b7fcc0148f709a5d03bb5c9b8899c47aebb6fb71e9138"
            "6409"),
     // x of G
     number("00c6858e06b70404e9cd9e3ecb662395b4429c648139053fb521f828af606b4d"
            "3dbaa14b5e77efe75928fe1dc127a2ffa8de3348b3c1856a429bf97e7e31c2e5"
            "bd66"),
     // y of G
     number("011839296a789a3bc0045c8a5fb42c7d1bd998f54449579b446817afbd17273e"
            "662c97ee72995ef42640c550b9013fad0761353c7086a272c24088be94769fd1"
            "6650")},
};

} // namespace detail
