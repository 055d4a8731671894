// Signatures, key agreement, encapsulation and key generation.
#include "ours/ours.h"

#include "inputs.h"

#include <sealkit/curve25519.h>
#include <sealkit/keys.h>
#include <sealkit/pkcs8.h>
#include <sealkit/rng.h>
#include <sealkit/signature.h>
#ifndef SEALKIT_WITHOUT_MLKEM
#include <sealkit/mlkem.h>
#endif

#include <algorithm>

namespace bench {

namespace {

/// Signing and verification by keys of any kind.
void addSignatures(Rows& rows, std::string const& name, std::string const& size,
                   std::function<std::shared_ptr<PrivateKey>()> const& read, HashID hash, size_t digestSize) {
    rows.add(name + "_sign" + size, [=] {
        return [=, own = read()] { return !signHashed(*own, hash, digest(digestSize)).empty(); };
    });
    rows.add(name + "_verify" + size, [=] {
        auto const own = read();
        return [=, peer = std::shared_ptr<PublicKey>(own->publicKey()),
                signature = signHashed(*own, hash, digest(digestSize))] {
            return verifyHashed(*peer, hash, digest(digestSize), signature);
        };
    });
}

} // namespace

void addRsa(Rows& rows) {
    for (unsigned const bits : {1024u, 2048u, 3072u, 4096u, 8192u})
        addSignatures(
            rows, "rsa", "/" + std::to_string(bits),
            [=] {
                auto own = std::make_shared<RsaPrivateKey>();
                own->parseFromDerEncoded({}, rsaKey(bits).privateKey);
                return own;
            },
            HashID::SHA256, 32);
}

void addCurves(Rows& rows) {
    struct Named {
        unsigned bits;
        Curve curve;
        HashID hash;
        size_t digestSize;
    };
    for (Named const named :
         {Named{256, Curve::p256, HashID::SHA256, 32}, Named{384, Curve::p384, HashID::SHA384, 48},
          Named{521, Curve::p521, HashID::SHA512, 64}}) {
        std::string const name = "p" + std::to_string(named.bits);
        auto const read = [=] {
            auto own = std::make_shared<EcPrivateKey>();
            own->parseFromDerEncoded({}, ecKey(named.bits).privateKey);
            return own;
        };
        addSignatures(rows, name, "", read, named.hash, named.digestSize);
        rows.add(name + "_keygen", [=] {
            return [=] {
                EcPrivateKey made;
                made.curve = named.curve;
                return made.generatePrivKey(getDefaultRng());
            };
        });
        rows.add(name + "_agree", [=] {
            auto const own = read();
            return [=, point = own->publicKey()->encodeToDerEncoded()] {
                return !own->exchangeKeys(point).empty();
            };
        });
    }

    Bytes const seed(key(32).begin(), key(32).end());
    rows.add("x25519_agree", [=] {
        X25519PrivateKey own;
        own.initPrivate(seed);
        return [=] { return x25519::kex(own.secret, own.pub).size() == 32; };
    });
    rows.add("x25519_keygen",
             [=] { return [] { return X25519PrivateKey().generatePrivKey(getDefaultRng()); }; });
    rows.add("ed25519_sign", [=] {
        Ed25519PrivateKey own;
        own.initPrivate(seed);
        return [=] { return own.sign(digest(32)).size() == 64; };
    });
    rows.add("ed25519_verify", [=] {
        Ed25519PrivateKey own;
        own.initPrivate(seed);
        return [=, signature = own.sign(digest(32))] { return own.verify(digest(32), signature); };
    });
    rows.add("ed25519_keygen",
             [=] { return [] { return Ed25519PrivateKey().generatePrivKey(getDefaultRng()); }; });
}

#ifndef SEALKIT_WITHOUT_MLKEM
void addMlkem(Rows& rows) {
    rows.add("mlkem768_keygen", [] { return [own = MLKEMDecap()]() mutable { return own.generate(); }; });
    rows.add("mlkem768_encapsulate", [] {
        MLKEMDecap own;
        own.load(key(64));
        return [own, peer = MLKEMEncap()]() mutable { return !peer.encap(own.publicKey).empty(); };
    });
    rows.add("mlkem768_decapsulate", [] {
        MLKEMDecap own;
        own.load(key(64));
        MLKEMEncap peer;
        return [own, ciphertext = peer.encap(own.publicKey),
                secret = Bytes(peer.sharedSecret, peer.sharedSecret + 32)]() mutable {
            return own.decap(ciphertext) && std::equal(secret.begin(), secret.end(), own.sharedSecret);
        };
    });
}
#endif

} // namespace bench
