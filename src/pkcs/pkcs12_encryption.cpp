#include "pkcs/pkcs12_encryption.h"

#include "sealkit/oid_names.h"
#include "sealkit/pbes2.h"

#include "asn1/oids.h"
#include "keys/read.h"
#include "pkcs/pbe1.h"

namespace oid = detail::oid;

using detail::Reading;

bool detail::refuseScheme(Reading& reading, asn1::blob scheme) {
    if (!reading.wantsReason())
        return false;
    return reading.refuse(RefusalId::unknownEncryption, nullptr, {{"scheme", oidName(scheme)}});
}

unsigned detail::iterationsOf(AlgorithmIdentifier const& algorithm) {
    return describeEncryption(algorithm).iterations;
}

bool detail::checkEncryption(Reading& reading, AlgorithmIdentifier const& algorithm, asn1::blob data) {
    asn1::blob const scheme = algorithm.oid;
    if (scheme == oid::pbes2)
        return checkPbes2(reading, algorithm.params, data);
    if (!(scheme == oid::pbeWithSha1And3KeyTripleDes))
        return refuseScheme(reading, scheme);
    PBEParams params;
    return read(reading, algorithm.params, params) && checkPbe1(reading, params, data);
}

KeyEncryption describeEncryption(AlgorithmIdentifier const& algorithm) {
    KeyEncryption found;
    asn1::blob const scheme = algorithm.oid;
    found.scheme = oidName(scheme);
    Reading reading(algorithm.params, &found.problem);
    PBEParams params;
    if (scheme == oid::pbes2) {
        detail::describePbes2(reading, algorithm.params, nullptr, &found);
    } else if (!(scheme == oid::pbeWithSha1And3KeyTripleDes)) {
        detail::refuseScheme(reading, scheme);
    } else if (detail::read(reading, algorithm.params, params)) {
        found.cipher = oidName(oid::desEde3Cbc);
        found.keyDerivation = "PKCS#12 with SHA1";
        found.iterations = params.iterations;
    }
    return found;
}
