/// Rewriting files from editors, mail programs and other tools into the form that the loaders of pem.h
/// accept.
///
/// | member                      | what it is                                       |
/// | --------------------------- | ------------------------------------------------ |
/// | `makePlain`                 | rewrites the contents of a file if necessary     |
/// | `InputNote`                 | something unusual in a file that was accepted    |
/// | `InputNoteId`, `inputNotes` | its id, with a name in kebab case and a sentence |
///
/// Nothing is parsed here: the usual loaders read the result, and may refuse it.
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
    byteOrderMark,   ///< A UTF-8 byte-order mark before a block that is not on the first line.
    carriageReturns, ///< Lines that end with a carriage return alone.
    indented,        ///< Indented PEM.
    blockHeaders,    ///< Header lines in a block that is not encrypted.
    oneLine,         ///< A whole PEM block in one line.
    bareBase64,      ///< Base64 without PEM lines around it.
    ber,             ///< BER where DER is usual.
    otherLabel,      ///< A label that does not match the object in the block.
    trustSettings,   ///< OpenSSL's trust settings after a certificate.
};

/// Something unusual that was accepted.
struct InputNote {
    InputNoteId id = {}; ///< The row of `inputNotes`.
    size_t block = 0;    ///< The number of the PEM block, from 1; 0 for the whole file.

    /// The block, if there is one, and the sentence.
    SEALKIT_API std::string str() const;
};

/// Every id with its name and sentence, in ascending order.
SEALKIT_API std::span<ReasonText<InputNoteId> const> inputNotes();
/// The row of an id.
SEALKIT_API ReasonText<InputNoteId> const& getReasonText(InputNoteId id);

/// Bytes that may be secret, wiped before their memory is freed.
using WipedBytes = std::vector<unsigned char, detail::WipingAllocator<unsigned char>>;

/// Rewrites a file into the form that the loaders of pem.h accept, and returns true. Returns false and leaves
/// `*plain` unchanged if the file already has that form, or an unknown one. Appends what was unusual to
/// `*notes`, unless that is null.
///
/// - Text in UTF-16, with a byte-order mark or recognised by its zeros, becomes UTF-8.
/// - In a text with PEM, a carriage return without a line feed becomes a line feed; blanks and byte-order
///   marks at the start of the lines of blocks are removed; header lines become blank lines, except in
///   encrypted blocks, which need them. Line numbers are those of the original.
/// - A PEM block in one line, with blanks or the characters `\n` in place of its line ends, becomes three
///   lines, so that the numbers of the following lines grow.
/// - Text that consists of the base64 of one DER or BER element becomes that element.
/// - A request or key in BER becomes DER.
///
/// Any other object in DER or BER is unchanged, even if it contains such text. Takes time and memory in
/// proportion to the input: at most three times its size.
SEALKIT_API bool makePlain(asn1::blob file, WipedBytes* plain, std::vector<InputNote>* notes);
