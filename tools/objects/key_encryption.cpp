#include "objects/key_encryption.h"

#include "io/command_line.h"
#include "io/exit_status.h"

#include "sealkit/pbes2.h"

#include <string>

namespace {

/// The minimum of RFC 8018, section 4.2.
constexpr unsigned minIterations = 1000;

} // namespace

void addIterations(CommandLine& commandLine, std::optional<std::uint32_t>& iterations) {
    commandLine.number("--iterations", iterations,
                       "how often the password is hashed, which makes guessing slower. By default " +
                           std::to_string(defaultKeyIterations) + " times");
}

bool areIterationsBad(std::optional<std::uint32_t> iterations) {
    if (!iterations || (*iterations >= minIterations && *iterations <= pbes2MaxIterations))
        return false;
    wrongUsage("--iterations takes a number from " + std::to_string(minIterations) + " to " +
               std::to_string(pbes2MaxIterations));
    return true;
}
