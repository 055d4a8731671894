#include "verbs/kem_work.h"

#include "io/input.h"
#include "io/output_file.h"
#include "objects/kem_key.h"
#include "objects/key_encryption.h"
#include "objects/key_file.h"
#include "verbs/verb.h"

#include "sealkit/rng.h"

#include <filesystem>
#include <memory>

namespace {

constexpr size_t ciphertextSize = 1088;

constexpr mode_t secretMode = 0600, publicMode = 0666;

/// Writes a whole file. Complains on failure.
bool writeFile(std::string const& path, mode_t mode, bool force, std::span<unsigned char const> bytes) {
    OutputFile file;
    return file.open(path, mode, force ? OutputFile::Existing::replace : OutputFile::Existing::keep) &&
           file.write(bytes) && file.commit();
}

/// Whether a file can be written. Complains if not.
bool canWrite(std::string const& path, bool force) {
    OutputFile file;
    return file.open(path, secretMode, force ? OutputFile::Existing::replace : OutputFile::Existing::keep);
}

std::filesystem::path resolve(std::string const& path) {
    std::error_code failed;
    return std::filesystem::weakly_canonical(std::filesystem::absolute(path, failed), failed);
}

/// Whether both paths name standard output or the same file, which may not exist yet.
bool isSamePlace(std::string const& one, std::string const& other) {
    return one == other || (one != "-" && other != "-" && resolve(one) == resolve(other));
}

int floods() { return wrongUsage("raw bytes would garble the terminal: give -o FILE or -o -"); }

int write(KemOptions const& options, mode_t mode, std::span<unsigned char const> bytes) {
    return writeFile(options.output, mode, options.force, bytes) ? exitDone : exitBadInput;
}

} // namespace

int makeKemKey(KemOptions const& options) {
    bool const encrypts = options.encrypt || options.password.isGiven();
    if (options.iterations && !encrypts)
        return wrongUsage("--iterations is for encrypted keys: give --encrypt or --password-file");
    if (areIterationsBad(options.iterations))
        return exitWrongUsage;
    // Fails before a password is asked for.
    if (!canWrite(options.output, options.force))
        return exitBadInput;
    int status = exitDone;
    std::unique_ptr<Password> password;
    if (encrypts) {
        bool const hasName = !options.output.empty() && options.output != "-";
        password =
            readPassword(options.password, AskFor::fresh, hasName ? options.output : "the key", &status);
        if (!password)
            return status;
    }
    SecretBytes seed(mlkemSeedSize);
    bool const isDrawn = getDefaultRng().fill(seed.data(), mlkemSeedSize);
    SecretBytes const pem =
        isDrawn ? encodeKemKey(std::span(seed).first<mlkemSeedSize>(), password ? &password->text : nullptr,
                               options.iterations.value_or(defaultKeyIterations))
                : SecretBytes();
    if (pem.empty())
        return badInput("the random source failed");
    return write(options, secretMode, pem);
}

int writeKemPublicKey(KemOptions const& options) {
    if (standardInputTwice({options.key, options.password.file}))
        return exitWrongUsage;
    MLKEMDecap key;
    if (int const status = readKemKey(options.key, options.password, key); status != exitDone)
        return status;
    return write(options, publicMode, encodeKemPublicKey(key));
}

int encapsulate(KemOptions const& options) {
    if (standardInputTwice({options.key, options.password.file}))
        return exitWrongUsage;
    bool const secretToOutput = options.output.empty() || options.output == "-";
    if (isSamePlace(options.ciphertext, secretToOutput ? "-" : options.output))
        return wrongUsage("secret and ciphertext cannot go to the same file");
    if (wouldFloodTerminal(options.output))
        return floods();
    std::vector<unsigned char> publicKey;
    if (int const status = readKemPublicKey(options.key, options.password, publicKey); status != exitDone)
        return status;
    MLKEMEncap sender;
    auto const ciphertext = sender.encap(publicKey);
    if (ciphertext.empty())
        return badInput("the random source failed");
    // Fails before either file is written, because one is useless without the other.
    if (!canWrite(options.output, options.force) || !canWrite(options.ciphertext, options.force) ||
        !writeFile(options.ciphertext, publicMode, options.force, ciphertext))
        return exitBadInput;
    return write(options, secretMode, sender.sharedSecret);
}

int decapsulate(KemOptions const& options) {
    if (standardInputTwice({options.key, options.ciphertext, options.password.file}))
        return exitWrongUsage;
    if (wouldFloodTerminal(options.output))
        return floods();
    MLKEMDecap key;
    if (int const status = readKemKey(options.key, options.password, key); status != exitDone)
        return status;
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
