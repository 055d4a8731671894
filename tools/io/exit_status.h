/// The exit status, and messages on standard error. Each line of them begins with the program's name.
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

/// Writes a complaint, adds it to a JSON report, and returns the exit status for it.
int badInput(Complaint const& complaint);
int wrongUsage(Complaint const& complaint);
int answerNo(Complaint const& complaint);

/// Writes a note about something unusual that does not stop the work, and adds it to a JSON report.
void note(std::string const& text);
/// Writes a warning about something unsafe that does not stop the work.
void warn(std::string const& text);
