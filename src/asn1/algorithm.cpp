#include "asn1/read.h"
#include "sealkit/asn1.h"
#include "sealkit/oid.h"

#include <algorithm>
#include <limits>

namespace tag = detail::tag;

void saveHash(DerEncoder& to, HashID id) { to.begin(tag::sequence).addOid(getHashOid(id)).addNull().end(); }

void saveHash(DerEncoder& to, unsigned id) { saveHash(to, static_cast<HashID>(id)); }

void saveDigest(DerEncoder& to, HashID id, asn1::blob digest) {
    to.begin(tag::sequence);
    saveHash(to, id);
    to.addOctetString(digest).end();
}

void saveDigest(DerEncoder& to, unsigned id, asn1::blob digest) {
    saveDigest(to, static_cast<HashID>(id), digest);
}

HashID getHashFromDER(asn1::blob algId) {
    asn1::parser content(algId);
    if (!content.enter(tag::sequence) || content.tag != tag::oid)
        return HashID::none;
    asn1::blob const oid = content.take();
    return content.tag == tag::null ? getHashID(oid) : HashID::none;
}

std::vector<unsigned char> calcDigest(HashID id, asn1::blob data) {
    std::unique_ptr<Hash> const hash = createHash(id);
    if (!hash)
        return {};
    // A single update, unless the size exceeds its 32-bit length.
    do {
        size_t const size = std::min<size_t>(data.size(), std::numeric_limits<unsigned>::max());
        hash->update(data.start, static_cast<unsigned>(size));
        data.pop_front(size);
    } while (!data.empty());
    std::vector<unsigned char> digest(hash->digestLength());
    hash->digest(digest.data());
    return digest;
}

std::vector<unsigned char> calcDigest(unsigned id, asn1::blob data) {
    return calcDigest(static_cast<HashID>(id), data);
}

bool detail::readAlgorithm(Reading& reading, asn1::blob content, asn1::blob* oid, asn1::blob* params) {
    Level fields(reading, content);
    if (!take(fields, tag::oid, oid, "algorithm"))
        return false;
    *params = atEnd(fields) ? asn1::blob() : fields.takeWhole();
    return finish(fields);
}

bool detail::takeAlgorithm(Level& level, asn1::blob* oid, asn1::blob* params, char const* field) {
    asn1::blob content;
    if (!take(level, tag::sequence, &content, field))
        return false;
    Reading::Step const step(level.reading, field);
    return readAlgorithm(level.reading, content, oid, params);
}

bool detail::readAlgorithm(Reading& reading, asn1::blob content, AlgorithmIdentifier& to) {
    asn1::blob oid, params;
    bool const isGood = readAlgorithm(reading, content, &oid, &params);
    if (oid.start == nullptr)
        return false;
    to.oid = copyOf(oid);
    to.params = copyOf(paramsOrOid(content, params));
    return isGood;
}

bool parse(AlgorithmIdentifier& to, asn1::blob content) { return parse(to, content, nullptr); }

bool parse(AlgorithmIdentifier& to, asn1::blob content, Refusal* refusal) {
    detail::Reading reading(content, refusal);
    return detail::readAlgorithm(reading, content, to);
}

void save(AlgorithmIdentifier const& from, DerEncoder& to) {
    to.begin(tag::sequence).addOid(from.oid).addEncoded(from.params).end();
}

std::vector<unsigned char> encode(AlgorithmIdentifier const& from) {
    DerEncoder encoder;
    save(from, encoder);
    return encoder.take();
}
