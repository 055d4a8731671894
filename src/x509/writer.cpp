#include "x509/writer.h"

#include "sealkit/bignum.h"

#include "asn1/element.h"

#include <algorithm>

namespace detail {

namespace {

/// 1950-01-01 and 2050-01-01: the range of the two digits of a UTCTime (RFC 5280, section 4.1.2.5.1).
constexpr TimePoint firstOfUtcTime = TimePoint::fromSeconds(-631152000);
constexpr TimePoint endOfUtcTime = TimePoint::fromSeconds(2524608000);

} // namespace

AlgorithmIdentifier signatureAlgorithmOf(PrivateKey const& key, HashID hash) {
    AlgorithmIdentifier algorithm;
    if (key.keyType() == KeyType::X25519)
        return algorithm;
    algorithm.oid = copyOf(getKeyInfoFromKeyHash(key.keyType(), hash));
    if (key.keyType() == KeyType::RSA)
        algorithm.params = copyOf(key.algorithmParams());
    return algorithm;
}

std::vector<unsigned char> encodeName(DistinguishedName const& name, asn1::blob kept) {
    DistinguishedName was;
    if (!kept.empty() && was.parse(kept, nullptr) && was == name && was.other == name.other)
        return copyOf(kept);
    return name.serialize();
}

bool takeName(asn1::blob element, DistinguishedName* name, std::vector<unsigned char>* bytes) {
    DistinguishedName read;
    asn1::blob content;
    Reading silent;
    if (!readOnly(silent, element, tag::sequence, &content) || !read.parse(element, nullptr))
        return false;
    *name = std::move(read);
    *bytes = copyOf(element);
    return true;
}

std::vector<unsigned char> encodeNumber(asn1::blob content, asn1::blob kept) {
    if (content == kept)
        return copyOf(content);
    DerEncoder encoder;
    encoder.addInteger(BigNum(content));
    asn1::blob number;
    Reading silent;
    readOnly(silent, encoder.buf, tag::integer, &number);
    return copyOf(number);
}

bool addTime(DerEncoder& to, TimePoint time, asn1::blob kept) {
    asn1::parser element(kept);
    TimePoint was;
    if (!kept.empty() && was.parse(element) && was == time) {
        to.addEncoded(kept);
        return true;
    }
    if (time < firstOfUtcTime || time >= endOfUtcTime)
        return false;
    to.add(tag::utcTime, time.toUTC());
    return true;
}

std::vector<unsigned char> encodeAuthorityKeyId(asn1::blob keyId) {
    if (keyId.empty())
        return {};
    return DerEncoder().begin(tag::sequence).add(tag::primitive(0), keyId).end().take();
}

std::vector<unsigned char> encodeOctets(asn1::blob content) {
    return content.empty() ? std::vector<unsigned char>() : DerEncoder().addOctetString(content).take();
}

ExtensionWriter::ExtensionWriter(std::span<X509Extension const> before) : rest(before.begin(), before.end()) {
    list.begin(tag::sequence);
}

void ExtensionWriter::add(asn1::blob oid, bool isKept, bool critical, asn1::blob value) {
    auto const before = std::find_if(rest.begin(), rest.end(),
                                     [&](X509Extension const& extension) { return extension.oid == oid; });
    if (isKept && before != rest.end())
        write(oid, before->critical, before->value);
    else if (!value.empty())
        write(oid, critical, value);
    if (before != rest.end())
        rest.erase(before);
}

std::vector<unsigned char> ExtensionWriter::finish() {
    for (X509Extension const& extension : rest)
        write(extension.oid, extension.critical, extension.value);
    std::vector<unsigned char> whole = list.end().take();
    constexpr size_t emptySequence = 2;
    if (whole.size() == emptySequence)
        whole.clear();
    return whole;
}

/// Extension ::= SEQUENCE { extnID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
void ExtensionWriter::write(asn1::blob oid, bool critical, asn1::blob value) {
    list.begin(tag::sequence).addOid(oid);
    if (critical)
        list.addBool(tag::boolean, true);
    list.addOctetString(value).end();
}

bool isSame(GeneralName const& a, GeneralName const& b) { return a.type == b.type && a.data == b.data; }

bool isSame(std::vector<GeneralName> const& a, std::vector<GeneralName> const& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](GeneralName const& x, GeneralName const& y) { return isSame(x, y); });
}

} // namespace detail
