/// The verbs that make certificates.
#pragma once

#include "io/command_line.h"

Work setUpCertIssue(CommandLine commandLine);
Work setUpCertRenew(CommandLine commandLine);
Work setUpCertSelfSign(CommandLine commandLine);
