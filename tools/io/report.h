/// The JSON report of a verb: one document with its version, the command, its results and its complaints. It
/// is written when the program ends, so it includes late complaints. share/sealkit.schema.json describes the
/// document of each command.
#pragma once

#include "io/complaint.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace report {

/// Makes the program write a document. `command` is the full verb: "cms check".
void expectJson(std::string command);
bool isJson();
/// Cancels the document, because the verb writes one JSON document per line.
void expectLines();

/// The name of the output `path` in documents; "-" is standard output.
std::string nameOfOutput(std::string const& path);

/// Sends the document to standard error, because the verb's output takes standard output.
void goBesideOutput();
/// Adds members to the document.
void set(nlohmann::ordered_json members);

/// Starts a document of any size with one member, a list. The verb writes the elements to standard output
/// itself, each on a line.
void startList(std::string const& name);

/// One line of `verify --each`: the version, the command and `members`.
std::string line(std::string const& command, nlohmann::ordered_json const& members);

/// Adds a complaint or a note. `note`, `badInput` and the like call these.
void addProblem(Complaint const& complaint);
void addNote(std::string const& text);

/// The text and, for a refusal, its id, sentence, location and facts, each printable.
nlohmann::ordered_json describe(Complaint const& complaint);
nlohmann::ordered_json describe(std::vector<Fact> const& facts);

/// Writes the document of a program that ends with `status`. Without members it says why there is no answer.
void finish(int status);

} // namespace report
