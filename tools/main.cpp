#include "terminal.h"
#include "verb.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <exception>

namespace {

Verb const verbs[] = {
    {"verify", "build and validate a certificate chain", setUpVerify},
    {"show", "say what a file is and show it", setUpShow},
    {"store", "look into the configuration store and change it", setUpStore},
    {"trust", "choose which certificates the certificate manager trusts", setUpTrust},
};

/// The verb that the command line reached, and the words before its name.
std::pair<CLI::App const*, std::string> findAsked(CLI::App const& app) {
    CLI::App const* asked = &app;
    std::string before;
    while (!asked->get_subcommands().empty()) {
        before += (before.empty() ? "" : " ") + asked->get_name();
        asked = asked->get_subcommands().front();
    }
    return {asked, before};
}

int run(int argc, char** argv) {
    CLI::App app("Cryptography and public-key infrastructure for people.\n"
                 "Exit status: 0 done, 1 the answer is no, 2 the input cannot be used, 3 wrong usage.",
                 "sealkit");
    app.get_formatter()->column_width(36);

    Work const work = setUpVerbs(app, verbs);
    auto const complain = [](std::string const& complaint) {
        terminal::err() << "sealkit: " << terminal::printable(complaint)
                        << "\nRun with --help for more information." << std::endl;
        return exitWrongUsage;
    };
    try {
        app.parse(argc, argv);
    } catch (CLI::CallForHelp const&) {
        auto const [asked, before] = findAsked(app);
        terminal::out() << asked->help(before);
        return exitDone;
    } catch (CLI::ParseError const& error) {
        CLI::App const* const asked = findAsked(app).first;
        auto const any = [](CLI::App const*) { return true; };
        if (asked->get_subcommands().empty() && !asked->get_subcommands(any).empty())
            return complain(asked->remaining().empty() ? "a verb is missing"
                                                       : "\"" + asked->remaining().front() + "\" is no verb");
        return complain(error.what());
    }
    return work();
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
