#include "io/sums.h"
#include "objects/hash_names.h"
#include "verbs/verb.h"

#include <memory>

namespace {

struct HashOptions {
    std::string algorithm;
    SumOptions sums;
};

int hash(HashOptions const& options) {
    if (!options.algorithm.empty() && !findHash(options.algorithm))
        return wrongUsage("\"" + options.algorithm + "\" is not a hash; the choices are " + listHashes());
    std::vector<SumAlgorithm> algorithms;
    HashName const& wanted = *findHash(options.algorithm.empty() ? "sha256" : options.algorithm);
    algorithms.push_back({wanted.tag, createHash(wanted.id)});
    // Without an option, lines may name any algorithm.
    if (options.algorithm.empty())
        for (HashName const& other : hashNames)
            if (other.id != wanted.id)
                algorithms.push_back({other.tag, createHash(other.id)});
    return runSums(options.sums, algorithms);
}

} // namespace

Work setUpHash(CommandLine commandLine) {
    auto options = std::make_shared<HashOptions>();
    commandLine.text("-a,--algorithm", options->algorithm, listHashes() + "; by default sha256")
        .valueName("ALG");
    addSumOptions(commandLine, options->sums);
    commandLine.footer(
        std::string(sumHelp) +
        " Lines that name their algorithm are checked with it. MD4, MD5 and SHA-1 only protect\n"
        "against accidents.\n\n"
        "Examples:\n"
        "  sealkit hash /etc/hostname /etc/passwd > sums\n"
        "  sealkit hash --check sums\n"
        "  sealkit hash -a sha512 --tag /etc/passwd");
    return [options] { return hash(*options); };
}
