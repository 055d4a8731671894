#include "io/secret.h"
#include "io/sums.h"
#include "objects/hash_names.h"
#include "verbs/verb.h"

#include "sealkit/cmac.h"
#include "sealkit/hmac.h"

#include <kp/text.h>

#include <algorithm>
#include <memory>

namespace {

struct MacOptions {
    std::string algorithm;
    KeySource key;
    SumOptions sums;
};

int mac(MacOptions const& options) {
    std::string const name = str2lower(options.algorithm);
    bool const isCmac = name == "cmac" || name == "aes-cmac";
    std::string_view const hashName = name.starts_with("hmac-") ? std::string_view(name).substr(5) : name;
    HashName const* const hash = findHash(hashName);
    if (!isCmac && !hash)
        return wrongUsage("\"" + options.algorithm +
                          "\" is not a MAC; the choices are cmac and hmac-HASH with a HASH of " +
                          listHashes());
    bool const readsInput = options.sums.files.empty() || std::ranges::count(options.sums.files, "-") > 0;
    if (options.key.file == "-" && readsInput)
        return wrongUsage("standard input cannot be both text and key");
    int status = exitDone;
    std::optional<SecretBytes> const key = readKey(options.key, &status);
    if (!key)
        return status;
    SumAlgorithm algorithm;
    if (isCmac)
        algorithm = {"CMAC", createAesCmac(*key)};
    else
        algorithm = {std::string("HMAC-") + hash->tag, createHMAC(hash->id, *key)};
    if (!algorithm.hash)
        return badInput(wrongKeyLength(*key, "cmac", std::vector<size_t>{16, 24, 32}));
    return runSums(options.sums, std::span(&algorithm, 1));
}

} // namespace

Work setUpMac(CommandLine commandLine) {
    auto options = std::make_shared<MacOptions>();
    commandLine
        .text("-a,--algorithm", options->algorithm,
              "cmac (AES, a key of 16, 24 or 32 bytes), or HMAC with a hash (hmac-sha256\n"
              "or sha256): " +
                  listHashes())
        .valueName("ALG")
        .required();
    addKeyOptions(commandLine, options->key);
    addSumOptions(commandLine, options->sums);
    commandLine.footer(std::string("A MAC is a digest that can only be made and checked with the key.\n") +
                       sumHelp +
                       "\n\n"
                       "Examples:\n"
                       "  sealkit random 32 -o mac.key\n"
                       "  sealkit mac -a hmac-sha256 --key-file mac.key /etc/passwd > macs\n"
                       "  sealkit mac -a hmac-sha256 --key-file mac.key --check macs");
    return [options] { return mac(*options); };
}
