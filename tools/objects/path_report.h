/// Reports the verdicts on chains.
#pragma once

#include "sealkit/search.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

/// Writes to standard output a line for each certificate, from the leaf upward, a line with the chain's
/// policies, if any, then "OK" or "FAILED n: reason". Notes, facts, advice and warnings go to standard error.
void printReport(PathVerdict const& verdict, std::string const& advice,
                 std::vector<std::string> const& notes);

/// Writes the search as a tree, under a line for each set of rules: what was searched for, what was found
/// where, and each verdict.
void printSearch(PathVerdict const& verdict);

/// The verdict, with everything that `printReport` writes.
nlohmann::ordered_json describeReport(PathVerdict const& verdict, std::string const& advice,
                                      std::vector<std::string> const& notes);

/// The result only: verdict, code, rule, rules, reason and policies.
nlohmann::ordered_json describeResult(PathVerdict const& verdict);
