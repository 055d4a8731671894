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

// Of messages: what the library says on standard output while it reads them is `output`, each line with '|'
// at its end; `key` and the like name files in `tests/vectors/pkcs/keys`; the content has `content-size`
// bytes (`contentOf` in `messages.h`).

/// message, errors, output, and parsed = no; or root, now, detached, what the fields hold, and what verifying
/// says
void checkSigned(test::Case const& c);
/// certificate1, key1, hash1 …, counter-hash, digest. The message has that SHA-256 digest, and the peer took
/// it.
void checkSigning(test::Case const& c);

/// request, the fields, or parsed = no. Written again, the request is `written`.
void checkTimeStampRequest(test::Case const& c);
/// response, status, and of a grant info, the encoding of the TSTInfo, root, and stamped
void checkTimeStampResponse(test::Case const& c);

/// message, certificate, key, output; parsed = no or opened = no where it is refused
void checkEnveloped(test::Case const& c);
/// certificate1 …, cipher, key-size, by-key-id, digest. As `checkSigning`.
void checkEnveloping(test::Case const& c);
/// message, cipher, key
void checkEncryptedData(test::Case const& c);

/// hash, password in UTF-8, bmp-password, salt, iterations, purpose, derived
void checkPkcs12Kdf(test::Case const& c);
/// file, by either side, password, has-mac, and what is in it; or refused, the end of what is said
void checkPkcs12(test::Case const& c);

} // namespace interop
