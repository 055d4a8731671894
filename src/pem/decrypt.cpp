#include "sealkit/cipher.h"
#include "sealkit/pem.h"
#include "sealkit/wipe.h"

#include "base/secret_bytes.h"
#include "kp/text.h"
#include "pem/read.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

struct DekAlgorithm {
    std::string_view name;
    CipherID id;
    unsigned keySize;
    unsigned blockSize; ///< Also the size of the IV.
};

constexpr DekAlgorithm dekAlgorithms[] = {
    {"DES-EDE3-CBC", CipherID::TripleDesCbc, 24, 8},
    {"AES-128-CBC", CipherID::AesCbc, 16, 16},
    {"AES-192-CBC", CipherID::AesCbc, 24, 16},
    {"AES-256-CBC", CipherID::AesCbc, 32, 16},
};

constexpr std::string_view procType = "Proc-Type:", dekInfo = "DEK-Info:";
constexpr std::string_view blanks = " \t\v\f\r";
/// The maximum length of the fields of DEK-Info: the name of the cipher and the IV.
constexpr size_t maxFieldLength = 36;
constexpr unsigned md5Size = 16, saltSize = 8;

void skipBlanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
}

/// Takes the text before the first of `ends`, up to the maximum length of a field.
std::string_view takeField(std::string_view& text, std::string_view ends) {
    std::string_view const field = text.substr(0, std::min(text.find_first_of(ends), maxFieldLength));
    text.remove_prefix(field.size());
    return field;
}

/// Parses the line "DEK-Info: NAME,IV". Text after a blank after the IV is ignored.
bool parseDekInfo(std::string_view line, std::string_view* name, std::string_view* iv) {
    if (!line.starts_with(dekInfo))
        return false;
    line.remove_prefix(dekInfo.size());
    skipBlanks(line);
    *name = takeField(line, ",");
    if (name->empty() || !line.starts_with(','))
        return false;
    line.remove_prefix(1);
    skipBlanks(line);
    *iv = takeField(line, blanks);
    return !iv->empty();
}

/// Skips the remaining headers, which have a colon, or continue the previous one after a blank (RFC 1421,
/// section 4.6; RFC 822, section 3.1.1).
void skipHeaders(std::string_view& body) {
    for (std::string_view rest = body; !rest.empty(); body = rest) {
        std::string_view const line = detail::takeLine(rest);
        bool const isBlank = line.find_first_not_of(blanks) == std::string_view::npos;
        bool const continues = !isBlank && blanks.find(line.front()) != std::string_view::npos;
        if (!continues && line.find(':') == std::string_view::npos)
            return;
    }
}

DekAlgorithm const* findAlgorithm(std::string_view name) {
    for (DekAlgorithm const& algorithm : dekAlgorithms)
        if (algorithm.name == name)
            return &algorithm;
    return nullptr;
}

/// The key derivation of OpenSSL's traditional format with a count of 1: MD5(password ‖ salt), followed by
/// MD5 of the previous digest, the password and the salt.
std::unique_ptr<Cipher> makeCipher(DekAlgorithm const& algorithm, asn1::blob iv, std::string_view password) {
    unsigned char key[2 * md5Size];
    MD5 md5;
    for (unsigned done = 0; done < algorithm.keySize; done += md5Size) {
        if (done != 0)
            md5.update(key + done - md5Size, md5Size);
        md5.update(password.data(), static_cast<unsigned>(password.size()));
        md5.update(iv.data(), saltSize);
        md5.digest(key + done);
    }
    std::unique_ptr<Cipher> cipher = createCipher(algorithm.id, {key, algorithm.keySize}, 0);
    secureMemset(key, 0, sizeof key);
    cipher->setIV(iv.data(), algorithm.blockSize);
    return cipher;
}

/// Sets `*length` to the length without padding (RFC 8018, section 6.1.1, step 4). Returns false if any
/// padding byte is wrong.
bool checkPadding(asn1::blob plain, unsigned blockSize, size_t* length) {
    unsigned const padding = plain[plain.size() - 1];
    if (padding == 0 || padding > blockSize || padding > plain.size())
        return false;
    *length = plain.size() - padding;
    return std::all_of(plain.begin() + *length, plain.end(), [=](auto byte) { return byte == padding; });
}

bool refuseHeader(detail::Reading& reading, PemBlock const& block, size_t line) {
    return reading.refuseLine(RefusalId::malformedEncryptionParameters, block.number, block.line + line);
}

bool decryptInto(detail::Reading& reading, PemBlock const& block, std::optional<std::string_view> password,
                 std::vector<unsigned char>& out) {
    detail::DekInfo info;
    if (!detail::readDekInfo(reading, block, &info))
        return false;
    DekAlgorithm const& algorithm = *findAlgorithm(info.cipher);
    PemBlock text = block;
    text.body = info.text;
    text.line = info.line;
    std::vector<unsigned char> encrypted;
    if (!detail::decode(reading, text, &encrypted))
        return false;
    if (encrypted.empty() || encrypted.size() % algorithm.blockSize != 0 ||
        std::max(encrypted.size(), password ? password->size() : 0) > std::numeric_limits<unsigned>::max())
        return reading.refuse(RefusalId::malformedCiphertext, nullptr,
                              {{"block", std::to_string(algorithm.blockSize) + " bytes"},
                               {"found", std::to_string(encrypted.size()) + " bytes"}});
    if (!password)
        return reading.refuse(RefusalId::passwordRequired, nullptr);
    out.resize(encrypted.size());
    makeCipher(algorithm, info.iv, *password)
        ->decrypt(encrypted.data(), static_cast<unsigned>(encrypted.size()), nullptr, 0, out.data());
    size_t length;
    if (!checkPadding(out, algorithm.blockSize, &length))
        return reading.refuse(RefusalId::wrongPassword, nullptr);
    out.resize(length);
    return true;
}

} // namespace

bool detail::readDekInfo(Reading& reading, PemBlock const& block, DekInfo* info) {
    Reading::Block const within(reading, block.number, {});
    std::string_view body = block.body;
    if (!takeLine(body).starts_with(procType))
        return refuseHeader(reading, block, 1);
    std::string_view ivText;
    if (!parseDekInfo(takeLine(body), &info->cipher, &ivText))
        return refuseHeader(reading, block, 2);
    DekAlgorithm const* const algorithm = findAlgorithm(info->cipher);
    if (algorithm == nullptr) {
        reading.refuse(RefusalId::unsupportedCipher, nullptr, {{"cipher", std::string(info->cipher)}});
        reading.note("[ERR] unkown encrypted PEM type: " + std::string(info->cipher));
        return false;
    }
    if (!hex2bin(ivText, &info->iv) || info->iv.size() != algorithm->blockSize)
        return refuseHeader(reading, block, 2);
    skipHeaders(body);
    info->text = body;
    std::string_view const headers = block.body.substr(0, block.body.size() - body.size());
    info->line = block.line + static_cast<size_t>(std::count(headers.begin(), headers.end(), '\n'));
    return true;
}

bool detail::decrypt(Reading& reading, PemBlock const& block, std::optional<std::string_view> password,
                     std::vector<unsigned char>* out) {
    Reading::Block const within(reading, block.number, {});
    std::vector<unsigned char> result;
    bool const done = decryptInto(reading, block, password, result);
    if (!done) {
        wipe(result);
        result.clear();
    }
    // Wiped last, because the body may be a view of the previous contents of `out`.
    wipe(*out);
    *out = std::move(result);
    return done;
}

bool pemDecrypt(std::string_view body, std::vector<unsigned char>* out, std::string const& password) {
    detail::Reading reading((asn1::blob(body)));
    PemBlock block;
    block.body = body;
    return detail::decrypt(reading, block, password, out);
}

bool pemDecrypt(std::string_view body, std::vector<unsigned char>* out, std::string const& password,
                Refusal* refusal) {
    detail::Reading reading(body, refusal);
    PemBlock block;
    block.body = body;
    return detail::decrypt(reading, block, password, out);
}
