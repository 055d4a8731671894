/// Writing DER (ITU-T X.690): a growing buffer of elements.
///
/// | to write                          | call                         |
/// | --------------------------------- | ---------------------------- |
/// | a primitive element               | `add` and its typed forms    |
/// | a constructed element             | `begin`, its children, `end` |
/// | elements that are already encoded | `addEncoded`                 |
/// | and to get the result             | `take`                       |
///
/// Lengths are definite and minimal. Those of constructed elements are written when the elements are closed.
/// Contents are written as given: sets are not sorted, default values are not omitted, and values are not
/// checked. Identifiers have one octet (tag numbers up to 30) and contents less than 4 GiB. The buffer may
/// hold private keys, so memory is wiped before it is freed.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

#include <cstdint>
#include <vector>

class BigNum;
class DerEncoder;

/// An open constructed element. Its length is written when the scope is destroyed.
class SEALKIT_API DerScope {
public:
    static constexpr std::uint32_t movedFrom = 0xFFFFFFFF; ///< The position of a scope that closes nothing.

    DerEncoder* encoder;    ///< The encoder that the element is in.
    std::uint32_t position; ///< Of its identifier octet in the encoder's buffer, or `movedFrom`.

    /// Closes the element at `pos` of `owner` when it is destroyed.
    DerScope(DerEncoder& owner, std::uint32_t pos) : encoder(&owner), position(pos) {}
    DerScope(DerScope&& other) noexcept;
    DerScope& operator=(DerScope&& other) = delete;
    ~DerScope();
};

/// The writer. Every operation returns the encoder itself, so that calls can be chained. Arguments are copied
/// and must not be views of `buf`.
class SEALKIT_API DerEncoder {
public:
    std::vector<unsigned char> buf; ///< What has been written.
    std::vector<DerScope> open;     ///< The elements that are still open, outermost first.

    DerEncoder() = default;
    /// Moves the bytes and the open elements here. The other encoder is empty afterwards.
    DerEncoder(DerEncoder&& other) noexcept;
    DerEncoder& operator=(DerEncoder&& other) noexcept;
    ~DerEncoder();

    /// Writes the low octet of `tag` as identifier, and the length octets of `len`.
    DerEncoder& addTag(unsigned tag, unsigned len);
    /// Writes an element with this content.
    DerEncoder& add(unsigned tag, asn1::blob value);

    /// Writes an element whose content is the *length form* of `value` (`asn1::toDerInt`). That is a correct
    /// INTEGER only up to 127: 200 becomes 81 c8. Use the overload for `BigNum` for numbers that others read.
    DerEncoder& addInt(unsigned tag, unsigned value);
    /// Writes an element whose content is that of a non-negative INTEGER (X.690 section 8.3).
    DerEncoder& addInt(unsigned tag, BigNum const& value);
    /// `addInt` with the tag of INTEGER.
    DerEncoder& addInteger(unsigned value);
    DerEncoder& addInteger(BigNum const& value);

    /// Writes ff for true and 00 for false (X.690 section 11.1).
    DerEncoder& addBool(unsigned tag, bool b);
    /// Writes an OCTET STRING.
    DerEncoder& addOctetString(asn1::blob value);
    /// `oid` is the content octets of an OBJECT IDENTIFIER.
    DerEncoder& addOid(asn1::blob oid);
    /// Writes NULL.
    DerEncoder& addNull();
    /// Writes a BIT STRING of whole octets.
    DerEncoder& addBitString(asn1::blob value);
    /// Writes elements that are already encoded, unchanged.
    DerEncoder& addEncoded(asn1::blob elements);

    /// Opens a constructed element. What is written until the matching `end` is its content.
    DerEncoder& begin(unsigned tag);
    /// Closes the element that was opened last. Does nothing if none is open.
    DerEncoder& end();

    /// Corrects the length of the element at `pos` in `buf`, which has one identifier octet and one length
    /// octet and extends to the end of `buf`. Does nothing if there is no such element.
    void updateLen(unsigned pos);

    /// Moves the buffer out and leaves the encoder empty. Elements that are still open keep a length of 0.
    std::vector<unsigned char> take();

private:
    void makeRoom(size_t more);
    void append(asn1::blob bytes);
    void abandonOpen();
};

namespace asn1 {

/// The DER length form of `v`: one octet up to 127; above, 80 + n and the n significant octets, big-endian.
SEALKIT_API std::vector<unsigned char> toDerInt(unsigned v);

} // namespace asn1
