/// What a verb reports as JSON: one document, with its version, the command, and what was complained of. It
/// is written as the program ends, so that nothing that goes wrong late is missing in it.
/// share/sealkit.schema.json says what the documents of each command hold.
#pragma once

#include "io/complaint.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <vector>

namespace report {

/// From now on a document is expected. `command` is the verb as it is called: "cms check".
void expectJson(std::string command);
bool isJson();
/// From now on none is: the verb writes lines that are documents.
void expectLines();

/// What documents call the output that `path` names; "-" is standard output.
std::string nameOfOutput(std::string const& path);

/// The document goes to standard error, because a verb's output takes standard output.
void goBesideOutput();
/// The members of the document.
void set(nlohmann::ordered_json members);

/// Starts a document of any size at once, with one member: a list, whose elements the verb writes to standard
/// output itself, each on a line of its own.
void startList(std::string const& name);

/// One line of the many that `verify --each` writes: its members after the version and the command.
std::string line(std::string const& command, nlohmann::ordered_json const& members);

/// What the program complains of, and its notes: `note`, `badInput` and its like call these.
void addProblem(Complaint const& complaint);
void addNote(std::string const& text);

/// "text" and, of a refusal, its id, sentence, place and facts, each printable.
nlohmann::ordered_json describe(Complaint const& complaint);
nlohmann::ordered_json describe(std::vector<Fact> const& facts);

/// Writes the document of a program that ends with `status`. One without members says why there is no answer.
void finish(int status);

} // namespace report
