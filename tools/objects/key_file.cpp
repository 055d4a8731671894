#include "objects/key_file.h"

#include "io/input.h"
#include "io/progress.h"
#include "objects/weak_encryption.h"

#include "sealkit/input_kind.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs12.h"

#include <algorithm>

namespace {

KeyFileOptions everyForm() {
    return {.traditionalDer = true,
            .fromCertificates = true,
            .openssh = true,
            .schemes = readableSchemes(),
            .forms = FormRules::standard};
}

/// Advice on a refusal; empty if none is known.
std::string adviceFor(Refusal const& refusal, std::string_view text) {
    if (findInputKind(text) == InputKind::utf16)
        return "save it as UTF-8 or ASCII";
    switch (refusal.id) {
    case RefusalId::unknownKeyAlgorithm:
        return "RSA, EC, Ed25519 and X25519 keys can be used; those of ML-KEM-768 are for the verb kem";
    case RefusalId::unknownCurve:
    case RefusalId::explicitCurve:
        return "the named curves P-192, P-224, P-256, P-384 and P-521 can be used";
    case RefusalId::encryptedOpensshKey:
        return "\"ssh-keygen -p -f COPY\" removes the password from a copy";
    case RefusalId::unknownEncryption:
    case RefusalId::unsupportedKdf:
    case RefusalId::unsupportedPrf:
    case RefusalId::unsupportedCipher:
        return "\"openssl pkcs8 -topk8 -v2 aes-256-cbc -v2prf hmacWithSHA256\" encrypts a copy of it in a "
               "supported way";
    case RefusalId::pemWithoutEnd:
        return "a part of the file may be missing";
    default:
        return "";
    }
}

bool isPrivateKeyKind(InputKind kind) {
    return kind == InputKind::privateKey || kind == InputKind::encryptedPrivateKey ||
           kind == InputKind::rsaPrivateKey || kind == InputKind::ecPrivateKey;
}

/// The first block that `wanted` accepts; the whole text if there are no blocks.
template <typename Wanted>
std::optional<PemBlock> findBlock(std::string_view text, Wanted wanted) {
    PemReader reader(text);
    PemBlock block;
    while (reader.next(&block))
        if (wanted(block.label))
            return block;
    if (reader.count() != 0)
        return std::nullopt;
    block = {};
    block.whole = text;
    return block;
}

std::string whyNothingFound(std::string const& path, std::string_view text, char const* wanted) {
    return path + ": holds no " + wanted + " that can be read, only " + listPemLabels(text);
}

/// Converts the location of a refusal from the text of `block` to the surrounding input.
void placeWithin(PemBlock const& block, Refusal& refusal) {
    refusal.block = block.number;
    if (refusal.line != 0 && block.line != 0)
        refusal.line += block.line - 1;
}

/// The private key of a block or DER of the file `path`, with its password asked for if needed.
std::unique_ptr<PrivateKey> openKeyAsking(PemBlock const& block, std::string const& path,
                                          PasswordSource const& source, int* status) {
    std::unique_ptr<PrivateKey> key;
    *status = openAsking(path, source, [&](std::string const* password) {
        OpenedKey opened = openPrivateKey(block, password);
        key = std::move(opened.key);
        if (auto const encryption = key ? findEncryption(block.whole) : std::nullopt)
            if (std::string const weakness = weaknessOf(*encryption); !weakness.empty())
                note(path + ": " + weakness);
        return Opening{opened.status, std::move(opened.complaint)};
    });
    return key;
}

} // namespace

Complaint complaintOf(Refusal const& refusal, std::string_view text) {
    Complaint complaint = refusal;
    if (std::string const advice = adviceFor(refusal, text); !advice.empty())
        complaint += " - " + advice;
    return complaint;
}

std::optional<PemBlock> takeBlock(std::string_view& text) {
    PemReader reader(text);
    PemBlock block;
    if (!reader.next(&block))
        return std::nullopt;
    text = reader.rest();
    return block;
}

std::optional<KeyEncryption> findEncryption(std::string_view text) {
    KeyEncryption found;
    return findKeyEncryption(text, &found, readableSchemes()) ? std::optional(std::move(found))
                                                              : std::nullopt;
}

int openAsking(std::string const& path, PasswordSource const& source,
               std::function<Opening(std::string const*)> const& open) {
    std::string const none;
    // Avoids asking for a password if the key is unreadable or its password is empty.
    Opening opened = open(source.isGiven() ? nullptr : &none);
    if (opened.status == exitNo) {
        int status = exitDone;
        auto const password =
            readPassword(source, AskFor::existing, path == "-" ? "the key on standard input" : path, &status);
        if (!password)
            return status;
        workWithClock("deriving a key of the password", [&] { opened = open(&password->text); });
    }
    if (opened.status == exitDone)
        return exitDone;
    Complaint const complaint = path + ": " + opened.complaint;
    return opened.status == exitNo ? answerNo(complaint) : badInput(complaint);
}

OpenedKey openPrivateKey(PemBlock const& block, std::string const* password) {
    std::string_view const text = block.whole;
    Refusal refusal;
    auto key = password ? readPrivateKey(text, *password, &refusal, everyForm())
                        : readPrivateKey(text, &refusal, everyForm());
    if (key)
        return {std::move(key), exitDone, ""};
    placeWithin(block, refusal);
    if (refusal.id == RefusalId::wrongPassword)
        return {nullptr, exitNo, {"the password is wrong", refusal}, refusal.id};
    if (refusal.id == RefusalId::passwordRequired)
        return {nullptr, exitNo, refusal, refusal.id};
    auto const encryption = findEncryption(text);
    char const* const opens = encryption && !encryption->problem ? "the password is right, but: " : "";
    return {nullptr, exitBadInput, opens + complaintOf(refusal, text), refusal.id};
}

OpenedPublicKey openPublicKey(PemBlock const& block) {
    Refusal refusal;
    if (auto key = readPublicKey(block.whole, &refusal, everyForm()))
        return {std::move(key), ""};
    placeWithin(block, refusal);
    return {nullptr, complaintOf(refusal, block.whole), refusal.id};
}

std::unique_ptr<PrivateKey> readPrivateKeyOf(std::string const& path, PasswordSource const& password,
                                             int* status) {
    *status = exitBadInput;
    auto const text = readSecretInput(path);
    if (!text)
        return nullptr;
    auto const block = findBlock(textOf(*text), isPrivateKeyLabel);
    if (block)
        return openKeyAsking(*block, path, password, status);
    *status = badInput(whyNothingFound(path, textOf(*text), "private key"));
    return nullptr;
}

std::unique_ptr<PublicKey> readPublicKeyOf(std::string const& path, PasswordSource const& password,
                                           int* status) {
    *status = exitBadInput;
    auto const text = readSecretInput(path);
    if (!text)
        return nullptr;
    auto const holdsKey = [](std::string_view label) {
        return isPrivateKeyLabel(label) || label.ends_with("PUBLIC KEY") || label == "CERTIFICATE" ||
               isRequestLabel(label);
    };
    auto const block = findBlock(textOf(*text), holdsKey);
    if (!block) {
        *status = badInput(whyNothingFound(path, textOf(*text), "key"));
        return nullptr;
    }
    // The public half of a key in OpenSSH's own format is not encrypted.
    bool const isOpenssh = findInputKind(block->whole) == InputKind::opensshPrivateKey;
    if (isOpenssh || (!isPrivateKeyLabel(block->label) && !isPrivateKeyKind(findInputKind(block->whole)))) {
        OpenedPublicKey opened = openPublicKey(*block);
        if (!opened.key) {
            std::string const where = block->label.empty() ? "" : "\"" + std::string(block->label) + "\": ";
            *status = badInput(path + ": " + where + opened.complaint);
        }
        return std::move(opened.key);
    }
    auto const key = openKeyAsking(*block, path, password, status);
    return key ? key->publicKey() : nullptr;
}

bool standardInputTwice(std::vector<std::string_view> const& names) {
    if (std::ranges::count(names, "-") < 2)
        return false;
    wrongUsage("only one input can be read from standard input");
    return true;
}
