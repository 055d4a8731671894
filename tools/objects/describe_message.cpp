#include "objects/describe_message.h"

#include "io/clock.h"
#include "io/terminal.h"
#include "objects/certificates.h"

#include "sealkit/asn1.h"

#include <nlohmann/json.hpp>

namespace {

using terminal::printable;

std::string sizeText(size_t bytes) { return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes"); }

/// The content of a message, as a length: it may be of any kind and size.
std::string contentText(PKCS7SignedData const& message) {
    if (message.content.empty())
        return "(elsewhere)";
    return sizeText(asn1::parser(asn1::blob(message.content)).value().size());
}

Description describeStamp(StampedInfo const& stamp) {
    Description result{{"time", stamp.timeText}};
    if (!stamp.accuracy.empty())
        result["accuracy"] = stamp.accuracy;
    result["policy"] = oidStr(stamp.policy);
    result["serialNumber"] = shortHexOf(stamp.serialNumber);
    result["digestAlgorithm"] = algorithmName(stamp.hashOid);
    result["digest"] = shortHexOf(stamp.hashedMessage);
    if (!stamp.nonce.empty())
        result["nonce"] = shortHexOf(stamp.nonce);
    return result;
}

/// `message` is the one that the signer is of; null for a counter-signature, which brings no certificate.
Description describeSigner(PKCS7SignerInfo const& signer, PKCS7SignedData const* message) {
    Description result{{"issuer", nameText(signer.issuer)},
                       {"serialNumber", shortHexOf(signer.serialNumber)},
                       {"digestAlgorithm", getHashName(signer.digestAlgorithm)}};
    if (message != nullptr) {
        // Many signers, each looked up among many certificates, take too long.
        constexpr size_t mostComparisons = 100'000;
        if (message->signerInfos.size() * uint64_t(message->certificates.size()) <= mostComparisons) {
            auto const certificate = message->findCertificate(signer);
            result["certificate"] = certificate ? nameFor(*certificate) : "(not in the message)";
        }
    }
    if (signer.hasSigningTime != 0)
        result["signingTime"] = formatTime(signer.signingTime);
    result["digest"] = shortHexOf(signer.contentDigest);
    if (signer.counterSignature)
        result["counterSignature"] = describeSigner(*signer.counterSignature, nullptr);
    if (signer.msCounterSignature)
        result["timeStamp"] = describe(*signer.msCounterSignature);
    return result;
}

} // namespace

Description describe(PKCS7SignedData const& message) {
    auto algorithms = Description::array(), signers = Description::array(),
         certificates = Description::array(), lists = Description::array();
    for (HashID hash : message.digestAlgorithms)
        algorithms.push_back(getHashName(hash));
    for (auto const& signer : message.signerInfos)
        signers.push_back(describeSigner(*signer, &message));
    for (auto const& certificate : message.certificates)
        certificates.push_back(describe(*certificate));
    for (auto const& list : message.crls)
        lists.push_back(describe(*list));

    bool const isBag = message.signerInfos.empty() && message.content.empty();
    Description result{{"object", isBag ? "certificates in a message without signers" : "signed message"},
                       {"contentType", contentTypeName(message.contentType)},
                       {"content", contentText(message)}};
    if (auto const stamp = readStamp(message))
        result["states"] = describeStamp(*stamp);
    result["digestAlgorithms"] = algorithms;
    result["signers"] = signers;
    result["certificates"] = certificates;
    result["revocationLists"] = lists;
    return result;
}

Description describe(PKCS7EnvelopedData const& message) {
    PKCS7EncryptedContentInfo const& content = message.encryptedContentInfo;
    auto recipients = Description::array();
    for (PKCS7KeyTransRecipientInfo const& recipient : message.recipientInfos) {
        Description entry;
        if (recipient.version == 0) {
            entry["issuer"] = nameText(recipient.issuerElement);
            entry["serialNumber"] = shortHexOf(recipient.serialNumber);
        } else {
            entry["subjectKeyIdentifier"] = shortHexOf(recipient.subjectKeyId);
        }
        entry["keyEncryption"] = algorithmName(recipient.keyEncryptionAlgorithm.oid);
        recipients.push_back(std::move(entry));
    }
    Description result{{"object", "enveloped message"},
                       {"version", message.version},
                       {"contentType", contentTypeName(content.contentType)},
                       {"cipher", encryptionName(content.contentEncryptionAlgorithm.oid)},
                       {"encryptedContent", sizeText(content.encryptedContent.size())},
                       {"recipients", recipients}};
    if (!message.originatorInfo.empty())
        result["originatorInformation"] = sizeText(message.originatorInfo.size());
    if (!message.unprotectedAttrs.empty())
        result["unprotectedAttributes"] = sizeText(message.unprotectedAttrs.size());
    return result;
}

Description describe(TimeStampRequest const& request) {
    Description result{{"object", "time-stamp request"},
                       {"version", request.version},
                       {"digestAlgorithm", getHashName(request.hashAlgorithm)},
                       {"digest", shortHexOf(request.hashedMessage)}};
    if (!request.policy.empty())
        result["policy"] = oidStr(request.policy);
    if (!request.nonce.empty())
        result["nonce"] = shortHexOf(request.nonce);
    result["certificateWanted"] = request.certReq != 0;
    return result;
}

Description describe(TimeStampResponse const& response, StatusText const& status) {
    Description result{{"object", "time-stamp response"}, {"status", status.name}};
    if (!status.details.empty())
        result["details"] = status.details;
    if (response.token)
        result["token"] = describe(*response.token);
    return result;
}
