/// The laws that certificates, CRLs and requests share.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/assert.h"
#include "sealkit/keys.h"
#include "sealkit/oid.h"
#include "sealkit/x509.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace fuzz {

template <typename Object>
std::string dumpOf(Object const& object) {
    std::ostringstream out;
    object.dump(out);
    return out.str();
}

/// The extensions, sorted.
template <typename Object>
std::vector<std::vector<unsigned char>> extensionsOf(Object const& object) {
    std::vector<std::vector<unsigned char>> list;
    for (X509Extension const& extension : object.extensions()) {
        std::vector<unsigned char>& one = list.emplace_back(extension.oid.begin(), extension.oid.end());
        one.push_back(extension.critical);
        one.insert(one.end(), extension.value.begin(), extension.value.end());
    }
    std::sort(list.begin(), list.end());
    return list;
}

/// Writes the signed part of a parsed object anew, as `sign` does, without the cost of a signature. The
/// result has the same meaning, and writing it again changes nothing.
template <typename Object>
void rewrite(Object const& parsed) {
    static Ed25519PrivateKey const key;
    Object anew = parsed;
    if (!anew.updateTbs(key, HashID::none))
        return;
    asn1::blob const algorithm = getKeyInfoFromKeyHash(KeyType::Ed25519, HashID::none);
    anew.signatureAlgorithm = {};
    anew.signatureAlgorithm.oid.assign(algorithm.begin(), algorithm.end());
    std::vector<unsigned char> const encoded = anew.serialize();
    Object again;
    SEALKIT_ASSERT(again.parse(encoded.data(), static_cast<unsigned>(encoded.size())));
    SEALKIT_ASSERT(again.tbs == anew.tbs);
    SEALKIT_ASSERT(extensionsOf(again) == extensionsOf(parsed));
    SEALKIT_ASSERT(again.updateTbs(key, HashID::none) && again.tbs == anew.tbs);
    Object before = parsed;
    before.signatureAlgorithm = again.signatureAlgorithm;
    SEALKIT_ASSERT(dumpOf(again) == dumpOf(before));
}

/// Parses `input`. A parsed object serialises to the same bytes, which parse to the same again.
template <typename Object>
bool parseAndSerialize(asn1::blob input, Object* object) {
    bool accepted = object->parse(input.data(), static_cast<unsigned>(input.size()));
    std::string dump = dumpOf(*object);
    object->extensions();
    if (!accepted)
        return false;
    std::vector<unsigned char> encoded = object->serialize();
    SEALKIT_ASSERT(asn1::blob(encoded) == input);
    Object again;
    SEALKIT_ASSERT(again.parse(encoded.data(), static_cast<unsigned>(encoded.size())));
    SEALKIT_ASSERT(dumpOf(again) == dump);
    rewrite(*object);
    return true;
}

} // namespace fuzz
