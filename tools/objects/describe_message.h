/// Messages described for people, as description.h has it.
#pragma once

#include "objects/description.h"
#include "objects/message.h"

/// With all that is in it: signers, certificates, lists, and what a time-stamp states.
Description describe(PKCS7SignedData const& message);
Description describe(PKCS7EnvelopedData const& message);
Description describe(EnvelopedMessage const& message);
Description describe(TimeStampRequest const& request);
Description describe(TimeStampResponse const& response, TimeStampStatus const& status);
