/// Manual pages (man(7)) made from the tables of verbs and options.
#pragma once

#include "io/outline.h"

#include <string>

/// The manual page of a verb. `path` is the full command ("sealkit cms check"), `version` the program's.
std::string formatManualPage(VerbOutline const& verb, std::string const& path, std::string const& version);
