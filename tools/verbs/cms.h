/// The sub-verbs of "cms", and what they share.
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

/// Writes a message that can be read again.
int writeMessage(ObjectOutput const& options, OutputFile& output, std::vector<unsigned char> encoded);

/// Whether the content type is that of plain data.
bool isData(asn1::blob contentType);
