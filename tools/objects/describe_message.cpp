#include "objects/describe_message.h"

#include "io/clock.h"
#include "io/terminal.h"
#include "objects/certificates.h"

#include "sealkit/asn1_tree.h"
#include "sealkit/name_text.h"
#include "sealkit/oid.h"
#include "sealkit/oid_names.h"

#include <nlohmann/json.hpp>

namespace {

using terminal::printable;

std::string sizeText(size_t bytes) { return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes"); }

/// The length of a message's content, which may be of any kind and size.
std::string contentText(PKCS7SignedData const& message) {
    return message.content.empty() ? "(elsewhere)" : sizeText(message.contentOctets().size());
}

Description describeStamp(TimeStampInfo const& info) {
    Description result{{"time", isoTime(info)}};
    if (info.accuracy)
        result["accuracy"] = accuracyText(info);
    result["policy"] = oidStr(info.policy);
    result["serialNumber"] = shortHexOf(info.serialNumber);
    result["digestAlgorithm"] = oidName(info.hashAlgorithm);
    result["digest"] = shortHexOf(info.hashedMessage);
    if (!info.nonce.empty())
        result["nonce"] = shortHexOf(info.nonce);
    return result;
}

/// The contents of a token within a signature, or the reason why it is unreadable.
Description describeStamp(std::vector<unsigned char> const& token) {
    PKCS7SignedData message;
    TimeStampInfo info;
    Refusal refusal;
    if (message.parse(token, &refusal, FormRules::standard) && info.parse(message, &refusal))
        return describeStamp(info);
    return {{"refused", printable(refusal.str())}};
}

/// Describes each attribute of a set, given by the set's content octets.
Description attributeTexts(asn1::blob attributes) {
    auto list = Description::array();
    for (asn1::TreeWalker walker(attributes); walker.next();)
        if (walker.element().depth == 0)
            list.push_back(printable(asn1::derText(asn1::findElement(attributes, walker.element().offset))));
    return list;
}

/// `message` is the signer's message; null for a counter-signature, which has no certificates.
Description describeSigner(PKCS7SignerInfo const& signer, PKCS7SignedData const* message) {
    Description result;
    PKCS7SignerForm const* const form = signer.form();
    if (form != nullptr && !form->subjectKeyId.empty()) {
        result["subjectKeyIdentifier"] = shortHexOf(form->subjectKeyId);
    } else {
        result["issuer"] = terminal::printable(nameText(signer.issuer));
        result["serialNumber"] = shortHexOf(signer.serialNumber);
    }
    result["digestAlgorithm"] = digestName(signer);
    if (form != nullptr)
        result["signatureAlgorithm"] = oidName(form->signatureAlgorithm.oid);
    if (message != nullptr) {
        // Looking up many signers among many certificates takes too long.
        constexpr size_t maxComparisons = 100'000;
        if (message->signerInfos.size() * uint64_t(message->certificates.size()) <= maxComparisons) {
            auto const certificate = message->findCertificate(signer);
            result["certificate"] = certificate ? nameFor(*certificate) : "(not in the message)";
        }
    }
    if (signer.hasSigningTime != 0)
        result["signingTime"] = isoTime(signer.signingTime);
    if (form == nullptr || form->hasAttributes)
        result["digest"] = shortHexOf(signer.contentDigest);
    else
        result["signs"] = "the content alone, without attributes";
    if (!signer.authAttributes.empty())
        result["signedAttributes"] = attributeTexts(signer.authAttributes);
    result["signature"] = shortHexOf(signer.encryptedDigest);
    if (signer.counterSignature)
        result["counterSignature"] = describeSigner(*signer.counterSignature, nullptr);
    if (form != nullptr && !form->furtherCounterSignatures.empty()) {
        auto further = Description::array();
        for (auto const& other : form->furtherCounterSignatures)
            further.push_back(describeSigner(*other, nullptr));
        result["furtherCounterSignatures"] = further;
    }
    if (signer.msCounterSignature)
        result["timeStamp"] = describe(*signer.msCounterSignature);
    if (form != nullptr && !form->timeStamps.empty()) {
        auto stamps = Description::array();
        for (std::vector<unsigned char> const& token : form->timeStamps)
            stamps.push_back(describeStamp(token));
        result["timeStamps"] = stamps;
    }
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
                       {"contentType", getContentTypeName(message.contentType)},
                       {"content", contentText(message)}};
    if (TimeStampInfo info; info.parse(message, nullptr))
        result["states"] = describeStamp(info);
    result["digestAlgorithms"] = algorithms;
    result["signers"] = signers;
    result["certificates"] = certificates;
    result["revocationLists"] = lists;
    auto ignored = Description::array();
    for (Refusal const& refusal : message.ignored())
        ignored.push_back(printable(refusal.str()));
    if (!ignored.empty())
        result["ignored"] = ignored;
    return result;
}

namespace {

/// The recipient's key, as the message names it.
Description describeName(PKCS7KeyTransRecipientInfo const& recipient) {
    Description entry;
    if (recipient.version == 0) {
        entry["issuer"] = terminal::printable(nameText(recipient.issuerElement));
        entry["serialNumber"] = shortHexOf(recipient.serialNumber);
    } else {
        entry["subjectKeyIdentifier"] = shortHexOf(recipient.subjectKeyId);
    }
    return entry;
}

Description describeRecipient(PKCS7KeyTransRecipientInfo const& recipient) {
    Description entry = describeName(recipient);
    entry["keyEncryption"] = oidName(recipient.keyEncryptionAlgorithm.oid);
    return entry;
}

Description describeRecipient(EnvelopedRecipient const& recipient) {
    Description entry;
    switch (recipient.kind) {
    case RecipientKind::keyTransport:
    case RecipientKind::keyAgreement:
        entry = describeName(recipient);
        break;
    case RecipientKind::sharedKey:
        entry["keyIdentifier"] = shortHexOf(recipient.subjectKeyId);
        break;
    case RecipientKind::password:
        entry["keyDerivation"] =
            recipient.keyDerivation.oid.empty() ? "(not named)" : oidName(recipient.keyDerivation.oid);
        break;
    }
    entry["keyEncryption"] = oidName(recipient.algorithm().oid);
    return entry;
}

/// The members common to both forms of enveloped messages.
template <typename Message, typename Recipients>
Description describeEnvelope(Message const& message, Recipients const& recipients) {
    PKCS7EncryptedContentInfo const& content = message.encryptedContentInfo;
    auto list = Description::array();
    for (auto const& recipient : recipients)
        list.push_back(describeRecipient(recipient));
    Description result{{"object", "enveloped message"},
                       {"version", message.version},
                       {"contentType", getContentTypeName(content.contentType)},
                       {"cipher", oidName(content.contentEncryptionAlgorithm.oid)},
                       {"encryptedContent", sizeText(content.encryptedContent.size())},
                       {"recipients", list}};
    if (!message.originatorInfo.empty())
        result["originatorInformation"] = sizeText(message.originatorInfo.size());
    if (!message.unprotectedAttrs.empty())
        result["unprotectedAttributes"] = sizeText(message.unprotectedAttrs.size());
    return result;
}

} // namespace

Description describe(PKCS7EnvelopedData const& message) {
    return describeEnvelope(message, message.recipientInfos);
}

Description describe(EnvelopedMessage const& message) {
    Description result = describeEnvelope(message, message.recipients);
    if (message.otherRecipients != 0)
        result["otherRecipients"] = message.otherRecipients;
    if (message.isAuthenticated)
        result["authenticated"] =
            message.authAttrs.empty()
                ? "the content"
                : "the content, and " + sizeText(message.authAttrs.size()) + " of attributes";
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

Description describe(TimeStampResponse const& response, TimeStampStatus const& status) {
    Description result{{"object", "time-stamp response"}, {"status", statusName(status)}};
    if (std::string const details = statusDetails(status); !details.empty())
        result["details"] = details;
    if (response.token)
        result["token"] = describe(*response.token);
    return result;
}
