/// The sub-verbs of "cms", and their common functions.
#pragma once

#include "objects/object_output.h"
#include "verbs/verb.h"

#include "sealkit/blob.h"

#include <vector>

Work setUpCmsSign(CommandLine commandLine);
Work setUpCmsCheck(CommandLine commandLine);
Work setUpCmsCertificates(CommandLine commandLine);
Work setUpCmsEncrypt(CommandLine commandLine);
Work setUpCmsDecrypt(CommandLine commandLine);

/// Writes a message, unless it is too large for the program to read again.
int writeMessage(ObjectOutput const& options, OutputFile& output, std::vector<unsigned char> encoded);

/// Whether the content type is id-data.
bool isData(asn1::blob contentType);
