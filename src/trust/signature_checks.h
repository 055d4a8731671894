// Verifies each signature of certificates and CRLs once, and counts the work.
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

/// The supported signatures: those of `verifySignature`, or also RSASSA-PSS, which the standard rules accept.
enum class SignatureForms : bool { stated, standard };

/// The verified signatures, by object and key. Objects must outlive it unchanged.
class SignatureChecks {
public:
    static constexpr unsigned unlimited = std::numeric_limits<unsigned>::max();

    explicit SignatureChecks(Diagnostics lines, unsigned maxWork = unlimited)
        : isSilent(lines == Diagnostics::silent), workLeft(maxWork) {}

    /// Verifies the signature of `object` under a DER SubjectPublicKeyInfo. Returns `PathCode::valid`,
    /// `issuerKeyUnreadable`, `algorithmMismatch` or `badSignature`, or nothing if the work limit is reached.
    std::optional<PathCode> check(X509Base const& object, asn1::blob issuerKeyInfo,
                                  SignatureForms forms = SignatureForms::stated);

    /// The key of a SubjectPublicKeyInfo, parsed once; null if it is malformed or unsupported.
    PublicKey const* parseKey(asn1::blob keyInfo) { return findKey(keyInfo).key.get(); }

    /// Drops the results of an object, which may be destroyed then.
    void forget(X509Base const& object) { objects.erase(&object); }
    void forgetKey(asn1::blob keyInfo);

    /// Takes `work` units from the rest. Returns false, and takes nothing, if less is left.
    bool spend(unsigned work);

    /// Restarts the count of work and keeps the results.
    void restart(unsigned maxWork) {
        workLeft = maxWork;
        counted = {.digests = counted.digests};
        isExhausted = false;
    }

    /// Whether no work is left.
    bool isSpent() const { return workLeft == 0; }
    /// Whether work was refused since the restart.
    bool wasRefused() const { return isExhausted; }

    /// The work and the signatures since the restart, and all digests so far.
    PathSearchEffort const& effort() const { return counted; }

private:
    struct Key {
        std::unique_ptr<PublicKey> key;
        unsigned work = 1;
    };

    /// The results of an object.
    struct Object {
        bool isSupported = false; ///< Whether the signature algorithm is supported.
        bool isPss = false;       ///< Supported only in the standard form.
        PssParameters pss;
        KeyType keyType = KeyType::RSA;
        HashID hash = HashID::none;
        bool wasHashedWithKey = false; ///< For an Ed25519 signature.
        std::map<HashID, std::vector<unsigned char>> digests;
        std::map<Key const*, PathCode> results; ///< In the standard form if `isPss`.
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
