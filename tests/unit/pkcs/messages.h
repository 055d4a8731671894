/// Messages for tests: those of `tests/vectors/pkcs`, which OpenSSL made (`scripts/make-message-vectors`),
/// and made-up ones, part by part.
#pragma once

#include "sealkit/pem.h"
#include "sealkit/pkcs7.h"
#include "sealkit/store.h"

#include "support/captured_output.h"
#include "support/der.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace test {

using der::Bytes;

inline std::string const messageFolder = SEALKIT_TEST_DATA "/vectors/pkcs/";

inline Bytes readMessage(std::string const& name) {
    std::ifstream file(messageFolder + name, std::ios::binary);
    Bytes bytes{std::istreambuf_iterator<char>(file), {}};
    EXPECT_FALSE(bytes.empty()) << name;
    return bytes;
}

inline std::string readMessageText(std::string const& name) {
    Bytes const bytes = readMessage(name);
    return std::string(bytes.begin(), bytes.end());
}

inline std::shared_ptr<X509Certificate> messageCertificate(std::string const& name) {
    CapturedOutput quiet;
    return readCertFromStr(readMessageText(name));
}

inline std::unique_ptr<PrivateKey> aliceKey() {
    CapturedOutput quiet;
    return readPrivateKey(readMessageText("alice.key"), "");
}

inline CertificateMemoryStore storeOf(std::string const& name) {
    CertificateMemoryStore store;
    store.certs.push_back(messageCertificate(name));
    return store;
}

/// In the validity of all certificates of the folder.
inline TimePoint const whenValid = TimePoint::fromSeconds(1893456000); // 2030-01-01

/// What parsing said, and where.
struct Outcome {
    bool isGood = false;
    std::string output;
    std::string errors;
};

template <typename Object>
Outcome parseInto(Object& object, Bytes const& encoding) {
    CapturedOutput output;
    CapturedErrors errors;
    // In memory of its own, so that reading on is noticed.
    std::unique_ptr<unsigned char[]> exact(new unsigned char[encoding.size()]);
    std::copy(encoding.begin(), encoding.end(), exact.get());
    bool const isGood = object.parse(asn1::blob(exact.get(), encoding.size()));
    return {isGood, output.text(), errors.text()};
}

template <typename Object>
Outcome outcomeOf(Bytes const& encoding) {
    Object object;
    return parseInto(object, encoding);
}

template <typename Object>
bool parses(Bytes const& encoding) {
    return outcomeOf<Object>(encoding).isGood;
}

template <typename Object>
Bytes saved(Object& object) {
    DerEncoder to;
    object.save(to);
    return to.take();
}

template <typename Object>
std::string dumped(Object const& object) {
    std::ostringstream out;
    object.dump(out);
    return out.str();
}

namespace der {

inline std::string const dataOid = "1.2.840.113549.1.7.1";
inline std::string const signedDataOid = "1.2.840.113549.1.7.2";

inline Bytes attribute(std::string const& type, Bytes const& values) {
    return sequence(oid(type), element(0x31, values));
}
inline Bytes contentTypeAttribute() { return attribute("1.2.840.113549.1.9.3", oid(dataOid)); }
inline Bytes messageDigestAttribute() { return attribute("1.2.840.113549.1.9.4", octetString({1, 2, 3})); }
inline Bytes sha256Algorithm() { return algorithm("2.16.840.1.101.3.4.2.1", null()); }

struct SignerParts {
    Bytes version = integer(1);
    Bytes issuerAndSerial = sequence(name({{"2.5.4.3", "ca"}}), integer(7));
    Bytes digestAlgorithm = sha256Algorithm();
    Bytes attributes = context(0, contentTypeAttribute(), messageDigestAttribute());
    Bytes signatureAlgorithm = algorithm("1.2.840.113549.1.1.1", null());
    Bytes signature = octetString({9, 8});
    Bytes unsignedAttributes;
    Bytes more;

    Bytes der() const {
        return sequence(version, issuerAndSerial, digestAlgorithm, attributes, signatureAlgorithm, signature,
                        unsignedAttributes, more);
    }
};

struct MessageParts {
    Bytes type = oid(signedDataOid);
    Bytes version = integer(1);
    Bytes digestAlgorithms = set(sha256Algorithm());
    Bytes content = sequence(oid(dataOid), context(0, octetString({5, 6})));
    Bytes certificates;
    Bytes crls;
    Bytes signers = set(SignerParts().der());
    Bytes more;

    Bytes bare() const {
        return sequence(version, digestAlgorithms, content, certificates, crls, signers, more);
    }
    Bytes der() const { return sequence(type, context(0, bare())); }
};

/// A signer with `depth` counter-signatures, one within the other.
inline Bytes nestedSigner(unsigned depth) {
    Bytes signer = SignerParts().der();
    while (depth-- > 0) {
        SignerParts outer;
        outer.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.6", signer));
        signer = outer.der();
    }
    return signer;
}

/// A message whose signer's time-stamp is a message, and so on.
inline Bytes nestedMessage(unsigned depth) {
    Bytes message = MessageParts().der();
    while (depth-- > 0) {
        SignerParts signer;
        signer.unsignedAttributes = context(1, attribute("1.3.6.1.4.1.311.3.3.1", message));
        MessageParts outer;
        outer.signers = set(signer.der());
        message = outer.der();
    }
    return message;
}

} // namespace der

} // namespace test
