#include "verb.h"

#include "terminal.h"

#include <CLI/CLI.hpp>

#include <map>

Work setUpVerbs(CLI::App& app, std::span<Verb const> verbs) {
    app.require_subcommand(1);
    std::map<CLI::App*, Work> works;
    for (Verb const& verb : verbs) {
        CLI::App* const sub = app.add_subcommand(verb.name, verb.summary);
        works[sub] = verb.setUp(*sub);
    }
    return [&app, works] { return works.at(app.get_subcommands().front())(); };
}

namespace {

ExitStatus complain(std::string const& complaint, ExitStatus status) {
    terminal::err() << "sealkit: " << terminal::printable(complaint) << std::endl;
    return status;
}

} // namespace

int badInput(std::string const& complaint) { return complain(complaint, exitBadInput); }
int wrongUsage(std::string const& complaint) { return complain(complaint, exitWrongUsage); }
int answerNo(std::string const& complaint) { return complain(complaint, exitNo); }
