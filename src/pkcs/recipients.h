/// The readers of encrypted messages and of their recipients (RFC 5652, section 6), and the writer of the
/// latter.
#pragma once

#include "sealkit/enveloped.h"

#include "base/reading.h"

#include <vector>

namespace detail {

/// Which messages are read: those of the stated entry points, whose recipients have RSA keys, or all.
enum class EnvelopeForms : bool { stated, all };

/// Reads the content of the SET of RecipientInfo in place of what `to` holds. Of the stated form, a recipient
/// of another kind refuses the message, and a malformed one is left out. Of the other, `others` counts both.
bool readRecipients(Reading& reading, asn1::blob set, EnvelopeForms forms,
                    std::vector<EnvelopedRecipient>& to, size_t& others);

/// Reads a bare EnvelopedData, or AuthEnvelopedData where `to` is one. `to` is new.
bool readEnvelope(Reading& reading, asn1::blob envelope, EnvelopeForms forms, EnvelopedMessage& to);

/// Keeps the whole of an element that consists of one with this tag.
bool keepElement(Reading& reading, asn1::blob element, unsigned expected, std::vector<unsigned char>* to);

/// Writes a recipient of another kind than `sharedKey`.
void saveRecipient(EnvelopedRecipient const& recipient, DerEncoder& to);

} // namespace detail
