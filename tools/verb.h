/// What a verb of the program is.
#pragma once

#include <functional>
#include <span>
#include <string>

namespace CLI {
class App;
}

/// The exit status of the program.
enum ExitStatus : int {
    exitDone = 0,
    exitNo = 1,         ///< The answer is no: a chain that does not verify, a wrong password.
    exitBadInput = 2,   ///< The input cannot be used: unreadable, malformed, of the wrong type.
    exitWrongUsage = 3, ///< The command line makes no sense.
};

/// The work of a verb: runs after the command line was read, and returns the exit status.
using Work = std::function<int()>;

/// Declares a verb's options on `app` and returns its work.
using VerbSetup = Work (*)(CLI::App& app);

/// One entry of a table of verbs.
struct Verb {
    char const* name;
    char const* summary;
    VerbSetup setUp;
};

/// Makes each verb a subcommand of `app`, which needs one of them, and returns the work of the one that
/// is chosen.
Work setUpVerbs(CLI::App& app, std::span<Verb const> verbs);

/// Complains, and gives the exit status for it.
int badInput(std::string const& complaint);
int wrongUsage(std::string const& complaint);
int answerNo(std::string const& complaint);

Work setUpShow(CLI::App& app);
Work setUpStore(CLI::App& app);
Work setUpTrust(CLI::App& app);
Work setUpVerify(CLI::App& app);
