#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "encrypted_key.h"
#include "targets.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

namespace oid = detail::oid;

/// The limit on the work of an input, which keeps the fuzzer fast.
constexpr unsigned maxIterations = 50;
constexpr char secret[] = "password";

/// The parameters are written as they were read, and decryption under them reverses encryption.
void checkScheme(AlgorithmIdentifier const& algorithm, PBES2Params const& p, asn1::blob data) {
    PBES2Params again;
    Bytes const encoded = encode(p);
    SEALKIT_ASSERT(parse(again, encoded) && encode(again) == encoded);
    SEALKIT_ASSERT(again.prf == p.prf && again.salt == p.salt && again.iterations == p.iterations);

    Bytes encrypted, decrypted;
    bool const works = pbes2_crypt(algorithm, secret, data, encrypted, true);
    SEALKIT_ASSERT(encrypted == pbes2_encrypt(data, secret, p));
    SEALKIT_ASSERT(works == !encrypted.empty());
    if (works) {
        SEALKIT_ASSERT(encrypted.size() > data.size() && encrypted.size() <= data.size() + p.iv.size());
        SEALKIT_ASSERT(pbes2_crypt(algorithm, secret, encrypted, decrypted, false));
        SEALKIT_ASSERT(asn1::blob(decrypted) == data);
    }
    if (pbes2_crypt(algorithm, secret, data, decrypted, false))
        SEALKIT_ASSERT(works && decrypted.size() <= data.size());
    else
        SEALKIT_ASSERT(decrypted.empty());
}

/// Checks an EncryptedPrivateKeyInfo. Returns false if its decryption would take too long.
bool checkEncryptedKey(asn1::blob input) {
    fuzz::EncryptedKey key;
    if (!key.parse(input))
        return true;
    if (key.params.iterations > maxIterations)
        return false;
    checkScheme(key.algorithm, key.params, key.data);
    return true;
}

} // namespace

/// The input is an EncryptedPrivateKeyInfo, the body of a PEM block with headers, and data.
void fuzz::password(asn1::blob input) {
    std::string_view const text(reinterpret_cast<char const*>(input.data()), input.size());
    Bytes out = {1};
    if (pemDecrypt(text, &out, secret))
        SEALKIT_ASSERT(out.size() < input.size());
    else
        SEALKIT_ASSERT(out.empty());

    if (checkEncryptedKey(input)) {
        std::unique_ptr<PrivateKey> const key = parsePkcs8EncryptedPrivateKey(input, secret);
        if (key != nullptr) {
            Bytes const written = encodePkcs8EncryptedPrivateKey(*key, secret, 1);
            std::unique_ptr<PrivateKey> const again = parsePkcs8EncryptedPrivateKey(written, secret);
            SEALKIT_ASSERT(again != nullptr && again->equals(*key));
        }
    }

    // All schemes, if they are fast enough.
    KeyEncryption encryption;
    auto const rc2 = [](asn1::blob, unsigned, asn1::blob, asn1::blob data, unsigned char* plain) {
        std::copy(data.begin(), data.end(), plain);
    };
    PasswordSchemes const schemes{true, rc2};
    if (findKeyEncryption(text, &encryption, schemes) && encryption.iterations <= maxIterations &&
        encryption.keyDerivation.find("scrypt") == std::string::npos)
        parsePkcs8EncryptedPrivateKey(input, secret, nullptr, schemes);

    PBES2Params const own{detail::copyOf(oid::pbkdf2), {}, {}, 1, detail::copyOf(oid::aes128Cbc), Bytes(16)};
    checkScheme({detail::copyOf(oid::pbes2), encode(own)}, own, input);
}
