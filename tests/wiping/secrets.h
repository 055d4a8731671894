/// Telling a watch what to look for.
#pragma once

#include "sealkit/keys.h"

#include "wiping/lifetime.h"

namespace test {

inline std::span<unsigned char const> bytesOf(std::string_view text) {
    return {reinterpret_cast<unsigned char const*>(text.data()), text.size()};
}

/// A secret number in each form that it may take: digits, bytes in either order, and text.
inline void addNumber(Watch& watch, std::string_view name, BigNum const& number) {
    Watch::Pause const pause;
    watch.addObject(name, number.digits.data(), number.digits.size() * sizeof(unsigned));
    watch.addSecret(name, number.bin(0));
    watch.addSecret(name, number.bin(little_endian{}));
    watch.addSecret(name, bytesOf(number.str()));
}

inline void addPublic(Watch& watch, BigNum const& number) {
    Watch::Pause const pause;
    auto const* const digits = reinterpret_cast<unsigned char const*>(number.digits.data());
    watch.addPublic({digits, number.digits.size() * sizeof(unsigned)});
    watch.addPublic(number.bin(0));
    watch.addPublic(number.bin(little_endian{}));
    watch.addPublic(bytesOf(number.str()));
}

/// The secret members of a key, and what of its public ones may look like them.
inline void addKey(Watch& watch, PrivateKey const& key) {
    if (auto const* rsa = dynamic_cast<RsaPrivateKey const*>(&key)) {
        for (auto [name, number] :
             {std::pair("d", &rsa->d), std::pair("p", &rsa->p), std::pair("q", &rsa->q),
              std::pair("exp1", &rsa->exp1), std::pair("exp2", &rsa->exp2), std::pair("coeff", &rsa->coeff)})
            addNumber(watch, name, *number);
        addPublic(watch, rsa->n);
    } else if (auto const* ec = dynamic_cast<EcPrivateKey const*>(&key)) {
        addNumber(watch, "scalar", ec->secret);
        addPublic(watch, ec->point.x);
        addPublic(watch, ec->point.y);
    } else if (auto const* ed25519 = dynamic_cast<Ed25519PrivateKey const*>(&key)) {
        addNumber(watch, "seed", BigNum(asn1::blob(ed25519->secret)));
        addPublic(watch, BigNum(asn1::blob(ed25519->pub)));
    } else if (auto const* x25519 = dynamic_cast<X25519PrivateKey const*>(&key)) {
        addNumber(watch, "scalar", BigNum(asn1::blob(x25519->secret)));
        addPublic(watch, BigNum(asn1::blob(x25519->pub)));
    }
}

} // namespace test
