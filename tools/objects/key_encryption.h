/// How the verbs encrypt a new private key under a password.
#pragma once

#include <cstdint>
#include <optional>

class CommandLine;

/// One attempt at a password then takes tens of milliseconds on a desktop machine.
inline constexpr unsigned defaultKeyIterations = 100000;

/// Declares --iterations.
void addIterations(CommandLine& commandLine, std::optional<std::uint32_t>& iterations);

/// Whether a given count is out of range for new keys. Complains if so.
bool areIterationsBad(std::optional<std::uint32_t> iterations);
