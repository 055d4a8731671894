#include "objects/cipher_names.h"

#include <kp/text.h>

#include <algorithm>

namespace {

CipherName const names[] = {
    {"null", CipherMode::null, CipherID::Null, {}, 1},
    {"des-cbc", CipherMode::cbc, CipherID::DesCbc, {8}, 8},
    {"des-ede3-cbc", CipherMode::cbc, CipherID::TripleDesCbc, {24}, 8},
    {"3des-cbc", CipherMode::cbc, CipherID::TripleDesCbc, {24}, 8},
    {"aes-cbc", CipherMode::cbc, CipherID::AesCbc, {16, 24, 32}, 16},
    {"aes-ctr", CipherMode::ctr, CipherID::AesCtr, {16, 24, 32}, 16},
    {"aes-cfb", CipherMode::cfb, CipherID::AesCfb, {16}, 16},
    {"aes-gcm", CipherMode::gcm, CipherID::AesGcm, {16, 32}, 0},
    {"aes-siv", CipherMode::siv, CipherID(), {32, 48, 64}, 0},
};

std::optional<CipherName> findExactly(std::string_view name) {
    for (CipherName const& entry : names)
        if (entry.name == name)
            return entry;
    return std::nullopt;
}

} // namespace

std::optional<CipherName> findCipher(std::string_view name) {
    std::string const lower = str2lower(name);
    if (auto const exact = findExactly(lower))
        return exact;
    for (size_t const length : {16, 24, 32}) {
        std::string const start = "aes-" + std::to_string(8 * length) + "-";
        if (!lower.starts_with(start))
            continue;
        auto sized = findExactly("aes-" + lower.substr(start.size()));
        if (!sized)
            return std::nullopt;
        size_t const keyLength = sized->mode == CipherMode::siv ? 2 * length : length;
        if (std::ranges::count(sized->keyLengths, keyLength) == 0)
            return std::nullopt;
        sized->name = lower;
        sized->keyLengths = {keyLength};
        return sized;
    }
    return std::nullopt;
}

std::string listCiphers() {
    std::string list;
    for (CipherName const& entry : names)
        list += (list.empty() ? "" : ", ") + entry.name;
    return list;
}
