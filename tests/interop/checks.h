/// What the library must make of a case that another implementation has answered.
///
/// A check takes a case of the vector format (`support/vectors.h`) and fails the test that runs it
/// unless the library gives the recorded answers, in every direction and however the work is cut up.
/// It knows nothing of the other implementation, so that it runs wherever the library does.
///
/// The values of `hash` and `cipher` are OpenSSL's names.
#pragma once

#include "support/vectors.h"

namespace interop {

/// hash, message, digest
void checkHash(test::Case const& c);
/// hash, key, message, mac; with `begun = no` nothing but `digest` is called.
void checkHmac(test::Case const& c);
/// hash, info, length, okm; salt and ikm for the whole derivation, prk for the expansion alone
void checkHkdf(test::Case const& c);
/// key, message, mac
void checkCmac(test::Case const& c);

/// cipher, key, iv, message, ciphertext. CBC, CTR and CFB.
void checkPlainMode(test::Case const& c);
/// key, iv, aad, ciphertext (the tag at its end) and message, or `refused` in place of the message
void checkGcm(test::Case const& c);
/// key, strings, string1 …, ciphertext (after the synthetic IV) and message, or `refused` as above
void checkSiv(test::Case const& c);
/// cipher, hash, key, mac-key, iv, message, ciphertext. What `createAead` makes.
void checkRecord(test::Case const& c);
/// key, skip, message, ciphertext
void checkRc4(test::Case const& c);

} // namespace interop
