#include "objects/kem_key.h"

#include "io/input.h"
#include "io/terminal.h"
#include "objects/key_file.h"

#include "sealkit/asn1.h"
#include "sealkit/der.h"
#include "sealkit/oid.h"
#include "sealkit/pem.h"
#include "sealkit/x509.h"

#include <cstring>

namespace {

constexpr unsigned tagInteger = 0x02, tagBitString = 0x03, tagOctetString = 0x04, tagOid = 0x06,
                   tagSequence = 0x30, tagSeed = 0x80, tagAttributes = 0xA0, tagPublicKey = 0x81;

constexpr size_t seedSize = kemSeedSize, secretKeySize = sizeof MLKEMDecap::secretKey,
                 publicKeySize = sizeof MLKEMDecap::publicKey;

/// id-alg-ml-kem-768 (RFC 9935, section 3).
constexpr unsigned char mlkem768[] = {0x60, 0x86, 0x48, 0x01, 0x65,
                                      0x03, 0x04, 0x04, 0x02}; // 2.16.840.1.101.3.4.4.2

constexpr char damaged[] = "a damaged ML-KEM-768 key: it does not pass the check of FIPS 203, section 7.3";

/// What stands in a file: one object in DER, what a PEM block calls it, or raw bytes.
struct KeyFile {
    SecretBytes contents;
    std::string label; ///< Empty without PEM.
    bool isEncoded = false;
};

bool isSecretKeyLabel(std::string_view label) {
    return label == "PRIVATE KEY" || label == "ENCRYPTED PRIVATE KEY";
}

bool isKeyLabel(std::string_view label) {
    return isSecretKeyLabel(label) || label == "PUBLIC KEY" || label == "CERTIFICATE";
}

SecretBytes decode(std::string_view body) {
    std::vector<unsigned char> der;
    pemDecode(body, &der);
    SecretBytes contents(der.begin(), der.end());
    secureMemset(der.data(), 0, der.size());
    return contents;
}

/// The first key or certificate of a file, or the first secret key, where one is wanted and there. Complains and
/// gives nothing when it cannot be read.
std::optional<KeyFile> readKeyFile(std::string const& path, bool wantsSecret) {
    auto contents = readMessage(path);
    if (!contents)
        return std::nullopt;
    std::string_view text = textOf(*contents);
    if (text.starts_with("\xEF\xBB\xBF")) // Some editors write a byte-order mark.
        text.remove_prefix(3);
    bool isPem = false;
    std::optional<PemBlock> found;
    while (auto const block = takeBlock(text)) {
        isPem = true;
        if (found ? wantsSecret && !isSecretKeyLabel(found->label) && isSecretKeyLabel(block->label)
                  : isKeyLabel(block->label))
            found = block;
    }
    if (found)
        return KeyFile{decode(found->body), std::string(found->label), true};
    if (isPem) {
        badInput(path + ": holds no ML-KEM-768 key");
        return std::nullopt;
    }
    size_t const size = contents->size();
    bool const isRaw = size == seedSize || size == secretKeySize || size == publicKeySize;
    return KeyFile{std::move(*contents), "", !isRaw};
}

/// Reads elements of DER in turn. Once one is not what it should be, so is the rest.
class Elements {
public:
    explicit Elements(asn1::blob level) : parser(level) {}

    asn1::blob take(unsigned tag) {
        if (parser.tag == tag)
            return parser.take();
        isGood = false;
        return {};
    }
    void skip(unsigned tag) {
        if (parser.tag == tag)
            parser.take();
    }
    bool is(unsigned tag) const { return parser.tag == tag; }
    /// All was as it should be, and nothing is left.
    bool end() const { return isGood && parser.tag == asn1::parser::endTag; }

private:
    asn1::parser parser;
    bool isGood = true;
};

/// The content of an AlgorithmIdentifier. Its parameters must be absent.
bool isMlkem768(asn1::blob algorithm) {
    Elements fields(algorithm);
    return fields.take(tagOid) == asn1::blob(mlkem768) && fields.end();
}

/// Takes one SEQUENCE and nothing behind it.
asn1::blob contentOfSequence(asn1::blob der) {
    Elements whole(der);
    asn1::blob const content = whole.take(tagSequence);
    return whole.end() ? content : asn1::blob();
}

/// ML-KEM-768-PrivateKey (RFC 9935, section 6). Empty when all is well; otherwise why not.
std::string loadPrivateKey(asn1::blob field, MLKEMDecap& key) {
    Elements choice(field);
    asn1::blob seed, expanded;
    bool isGood = true;
    if (choice.is(tagSequence)) {
        Elements both(choice.take(tagSequence));
        seed = both.take(tagOctetString);
        expanded = both.take(tagOctetString);
        isGood = both.end() && !seed.empty() && !expanded.empty();
    } else if (choice.is(tagSeed)) {
        seed = choice.take(tagSeed);
    } else {
        expanded = choice.take(tagOctetString);
    }
    isGood = isGood && choice.end() && (seed.empty() || seed.size() == seedSize) &&
             (expanded.empty() || expanded.size() == secretKeySize) && !(seed.empty() && expanded.empty());
    if (!isGood)
        return "a malformed ML-KEM-768 key";
    if (!key.load(seed.empty() ? expanded : seed))
        return damaged;
    if (!seed.empty() && !expanded.empty() && !(asn1::blob(key.secretKey) == expanded))
        return "a damaged ML-KEM-768 key: the expanded key is not that of the seed beside it";
    return "";
}

/// OneAsymmetricKey (RFC 5958, section 2), on the same terms.
std::string loadPkcs8(asn1::blob der, MLKEMDecap& key) {
    Elements fields(contentOfSequence(der));
    fields.take(tagInteger);
    asn1::blob const algorithm = fields.take(tagSequence), field = fields.take(tagOctetString);
    fields.skip(tagAttributes);
    fields.skip(tagPublicKey);
    if (!fields.end())
        return "no private key that can be read";
    if (!isMlkem768(algorithm))
        return "a private key of another algorithm than ML-KEM-768";
    return loadPrivateKey(field, key);
}

std::string load(KeyFile const& file, MLKEMDecap& key) {
    if (!file.isEncoded)
        return key.load(textOf(file.contents))         ? ""
               : file.contents.size() == publicKeySize ? "a public key"
                                                       : damaged;
    if (file.label == "ENCRYPTED PRIVATE KEY")
        return "an encrypted key: keys of ML-KEM are read unencrypted only";
    if (!file.label.empty() && file.label != "PRIVATE KEY")
        return "\"" + file.label + "\": no private key";
    return loadPkcs8(textOf(file.contents), key);
}

/// The key within a SubjectPublicKeyInfo; empty when it is none of ML-KEM-768.
asn1::blob keyWithin(asn1::blob info) {
    Elements fields(contentOfSequence(info));
    bool const isOurs = isMlkem768(fields.take(tagSequence));
    asn1::blob const bits = fields.take(tagBitString);
    if (!isOurs || !fields.end() || bits.size() != 1 + publicKeySize || bits[0] != 0)
        return {};
    return bitStringContent(bits);
}

SecretBytes encodePem(char const* label, std::vector<unsigned char> der) {
    std::vector<unsigned char> pem = encodePemType(label, der);
    SecretBytes result(pem.begin(), pem.end());
    secureMemset(der.data(), 0, der.size());
    secureMemset(pem.data(), 0, pem.size());
    return result;
}

} // namespace

bool readKemKey(std::string const& path, MLKEMDecap& key) {
    auto const file = readKeyFile(path, true);
    if (!file)
        return false;
    std::string const complaint = load(*file, key);
    if (!complaint.empty())
        badInput(path + ": " + complaint);
    return complaint.empty();
}

std::optional<std::vector<unsigned char>> readKemPublicKey(std::string const& path) {
    auto const file = readKeyFile(path, false);
    if (!file)
        return std::nullopt;
    SecretBytes const& contents = file->contents;
    if (!file->isEncoded && contents.size() == publicKeySize)
        return std::vector<unsigned char>(contents.begin(), contents.end());

    asn1::blob info = textOf(contents);
    X509Certificate certificate;
    {
        terminal::CaptureDiagnostics const diagnostics;
        if (file->isEncoded && (file->label.empty() || file->label == "CERTIFICATE") &&
            certificate.parse(contents.data(), static_cast<unsigned>(contents.size())))
            info = certificate.subjectPublicKeyInfo;
    }
    if (asn1::blob const bytes = keyWithin(info); !bytes.empty())
        return std::vector<unsigned char>(bytes.begin(), bytes.end());
    if (file->label == "PUBLIC KEY" || file->label == "CERTIFICATE") {
        badInput(path + ": \"" + file->label + "\": no public key of ML-KEM-768");
        return std::nullopt;
    }
    MLKEMDecap key;
    if (std::string const complaint = load(*file, key); !complaint.empty()) {
        bool const isNothing = file->label.empty() && complaint.starts_with("no private key");
        badInput(path + ": " + (isNothing ? "no ML-KEM-768 key that can be read" : complaint));
        return std::nullopt;
    }
    return std::vector<unsigned char>(std::begin(key.publicKey), std::end(key.publicKey));
}

SecretBytes encodeKemKey(std::span<unsigned char const, kemSeedSize> seed) {
    DerEncoder encoder;
    encoder.begin(tagSequence).addInteger(0U).begin(tagSequence).addOid(mlkem768).end();
    encoder.begin(tagOctetString).add(tagSeed, std::span<unsigned char const>(seed)).end().end();
    return encodePem("PRIVATE KEY", encoder.take());
}

std::vector<unsigned char> encodeKemPublicKey(MLKEMDecap const& key) {
    DerEncoder encoder;
    encoder.begin(tagSequence).begin(tagSequence).addOid(mlkem768).end().addBitString(key.publicKey).end();
    return encodePemType("PUBLIC KEY", encoder.take());
}
