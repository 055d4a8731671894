/// PKCS#12 files for tests: those of `tests/vectors/pkcs/p12-*`, which programs of others made
/// (`make-pkcs12.sh`), and made-up ones, part by part.
#pragma once

#include "sealkit/pbes2.h"
#include "sealkit/pkcs12.h"
#include "sealkit/pkcs8.h"

#include "messages.h"

namespace test {

inline std::string const word = "secret1"; ///< The password of the files, unless their names say otherwise.

inline Bytes readP12(std::string const& name) { return readMessage("p12-" + name + ".p12"); }

inline std::shared_ptr<X509Certificate> certificateOf(std::string const& name) {
    CapturedOutput quiet;
    auto certificate = std::make_shared<X509Certificate>();
    Bytes const der = readMessage(name);
    EXPECT_TRUE(certificate->parse(der.data(), static_cast<unsigned>(der.size())));
    return certificate;
}

inline std::shared_ptr<X509Certificate> p12Certificate() { return certificateOf("p12-alice.der"); }
inline std::shared_ptr<PrivateKey> p12Key() {
    return parseOneAssimetricKey(readMessage("p12-alice-key.der"));
}
/// RSA.
inline std::shared_ptr<X509Certificate> rsaCertificate() { return certificateOf("recipient.der"); }
inline std::shared_ptr<PrivateKey> rsaKey() {
    return parseOneAssimetricKey(readMessage("recipient-key.der"));
}

/// The content octets of an object identifier.
inline Bytes oidOctets(std::string_view dotted) {
    Bytes const element = der::oid(dotted);
    return Bytes(element.begin() + 2, element.end());
}
inline AlgorithmIdentifier hashAlgorithm(HashID id) {
    asn1::blob const oid = getHashOid(id);
    return {Bytes(oid.begin(), oid.end()), der::null()};
}

/// What `call` gives, which must say this on standard output. The name in the RSA certificate has an
/// attribute that is reported wherever it is read; that does not count.
template <typename Call>
auto saying(std::string const& expected, Call const& call) {
    CapturedOutput output;
    auto result = call();
    std::string said = output.text();
    std::string const mailbox = "unknown name attr: 1.2.840.113549.1.9.1\n";
    for (size_t at; (at = said.find(mailbox)) != std::string::npos;)
        said.erase(at, mailbox.size());
    EXPECT_EQ(said, expected);
    return result;
}

inline PKCS12PFX parsedP12(Bytes const& file, std::string const& said = "") {
    PKCS12PFX pfx;
    EXPECT_TRUE(saying(said, [&] { return pfx.parse(file); }));
    return pfx;
}

/// Alice's certificate and key, named and linked.
inline PKCS12PFX newP12(unsigned iterations = 1) {
    PKCS12PFX pfx;
    pfx.certificates = {p12Certificate()};
    pfx.keys = {p12Key()};
    pfx.certificateAttributes = {{"alice", {}, {}}};
    pfx.keyAttributes = {{"alice", {}, {}}};
    pfx.iterations = iterations;
    EXPECT_TRUE(pfx.computeLocalKeyId());
    return pfx;
}

inline void expectAlice(PKCS12PFX const& pfx) {
    ASSERT_EQ(pfx.certificates.size(), 1u);
    ASSERT_EQ(pfx.keys.size(), 1u);
    EXPECT_EQ(pfx.certificates[0]->serialize(), readMessage("p12-alice.der"));
    EXPECT_EQ(encodePkcs8PrivateKey(*pfx.keys[0]), encodePkcs8PrivateKey(*p12Key()));
    EXPECT_EQ(pfx.encryptedKeys(), 0u);
    EXPECT_EQ(pfx.encryptedContents(), 0u);
}

namespace der {

inline std::string const keyBagOid = "1.2.840.113549.1.12.10.1.1",
                         shroudedBagOid = "1.2.840.113549.1.12.10.1.2",
                         certBagOid = "1.2.840.113549.1.12.10.1.3", safeBagOid = "1.2.840.113549.1.12.10.1.6",
                         encryptedDataOid = "1.2.840.113549.1.7.6", envelopedDataOid = "1.2.840.113549.1.7.3",
                         pbe3DesOid = "1.2.840.113549.1.12.1.3", pbes2Oid = "1.2.840.113549.1.5.13";

template <typename... More>
Bytes bag(std::string const& type, Bytes const& value, More const&... more) {
    return sequence(oid(type), context(0, value), more...);
}
inline Bytes certBag(Bytes const& attributes = {}) {
    return bag(
        certBagOid,
        sequence(oid("1.2.840.113549.1.9.22.1"), context(0, octetString(readMessage("p12-alice.der")))),
        attributes);
}
inline Bytes keyBag(Bytes const& attributes = {}) {
    return bag(keyBagOid, readMessage("p12-alice-key.der"), attributes);
}
inline Bytes dataContent(Bytes const& octets) {
    return sequence(oid(dataOid), context(0, octetString(octets)));
}
inline Bytes encryptedContent(Bytes const& algorithm, Bytes const& encrypted) {
    return sequence(
        oid(encryptedDataOid),
        context(0, sequence(integer(0), sequence(oid(dataOid), algorithm, implicit(0, encrypted)))));
}
inline Bytes pbeParams(Bytes const& iterations = {1}, Bytes const& salt = Bytes(8)) {
    return sequence(octetString(salt), integer(iterations));
}

/// A file in parts.
struct P12Parts {
    Bytes version = integer(3);
    std::vector<Bytes> bags = {certBag(), keyBag()};
    std::vector<Bytes> contents; ///< Behind that with the bags.
    Bytes macData;
    Bytes more;

    Bytes safe() const {
        Bytes all = bags.empty() ? Bytes() : dataContent(sequence(join(bags)));
        Bytes const rest = join(contents);
        all.insert(all.end(), rest.begin(), rest.end());
        return sequence(all);
    }
    Bytes der() const { return sequence(version, dataContent(safe()), macData, more); }
};

inline Bytes macData(Bytes const& mac, Bytes const& iterations = {}, Bytes const& more = {}) {
    return sequence(sequence(sha256Algorithm(), octetString(mac)), octetString(Bytes(8, 7)), iterations,
                    more);
}

} // namespace der

} // namespace test
