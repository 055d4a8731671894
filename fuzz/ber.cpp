#include "sealkit/ber.h"
#include "sealkit/asn1.h"

#include "refusal.h"
#include "targets.h"

#include <vector>

namespace {

/// Whether the element contains no BER: the parser reads all of it.
bool isWalked(asn1::blob bytes, unsigned depth) {
    asn1::parser level(bytes);
    for (; level.tag != asn1::parser::endTag; level.next()) {
        bool const isConstructed = level.tag != asn1::parser::errorTag && (*level.tlvStart & 0x20) != 0;
        if (level.tag == asn1::parser::errorTag || depth == 0 ||
            (isConstructed && !isWalked(level.value(), depth - 1)))
            return false;
    }
    return true;
}

} // namespace

/// Converted DER is accepted by the parser, is not longer than its BER allows, and converts to itself.
void fuzz::ber(asn1::blob input) {
    std::vector<unsigned char> der;
    bool const isGood = asn1::berToDer(input, &der, nullptr);
    checkRefusal(input, isGood, [&](Refusal* refusal) {
        std::vector<unsigned char> again;
        return asn1::berToDer(input, &again, refusal);
    });
    SEALKIT_ASSERT(isGood || der.empty());
    if (!isGood)
        return;
    std::vector<unsigned char> again;
    SEALKIT_ASSERT(isWalked(der, 201) && der.size() <= 2 * input.size());
    SEALKIT_ASSERT(asn1::berToDer(der, &again, nullptr) && again == der);
}
