#include "objects/pkcs12_file.h"

#include "io/terminal.h"
#include "objects/hash_names.h"

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

/// Types of bags and certificates that the library passes over (RFC 7292, sections 4.2.3 to 4.2.5).
NamedOid const otherBagNames[] = {
    {"1.2.840.113549.1.12.10.1.4", "revocation lists"},
    {"1.2.840.113549.1.12.10.1.5", "secrets that are no private keys"},
    {"1.2.840.113549.1.9.22.2", "SDSI certificates"},
};

template <size_t size>
std::string nameOf(std::string const& dotted, NamedOid const (&names)[size]) {
    auto const row = std::ranges::find(names, dotted, &NamedOid::dotted);
    return row == std::end(names) ? dotted : row->name;
}

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

/// Whether the MAC of a file in DER has more iterations than are done.
bool macTakesTooLong(asn1::blob der) {
    asn1::parser fields(der);
    if (!fields.enter(tagSequence) || !fields.next() || !fields.next() || !fields.enter(tagSequence) ||
        !fields.next() || !fields.next() || fields.tag != tagInteger || fields.value().empty())
        return false;
    return fields.value().size() > sizeof(unsigned) || fields.readUInt() > pkcs12MostIterations;
}

std::string problemOf(AlgorithmIdentifier const& algorithm) {
    return describePkcs12Encryption(algorithm).problem;
}

/// Of what one bag that is not read makes unreadable.
std::string const unreadKinds =
    "a certificate or key of a kind that is not read (certificates before X.509 version 3, other curves)";

} // namespace

void addLeftOut(Pkcs12File& file, std::string const& diagnostics) {
    static constexpr std::string_view words = "unknown SafeBag type - ";
    for (size_t at = 0; (at = diagnostics.find(words, at)) != std::string::npos;) {
        at += words.size();
        size_t const end = diagnostics.find_first_not_of("0123456789.", at);
        file.leftOut.insert(nameOf(diagnostics.substr(at, end - at), otherBagNames));
    }
}

std::string listLeftOut(Pkcs12File const& file) {
    constexpr size_t most = 5;
    std::string list;
    size_t count = 0;
    for (std::string const& kind : file.leftOut)
        if (++count <= most)
            list += (list.empty() ? "" : ", ") + kind;
    return list + (count > most ? ", ..." : "");
}

bool looksLikePkcs12(asn1::blob der) { return looksLikeDer(der) || looksLikeBer(der); }

Pkcs12File readPkcs12(asn1::blob der) {
    Pkcs12File file;
    if (!looksLikePkcs12(der)) {
        file.complaint = "no PKCS#12";
        return file;
    }
    file.pfx = std::make_unique<PKCS12PFX>();
    terminal::CaptureDiagnostics const diagnostics;
    bool const isDer = file.pfx->parse(der);
    std::string const said = diagnostics.text();
    file.isBer = !isDer && file.pfx->parseBer(der);
    if (isDer || file.isBer) {
        addLeftOut(file, diagnostics.text());
        return file;
    }
    file.pfx.reset();
    if (said.find("unable to parse SafeContents") != std::string::npos)
        file.complaint = "what is not encrypted in it is malformed, or " + unreadKinds;
    else if (!said.empty())
        file.complaint = said;
    else if (macTakesTooLong(der))
        file.complaint = "its MAC asks for more than 10 million iterations";
    else
        file.complaint = "is malformed PKCS#12";
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
    return nameOf(oidStr(pfx.macAlgorithm.oid), otherMacNames);
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

Opening openPkcs12(Pkcs12File& file, std::string const& password) {
    PKCS12PFX& pfx = *file.pfx;
    if (std::string const why = whyNotOpened(pfx); !why.empty())
        return {exitBadInput, why};
    terminal::CaptureDiagnostics const diagnostics;
    bool const isOpen = pfx.decrypt(password);
    std::string const said = diagnostics.text();
    auto const says = [&said](char const* words) { return said.find(words) != std::string::npos; };
    if (isOpen) {
        addLeftOut(file, said);
        return {};
    }
    if (says("MAC verification failed")) {
        std::string why = "the password is wrong, or the file is damaged: its MAC does not verify";
        if (pfx.macIterations == 0)
            why += " (with 2048 iterations, as the file does not say how many: that may be the reason, and "
                   "--mac-iterations 1 what helps)";
        return {exitNo, why};
    }
    if (says("too many"))
        return {exitBadInput, "all that is under the password asks for more than 30 million iterations"};
    if (says("unsupported") || says("unimplemented"))
        return {exitBadInput, withEncryptionName(said)};
    bool const isUnread = says("unable to parse SafeContents");
    if (pfx.mac.empty())
        return {exitNo, "the password is wrong, or the file is damaged" +
                            (isUnread ? ", or holds " + unreadKinds : "")};
    return {exitBadInput, isUnread
                              ? "the password is right, but what it protects is malformed, or " + unreadKinds
                              : "the password is that of the MAC, but not of what is encrypted, or that is "
                                "damaged: files with two passwords are not read"};
}
