#include "interop/checks.h"

#include "sealkit/hmac.h"

#include "interop/names.h"
#include "support/random.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<unsigned char>;

unsigned size(Bytes const& bytes) { return static_cast<unsigned>(bytes.size()); }

Bytes finish(Hash& hash) {
    Bytes out(hash.digestLength());
    hash.digest(out.data());
    return out;
}

/// What one object makes of a message at once, and then of the same in pieces.
void expectDigest(Hash& hash, Bytes const& message, Bytes const& expected, test::Random& random) {
    hash.update(message.data(), size(message));
    EXPECT_EQ(finish(hash), expected) << "at once";
    size_t done = 0;
    for (size_t piece : random.cut(message.size())) {
        hash.update(message.data() + done, static_cast<unsigned>(piece));
        done += piece;
    }
    EXPECT_EQ(finish(hash), expected) << "in pieces";
}

} // namespace

void interop::checkHash(test::Case const& c) {
    test::Random random(c.id());
    auto const hash = createHash(hashNamed(c.text("hash")));
    expectDigest(*hash, c.bytes("message"), c.bytes("digest"), random);
}

void interop::checkHmac(test::Case const& c) {
    test::Random random(c.id());
    Bytes const key = c.bytes("key"), message = c.bytes("message"), mac = c.bytes("mac");
    auto const owning = createHMAC(hashNamed(c.text("hash")), key);
    if (c.has("begun")) {
        EXPECT_EQ(c.text("begun"), "no");
        EXPECT_EQ(finish(*owning), mac);
        return;
    }
    expectDigest(*owning, message, mac, random);
    auto const hash = createHash(hashNamed(c.text("hash")));
    HMAC borrowing(hash.get(), key.data(), size(key));
    expectDigest(borrowing, message, mac, random);
}

void interop::checkHkdf(test::Case const& c) {
    auto const hash = createHash(hashNamed(c.text("hash")));
    Bytes const info = c.bytes("info"), okm = c.bytes("okm");
    unsigned const length = static_cast<unsigned>(c.number("length"));
    if (c.has("prk")) {
        Bytes const prk = c.bytes("prk");
        EXPECT_EQ(HKPDF_Expand(*hash, info.data(), size(info), prk.data(), size(prk), length), okm);
    } else
        EXPECT_EQ(HKPDF(*hash, c.bytes("salt"), info, c.bytes("ikm"), length), okm);
}
