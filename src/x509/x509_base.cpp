#include "sealkit/x509.h"

#include "sealkit/der.h"

#include "asn1/element.h"

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
