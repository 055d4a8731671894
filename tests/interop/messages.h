/// What makers and checks of messages share: contents, and messages that the library makes alike for the peer
/// to judge and wherever the case is replayed.
#pragma once

#include "sealkit/pkcs7.h"

#include <memory>
#include <string>
#include <vector>

namespace interop {

using Bytes = std::vector<unsigned char>;

/// Content octets of the object identifier id-data (RFC 5652, section 4).
inline Bytes const dataType = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x07, 0x01};

/// The content of the case with that id, which is not written down.
Bytes contentOf(std::string const& id, size_t size);

/// The private key of `tests/vectors/pkcs/keys/<name>.key`, read once.
PrivateKey const& privateKey(std::string const& name);

/// Throws unless it parses. What the library says to it is not shown.
std::shared_ptr<X509Certificate> certificateOf(Bytes const& der);

struct SignerRecipe {
    std::shared_ptr<X509Certificate> certificate;
    std::string key;
    HashID hash = HashID::none;
};

/// By `PKCS7SignedData::create`, with what it does not make put in by hand: more signers, their certificates,
/// and a counter-signature of the first signer.
struct SignedRecipe {
    std::vector<SignerRecipe> signers;
    std::vector<std::shared_ptr<X509Certificate>> more; ///< Certificates beside those of signers.
    HashID counterHash = HashID::none;                  ///< By the last signer.
    Bytes content;
    bool isDetached = false;

    PKCS7SignedData make() const;
    Bytes makeDer() const;
};

/// By `PKCS7EnvelopedData::encrypt` with random bytes from a seed; with `isVersion2` an originator and
/// unprotected attributes are put in by hand.
struct EnvelopedRecipe {
    std::vector<std::shared_ptr<X509Certificate>> recipients;
    PKCS7Encryption how;
    bool isVersion2 = false;
    Bytes content;
    unsigned seed = 0;

    PKCS7EnvelopedData make() const;
};

/// Text with '|' for the ends of lines.
std::string onOneLine(std::string text);

} // namespace interop
