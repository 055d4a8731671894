#include "interop/names.h"

#include <gtest/gtest.h>

#include <utility>

HashID interop::hashNamed(std::string const& name) {
    static constexpr std::pair<char const*, HashID> hashes[] = {
        {"MD5-SHA1", HashID::MD5SHA1}, {"MD4", HashID::MD4},       {"MD5", HashID::MD5},
        {"SHA1", HashID::SHA1},        {"SHA256", HashID::SHA256}, {"SHA384", HashID::SHA384},
        {"SHA512", HashID::SHA512},
    };
    for (auto [known, id] : hashes)
        if (name == known)
            return id;
    ADD_FAILURE() << "no such hash: " << name;
    return HashID::none;
}

CipherID interop::cipherNamed(std::string const& name) {
    static constexpr std::pair<char const*, CipherID> aesModes[] = {{"CBC", CipherID::AesCbc},
                                                                    {"CTR", CipherID::AesCtr},
                                                                    {"CFB", CipherID::AesCfb},
                                                                    {"GCM", CipherID::AesGcm}};
    if (name == "DES-CBC")
        return CipherID::DesCbc;
    if (name == "DES-EDE3-CBC")
        return CipherID::TripleDesCbc;
    for (auto [mode, id] : aesModes)
        if (name.starts_with("AES-") && name.ends_with(mode))
            return id;
    ADD_FAILURE() << "no such cipher: " << name;
    return {};
}
