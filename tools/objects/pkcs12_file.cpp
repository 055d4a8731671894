#include "objects/pkcs12_file.h"

#include "io/exit_status.h"
#include "objects/certificates.h"
#include "objects/weak_encryption.h"

#include "sealkit/pem.h"
#include "sealkit/wipe.h"

#include <algorithm>
#include <set>

PKCS12Options pkcs12Options(std::optional<std::uint32_t> macIterations) {
    PKCS12Options options;
    options.ber = options.partial = options.trailingBytes = true;
    options.schemes = readableSchemes();
    options.forms = FormRules::standard;
    if (macIterations)
        options.macIterations = {*macIterations};
    else
        options.macIterations.push_back(1);
    return options;
}

Pkcs12File readPkcs12(asn1::blob der) {
    auto pfx = std::make_unique<PKCS12PFX>();
    Refusal refusal;
    if (!pfx->parse(der, pkcs12Options(), &refusal))
        return {nullptr, Complaint(refusal) + adviceOn(refusal)};
    return {std::move(pfx), ""};
}

Pkcs12File readPkcs12Within(std::string_view text) {
    std::string_view rest = text;
    bool isPem = false;
    while (auto const block = takeBlock(rest)) {
        isPem = true;
        if (block->label != pkcs12Label)
            continue;
        std::vector<unsigned char> der; // Wiped, because it may hold keys that are not encrypted.
        Pkcs12File file = pemDecode(block->body, &der)
                              ? readPkcs12(der)
                              : Pkcs12File{nullptr, getReasonText(RefusalId::pemMalformedBase64).sentence};
        secureMemset(der.data(), 0, der.size());
        return file;
    }
    if (!isPem)
        return readPkcs12(text);
    return {nullptr, "holds no block \"" + std::string(pkcs12Label) + "\", only " + listPemLabels(text)};
}

Decrypting decryptPkcs12(PKCS12PFX& pfx, std::string const& password, PKCS12Options const& options) {
    Refusal refusal;
    if (pfx.decrypt(password, options, &refusal))
        return {};
    Complaint complaint = refusal;
    if (refusal.id == RefusalId::macMismatch && pfx.macIterations == 0) {
        complaint += " The file does not give the iterations of its MAC";
        char const* before = ": ";
        for (unsigned count : options.macIterations) {
            complaint += before + std::to_string(count);
            before = " and ";
        }
        complaint += " were tried, and --mac-iterations gives another count.";
    }
    bool const isWrongPassword =
        refusal.id == RefusalId::macMismatch || refusal.id == RefusalId::wrongPassword;
    return {isWrongPassword ? exitNo : exitBadInput, complaint};
}

Complaint complaintOfPkcs12(Refusal const& refusal) {
    Complaint complaint = refusal;
    switch (refusal.id) {
    case RefusalId::unsupportedMac:
    case RefusalId::unknownEncryption:
    case RefusalId::unsupportedKdf:
    case RefusalId::unsupportedPrf:
    case RefusalId::unsupportedCipher:
        complaint += " \"openssl pkcs12 -in FILE -nodes\" may write what is in it as PEM.";
        break;
    default:
        break;
    }
    return complaint;
}

void noteForm(std::string const& name, PKCS12PFX const& pfx) {
    if (pfx.isBer())
        note(name + ": is BER and not DER, as some programs write it");
    if (size_t const bytes = pfx.ignoredTrailingBytes(); bytes > 0)
        note(name + ": " + std::to_string(bytes) + " trailing bytes are ignored");
}

void warnOfOrigin(std::string const& name, PKCS12PFX const& pfx, char const* check) {
    if (pfx.signedData)
        warn(name + ": is signed, and the signature is not checked (" + check + " checks it)");
    else if (pfx.mac.empty())
        warn(name + ": it is not authenticated: it has neither a MAC nor a signature");
}

std::string findWeakness(PKCS12PFX const& pfx) {
    auto const weaknessUnder = [](AlgorithmIdentifier const& algorithm) {
        return weaknessOf(describeEncryption(algorithm, readableSchemes()));
    };
    std::string weakness;
    for (PKCS7EncryptedData const& content : pfx.encryptedData)
        if (weakness.empty())
            weakness = weaknessUnder(content.encryptedContentInfo.contentEncryptionAlgorithm);
    for (AlgorithmIdentifier const& algorithm : pfx.keyEncryptions())
        if (weakness.empty())
            weakness = weaknessUnder(algorithm);
    return weakness;
}

std::string listIgnored(PKCS12PFX const& pfx) {
    constexpr size_t maxListed = 5;
    std::set<std::string> kinds;
    for (PKCS12IgnoredBag const& bag : pfx.ignoredBags())
        kinds.insert(bag.name());
    std::string list;
    size_t count = 0;
    for (std::string const& kind : kinds)
        if (++count <= maxListed)
            list += (list.empty() ? "" : ", ") + kind;
    return list + (count > maxListed ? ", ..." : "");
}

std::vector<std::string> listUnreadable(PKCS12PFX const& pfx) {
    constexpr size_t maxListed = 20;
    std::vector<Refusal> const refusals = pfx.unreadable();
    std::vector<std::string> sentences;
    for (size_t i = 0; i < std::min(refusals.size(), maxListed); i++)
        sentences.push_back(refusals[i].str());
    if (refusals.size() > maxListed)
        sentences.push_back(std::to_string(refusals.size() - maxListed) + " parts more cannot be read.");
    return sentences;
}
