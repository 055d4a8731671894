/// Reads encrypted messages and their recipients (RFC 5652, section 6), and writes recipients.
#pragma once

#include "sealkit/enveloped.h"

#include "base/reading.h"

#include <vector>

namespace detail {

/// The messages that are read: those of the stated entry points, whose recipients have RSA keys, or all.
enum class EnvelopeForms : bool { stated, all };

/// Replaces the recipients in `to` by those in the content of the SET of RecipientInfo. In the stated form, a
/// recipient of another kind refuses the message, and a malformed one is ignored. Otherwise both are counted
/// in `others`.
bool readRecipients(Reading& reading, asn1::blob set, EnvelopeForms forms,
                    std::vector<EnvelopedRecipient>& to, size_t& others);

/// Reads a bare EnvelopedData or AuthEnvelopedData into `to`, which must be new.
bool readEnvelope(Reading& reading, asn1::blob envelope, EnvelopeForms forms, EnvelopedMessage& to);

/// Keeps a whole element if it has this tag.
bool keepElement(Reading& reading, asn1::blob element, unsigned expected, std::vector<unsigned char>* to);

/// Writes a recipient of any kind except `sharedKey`.
void saveRecipient(EnvelopedRecipient const& recipient, DerEncoder& to);

} // namespace detail
