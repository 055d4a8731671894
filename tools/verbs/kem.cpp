#include "io/output_file.h"
#include "io/password.h"
#include "objects/key_encryption.h"
#include "verbs/kem_work.h"
#include "verbs/verb.h"

#include <memory>

namespace {

void addOutput(CommandLine& commandLine, KemOptions& options) {
    commandLine.text("-o,--output", options.output, outputHelp).valueName("FILE");
    commandLine.flag("--force", options.force, forceHelp);
}

void addKeyPassword(CommandLine& commandLine, KemOptions& options) {
    addPasswordOptions(commandLine, options.password, "of an encrypted secret key");
}

Work newKemVerb(CommandLine commandLine) {
    auto options = std::make_shared<KemOptions>();
    addOutput(commandLine, *options);
    addPasswordOptions(commandLine, options->password, "that the key is encrypted under");
    commandLine.flag("--encrypt", options->encrypt, "encrypt the key; asks for the password twice");
    addIterations(commandLine, options->iterations);
    commandLine.footer(
        "Writes PKCS#8 in PEM with the seed of the key (RFC 9935), encrypted with AES-256 if a\n"
        "password is given, to a file that only its owner can read.\n\n"
        "Examples:\n"
        "  sealkit kem new -o my.key\n"
        "  sealkit kem public my.key -o my.pub\n"
        "  sealkit random 20 --hex -o my.password\n"
        "  sealkit kem new --password-file my.password -o encrypted.key");
    return [options] { return makeKemKey(*options); };
}

Work publicKemVerb(CommandLine commandLine) {
    auto options = std::make_shared<KemOptions>();
    commandLine.text("FILE", options->key, "the secret key; - or nothing is standard input");
    addKeyPassword(commandLine, *options);
    addOutput(commandLine, *options);
    commandLine.footer(
        "Writes the SubjectPublicKeyInfo in PEM (RFC 9935), for the side that encapsulates.\n\n"
        "Examples:\n"
        "  sealkit kem new -o my.key\n"
        "  sealkit kem public my.key -o my.pub");
    return [options] { return writeKemPublicKey(*options); };
}

Work encapVerb(CommandLine commandLine) {
    auto options = std::make_shared<KemOptions>();
    commandLine
        .text("-k,--key", options->key,
              "the other side's public key: PEM, DER or its 1184 bytes; or\na certificate with it")
        .valueName("FILE")
        .required();
    addKeyPassword(commandLine, *options);
    commandLine
        .text("-c,--ciphertext", options->ciphertext,
              "write the ciphertext of 1088 bytes to this file, to be sent")
        .valueName("FILE")
        .required();
    addOutput(commandLine, *options);
    commandLine.footer(
        "Makes a secret of 32 bytes, which goes to the output (a file that only its owner can\n"
        "read), and a ciphertext from which the owner of the key gets the same secret. Use the\n"
        "secret as a key only once: each encapsulation makes a new one.\n\n"
        "Examples:\n"
        "  sealkit kem new -o my.key\n"
        "  sealkit kem public my.key -o my.pub\n"
        "  sealkit kem encap -k my.pub -c letter.kem -o letter.key\n"
        "  sealkit random 12 --hex > letter.iv\n"
        "  echo hello | sealkit cipher encrypt -a aes-256-gcm --key-file letter.key --iv $(cat letter.iv) -o "
        "letter.enc");
    return [options] { return encapsulate(*options); };
}

Work decapVerb(CommandLine commandLine) {
    auto options = std::make_shared<KemOptions>();
    commandLine
        .text("-k,--key", options->key,
              "the secret key: PKCS#8 with seed, expanded key or both,\n"
              "encrypted or not, PEM or DER; or the raw 64 bytes of the\nseed or 2400 of the expanded key")
        .valueName("FILE")
        .required();
    addKeyPassword(commandLine, *options);
    commandLine
        .text("CIPHERTEXT", options->ciphertext, "the ciphertext from the other side; - is standard input")
        .required();
    addOutput(commandLine, *options);
    commandLine.footer(
        "Writes the secret of 32 bytes that is in the ciphertext, to a file that only its owner\n"
        "can read. A ciphertext that was changed, or was made for another key, cannot be\n"
        "recognised: the exit status is 0, and the secret is one that the other side does not\n"
        "have. Decryption or authentication with the secret then fails.\n\n"
        "Examples:\n"
        "  sealkit kem new -o my.key\n"
        "  sealkit kem public my.key -o my.pub\n"
        "  sealkit kem encap -k my.pub -c letter.kem -o letter.key\n"
        "  sealkit kem decap -k my.key letter.kem -o same.key");
    return [options] { return decapsulate(*options); };
}

} // namespace

Work setUpKem(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"new", "make a secret key", newKemVerb},
        {"public", "write the public key of a secret key", publicKemVerb},
        {"encap", "make a secret, and its ciphertext for a public key", encapVerb},
        {"decap", "get the secret from a ciphertext", decapVerb},
    };
    commandLine.footer("ML-KEM-768 (FIPS 203) resists quantum computers. It does not authenticate the other\n"
                       "side: make sure that the public key is authentic, and sign what you send.");
    return commandLine.verbs(verbs);
}
