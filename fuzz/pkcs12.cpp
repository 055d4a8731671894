#include "sealkit/pkcs12.h"
#include "sealkit/pbes2.h"

#include "targets.h"

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

/// Whether trying a password on it takes no time to speak of.
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
    if (!parse(params, input))
        return;
    SEALKIT_ASSERT(params.iterations != 0 && params.iterations <= pkcs12MostIterations);
    Bytes const encoded = encode(params);
    SEALKIT_ASSERT(parse(again, encoded) && encode(again) == encoded);
}

void checkFile(PKCS12PFX& pfx) {
    SEALKIT_ASSERT(pfx.certificateAttributes.size() == pfx.certificates.size());
    SEALKIT_ASSERT(pfx.keyAttributes.size() == pfx.keys.size());
    std::ostringstream out;
    pfx.dump(out);
    size_t const certificates = pfx.certificates.size(), closed = pfx.lockedContents();
    if (isQuick(pfx)) {
        bool const isOpen = pfx.decrypt("secret1");
        SEALKIT_ASSERT(isOpen || (certificates == pfx.certificates.size() && closed == pfx.lockedContents()));
        SEALKIT_ASSERT(!isOpen || pfx.lockedKeys() == 0);
    }
}

} // namespace

/// The input is a file, in DER and in BER. What parses is written, and what is written parses to the same again.
void fuzz::pkcs12(asn1::blob input) {
    checkParams(input);
    PKCS12PFX pfx, again;
    if (pfx.parse(input)) {
        Bytes const written = pfx.save();
        SEALKIT_ASSERT(again.parse(written) && again.save() == written);
        checkFile(pfx);
        SEALKIT_ASSERT(pfx.save() == written);
    } else {
        SEALKIT_ASSERT(pfx.certificates.empty() && pfx.keys.empty() && pfx.mac.empty());
        SEALKIT_ASSERT(pfx.lockedContents() == 0 && pfx.lockedKeys() == 0 && pfx.signedData == nullptr);
    }
    if (again.parseBer(input))
        checkFile(again);
}
