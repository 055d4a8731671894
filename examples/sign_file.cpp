/// Signs a file with a private key of any kind. With RSA and EC keys it makes signatures like `openssl dgst
/// -sha256 -sign`.
#include <sealkit/sealkit.h>

#include <fstream>
#include <iostream>
#include <iterator>

int main(int count, char** arguments) {
    if (count != 4) {
        std::cout << "usage: sign_file KEY FILE SIGNATURE" << std::endl;
        return 3;
    }
    Refusal refusal;
    std::unique_ptr<PrivateKey> const key = readPrivateKeyFromFile(arguments[1], &refusal, {});
    if (!key) {
        std::cout << arguments[1] << ": " << printable(refusal.str()) << std::endl;
        return 2;
    }
    std::ifstream file(arguments[2], std::ios::binary);
    std::string const message{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
        std::cout << arguments[2] << ": cannot be read" << std::endl;
        return 2;
    }

    std::vector<unsigned char> const signature = signMessage(*key, HashID::SHA256, message);
    if (signature.empty()) {
        std::cout << arguments[1] << ": this key cannot sign" << std::endl;
        return 2;
    }
    std::ofstream out(arguments[3], std::ios::binary);
    out.write(reinterpret_cast<char const*>(signature.data()),
              static_cast<std::streamsize>(signature.size()));
    out.close();
    std::cout << (out ? "signed" : "the signature could not be written") << std::endl;
    return out ? 0 : 2;
}
