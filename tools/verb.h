/// What a verb of the program is.
#pragma once

#include <functional>

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

Work setUpShow(CLI::App& app);
Work setUpVerify(CLI::App& app);
