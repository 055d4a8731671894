#include "sealkit/mlkem.h"
#include "sealkit/mlkem_keys.h"

#include "wiping/lifetime.h"
#include "wiping/secrets.h"

#include <functional>

namespace {

using test::Bytes;
using test::Watch;

Bytes const seed = test::Random(1).bytes(64);

/// What is public of a key: within the secret key stand the public key and its hash.
void addPublic(Watch& watch, MLKEMDecap const& key) {
    watch.addPublic(key.publicKey);
    watch.addPublic(std::span(key.secretKey).subspan(1152, 1184 + 32));
}

TEST(Wiping, MlkemLeavesNoSecretKeysOrSharedSecrets) {
    auto const known = std::make_unique<MLKEMDecap>();
    ASSERT_TRUE(known->load(seed));
    Bytes const ciphertext = MLKEMEncap().encap(known->publicKey);
    Bytes changed = ciphertext;
    changed[0] ^= 1;
    for (Bytes const& given : {ciphertext, changed})
        for (bool const fromSeed : {true, false}) {
            Watch watch;
            addPublic(watch, *known);
            watch.addPublic(ciphertext);
            watch.addPublic(changed);
            watch.addSecret("seed", seed);
            test::expectWiped<MLKEMDecap>(watch, [&](MLKEMDecap& key) {
                EXPECT_TRUE(fromSeed ? key.load(seed) : key.load(known->secretKey));
                EXPECT_TRUE(key.decap(given));
            });
        }
}

/// Makes an object, uses it and destroys it on a stack of its own, where nothing of what `secretOf` gives may
/// stay.
template <typename T>
void expectStackWiped(std::function<void(T&)> const& use,
                      std::function<void(Watch&, T const&)> const& addSecrets) {
    Watch watch;
    for (bool bound : {false, true}) {
        test::OwnStack stack;
        auto copy = std::make_unique<T>();
        stack.run([&] {
            T object;
            use(object);
            *copy = object;
        });
        if (!bound)
            continue; // Binding functions saves all registers on the stack.
        addSecrets(watch, *copy);
        watch.search(stack);
    }
    test::expectNothingFound(watch);
}

TEST(Wiping, GeneratingMlkemKeysLeavesNothing) {
    expectStackWiped<MLKEMDecap>([](MLKEMDecap& key) { EXPECT_TRUE(key.generate()); },
                                 [](Watch& watch, MLKEMDecap const& key) {
                                     addPublic(watch, key);
                                     // z, which is half of what the key is computed from, is at its end.
                                     watch.addSecret("secret key", key.secretKey);
                                 });
}

TEST(Wiping, MlkemEncapsulationLeavesNoSharedSecret) {
    auto const key = std::make_unique<MLKEMDecap>();
    ASSERT_TRUE(key->load(seed));
    expectStackWiped<MLKEMEncap>(
        [&](MLKEMEncap& sender) { EXPECT_EQ(sender.encap(key->publicKey).size(), 1088U); },
        [](Watch& watch, MLKEMEncap const& sender) {
            watch.addSecret("shared secret", sender.sharedSecret);
        });
}

TEST(Wiping, MlkemKeyFilesLeaveNeitherKeyNorPassword) {
    auto const known = std::make_unique<MLKEMDecap>();
    ASSERT_TRUE(known->load(seed));
    Bytes const random = test::Random(2).bytes(100);
    std::string const word(random.begin(), random.end());
    auto const textOf = [](Bytes const& der) {
        return std::string_view(reinterpret_cast<char const*>(der.data()), der.size());
    };
    Watch watch;
    addPublic(watch, *known);
    watch.addSecret("seed", seed);
    watch.addSecret("secret key", known->secretKey);
    watch.addSecret("password", test::bytesOf(word));
    test::runSearched(watch, [&] {
        std::span<unsigned char const, mlkemSeedSize> const bytes(seed.data(), mlkemSeedSize);
        Bytes const der = encodeMlkemEncryptedPrivateKey(bytes, word, 2);
        MLKEMDecap key;
        MlkemKeyForm form;
        EXPECT_TRUE(parseMlkemEncryptedPrivateKey(der, word, key, nullptr, &form));
        EXPECT_TRUE(readMlkemPrivateKey(textOf(der), word, key, nullptr));
        EXPECT_FALSE(readMlkemPrivateKey(textOf(der), "wrong", key, nullptr));
        Bytes pub;
        EXPECT_TRUE(readMlkemPublicKey(textOf(der), word, pub, nullptr));
        EXPECT_TRUE(encodeMlkemEncryptedPrivateKey(bytes, word, 0).empty());
    });
    test::expectNothingFound(watch);
}

} // namespace
