#include "verbs/kem_work.h"

#include "io/input.h"
#include "io/output_file.h"
#include "objects/kem_key.h"
#include "objects/key_file.h"
#include "verbs/verb.h"

#include "sealkit/rng.h"

#include <filesystem>

namespace {

constexpr size_t ciphertextSize = 1088;

constexpr mode_t secretMode = 0600, publicMode = 0666;

/// Writes a file whole. Complains and returns false.
bool writeFile(std::string const& path, mode_t mode, bool force, std::span<unsigned char const> bytes) {
    OutputFile file;
    return file.open(path, mode, force ? OutputFile::Existing::replace : OutputFile::Existing::keep) &&
           file.write(bytes) && file.commit();
}

/// Whether a file could be written now. Complains.
bool canWrite(std::string const& path, bool force) {
    OutputFile file;
    return file.open(path, secretMode, force ? OutputFile::Existing::replace : OutputFile::Existing::keep);
}

std::filesystem::path resolve(std::string const& path) {
    std::error_code failed;
    return std::filesystem::weakly_canonical(std::filesystem::absolute(path, failed), failed);
}

/// Whether both name standard output or one file, however they say it and whether or not it is there.
bool isSamePlace(std::string const& one, std::string const& other) {
    return one == other || (one != "-" && other != "-" && resolve(one) == resolve(other));
}

int floods() {
    return wrongUsage("raw bytes would garble the terminal: give -o FILE, or -o - to see them all the same");
}

int write(KemOptions const& options, mode_t mode, std::span<unsigned char const> bytes) {
    return writeFile(options.output, mode, options.force, bytes) ? exitDone : exitBadInput;
}

} // namespace

int makeKemKey(KemOptions const& options) {
    SecretBytes seed(mlkemSeedSize);
    if (!getDefaultRng().fill(seed.data(), mlkemSeedSize))
        return badInput("the random source failed");
    return write(options, secretMode, encodeKemKey(std::span(seed).first<mlkemSeedSize>()));
}

int writeKemPublicKey(KemOptions const& options) {
    MLKEMDecap key;
    if (!readKemKey(options.key, key))
        return exitBadInput;
    return write(options, publicMode, encodeKemPublicKey(key));
}

int encapsulate(KemOptions const& options) {
    bool const secretToOutput = options.output.empty() || options.output == "-";
    if (isSamePlace(options.ciphertext, secretToOutput ? "-" : options.output))
        return wrongUsage("secret and ciphertext cannot go to the same place");
    if (wouldFloodTerminal(options.output))
        return floods();
    auto const publicKey = readKemPublicKey(options.key);
    if (!publicKey)
        return exitBadInput;
    MLKEMEncap sender;
    auto const ciphertext = sender.encap(*publicKey);
    if (ciphertext.empty())
        return badInput(options.key +
                        ": no key in order: a coefficient is not reduced (FIPS 203, section 7.2)");
    // The one is of no use without the other.
    if (!canWrite(options.output, options.force) || !canWrite(options.ciphertext, options.force) ||
        !writeFile(options.ciphertext, publicMode, options.force, ciphertext))
        return exitBadInput;
    return write(options, secretMode, sender.sharedSecret);
}

int decapsulate(KemOptions const& options) {
    if (standardInputTwice({options.key, options.ciphertext}))
        return exitWrongUsage;
    if (wouldFloodTerminal(options.output))
        return floods();
    MLKEMDecap key;
    if (!readKemKey(options.key, key))
        return exitBadInput;
    auto const ciphertext = readMessage(options.ciphertext);
    if (!ciphertext)
        return exitBadInput;
    if (ciphertext->size() != ciphertextSize)
        return badInput(options.ciphertext + ": " + std::to_string(ciphertext->size()) +
                        " bytes: a ciphertext of ML-KEM-768 has " + std::to_string(ciphertextSize));
    if (!key.decap(textOf(*ciphertext)))
        return badInput(options.key + ": the key could not be used");
    return write(options, secretMode, key.sharedSecret);
}
