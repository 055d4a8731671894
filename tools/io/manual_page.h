/// Manual pages (man(7)) out of the tables of verbs and options.
#pragma once

#include "io/outline.h"

#include <string>

/// The page of a verb. `path` is the command up to and with its name, "sealkit cms check", and `version` that
/// of the program.
std::string formatManualPage(VerbOutline const& verb, std::string const& path, std::string const& version);
