// Verifying the signatures of certificates and CRLs, each once, and counting what that takes.
#pragma once

#include "base/reading.h"
#include "keys/verify.h"
#include "sealkit/path.h"
#include "sealkit/search.h"

#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace detail {

/// Which signatures are verified: those of `verifySignature`, or RSASSA-PSS as well, which the standard rules
/// accept.
enum class SignatureForms : bool { stated, standard };

/// Signatures that were verified, by object and key. Objects must outlive it and not change.
class SignatureChecks {
public:
    static constexpr unsigned unlimited = std::numeric_limits<unsigned>::max();

    explicit SignatureChecks(Diagnostics lines, unsigned maxWork = unlimited)
        : isSilent(lines == Diagnostics::silent), workLeft(maxWork) {}

    /// Verifies the signature of `object` under a DER SubjectPublicKeyInfo: `PathCode::valid`,
    /// `issuerKeyUnreadable`, `algorithmMismatch` or `badSignature`. Nothing if the work that is left does
    /// not suffice.
    std::optional<PathCode> check(X509Base const& object, asn1::blob issuerKeyInfo,
                                  SignatureForms forms = SignatureForms::stated);

    /// The key of a SubjectPublicKeyInfo, parsed once; null for none that the library knows.
    PublicKey const* parseKey(asn1::blob keyInfo) { return findKey(keyInfo).key.get(); }

    /// Drops what is known of an object, and of a key, which may go then.
    void forget(X509Base const& object) { objects.erase(&object); }
    void forgetKey(asn1::blob keyInfo);

    /// Takes that much of the work that is left. False if less is left, which stays.
    bool spend(unsigned work);

    /// Begins a new count of the work. What was verified stays known.
    void restart(unsigned maxWork) {
        workLeft = maxWork;
        counted = {.digests = counted.digests};
        isExhausted = false;
    }

    /// Whether no work is left.
    bool isSpent() const { return workLeft == 0; }
    /// Whether work was refused.
    bool wasRefused() const { return isExhausted; }

    /// The work and the signatures of this count, and all digests so far.
    PathSearchEffort const& effort() const { return counted; }

private:
    struct Key {
        std::unique_ptr<PublicKey> key;
        unsigned work = 1;
    };

    /// What is known of an object.
    struct Object {
        bool isSupported = false; ///< Whether the signature's algorithm is one that is verified.
        bool isPss = false;       ///< It is then supported in the standard form alone.
        PssParameters pss;
        KeyType keyType = KeyType::RSA;
        HashID hash = HashID::none;
        bool wasHashedWithKey = false; ///< For an Ed25519 signature.
        std::map<HashID, std::vector<unsigned char>> digests;
        std::map<Key const*, PathCode> results; ///< In the standard form where `isPss`.
    };

    Key& findKey(asn1::blob keyInfo);
    Object& findObject(X509Base const& object);
    std::vector<unsigned char> const& digestOf(X509Base const& object, HashID hash);
    PathCode verify(X509Base const& object, Object& known, Key const& issuer, SignatureForms forms);

    bool isSilent;
    unsigned workLeft;
    bool isExhausted = false;
    PathSearchEffort counted;
    std::map<std::string, Key, std::less<>> keys; ///< By SubjectPublicKeyInfo.
    std::map<X509Base const*, Object> objects;
};

/// The work of verifying one signature under a key, in the units of search.h.
unsigned verificationWork(PublicKey const& key);

} // namespace detail
