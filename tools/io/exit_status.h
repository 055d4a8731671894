/// How the program ends, and what it says on standard error. Each line there begins with the program's name.
#pragma once

#include "io/complaint.h"

#include <string>

/// The exit status of the program.
enum ExitStatus : int {
    exitDone = 0,
    exitNo = 1,         ///< The answer is no: a chain that does not verify, a wrong password.
    exitBadInput = 2,   ///< The input cannot be used: unreadable, malformed, of the wrong type.
    exitWrongUsage = 3, ///< The command line makes no sense.
};

/// Complains, and gives the exit status for it. A JSON report has the complaint as well.
int badInput(Complaint const& complaint);
int wrongUsage(Complaint const& complaint);
int answerNo(Complaint const& complaint);

/// Writes a note: what is worth a look and done all the same. A JSON report has it as well.
void note(std::string const& text);
/// Writes a warning: what is done all the same, and should not be.
void warn(std::string const& text);
