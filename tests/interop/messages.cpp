#include "interop/messages.h"

#include "sealkit/pem.h"

#include "support/captured_output.h"
#include "support/der.h"
#include "support/random.h"
#include "support/rngs.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace interop {

Bytes contentOf(std::string const& id, size_t size) { return test::Random(id).bytes(size); }

PrivateKey const& privateKey(std::string const& name) {
    static std::map<std::string, std::unique_ptr<PrivateKey>> read;
    auto& key = read[name];
    if (key == nullptr)
        key = readPrivateKeyFromFile(SEALKIT_TEST_DATA "/vectors/pkcs/keys/" + name + ".key", "");
    if (key == nullptr)
        throw std::runtime_error("no key " + name);
    return *key;
}

std::shared_ptr<X509Certificate> certificateOf(Bytes const& der) {
    test::CapturedOutput const quiet;
    auto certificate = std::make_shared<X509Certificate>();
    if (!certificate->parse(der.data(), static_cast<unsigned>(der.size())))
        throw std::runtime_error("the library does not read a certificate: " + quiet.text());
    return certificate;
}

PKCS7SignedData SignedRecipe::make() const {
    auto const require = [](bool isSigned) {
        if (!isSigned)
            throw std::runtime_error("the library does not sign");
    };
    PKCS7SignedData message;
    for (SignerRecipe const& signer : signers) {
        PrivateKey const& key = privateKey(signer.key);
        if (message.signerInfos.empty()) {
            require(message.create(*signer.certificate, key, dataType, content, signer.hash));
            continue;
        }
        message.signerInfos.push_back(std::make_unique<PKCS7SignerInfo>());
        require(message.signerInfos.back()->sign(*signer.certificate, key, dataType, content, signer.hash));
        message.certificates.push_back(signer.certificate);
        if (std::ranges::find(message.digestAlgorithms, signer.hash) == message.digestAlgorithms.end())
            message.digestAlgorithms.push_back(signer.hash);
    }
    message.certificates.insert(message.certificates.end(), more.begin(), more.end());
    if (counterHash != HashID::none) {
        PKCS7SignerInfo& first = *message.signerInfos.front();
        first.counterSignature = std::make_unique<PKCS7SignerInfo>();
        require(first.counterSignature->sign(*signers.back().certificate, privateKey(signers.back().key),
                                             dataType, first.encryptedDigest, counterHash));
    }
    if (isDetached)
        message.content.clear();
    return message;
}

Bytes SignedRecipe::makeDer() const {
    DerEncoder to;
    make().save(to);
    return to.take();
}

PKCS7EnvelopedData EnvelopedRecipe::make() const {
    std::vector<X509Certificate const*> certificates;
    for (auto const& recipient : recipients)
        certificates.push_back(recipient.get());
    PKCS7EnvelopedData message;
    if (!message.encrypt(certificates, dataType, content, how, test::SeededRng(seed)))
        throw std::runtime_error("the library does not encrypt");
    if (isVersion2) {
        namespace der = test::der;
        message.version = 2;
        message.originatorInfo = der::context(0, der::context(0, recipients.front()->serialize()));
        message.unprotectedAttrs = der::context(
            1, der::sequence(der::oid("1.2.840.113549.1.9.16.2.4"), der::set(der::octetString({1, 2, 3}))));
    }
    return message;
}

std::string onOneLine(std::string text) {
    std::ranges::replace(text, '\n', '|');
    return text;
}

} // namespace interop
