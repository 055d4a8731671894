/// The verbs of time-stamps that have files of their own.
#pragma once

#include "io/command_line.h"

Work setUpTsReply(CommandLine commandLine);
