#include "sealkit/x509.h"

#include "sealkit/der.h"
#include "sealkit/signature.h"

#include "asn1/element.h"
#include "x509/writer.h"

namespace {

/// `element` where it still encodes an algorithm with the same members, else the algorithm encoded anew.
/// Kept elements matter beyond their form: absent parameters read as a copy of the object identifier.
void addAlgorithm(DerEncoder& to, AlgorithmIdentifier const& algorithm, asn1::blob element) {
    AlgorithmIdentifier kept;
    asn1::blob content;
    if (detail::readOnly(element, detail::tag::sequence, &content) && parse(kept, content) &&
        kept.oid == algorithm.oid && kept.params == algorithm.params)
        to.addEncoded(element);
    else
        save(algorithm, to);
}

/// The same for a signature: its unused bits and the form of its length survive.
void addSignature(DerEncoder& to, asn1::blob signature, asn1::blob element) {
    asn1::blob content;
    if (detail::readOnly(element, detail::tag::bitString, &content) && bitStringContent(content) == signature)
        to.addEncoded(element);
    else
        to.addBitString(signature);
}

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

bool X509Base::unpackObj(asn1::blob object) {
    namespace tag = detail::tag;
    asn1::blob content, tbsElement, algorithmElement, algorithmContent, signatureElement, signatureContent;
    if (!detail::readOnly(object, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    AlgorithmIdentifier algorithm;
    if (!detail::takeWhole(fields, tag::sequence, &tbsElement) ||
        !detail::takeWhole(fields, tag::sequence, &algorithmElement) ||
        !detail::takeWhole(fields, tag::bitString, &signatureElement) || !detail::atEnd(fields) ||
        !detail::readOnly(algorithmElement, tag::sequence, &algorithmContent) ||
        !parse(algorithm, algorithmContent) ||
        !detail::readOnly(signatureElement, tag::bitString, &signatureContent))
        return false;
    tbs = detail::copyOf(tbsElement);
    signatureAlgorithm = std::move(algorithm);
    signature = detail::copyOf(bitStringContent(signatureContent));
    unpackedHeader = detail::copyOf({object.start, content.start});
    unpackedAlgorithm = detail::copyOf(algorithmElement);
    unpackedSignature = detail::copyOf(signatureElement);
    return true;
}

std::vector<unsigned char> X509Base::serialize() const {
    // The header first, as it was read; it holds while the content has the same length.
    DerEncoder object;
    object.addEncoded(unpackedHeader).addEncoded(tbs);
    addAlgorithm(object, signatureAlgorithm, unpackedAlgorithm);
    addSignature(object, signature, unpackedSignature);
    asn1::blob content = asn1::blob(object.buf);
    content.pop_front(unpackedHeader.size());

    asn1::blob kept;
    if (detail::readOnly(object.buf, detail::tag::sequence, &kept) && kept.start == content.start)
        return object.take();
    DerEncoder anew;
    anew.add(detail::tag::sequence, content);
    return anew.take();
}
