/// Taking encrypted keys apart before they are decrypted: the input says how long that takes.
#pragma once

#include "sealkit/pbes2.h"

#include "asn1/element.h"

namespace fuzz {

/// An EncryptedPrivateKeyInfo under PBES2 or another scheme with the same parameters.
struct EncryptedKey {
    AlgorithmIdentifier algorithm;
    PBES2Params params;
    asn1::blob data; ///< A view of what was parsed.

    /// False when nothing will be derived from a password.
    bool parse(asn1::blob der) {
        asn1::blob content, identifier;
        asn1::parser info(der);
        if (!detail::take(info, detail::tag::sequence, &content))
            return false;
        asn1::parser fields(content);
        if (!detail::take(fields, detail::tag::sequence, &identifier) || !::parse(algorithm, identifier) ||
            !::parse(params, algorithm.params))
            return false;
        detail::take(fields, detail::tag::octetString, &data);
        return true;
    }
};

} // namespace fuzz
