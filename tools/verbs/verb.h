/// The verbs of the program.
#pragma once

#include "io/command_line.h"
#include "io/exit_status.h"

Work setUpAsn1(CommandLine commandLine);
Work setUpCa(CommandLine commandLine);
Work setUpCert(CommandLine commandLine);
Work setUpCheck(CommandLine commandLine);
Work setUpCipher(CommandLine commandLine);
Work setUpCms(CommandLine commandLine);
Work setUpCompletion(CommandLine commandLine);
Work setUpConvert(CommandLine commandLine);
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
