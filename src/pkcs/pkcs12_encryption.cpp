#include "sealkit/pkcs12.h"

#include "keys/password_scheme.h"

KeyEncryption describeEncryption(AlgorithmIdentifier const& algorithm, PasswordSchemes const& schemes) {
    KeyEncryption found;
    detail::Reading reading(algorithm.params, &found.problem);
    detail::describeScheme(reading, {algorithm.oid, algorithm.params}, nullptr, schemes, &found);
    return found;
}
