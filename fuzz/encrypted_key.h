/// Parsing encrypted keys without decrypting them, to find out how long decryption takes.
#pragma once

#include "sealkit/asn1.h"
#include "sealkit/pbes2.h"

#include "asn1/tags.h"

namespace fuzz {

/// An EncryptedPrivateKeyInfo under PBES2 or another scheme with the same parameters.
struct EncryptedKey {
    AlgorithmIdentifier algorithm;
    PBES2Params params;
    asn1::blob data; ///< A view of the parsed input.

    /// False if no key is derived from a password.
    bool parse(asn1::blob der) {
        asn1::parser fields(der);
        if (!fields.enter(detail::tag::sequence) || fields.tag != detail::tag::sequence ||
            !::parse(algorithm, fields.take()) || !::parse(params, algorithm.params))
            return false;
        if (fields.tag == detail::tag::octetString)
            data = fields.take();
        return true;
    }
};

} // namespace fuzz
