#include "terminal.h"
#include "verb.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <exception>
#include <map>

namespace {

struct Verb {
    char const* name;
    char const* summary;
    VerbSetup setUp;
};

Verb const verbs[] = {
    {"verify", "build and validate a certificate chain", setUpVerify},
    {"show", "say what a file is and show it", setUpShow},
};

int run(int argc, char** argv) {
    CLI::App app("Cryptography and public-key infrastructure for people.\n"
                 "Exit status: 0 done, 1 the answer is no, 2 the input cannot be used, 3 wrong usage.",
                 "sealkit");
    app.require_subcommand(1);
    app.get_formatter()->column_width(36);

    std::map<CLI::App*, Work> works;
    for (Verb const& verb : verbs) {
        CLI::App* sub = app.add_subcommand(verb.name, verb.summary);
        works[sub] = verb.setUp(*sub);
    }
    try {
        app.parse(argc, argv);
    } catch (CLI::CallForHelp const&) {
        CLI::App const* asked = &app;
        while (!asked->get_subcommands().empty())
            asked = asked->get_subcommands().front();
        terminal::out() << asked->help();
        return exitDone;
    } catch (CLI::ParseError const& error) {
        terminal::err() << "sealkit: " << terminal::printable(error.what())
                        << "\nRun with --help for more information." << std::endl;
        return exitWrongUsage;
    }
    return works.at(app.get_subcommands().front())();
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN); // A closed pipe is a failed write, seen by flush().
    terminal::Session session;
    int status = exitBadInput;
    try {
        status = run(argc, argv);
    } catch (std::exception const& error) {
        terminal::err() << "sealkit: " << terminal::printable(error.what()) << std::endl;
    }
    if (!session.flush()) {
        terminal::err() << "sealkit: the output could not be written" << std::endl;
        return exitBadInput;
    }
    return status;
}
