#include "sealkit/timestamp.h"

#include "sealkit/bignum.h"
#include "sealkit/oid.h"

#include "asn1/element.h"

#include <iostream>

namespace tag = detail::tag;

namespace {

/// The highest status of a response that has a token: granted with modifications (RFC 3161, section 2.4.2).
constexpr std::uint32_t lastGranted = 1;

} // namespace

bool TimeStampRequest::parse(asn1::blob request) {
    *this = TimeStampRequest();
    asn1::blob body, imprint, algorithm, digest, value;
    if (!detail::readOnly(request, tag::sequence, &body))
        return false;
    asn1::parser fields(body);
    if (!detail::takeUInt(fields, &version) || !detail::take(fields, tag::sequence, &imprint))
        return false;
    asn1::parser digestInfo(imprint);
    if (!detail::takeWhole(digestInfo, tag::sequence, &algorithm) ||
        !detail::take(digestInfo, tag::octetString, &digest) || !detail::atEnd(digestInfo))
        return false;
    hashAlgorithm = getHashFromDER(algorithm);
    hashedMessage = detail::copyOf(digest);
    if (hashAlgorithm == HashID::none)
        return false;

    if (fields.tag == tag::oid) {
        if (!detail::take(fields, tag::oid, &value))
            return false;
        policy = detail::copyOf(value);
    }
    if (fields.tag == tag::integer) {
        if (!detail::takeInteger(fields, &value))
            return false;
        nonce = detail::copyOf(value);
    }
    if (fields.tag == tag::boolean) {
        if (!detail::take(fields, tag::boolean, &value) || value.size() != 1)
            return false;
        certReq = value[0] != 0;
    }
    return detail::atEnd(fields);
}

void TimeStampRequest::save(DerEncoder& to) const {
    unsigned char const versionOctets[] = {
        static_cast<unsigned char>(version >> 24), static_cast<unsigned char>(version >> 16),
        static_cast<unsigned char>(version >> 8), static_cast<unsigned char>(version)};
    to.begin(tag::sequence).addInteger(BigNum(asn1::blob(versionOctets)));
    saveDigest(to, hashAlgorithm, hashedMessage);
    if (!policy.empty())
        to.addOid(policy);
    if (!nonce.empty())
        to.add(tag::integer, nonce);
    to.addBool(tag::boolean, certReq != 0).end();
}

void TimeStampRequest::dump() const {
    std::cout << version << std::endl
              << "digest-algo: " << getHashName(hashAlgorithm) << std::endl
              << str(hashedMessage) << std::endl;
    if (!policy.empty())
        std::cout << "req-policy: " << oidStr(policy) << std::endl;
    if (!nonce.empty())
        std::cout << "nonce: " << str(nonce) << std::endl;
    std::cout << "cert-req: " << (certReq != 0 ? '1' : '0') << std::endl;
}

bool TimeStampResponse::parse(asn1::blob response) {
    *this = TimeStampResponse();
    asn1::blob body, statusInfo, message;
    if (!detail::readOnly(response, tag::sequence, &body))
        return false;
    asn1::parser fields(body);
    if (!detail::take(fields, tag::sequence, &statusInfo))
        return false;
    asn1::parser info(statusInfo);
    if (info.tag != tag::integer || info.value().empty() || info.value().size() > sizeof status)
        return false; // Read as 0 it would be a grant.
    status = info.readUInt();
    if (info.tag == asn1::parser::errorTag)
        return false; // So would this.
    if (status > lastGranted)
        return detail::atEnd(fields) ||
               (detail::take(fields, tag::sequence, &message) && detail::atEnd(fields));

    if (!detail::takeWhole(fields, tag::sequence, &message) || !detail::atEnd(fields))
        return false;
    token = std::make_unique<PKCS7SignedData>();
    return token->parse(message);
}

void TimeStampResponse::dump() const {
    std::cout << "status: " << status << std::endl;
    if (status <= lastGranted && token)
        token->dump(std::cout);
}
