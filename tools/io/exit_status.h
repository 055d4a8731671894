/// How the program ends, and the complaint that goes with it.
#pragma once

#include <string>

/// The exit status of the program.
enum ExitStatus : int {
    exitDone = 0,
    exitNo = 1,         ///< The answer is no: a chain that does not verify, a wrong password.
    exitBadInput = 2,   ///< The input cannot be used: unreadable, malformed, of the wrong type.
    exitWrongUsage = 3, ///< The command line makes no sense.
};

/// Complains, and gives the exit status for it.
int badInput(std::string const& complaint);
int wrongUsage(std::string const& complaint);
int answerNo(std::string const& complaint);

/// Writes a note: what is worth a look and done all the same.
void note(std::string const& text);
