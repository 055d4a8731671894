/// From an abstract key to its class, without run-time type information.
#pragma once

#include "sealkit/keys.h"

#include <type_traits>

namespace detail {

template <typename K>
constexpr KeyType keyTypeOf = std::is_base_of_v<RsaPublicKey, K>       ? KeyType::RSA
                              : std::is_base_of_v<EcPublicKey, K>      ? KeyType::EC
                              : std::is_base_of_v<Ed25519PublicKey, K> ? KeyType::Ed25519
                                                                       : KeyType::X25519;

/// `key` as the public class `K`, or null when it is of another type. `key` may be a private one.
///
/// The language has no cast down from a virtual base but `dynamic_cast`, which needs type information
/// for every target except `void*`: that gives the address of the complete object. The complete object
/// is a `K`, or a private key whose first base is `K` and stands at offset 0, since `K` is its first
/// base with virtual functions and so its primary one (Itanium C++ ABI, section 2.4).
template <typename K>
K const* keyCast(PublicKey const& key) requires(!std::is_base_of_v<PrivateKey, K>) {
    if (key.keyType() != keyTypeOf<K>)
        return nullptr;
    return static_cast<K const*>(dynamic_cast<void const*>(&key));
}

/// `key` as the private class `K`, or null when it is of another type. Only a private key can be asked:
/// a key's type does not tell the public class from the private one.
template <typename K>
K const* keyCast(PrivateKey const& key) requires std::is_base_of_v<PrivateKey, K> {
    if (key.keyType() != keyTypeOf<K>)
        return nullptr;
    return static_cast<K const*>(dynamic_cast<void const*>(&key));
}

} // namespace detail
