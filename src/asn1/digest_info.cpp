#include "asn1/digest_info.h"

#include "asn1/tags.h"
#include "sealkit/asn1.h"
#include "sealkit/oid.h"

#include <memory>

namespace tag = detail::tag;

namespace {

size_t digestLength(HashID id) {
    std::unique_ptr<Hash> const hash = createHash(id);
    return hash ? hash->digestLength() : 0;
}

} // namespace

/// DigestInfo ::= SEQUENCE { digestAlgorithm AlgorithmIdentifier, digest OCTET STRING }
asn1::blob detail::readDigestInfo(Reading& reading, HashID expected, asn1::blob block) {
    auto const refuse = [&](char const* line, RefusalId id, asn1::blob at) {
        reading.note(line);
        reading.refuse(id, at);
        return asn1::blob();
    };
    if (block.empty())
        return refuse("empty digest info", RefusalId::emptyInput, block);

    asn1::parser info(block);
    if (info.tag == asn1::parser::errorTag)
        return refuse("digest info does not span whole block", RefusalId::truncatedElement, block);
    if (info.valueEnd != block.finish)
        return refuse("digest info does not span whole block", RefusalId::trailingBytes,
                      {info.valueEnd, block.finish});
    if (info.tag != tag::sequence)
        return refuse("bad digest info prefix", RefusalId::unexpectedElement, block);

    info.enter(tag::sequence);
    if (info.tag != tag::sequence)
        return refuse("missing algo id seq", RefusalId::missingElement, block);
    asn1::parser const algorithm(info.value());
    if (algorithm.tag != tag::oid)
        return refuse("missing alog id", RefusalId::missingElement, info.value());
    if (getHashID(algorithm.value()) != expected)
        return refuse("not correct signature hash", RefusalId::otherDigest, algorithm.value());

    info.next();
    if (info.tag != tag::octetString)
        return refuse("missing hash", RefusalId::missingElement, info.value());
    asn1::blob const digest = info.value();
    info.next();
    if (info.tag != asn1::parser::endTag)
        return refuse("trailing bytes after digest", RefusalId::trailingBytes, {info.tlvStart, block.finish});
    if (digest.size() != digestLength(expected))
        return refuse("bad digest length", RefusalId::otherDigest, digest);
    return digest;
}
