#include "asn1/digest_info.h"

#include "asn1/tags.h"
#include "sealkit/asn1.h"
#include "sealkit/oid.h"

#include <iostream>

namespace tag = detail::tag;

namespace {

asn1::blob refuse(char const* reason) {
    std::cout << reason << std::endl;
    return {};
}

size_t digestLength(HashID id) {
    std::unique_ptr<Hash> const hash = createHash(id);
    return hash ? hash->digestLength() : 0;
}

} // namespace

/// DigestInfo ::= SEQUENCE { digestAlgorithm AlgorithmIdentifier, digest OCTET STRING }
asn1::blob detail::parseDigestInfo(HashID expected, asn1::blob block) {
    if (block.empty())
        return refuse("empty digest info");

    asn1::parser info(block);
    if (info.tag == asn1::parser::errorTag || info.valueEnd != block.finish)
        return refuse("digest info does not span whole block");
    if (info.tag != tag::sequence)
        return refuse("bad digest info prefix");

    info.enter(tag::sequence);
    if (info.tag != tag::sequence)
        return refuse("missing algo id seq");
    asn1::parser const algorithm(info.value());
    if (algorithm.tag != tag::oid)
        return refuse("missing alog id");
    if (getHashID(algorithm.value()) != expected)
        return refuse("not correct signature hash");

    info.next();
    if (info.tag != tag::octetString)
        return refuse("missing hash");
    asn1::blob const digest = info.value();
    info.next();
    if (info.tag != asn1::parser::endTag)
        return refuse("trailing bytes after digest");
    if (digest.size() != digestLength(expected))
        return refuse("bad digest length");
    return digest;
}
