/// A password-authenticated key exchange between `ECSRP`, the side that has the password, and a server that
/// keeps only a verifier. The library has no class for the server, so this example has its whole arithmetic.
#include <sealkit/sealkit.h>

#include <algorithm>
#include <iostream>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes operator+(Bytes left, Bytes const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// The server's side, with its own secret scalar a.
class Server {
public:
    Server(Bytes const& itsSalt, Bytes const& itsVerifier) : salt(itsSalt), verifier(itsVerifier) {}

    /// Takes the challenge, B and a user name, and answers A = a·G + W and the salt. W = redp1(V) depends on
    /// the verifier: without it, A reveals nothing and cannot be made.
    Bytes answer(Bytes const& challenge) {
        randomBigNum(&a, Curve25519::getOrder(), getDefaultRng());
        B.assign(challenge.begin(), challenge.begin() + 33);
        RedNum scratch[WCurve::addScratch];
        WCurve::Point masked = curve.mul(a, curve.getG());
        curve.add(masked, redp1(curve, Curve25519::getX(verifier)), scratch);
        A = curve.toBin(std::move(masked));
        return A + salt;
    }

    /// Checks the other side's proof and returns its own, or nothing if the passwords differ.
    ///
    /// Z = a·(B + e·V) equals (b + e·v)·(A − W) of the other side, since B = b·G, V = v·G and A − W =
    /// a·G.
    Bytes prove(Bytes const& response) {
        Bytes const e = calcDigest(HashID::SHA256, Curve25519::getX(B) + Curve25519::getX(A));
        RedNum scratch[WCurve::addScratch];
        WCurve::Point sum = curve.mul(BigNum(e), curve.fromBin(verifier));
        curve.add(sum, curve.fromBin(B), scratch);
        Bytes const z = curve.toNum(curve.mul(a, sum), nullptr).bin(0);
        if (calcDigest(HashID::SHA256, e + z) != response)
            return {};
        key = calcDigest(HashID::SHA256, z);
        return calcDigest(HashID::SHA256, e + response + z);
    }

    Bytes key;

private:
    Curve25519 const curve;
    Bytes const salt, verifier;
    BigNum a;
    Bytes B, A;
};

Bytes randomBytes(size_t size) {
    Bytes bytes(size);
    getDefaultRng().fill(bytes.data(), static_cast<unsigned>(bytes.size()));
    return bytes;
}

bool logIn(Server& server, std::string const& user, std::string const& password) {
    ECSRP client(user, password, randomBytes(32));
    Bytes const message = server.answer(client.getChallenge());
    Bytes const response = client.generateResponse(message);
    Bytes const reply = server.prove(response);
    if (!client.verifyReply(reply)) {
        std::cout << user << ": refused" << std::endl;
        return false;
    }
    std::string const key = client.getSessionKey();
    bool const same =
        std::equal(key.begin(), key.end(), server.key.begin(), server.key.end(),
                   [](char c, unsigned char byte) { return static_cast<unsigned char>(c) == byte; });
    std::cout << user << ": " << (same ? "both have the same key of " : "the keys differ, of ") << key.size()
              << " bytes" << std::endl;
    return same;
}

} // namespace

int main() {
    // When the account is created, the salt and the verifier are stored, but not the password.
    Bytes const salt = randomBytes(16);
    Server server(salt, pwdVerifier(pwdHash("alice", "open sesame", salt)));

    bool const right = logIn(server, "alice", "open sesame");
    bool const wrong = logIn(server, "alice", "open says me");
    return right && !wrong ? 0 : 1;
}
