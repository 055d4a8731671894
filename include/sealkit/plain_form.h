/// Files as editors, mail programs and other tools leave them, rewritten into the form that the loaders of
/// pem.h take.
///
/// | member                    | what it is                                                      |
/// | ------------------------- | --------------------------------------------------------------- |
/// | `makePlain`               | rewrites the contents of a file where that is necessary         |
/// | `InputNote`               | something unusual in a file that was accepted                   |
/// | `InputNoteId`, `inputNotes` | what it was: an id with a name in kebab case and a sentence   |
///
/// Nothing is parsed here: what is rewritten is read by the same loaders as everything else, which may refuse
/// it.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/detail/wiping_allocator.h"
#include "sealkit/refusal.h"

#include <span>
#include <vector>

/// What was unusual in a file. `inputNotes` has a name and a sentence for each.
enum class InputNoteId : unsigned {
    utf16,           ///< Text in UTF-16.
    byteOrderMark,   ///< A UTF-8 byte-order mark in front of a block that is not the first line.
    carriageReturns, ///< Lines that end with a carriage return alone.
    indented,        ///< PEM behind blanks.
    blockHeaders,    ///< Header lines in a block that is not encrypted.
    bareBase64,      ///< Base64 without the frame of PEM.
    ber,             ///< BER where DER is usual.
    otherLabel,      ///< A label that names another kind of object than the block holds.
    trustSettings,   ///< OpenSSL's trust settings beside a certificate.
};

/// Something unusual that was accepted.
struct InputNote {
    InputNoteId id = {}; ///< The row of `inputNotes`.
    size_t block = 0;    ///< The number of the PEM block, from 1; 0 for the whole file.

    /// The block, if it has one, and the sentence.
    SEALKIT_API std::string str() const;
};

/// Every id with its name and sentence, in ascending order.
SEALKIT_API std::span<ReasonText<InputNoteId> const> inputNotes();
/// The row of an id.
SEALKIT_API ReasonText<InputNoteId> const& getReasonText(InputNoteId id);

/// Bytes that may be secret, wiped before their memory is freed.
using WipedBytes = std::vector<unsigned char, detail::WipingAllocator<unsigned char>>;

/// Rewrites a file into the form that the loaders of pem.h take, and returns true; returns false and leaves
/// `*plain` unchanged if it has that form already, or none that is known here. Appends what was unusual to
/// `*notes`, unless that is null.
///
/// - Text in UTF-16, with a byte-order mark or recognised by its zeros, becomes UTF-8.
/// - In a text with PEM, a carriage return alone becomes a line feed; lines of blocks lose the blanks and the
///   byte-order mark in front of them; header lines become blank lines, except in blocks that are encrypted
///   under them. The number of a line is that of the original.
/// - Text that is nothing but the base64 of one DER or BER element becomes that element.
///
/// An object in DER or BER is left as it is, also where it holds such text. Takes time and memory in
/// proportion to the input: at most three times its bytes.
SEALKIT_API bool makePlain(asn1::blob file, WipedBytes* plain, std::vector<InputNote>* notes);
