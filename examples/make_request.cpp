/// Makes a new P-256 key and a certificate request for a host name, both in PEM.
#include <sealkit/sealkit.h>

#include <iostream>

int main(int count, char** arguments) {
    if (count != 2) {
        std::cout << "usage: make_request HOST" << std::endl;
        return 3;
    }
    EcPrivateKey key;
    key.curve = Curve::p256;
    if (!key.generatePrivKey(getDefaultRng())) {
        std::cout << "no random bytes are available" << std::endl;
        return 2;
    }

    Refusal refusal;
    GeneralName host;
    X509Req request;
    if (!parseGeneralNameText(std::string("DNS:") + arguments[1], &host, &refusal)) {
        std::cout << arguments[1] << ": " << printable(refusal.str()) << std::endl;
        return 2;
    }
    request.subject.commonName = arguments[1];
    request.subjectAltNames.push_back(host);
    request.keyUsage = KeyUsage::digitalSignature;
    request.extKeyUsage = ExtKeyUsage::tlsServer;
    request.setPublicKey(key);
    if (!request.sign(key)) {
        std::cout << "the request cannot be signed" << std::endl;
        return 2;
    }

    std::vector<unsigned char> secret = encodePemPkcs8PrivateKey(key);
    std::cout.write(reinterpret_cast<char const*>(secret.data()),
                    static_cast<std::streamsize>(secret.size()));
    secureMemset(secret.data(), 0, secret.size());
    std::vector<unsigned char> const pem = encodePemReq(request);
    std::cout.write(reinterpret_cast<char const*>(pem.data()), static_cast<std::streamsize>(pem.size()));
    return 0;
}
