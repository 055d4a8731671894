#include "sealkit/x509.h"

#include "sealkit/der.h"
#include "sealkit/signature.h"

#include "asn1/read.h"
#include "sealkit/oid_names.h"
#include "x509/extensions.h"
#include "x509/read.h"
#include "x509/writer.h"

#include <bit>

namespace {

/// Writes `element` if it encodes the same algorithm, and encodes the algorithm otherwise. Keeping it
/// preserves absent parameters, which are read as a copy of the object identifier.
void addAlgorithm(DerEncoder& to, AlgorithmIdentifier const& algorithm, asn1::blob element) {
    AlgorithmIdentifier kept;
    asn1::blob content;
    detail::Reading silent;
    if (detail::readOnly(silent, element, detail::tag::sequence, &content) && parse(kept, content) &&
        kept.oid == algorithm.oid && kept.params == algorithm.params)
        to.addEncoded(element);
    else
        save(algorithm, to);
}

/// The same for a signature, which preserves its unused bits and the form of its length.
void addSignature(DerEncoder& to, asn1::blob signature, asn1::blob element) {
    asn1::blob content;
    detail::Reading silent;
    if (detail::readOnly(silent, element, detail::tag::bitString, &content) &&
        bitStringContent(content) == signature)
        to.addEncoded(element);
    else
        to.addBitString(signature);
}

/// Whether `addBitString` would write the same element: with the shortest length and no unused bits.
bool isAsWritten(asn1::blob bitString, asn1::blob content) {
    size_t const header = static_cast<size_t>(content.start - bitString.start);
    size_t const shortest = content.size() < 0x80 ? 2 : 2 + (std::bit_width(content.size()) + 7) / 8;
    return header == shortest && !content.empty() && content[0] == 0;
}

/// The parts of `X509Base::unpackedFrame`.
struct Frame {
    asn1::blob header, algorithm, signature;

    explicit Frame(asn1::blob frame) {
        if (frame.empty())
            return;
        constexpr unsigned char longForm = 0x80;
        header = frame.pop_front(2 + (frame[1] & longForm ? frame[1] & ~longForm : 0));
        asn1::parser rest(frame);
        algorithm = asn1::blob(rest.tlvStart, rest.valueEnd);
        signature = asn1::blob(rest.valueEnd, frame.finish);
    }
};

} // namespace

HashID X509Base::digestAlgo = HashID::SHA256;

bool X509Base::sign(PrivateKey const& key, HashID hash) {
    if (key.keyType() == KeyType::Ed25519)
        hash = HashID::none;
    else if (hash == HashID::none)
        hash = digestAlgo;
    std::vector<unsigned char> before = tbs;
    if (!updateTbs(key, hash))
        return false;
    std::vector<unsigned char> made = signMessage(key, hash, tbs);
    if (made.empty()) {
        tbs = std::move(before);
        return false;
    }
    signatureAlgorithm = detail::signatureAlgorithmOf(key, hash);
    signature = std::move(made);
    return true;
}

bool X509Base::sign(PrivateKey const& key, unsigned hash) { return sign(key, static_cast<HashID>(hash)); }

bool X509Base::sign(PrivateKey const& key) { return sign(key, digestAlgo); }

bool X509Base::verify(PublicKey const& key) const {
    KeyType type;
    HashID hash;
    return parseAlgosFromKeyInfo(encode(signatureAlgorithm), &type, &hash) && type == key.keyType() &&
           verifyMessage(key, hash, tbs, signature);
}

bool X509Base::unpackObj(asn1::blob object) { return unpackObj(object, nullptr); }

bool X509Base::unpackObj(asn1::blob object, Refusal* refusal) {
    detail::Reading reading(object, refusal);
    detail::SignedParts parts;
    return detail::unpack(reading, object, *this, &parts);
}

namespace detail {

bool readParts(Reading& reading, asn1::blob object, SignedParts* parts, asn1::blob* content) {
    if (!readOnly(reading, object, tag::sequence, content))
        return false;
    Level fields(reading, *content);
    if (!takeWhole(fields, tag::sequence, &parts->tbs, "signed part"))
        return false;
    bool const isWhole = takeWhole(fields, tag::sequence, &parts->algorithm, "signatureAlgorithm") &&
                         takeWhole(fields, tag::bitString, &parts->signature, "signature") && finish(fields);
    return isWhole || reading.isTolerant();
}

void setOutline(SignedParts const& parts, asn1::blob innerAlgorithm, asn1::blob extensions,
                SignedOutline* to) {
    Reading reading{Reading::Tolerant()};
    to->signatureAlgorithm = parts.algorithm;
    to->innerSignatureAlgorithm = innerAlgorithm;
    asn1::blob bits;
    if (readOnly(reading, parts.signature, tag::bitString, &bits))
        to->signature = bitStringContent(bits);
    ExtensionList list;
    to->isExtensionListBroken = !readExtensions(reading, extensions, &list);
    to->extensions.assign(list.begin(), list.end());
}

bool unpack(Reading& reading, asn1::blob object, X509Base& to, SignedParts* parts) {
    asn1::blob content, algorithmContent, signatureContent, oid, params;
    if (!readParts(reading, object, parts, &content) ||
        !readOnly(reading, parts->algorithm, tag::sequence, &algorithmContent) ||
        !readAlgorithm(reading, algorithmContent, &oid, &params) ||
        !readOnly(reading, parts->signature, tag::bitString, &signatureContent))
        return false;
    assign(to.tbs, parts->tbs);
    assign(to.signatureAlgorithm.oid, oid);
    assign(to.signatureAlgorithm.params, paramsOrOid(algorithmContent, params));
    assign(to.signature, bitStringContent(signatureContent));
    asn1::blob const header(object.start, content.start);
    asn1::blob const rest(parts->algorithm.start, isAsWritten(parts->signature, signatureContent)
                                                      ? parts->signature.start
                                                      : parts->signature.finish);
    to.unpackedFrame.reserve(header.size() + rest.size());
    assign(to.unpackedFrame, header);
    to.unpackedFrame.insert(to.unpackedFrame.end(), rest.begin(), rest.end());
    return true;
}

bool isSameAlgorithm(Reading& reading, asn1::blob outer, asn1::blob inner) {
    if (outer == inner)
        return true;
    if (!reading.wantsReason())
        return false;
    auto const nameOf = [](asn1::blob element) {
        Reading silent;
        asn1::blob content;
        AlgorithmIdentifier algorithm;
        bool const isAlgorithm =
            readOnly(silent, element, tag::sequence, &content) && readAlgorithm(silent, content, algorithm);
        return isAlgorithm ? oidName(algorithm.oid) : "(malformed)";
    };
    std::string const outside = nameOf(outer), inside = nameOf(inner);
    std::vector<Fact> facts = {{"outside", outside}, {"inside", inside}};
    if (outside == inside)
        facts = {{"differing in", "the parameters"}};
    return reading.refuse(RefusalId::algorithmMismatch, inner, std::move(facts));
}

} // namespace detail

std::vector<unsigned char> X509Base::serialize() const {
    // The original header comes first. It remains valid if the length is unchanged.
    Frame const frame(unpackedFrame);
    DerEncoder object;
    object.addEncoded(frame.header).addEncoded(tbs);
    addAlgorithm(object, signatureAlgorithm, frame.algorithm);
    addSignature(object, signature, frame.signature);
    asn1::blob content = asn1::blob(object.buf);
    content.pop_front(frame.header.size());

    asn1::blob kept;
    detail::Reading silent;
    if (detail::readOnly(silent, object.buf, detail::tag::sequence, &kept) && kept.start == content.start)
        return object.take();
    DerEncoder anew;
    anew.add(detail::tag::sequence, content);
    return anew.take();
}
