#include "keys/password_scheme.h"

#include "sealkit/oid_names.h"

#include "asn1/oids.h"
#include "keys/pbe1.h"
#include "keys/read.h"

namespace oid = detail::oid;

using detail::Pbe1Scheme;
using detail::Reading;

namespace {

/// A supported scheme other than PBES2, or null.
Pbe1Scheme const* findRead(asn1::blob oid, PasswordSchemes const& schemes) {
    Pbe1Scheme const* const scheme = detail::findPbe1Scheme(oid);
    if (scheme == nullptr || (!schemes.all && !(oid == detail::oid::pbeWithSha1And3KeyTripleDes)))
        return nullptr;
    bool const needsRc2 = scheme->cipher.kind == detail::LegacyCipher::Kind::rc2;
    return needsRc2 && schemes.rc2 == nullptr ? nullptr : scheme;
}

} // namespace

bool detail::isSchemeRead(asn1::blob oid, PasswordSchemes const& schemes) {
    return oid == detail::oid::pbes2 || findRead(oid, schemes) != nullptr;
}

bool detail::refuseScheme(Reading& reading, asn1::blob oid) {
    if (!reading.wantsReason())
        return false;
    return reading.refuse(RefusalId::unknownEncryption, oid, {{"scheme", oidName(oid)}});
}

bool detail::takesBmpPassword(asn1::blob oid) {
    Pbe1Scheme const* const scheme = findPbe1Scheme(oid);
    return scheme != nullptr && scheme->derivation == Pbe1Scheme::Derivation::pkcs12;
}

bool detail::checkScheme(Reading& reading, SchemeIdentifier const& scheme, asn1::blob data,
                         PasswordSchemes const& schemes) {
    if (scheme.oid == oid::pbes2)
        return checkPbes2(reading, scheme.params, data, schemes);
    Pbe1Scheme const* const found = findRead(scheme.oid, schemes);
    PBEParams params;
    return found == nullptr
               ? refuseScheme(reading, scheme.oid)
               : read(reading, scheme.params, params) && checkPbe1(reading, *found, params, data);
}

std::uint64_t detail::describeScheme(Reading& reading, SchemeIdentifier const& scheme, asn1::blob const* data,
                                     PasswordSchemes const& schemes, KeyEncryption* to) {
    to->scheme = oidName(scheme.oid);
    if (scheme.oid == oid::pbes2)
        return describePbes2(reading, scheme.params, data, schemes, to);
    Pbe1Scheme const* const found = findRead(scheme.oid, schemes);
    PBEParams params;
    if (found == nullptr || !read(reading, scheme.params, params)) {
        refuseScheme(reading, scheme.oid);
        return 0;
    }
    to->cipher = found->cipher.name();
    to->keyDerivation = (takesBmpPassword(scheme.oid) ? "PKCS#12 with " : "PBKDF1 with ") +
                        std::string(getHashName(found->hash));
    to->iterations = params.iterations;
    to->isWeak = found->cipher.isWeak();
    if (data != nullptr)
        checkPbe1(reading, *found, params, *data);
    return params.iterations;
}

bool detail::decryptUnderPassword(Reading& reading, SchemeIdentifier const& scheme,
                                  SchemePassword const& password, asn1::blob data,
                                  PasswordSchemes const& schemes, std::vector<unsigned char>& out) {
    if (scheme.oid == oid::pbes2)
        return decryptPbes2(reading, scheme.params, password.bytes, data, schemes, out);
    Pbe1Scheme const* const found = findRead(scheme.oid, schemes);
    PBEParams params;
    return found == nullptr ? refuseScheme(reading, scheme.oid)
                            : read(reading, scheme.params, params) &&
                                  decryptPbe1(reading, *found, params, password, data, schemes.rc2, out);
}
