/// What the tests of keys share.
#pragma once

#include "sealkit/keys.h"

#include "support/captured_output.h"
#include "support/vectors.h"

#include <initializer_list>
#include <sstream>
#include <string>

namespace test {

inline BigNum number(Case const& c, std::string_view name) { return BigNum(asn1::blob(c.bytes(name))); }
inline BigNum number(std::string_view digits) { return BigNum(asn1::blob(hex(digits))); }

inline std::string dumpOf(PublicKey const& key) {
    std::ostringstream out;
    key.dump(out);
    return out.str();
}

inline std::vector<unsigned char> concat(std::initializer_list<std::vector<unsigned char>> parts) {
    std::vector<unsigned char> whole;
    for (auto const& part : parts)
        whole.insert(whole.end(), part.begin(), part.end());
    return whole;
}

/// One DER element. Made here, so that the tests can also make what no encoder writes.
inline std::vector<unsigned char> element(unsigned char tag, std::vector<unsigned char> const& content) {
    std::vector<unsigned char> length = bn64(content.size()).bin(1);
    if (content.size() >= 0x80)
        length.insert(length.begin(), static_cast<unsigned char>(0x80 + length.size()));
    return concat({{tag}, length, content});
}

inline std::vector<unsigned char> integer(std::vector<unsigned char> const& content) {
    return element(0x02, content);
}

inline std::vector<unsigned char> sequence(std::initializer_list<std::vector<unsigned char>> parts) {
    return element(0x30, concat(parts));
}

/// The private key whose numbers the case gives.
inline RsaPrivateKey rsaKey(Case const& c) {
    RsaPrivateKey key;
    key.n = number(c, "n");
    key.e = number(c, "e");
    key.d = number(c, "d");
    key.p = number(c, "p");
    key.q = number(c, "q");
    key.exp1 = number(c, "exp1");
    key.exp2 = number(c, "exp2");
    key.coeff = number(c, "coeff");
    return key;
}

} // namespace test
