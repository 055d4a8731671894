#include "io/report.h"

#include "io/exit_status.h"
#include "io/terminal.h"

#include <nlohmann/json.hpp>

namespace report {

namespace {

using Json = nlohmann::ordered_json;
using terminal::printable;

/// The version of the documents' schema. It grows when a member is removed or changes its meaning, not when
/// one is added.
constexpr int version = 1;

struct Document {
    std::string command; ///< Empty if no document is expected.
    Json members;
    bool isStarted = false;
    bool isBesideOutput = false;
    Json problems = Json::array();
    Json notes = Json::array();
};

Document& document() {
    static Document only;
    return only;
}

Json startOf(std::string const& command) { return {{"version", version}, {"command", command}}; }

/// Replaces malformed UTF-8 and escapes non-ASCII characters.
std::string dump(Json const& json, int indent) {
    return json.dump(indent, ' ', true, Json::error_handler_t::replace);
}

Json describe(Refusal const& refusal) {
    Json where = Json::object();
    if (!refusal.path.empty())
        where["path"] = printable(refusal.path);
    if (refusal.offset != Refusal::nowhere)
        where["offset"] = refusal.offset;
    if (refusal.block != 0)
        where["block"] = refusal.block;
    if (refusal.line != 0)
        where["line"] = refusal.line;
    return {{"id", refusal.name()},
            {"sentence", getReasonText(refusal.id).sentence},
            {"where", where},
            {"facts", report::describe(refusal.facts)}};
}

} // namespace

nlohmann::ordered_json describe(std::vector<Fact> const& facts) {
    Json list = Json::array();
    for (Fact const& fact : facts)
        list.push_back({{"label", fact.label}, {"value", printable(fact.value)}});
    return list;
}

nlohmann::ordered_json describe(Complaint const& complaint) {
    Json problem{{"text", printableLine(complaint.text)}};
    if (complaint.refusal && *complaint.refusal)
        problem["refusal"] = describe(*complaint.refusal);
    return problem;
}

void expectJson(std::string command) { document().command = std::move(command); }
void expectLines() { document().command.clear(); }
bool isJson() { return !document().command.empty(); }

std::string nameOfOutput(std::string const& path) { return path.empty() ? "-" : printable(path); }

void goBesideOutput() { document().isBesideOutput = true; }

void set(nlohmann::ordered_json members) { document().members = std::move(members); }

void startList(std::string const& name) {
    Document& open = document();
    open.isStarted = true;
    std::string start = dump(startOf(open.command), 2);
    start.resize(start.rfind('\n'));
    terminal::out() << start << ",\n  " << Json(name) << ": [";
}

std::string line(std::string const& command, nlohmann::ordered_json const& members) {
    Json whole = startOf(command);
    whole.update(members);
    return dump(whole, -1);
}

void addProblem(Complaint const& complaint) {
    if (isJson())
        document().problems.push_back(describe(complaint));
}

void addNote(std::string const& text) {
    if (isJson())
        document().notes.push_back(printableLine(text));
}

void finish(int status) {
    Document& last = document();
    if (last.isStarted) {
        terminal::out() << "\n  ]";
        if (!last.problems.empty())
            terminal::out() << ",\n  \"problems\": " << dump(last.problems, -1);
        terminal::out() << "\n}" << std::endl;
        return;
    }
    bool const hasMembers = !last.members.is_null();
    if (!isJson() || (!hasMembers && status != exitNo && status != exitBadInput))
        return;
    Json whole = startOf(last.command);
    if (hasMembers)
        whole.update(last.members);
    else
        whole.update({{"verdict", status == exitNo ? "FAILED" : "UNREADABLE"},
                      {"reason", last.problems.empty() ? "" : last.problems.back()["text"]}});
    if (!last.problems.empty())
        whole["problems"] = last.problems;
    for (Json const& note : last.notes)
        whole["notes"].push_back(note);
    (last.isBesideOutput ? terminal::besideOutput() : terminal::out()) << dump(whole, 2) << std::endl;
}

} // namespace report
