#include "inputs.h"

#include "support/rngs.h"

#include <sealkit/sealkit.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <numeric>
#include <string_view>

namespace bench {

namespace {

constexpr char marker[] = "00000000"; ///< The number of a numbered certificate.

/// Inputs are part of the program, so a missing one is an error.
template <typename T>
T&& need(T&& value, char const* what) {
    if (!value) {
        std::cerr << "cannot make " << what << "\n";
        std::exit(2);
    }
    return std::forward<T>(value);
}

Bytes randomBytes(unsigned seed, size_t size) {
    Bytes bytes(size);
    test::SeededRng(seed).fill(bytes.data(), static_cast<unsigned>(size));
    return bytes;
}

RsaPrivateKey const& rsaPrivateKey(unsigned bits) {
    static std::map<unsigned, std::unique_ptr<PrivateKey>> keys;
    auto& kept = keys[bits];
    if (!kept) {
        std::string const folder = bits == 8192 ? "/bench/" : "/tests/vectors/pkcs/keys/";
        kept =
            readPrivateKeyFromFile(SEALKIT_BENCH_ROOT + folder + "rsa" + std::to_string(bits) + ".key", "");
    }
    return dynamic_cast<RsaPrivateKey const&>(*need(kept, "an RSA key"));
}

EcPrivateKey const& ecPrivateKey(unsigned bits) {
    static std::map<unsigned, EcPrivateKey> keys;
    EcPrivateKey& kept = keys[bits];
    if (kept.secret == BigNum()) {
        kept.curve = bits == 256 ? Curve::p256 : bits == 384 ? Curve::p384 : Curve::p521;
        test::SeededRng rng(bits);
        need(kept.generatePrivKey(rng), "an EC key");
    }
    return kept;
}

KeyPair pairOf(PrivateKey const& key) { return {key.encodeToDerEncoded(), encodePkcs8PublicKey(key)}; }

DistinguishedName nameOf(std::string commonName) {
    DistinguishedName name;
    name.country = "XX";
    name.organization = "Example Organisation";
    name.organizationalUnit = "Benchmarks";
    name.commonName = std::move(commonName);
    return name;
}

X509Certificate certificateOf(PublicKey const& key, DistinguishedName subject, bool isCa) {
    X509Certificate certificate;
    certificate.serialNumber = randomBytes(static_cast<unsigned>(subject.commonName.size()), 16);
    certificate.serialNumber[0] = 0x42;
    certificate.notBefore = TimePoint::fromSeconds(1'577'836'800); // 2020
    certificate.notAfter = TimePoint::fromSeconds(2'493'072'000);  // 2049
    certificate.subject = std::move(subject);
    certificate.setPublicKey(key);
    certificate.subjectKeyId = calcKeyId(certificate.subjectPublicKeyInfo);
    certificate.basicConstraints = isCa ? 1 : 2;
    certificate.keyUsage = isCa ? KeyUsage::keyCertSign | KeyUsage::crlSign : KeyUsage::digitalSignature;
    return certificate;
}

void signBy(X509Certificate& certificate, X509Certificate const& issuer, PrivateKey const& key) {
    certificate.issuer = issuer.subject;
    certificate.authorityKeyId = issuer.subjectKeyId;
    need(certificate.sign(key, HashID::SHA256), "a certificate");
}

/// Root and leaf share a key: RSA keys are files, and no result depends on this.
Chain chainOf(PrivateKey const& key, PrivateKey const& intermediateKey) {
    X509Certificate root = certificateOf(key, nameOf("Benchmark root"), true);
    signBy(root, root, key);
    X509Certificate intermediate =
        certificateOf(intermediateKey, nameOf("Benchmark intermediate authority"), true);
    signBy(intermediate, root, key);
    DistinguishedName subject = nameOf("www.example.test");
    subject.state = "Some Province";
    subject.locality = "Some Town";
    X509Certificate leaf = certificateOf(key, subject, false);
    leaf.extKeyUsage = ExtKeyUsage::tlsServer | ExtKeyUsage::tlsClient | ExtKeyUsage::emailProtection;
    for (std::string_view const name : {"www.example.test", "example.test", "mail.example.test"})
        leaf.subjectAltNames.push_back(GeneralName{std::string(name), GeneralName::dnsName});
    signBy(leaf, intermediate, intermediateKey);
    return {leaf.serialize(), intermediate.serialize(), root.serialize()};
}

X509Certificate parsed(Bytes const& der) {
    X509Certificate certificate;
    need(certificate.parse(der, nullptr), "a certificate again");
    return certificate;
}

} // namespace

View message(size_t size) {
    static Bytes const bytes = randomBytes(1, recordSize);
    return View(bytes).first(size);
}

View key(size_t size) {
    static Bytes const bytes = randomBytes(2, 64);
    return View(bytes).first(size);
}

View iv(size_t size) {
    static Bytes const bytes = randomBytes(3, 64);
    return View(bytes).first(size);
}

View digest(size_t size) {
    static Bytes const bytes = randomBytes(4, 64);
    return View(bytes).first(size);
}

KeyPair const& rsaKey(unsigned bits) {
    static std::map<unsigned, KeyPair> pairs;
    return pairs.try_emplace(bits, pairOf(rsaPrivateKey(bits))).first->second;
}

KeyPair const& ecKey(unsigned bits) {
    static std::map<unsigned, KeyPair> pairs;
    return pairs.try_emplace(bits, pairOf(ecPrivateKey(bits))).first->second;
}

Chain const& rsaChain() {
    static auto const otherKey =
        readPrivateKeyFromFile(SEALKIT_BENCH_ROOT "/tests/vectors/pkcs/keys/other-rsa2048.key", "");
    static Chain const chain = chainOf(rsaPrivateKey(2048), *need(otherKey, "an RSA key"));
    return chain;
}

Chain const& p256Chain() {
    static Chain const chain = [] {
        EcPrivateKey otherKey;
        otherKey.curve = Curve::p256;
        test::SeededRng rng(5);
        need(otherKey.generatePrivKey(rng), "an EC key");
        return chainOf(ecPrivateKey(256), otherKey);
    }();
    return chain;
}

Bytes numberedCertificate(size_t number) {
    static Bytes const first = [] {
        X509Certificate certificate =
            certificateOf(rsaPrivateKey(2048), nameOf(std::string("Benchmark authority ") + marker), true);
        certificate.serialNumber.assign(marker, std::end(marker) - 1);
        certificate.subjectKeyId.assign(20, 'k');
        std::copy(marker, std::end(marker) - 1, certificate.subjectKeyId.begin());
        signBy(certificate, certificate, rsaPrivateKey(2048));
        return certificate.serialize();
    }();
    std::string digits = std::to_string(number);
    digits.insert(0, std::strlen(marker) - digits.size(), '0');
    Bytes der = first;
    auto place = der.begin();
    while ((place = std::search(place, der.end(), marker, std::end(marker) - 1)) != der.end())
        place = std::copy(digits.begin(), digits.end(), place);
    return der;
}

std::string bundle(size_t count) {
    std::string text;
    for (size_t i = 0; i < count; i++) {
        Bytes const block = encodePemType("CERTIFICATE", numberedCertificate(i));
        text.append(block.begin(), block.end());
    }
    return text;
}

Bytes const& pkcs12() {
    static Bytes const file = [] {
        PKCS12PFX pfx;
        pfx.certificates = {std::make_shared<X509Certificate>(parsed(rsaChain().leaf)),
                            std::make_shared<X509Certificate>(parsed(rsaChain().intermediate))};
        pfx.keys = {std::make_shared<RsaPrivateKey>(rsaPrivateKey(2048))};
        pfx.iterations = iterations;
        need(pfx.computeLocalKeyId() && pfx.setPbes2Params(password, {}, CipherID::AesCbc), "a PKCS#12 file");
        return pfx.save();
    }();
    return file;
}

Bytes const& signedMessage() {
    static Bytes const encoded = [] {
        PKCS7SignedData message;
        Bytes const content(4096, 'x');
        need(message.create(parsed(rsaChain().leaf), rsaPrivateKey(2048), getDataOid(), content,
                            HashID::SHA256),
             "a signed message");
        message.certificates.push_back(std::make_shared<X509Certificate>(parsed(rsaChain().intermediate)));
        DerEncoder encoder;
        message.save(encoder);
        return encoder.take();
    }();
    return encoded;
}

Bytes crlSerial(size_t index) {
    Bytes serial(16, 0x42);
    for (size_t i = 0; i < sizeof(unsigned); i++)
        serial[1 + i] = static_cast<unsigned char>(index * 2654435761u >> 8 * i);
    return serial;
}

Bytes crl(size_t entries) {
    X509Crl list;
    list.issuer = nameOf("Benchmark root");
    list.thisUpdate = TimePoint::fromSeconds(1'577'836'800);
    list.nextUpdate = TimePoint::fromSeconds(2'493'072'000);
    list.revoked.resize(entries);
    for (size_t i = 0; i < entries; i++) {
        list.revoked[i].serialNumber = crlSerial(i);
        list.revoked[i].revocationDate = list.thisUpdate;
    }
    need(list.sign(ecPrivateKey(256), HashID::SHA256), "a CRL");
    return list.serialize();
}

} // namespace bench
