/// Both sides of MS-CHAPv2 with the figures of RFC 2759, section 9.2, and the keys of RFC 3079.
#include <sealkit/sealkit.h>

#include <iomanip>
#include <iostream>

namespace {

using Bytes = std::vector<unsigned char>;

template <typename Text>
void show(char const* label, Text const& bytes) {
    std::cout << std::left << std::setw(24) << label << std::hex << std::uppercase << std::setfill('0')
              << std::right;
    for (unsigned char byte : bytes)
        std::cout << std::setw(2) << unsigned{byte};
    std::cout << std::setfill(' ') << std::endl;
}

} // namespace

int main() {
    // The authenticator sends the first of these and the peer the second. A program takes both from
    // getDefaultRng().
    Bytes const authChallenge = {0x5B, 0x5D, 0x7C, 0x7D, 0x7B, 0x3F, 0x2F, 0x3E,
                                 0x3C, 0x2C, 0x60, 0x21, 0x32, 0x26, 0x26, 0x28};
    Bytes const peerChallenge = {0x21, 0x40, 0x23, 0x24, 0x25, 0x5E, 0x26, 0x2A,
                                 0x28, 0x29, 0x5F, 0x2B, 0x3A, 0x33, 0x7C, 0x7E};

    // Both compute the same response from the shared password.
    MSCHAPv2 const client("User", "clientPass", authChallenge, peerChallenge);
    MSCHAPv2 const server("User", "clientPass", authChallenge, peerChallenge);

    // The client sends its challenge and response; the server compares it, and proves its own identity.
    show("NT-Response", client.ntResponse);
    bool const clientKnows = client.ntResponse == server.ntResponse;
    std::cout << std::left << std::setw(24) << "server's reply" << server.getReply() << std::endl;
    bool const serverKnows = server.getReply() == client.getReply();

    // One side's key for sending is the other's key for receiving.
    std::string const master = server.getMasterKey();
    show("master key", master);
    show("server to client", makeSessionKey(master, true, true));
    show("client to server", makeSessionKey(master, false, true));
    bool const sameKeys =
        makeSessionKey(client.getMasterKey(), false, false) == makeSessionKey(master, true, true);

    bool const done = clientKnows && serverKnows && sameKeys;
    std::cout << (done ? "both know the password" : "refused") << std::endl;
    return done ? 0 : 1;
}
