/// Verdicts on chains, as the program reports them.
#pragma once

#include "sealkit/search.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

/// Writes a line for each certificate, from the leaf upward, one with the policies that the chain is valid
/// for, if there are any, then "OK" or "FAILED n: reason", to standard output. Notes, what the reason rests
/// on, advice unless it is empty, and warnings go to standard error.
void printReport(PathVerdict const& verdict, std::string const& advice,
                 std::vector<std::string> const& notes);

/// Writes how the search went as a tree: what was looked for, what was found where, and each verdict, under a
/// line for each set of rules.
void printSearch(PathVerdict const& verdict);

/// The verdict with all that `printReport` says.
nlohmann::ordered_json describeReport(PathVerdict const& verdict, std::string const& advice,
                                      std::vector<std::string> const& notes);

/// Its result alone: verdict, code, rule, rules, reason and policies.
nlohmann::ordered_json describeResult(PathVerdict const& verdict);
