/// The verbs of the program, and how each of them ends.
#pragma once

#include "command_line.h"

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

Work setUpCert(CommandLine commandLine);
Work setUpCheck(CommandLine commandLine);
Work setUpCipher(CommandLine commandLine);
Work setUpCms(CommandLine commandLine);
Work setUpCrl(CommandLine commandLine);
Work setUpHash(CommandLine commandLine);
Work setUpKem(CommandLine commandLine);
Work setUpKey(CommandLine commandLine);
Work setUpMac(CommandLine commandLine);
Work setUpP12(CommandLine commandLine);
Work setUpRandom(CommandLine commandLine);
Work setUpReq(CommandLine commandLine);
Work setUpShow(CommandLine commandLine);
Work setUpSign(CommandLine commandLine);
Work setUpStore(CommandLine commandLine);
Work setUpTrust(CommandLine commandLine);
Work setUpTs(CommandLine commandLine);
Work setUpVerify(CommandLine commandLine);
