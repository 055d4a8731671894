/// Descriptions of messages (description.h).
#pragma once

#include "objects/description.h"
#include "objects/message.h"

/// Includes signers, certificates, CRLs, and the contents of a time-stamp.
Description describe(PKCS7SignedData const& message);
Description describe(PKCS7EnvelopedData const& message);
Description describe(EnvelopedMessage const& message);
Description describe(TimeStampRequest const& request);
Description describe(TimeStampResponse const& response, TimeStampStatus const& status);
