#include "io/terminal.h"
#include "objects/describe_message.h"
#include "objects/pkcs12_file.h"
#include "objects/weak_encryption.h"

#include <nlohmann/json.hpp>

namespace {

using terminal::printable;

/// Adds the attributes of a certificate or key before its own members.
Description withAttributes(std::vector<PKCS12Attributes> const& attributes, size_t i, Description object) {
    Description result;
    if (i < attributes.size() && !attributes[i].friendlyName.empty())
        result["friendlyName"] = printable(attributes[i].friendlyName);
    if (i < attributes.size() && !attributes[i].localKeyId.empty())
        result["localKeyId"] = shortHexOf(attributes[i].localKeyId);
    if (i < attributes.size()) {
        if (attributes[i].isTrustedByJava())
            result["trusted"] = "by Java, for any purpose";
        std::string others;
        for (std::string const& name : attributes[i].otherNames())
            others += (others.empty() ? "" : ", ") + name;
        if (!others.empty())
            result["otherAttributes"] = printable(others);
    }
    result.update(object);
    return result;
}

} // namespace

Description describe(Pkcs12File const& file, bool withSecrets) {
    PKCS12PFX const& pfx = *file.pfx;
    Description result{{"object", "PKCS#12 file"}};
    if (pfx.isBer())
        result["encoding"] = "BER";
    if (pfx.signedData)
        result["signature"] = describe(*pfx.signedData);
    if (!pfx.mac.empty()) {
        result["mac"] = {{"hash", pfx.macName()}, {"saltBytes", pfx.macSalt.size()}};
        if (pfx.macIterations == 0)
            result["mac"]["iterations"] = "not given (2048 and 1 are tried)";
        else
            result["mac"]["iterations"] = pfx.macIterations;
    }
    if (pfx.mac.empty() && !pfx.signedData)
        result["vouchedFor"] = "by nothing, neither a MAC nor a signature";
    for (PKCS7EncryptedData const& content : pfx.encryptedData) {
        PKCS7EncryptedContentInfo const& info = content.encryptedContentInfo;
        Description one = describe(describeEncryption(info.contentEncryptionAlgorithm, readableSchemes()));
        one["bytes"] = info.encryptedContent.size();
        result["encryptedContents"].push_back(one);
    }
    for (PKCS7EnvelopedData const& content : pfx.envelopedData)
        result["envelopedContents"].push_back(describe(content));
    for (AlgorithmIdentifier const& algorithm : pfx.keyEncryptions())
        result["encryptedKeys"].push_back(describe(describeEncryption(algorithm, readableSchemes())));
    if (size_t const contents = pfx.encryptedContents(), keys = pfx.encryptedKeys(); contents + keys > 0)
        result["notDecrypted"] =
            std::to_string(contents) + " contents, " + std::to_string(keys) + " keys" +
            (file.isDecrypted ? "" : " (--password-file decrypts what is under a password)");
    if (std::string const ignored = listIgnored(pfx); !ignored.empty())
        result["ignored"] = ignored;
    for (Refusal const& refusal : pfx.unreadable())
        result["unreadable"].push_back({{"reason", refusal.name()}, {"text", printable(refusal.str())}});
    for (size_t i = 0; i < pfx.keys.size(); ++i)
        result["keys"].push_back(withAttributes(pfx.keyAttributes, i, describe(*pfx.keys[i], withSecrets)));
    for (size_t i = 0; i < pfx.certificates.size(); ++i)
        result["certificates"].push_back(
            withAttributes(pfx.certificateAttributes, i, describe(*pfx.certificates[i])));
    return result;
}
