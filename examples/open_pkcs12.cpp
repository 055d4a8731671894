/// Opens a PKCS#12 file, lists its contents, and names unreadable parts.
#include <sealkit/sealkit.h>

#include <fstream>
#include <iostream>
#include <iterator>

int main(int count, char** arguments) {
    if (count != 3) {
        std::cout << "usage: open_pkcs12 FILE PASSWORD" << std::endl;
        return 3;
    }
    std::ifstream file(arguments[1], std::ios::binary);
    std::string const bytes{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
        std::cout << arguments[1] << ": cannot be read" << std::endl;
        return 2;
    }

    PKCS12Options options;
    options.ber = true;
    options.partial = true;
    options.macIterations = {1, pkcs12MacIterations};
    PKCS12PFX pfx;
    Refusal refusal;
    if (!pfx.parse(bytes, options, &refusal) || !pfx.decrypt(arguments[2], options, &refusal)) {
        std::cout << arguments[1] << ": " << printable(refusal.str()) << std::endl;
        return 2;
    }

    std::cout << "private keys: " << pfx.keys.size() << std::endl;
    for (std::shared_ptr<X509Certificate> const& certificate : pfx.certificates)
        std::cout << "certificate " << printable(nameText(certificate->subjectBytes())) << std::endl;
    std::vector<Refusal> const unreadable = pfx.unreadable();
    for (Refusal const& part : unreadable)
        std::cout << "unreadable: " << printable(part.str()) << std::endl;
    return unreadable.empty() ? 0 : 1;
}
