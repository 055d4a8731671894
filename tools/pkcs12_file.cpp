#include "pkcs12_file.h"

#include "hash_names.h"
#include "terminal.h"

#include "sealkit/asn1.h"
#include "sealkit/pem.h"

#include <algorithm>

namespace {

constexpr unsigned tagInteger = 0x02, tagOid = 0x06, tagSequence = 0x30, tagContent = 0xA0;

struct NamedOid {
    char const* dotted;
    char const* name;
};

/// Hashes and MACs that other programs write and the library does not know.
NamedOid const otherMacNames[] = {
    {"2.16.840.1.101.3.4.2.4", "SHA224"},     {"2.16.840.1.101.3.4.2.5", "SHA512-224"},
    {"2.16.840.1.101.3.4.2.6", "SHA512-256"}, {"2.16.840.1.101.3.4.2.7", "SHA3-224"},
    {"2.16.840.1.101.3.4.2.8", "SHA3-256"},   {"2.16.840.1.101.3.4.2.9", "SHA3-384"},
    {"2.16.840.1.101.3.4.2.10", "SHA3-512"},  {"1.2.840.113549.1.5.14", "PBMAC1"},
    {"1.2.643.7.1.1.2.2", "Streebog-256"},    {"1.2.643.7.1.1.2.3", "Streebog-512"},
    {"1.2.156.10197.1.401", "SM3"},
};

HashName const* findMacHash(PKCS12PFX const& pfx) {
    HashID const id = getHashID(pfx.macAlgorithm.oid);
    auto const row = std::ranges::find(hashNames, id, &HashName::id);
    return id == HashID::none || row == std::end(hashNames) ? nullptr : row;
}

/// Whether it starts as PKCS#12 in BER does: a version and a type of PKCS#7, within lengths that may be open.
bool looksLikeBer(asn1::blob der) {
    static constexpr unsigned char sequence[] = {tagSequence};
    static constexpr unsigned char version[] = {tagInteger, 1, 3, tagSequence};
    static constexpr unsigned char pkcs7[] = {tagOid, 9, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 1, 7};
    auto const take = [&der](asn1::blob bytes) {
        if (der.size() < bytes.size() || !std::equal(bytes.begin(), bytes.end(), der.begin()))
            return false;
        der.start += bytes.size();
        return true;
    };
    auto const takeLength = [&der] {
        size_t const more = der.empty() || der[0] < 0x80 ? 0 : der[0] & 0x7FU;
        if (der.size() < 1 + more)
            return false;
        der.start += 1 + more;
        return true;
    };
    return take(sequence) && takeLength() && take(version) && takeLength() && take(pkcs7);
}

bool looksLikeDer(asn1::blob der) {
    asn1::parser fields(der);
    if (!fields.enter(tagSequence) || fields.tag != tagInteger)
        return false;
    fields.take();
    if (!fields.enter(tagSequence) || fields.tag != tagOid)
        return false;
    fields.take();
    return fields.tag == tagContent;
}

std::string problemOf(AlgorithmIdentifier const& algorithm) {
    return describePkcs12Encryption(algorithm).problem;
}

} // namespace

bool looksLikePkcs12(asn1::blob der) { return looksLikeDer(der) || looksLikeBer(der); }

Pkcs12File readPkcs12(asn1::blob der) {
    Pkcs12File file;
    if (!looksLikePkcs12(der)) {
        file.complaint = "no PKCS#12";
        return file;
    }
    file.pfx = std::make_unique<PKCS12PFX>();
    terminal::CaptureDiagnostics const diagnostics;
    if (file.pfx->parse(der))
        return file;
    file.complaint = diagnostics.text();
    file.isBer = file.pfx->parseBer(der);
    if (file.isBer)
        return file;
    file.pfx.reset();
    if (file.complaint.empty())
        file.complaint = "is malformed PKCS#12, or its MAC asks for more than 10 million iterations";
    return file;
}

Pkcs12File readPkcs12Within(std::string_view text) {
    std::string_view rest = text;
    bool isPem = false;
    while (auto const block = takeBlock(rest)) {
        isPem = true;
        std::vector<unsigned char> der;
        if (block->label == pkcs12Label)
            return pemDecode(block->body, &der) ? readPkcs12(der)
                                                : Pkcs12File{nullptr, false, "is malformed base64"};
    }
    if (!isPem)
        return readPkcs12(text);
    return {nullptr, false, "holds no block \"" + std::string(pkcs12Label) + "\", only " + listLabels(text)};
}

std::string macName(PKCS12PFX const& pfx) {
    if (HashName const* const known = findMacHash(pfx))
        return known->tag;
    std::string const dotted = oidStr(pfx.macAlgorithm.oid);
    auto const row = std::ranges::find(otherMacNames, dotted, &NamedOid::dotted);
    return row == std::end(otherMacNames) ? dotted : row->name;
}

std::string whyNotOpened(PKCS12PFX const& pfx) {
    if (!pfx.mac.empty() && !findMacHash(pfx))
        return "its MAC with " + macName(pfx) + " is not supported";
    for (PKCS7EncryptedData const& content : pfx.encryptedData)
        if (std::string const problem = problemOf(content.encryptedContentInfo.contentEncryptionAlgorithm);
            !problem.empty())
            return "encrypted certificates or keys: " + problem;
    for (AlgorithmIdentifier const& algorithm : pfx.keyEncryptions())
        if (std::string const problem = problemOf(algorithm); !problem.empty())
            return "an encrypted key: " + problem;
    return "";
}

bool needsPassword(PKCS12PFX const& pfx) {
    return !pfx.mac.empty() || !pfx.encryptedData.empty() || pfx.lockedKeys() > 0;
}

Opening openPkcs12(PKCS12PFX& pfx, std::string const& password) {
    if (std::string const why = whyNotOpened(pfx); !why.empty())
        return {exitBadInput, why};
    terminal::CaptureDiagnostics const diagnostics;
    if (pfx.decrypt(password))
        return {};
    std::string const said = diagnostics.text();
    if (said.find("MAC verification failed") != std::string::npos) {
        std::string why = "the password is wrong, or the file is damaged: its MAC does not verify";
        if (pfx.macIterations == 0)
            why += " (with 2048 iterations, as the file does not say how many: that may be the reason, and "
                   "--mac-iterations 1 what helps)";
        return {exitNo, why};
    }
    if (said.find("unsupported") != std::string::npos || said.find("unimplemented") != std::string::npos ||
        said.find("too many") != std::string::npos)
        return {exitBadInput, withEncryptionName(said)};
    if (pfx.mac.empty())
        return {exitNo, "the password is wrong, or the file is damaged"};
    return {exitBadInput, "the password is right, but what it protects is malformed, or a certificate or key "
                          "of a kind that is not read"};
}
