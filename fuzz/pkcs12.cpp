#include "sealkit/pkcs12.h"
#include "sealkit/pbes2.h"

#include "targets.h"
#include "tiny_key.h"

#include <algorithm>
#include <ostream>
#include <sstream>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned quick = 1000;

bool isQuick(asn1::blob params) {
    PBES2Params pbes2;
    PBEParams pbe1;
    return !(parse(pbes2, params) && pbes2.iterations > quick) &&
           !(parse(pbe1, params) && pbe1.iterations > quick);
}

/// Whether trying a password on the file is fast enough.
bool isQuick(PKCS12PFX const& pfx) {
    if (pfx.macIterations > quick)
        return false;
    for (AlgorithmIdentifier const& algorithm : pfx.keyEncryptions())
        if (!isQuick(algorithm.params))
            return false;
    for (PKCS7EncryptedData const& data : pfx.encryptedData)
        if (!isQuick(data.encryptedContentInfo.contentEncryptionAlgorithm.params))
            return false;
    return true;
}

void checkParams(asn1::blob input) {
    PBEParams params, again;
    Refusal refusal;
    bool const isGood = parse(params, input);
    SEALKIT_ASSERT(parse(again, input, &refusal) == isGood && static_cast<bool>(refusal) != isGood);
    if (!isGood)
        return;
    SEALKIT_ASSERT(params.iterations != 0 && params.iterations <= pkcs12MaxIterations);
    Bytes const encoded = encode(params);
    SEALKIT_ASSERT(parse(again, encoded) && encode(again) == encoded);
}

void checkFile(PKCS12PFX& pfx) {
    SEALKIT_ASSERT(pfx.certificateAttributes.size() == pfx.certificates.size());
    SEALKIT_ASSERT(pfx.keyAttributes.size() == pfx.keys.size());
    std::ostringstream out;
    pfx.dump(out);
    size_t const certificates = pfx.certificates.size(), closed = pfx.encryptedContents();
    if (isQuick(pfx)) {
        bool const isOpen = pfx.decrypt("secret1");
        SEALKIT_ASSERT(isOpen ||
                       (certificates == pfx.certificates.size() && closed == pfx.encryptedContents()));
        SEALKIT_ASSERT(!isOpen || pfx.encryptedKeys() == 0);
    }
}

/// Whether two readings of a file gave the same result.
bool areSame(PKCS12PFX const& a, PKCS12PFX const& b) {
    return a.certificates.size() == b.certificates.size() && a.keys.size() == b.keys.size() &&
           a.encryptedKeys() == b.encryptedKeys() && a.encryptedContents() == b.encryptedContents() &&
           a.save() == b.save();
}

/// Every unreadable part has a reason with a place in the file, and no content has too many of them.
void checkUnreadable(PKCS12PFX const& pfx, asn1::blob input) {
    for (Refusal const& one : pfx.unreadable()) {
        SEALKIT_ASSERT(one && !one.path.empty() && !one.str().empty());
        SEALKIT_ASSERT(one.offset == Refusal::nowhere || one.offset <= input.size());
    }
    for (PKCS12IgnoredBag const& one : pfx.ignoredBags())
        SEALKIT_ASSERT(!one.path.empty() && !one.name().empty());
}

/// A recipient of the first enveloped content, with a key that decrypts nothing.
bool decryptEnveloped(PKCS12PFX& pfx, PKCS12Options const& options, Refusal* refusal) {
    X509Certificate certificate;
    if (!pfx.envelopedData.empty() && !pfx.envelopedData.front().recipientInfos.empty()) {
        PKCS7KeyTransRecipientInfo const& recipient = pfx.envelopedData.front().recipientInfos.front();
        certificate.issuer = recipient.issuer;
        certificate.serialNumber = recipient.serialNumber;
        certificate.subjectKeyId = recipient.subjectKeyId;
    }
    return pfx.decryptEnveloped(certificate, fuzz::tinyKey(), options, refusal);
}

/// Partial reading, of a file with parts that are unreadable or become so when it is decrypted. Objects that
/// were read before stay.
void checkPartial(PKCS12PFX& pfx, asn1::blob input, PKCS12Options const& options) {
    checkUnreadable(pfx, input);
    Bytes const written = pfx.save();
    size_t const certificates = pfx.certificates.size(), keys = pfx.keys.size();
    for (int i = 0; i < 2; ++i) {
        size_t const unreadable = pfx.unreadable().size();
        Refusal refusal;
        SEALKIT_ASSERT(!decryptEnveloped(pfx, options, &refusal) && refusal);
        SEALKIT_ASSERT(pfx.unreadable().size() == unreadable);
        refusal = {};
        bool const isSupported = pfx.canDecrypt(options, &refusal);
        SEALKIT_ASSERT(static_cast<bool>(refusal) != isSupported);
        if (!isQuick(pfx))
            return;
        refusal = {};
        bool const isOpen = pfx.decrypt("secret1", options, &refusal);
        SEALKIT_ASSERT(static_cast<bool>(refusal) != isOpen && (isOpen || isSupported || !pfx.mac.empty()));
        SEALKIT_ASSERT(pfx.certificates.size() >= certificates && pfx.keys.size() >= keys);
        SEALKIT_ASSERT(pfx.certificateAttributes.size() == pfx.certificates.size());
        SEALKIT_ASSERT(pfx.keyAttributes.size() == pfx.keys.size());
        SEALKIT_ASSERT(i == 0 || pfx.unreadable().size() == unreadable);
        checkUnreadable(pfx, input);
        SEALKIT_ASSERT(pfx.save() == written);
    }
    // Unreadable parts are never lost.
    if (!pfx.unreadable().empty())
        SEALKIT_ASSERT(!pfx.encrypt("secret2") && pfx.save() == written);
}

/// Reading with a reason, without one, and partially agree.
void checkReasons(asn1::blob input, bool ber) {
    PKCS12Options options;
    options.ber = ber;
    PKCS12PFX stated, asked, partial;
    Refusal refusal, whole;
    bool const isGood = ber ? stated.parseBer(input) : stated.parse(input);
    SEALKIT_ASSERT(asked.parse(input, options, &refusal) == isGood);
    SEALKIT_ASSERT(static_cast<bool>(refusal) != isGood);
    SEALKIT_ASSERT(refusal.offset == Refusal::nowhere || refusal.offset <= input.size());
    options.partial = true;
    if (!partial.parse(input, options, &whole)) {
        SEALKIT_ASSERT(!isGood && whole);
        return;
    }
    SEALKIT_ASSERT(isGood == partial.unreadable().empty());
    if (!isGood || !isQuick(stated))
        return checkPartial(partial, input, options);
    SEALKIT_ASSERT(areSame(stated, asked) && areSame(stated, partial));
    refusal = {};
    bool const isOpen = stated.decrypt("secret1");
    SEALKIT_ASSERT(asked.decrypt("secret1", &refusal) == isOpen);
    SEALKIT_ASSERT(static_cast<bool>(refusal) != isOpen && areSame(stated, asked));
    if (isOpen)
        SEALKIT_ASSERT(partial.decrypt("secret1", options, nullptr) && areSame(stated, partial));
    else
        checkPartial(partial, input, options);
}

/// The reader with every option.
void checkWide(asn1::blob input) {
    PKCS12Options options;
    options.ber = options.partial = options.trailingBytes = true;
    options.schemes = {true, [](asn1::blob, unsigned, asn1::blob, asn1::blob data, unsigned char* plain) {
                           std::copy(data.begin(), data.end(), plain);
                       }};
    PKCS12PFX pfx;
    if (!pfx.parse(input, options, nullptr))
        return;
    auto const isScrypt = [&](AlgorithmIdentifier const& algorithm) {
        return describeEncryption(algorithm, options.schemes).keyDerivation.starts_with("scrypt");
    };
    for (PKCS7EncryptedData const& data : pfx.encryptedData)
        if (isScrypt(data.encryptedContentInfo.contentEncryptionAlgorithm))
            return;
    std::vector<AlgorithmIdentifier> const keys = pfx.keyEncryptions();
    if (!isQuick(pfx) || pfx.macName() == "PBMAC1" || std::any_of(keys.begin(), keys.end(), isScrypt))
        return;
    pfx.decrypt("secret1", options, nullptr);
    checkUnreadable(pfx, input);
    for (PKCS12Attributes const& attributes : pfx.certificateAttributes)
        SEALKIT_ASSERT(!attributes.isTrustedByJava() || !attributes.otherNames().empty());
    SEALKIT_ASSERT(pfx.linkKeys() <= pfx.keys.size());
}

} // namespace

/// The input is a file in DER or BER. A parsed file is written, and parses to the same again.
void fuzz::pkcs12(asn1::blob input) {
    checkParams(input);
    checkReasons(input, false);
    checkReasons(input, true);
    checkWide(input);
    PKCS12PFX pfx, again;
    if (pfx.parse(input)) {
        Bytes const written = pfx.save();
        SEALKIT_ASSERT(again.parse(written) && again.save() == written);
        checkFile(pfx);
        SEALKIT_ASSERT(pfx.save() == written);
    } else {
        SEALKIT_ASSERT(pfx.certificates.empty() && pfx.keys.empty() && pfx.mac.empty());
        SEALKIT_ASSERT(pfx.encryptedContents() == 0 && pfx.encryptedKeys() == 0 && pfx.signedData == nullptr);
    }
    if (again.parseBer(input))
        checkFile(again);
}
