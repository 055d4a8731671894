/// Writing DER (ITU-T X.690): a growing buffer of elements.
///
/// | to write                           | call                                         |
/// | ---------------------------------- | -------------------------------------------- |
/// | a primitive element                | `add` and its typed forms                    |
/// | a constructed element              | `begin`, its children, `end`                 |
/// | elements that are encoded already  | `addEncoded`                                 |
/// | nothing more                       | `take`                                       |
///
/// Lengths are definite and as short as they can be. Constructed elements get theirs when they are
/// closed. The encoder writes what it is told: it does not sort sets, leave out defaults or check
/// contents. Identifiers have one octet (tag numbers up to 30) and contents less than 4 GiB.
/// The buffer may hold private keys, so whatever memory it leaves behind is wiped.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

#include <cstdint>
#include <vector>

class BigNum;
class DerEncoder;

/// A constructed element that is still open. Its length is written when the scope is destroyed.
class SEALKIT_API DerScope {
public:
    static constexpr std::uint32_t movedFrom = 0xFFFFFFFF; ///< The position of a scope that closes nothing.

    DerEncoder* encoder;    ///< What it is an element of.
    std::uint32_t position; ///< Of its identifier octet in the encoder's buffer, or `movedFrom`.

    DerScope(DerEncoder& owner, std::uint32_t pos) : encoder(&owner), position(pos) {}
    DerScope(DerScope&& other) noexcept;
    DerScope& operator=(DerScope&& other) = delete;
    ~DerScope();
};

/// The writer. All operations return the encoder itself, so that calls can be chained. Views that are
/// handed in are copied and must not be views of `buf`.
class SEALKIT_API DerEncoder {
public:
    std::vector<unsigned char> buf; ///< What has been written.
    std::vector<DerScope> open;     ///< The elements that are still open, outermost first.

    DerEncoder() = default;
    /// Takes over the bytes and the open elements. The other encoder is empty then.
    DerEncoder(DerEncoder&& other) noexcept;
    DerEncoder& operator=(DerEncoder&& other) noexcept;
    ~DerEncoder();

    /// Writes the low octet of `tag` as identifier, and the length octets of `len`.
    DerEncoder& addTag(unsigned tag, unsigned len);
    /// Writes an element with this content.
    DerEncoder& add(unsigned tag, asn1::blob value);

    /// Writes an element whose content is the *length form* of `value` (`asn1::toDerInt`). Up to 127 this is
    /// the INTEGER; above, it is not: 200 becomes 81 c8. Use the form below for numbers that others read.
    DerEncoder& addInt(unsigned tag, unsigned value);
    /// Writes an element whose content is that of a non-negative INTEGER (X.690 section 8.3).
    DerEncoder& addInt(unsigned tag, BigNum const& value);
    /// `addInt` with the tag of INTEGER.
    DerEncoder& addInteger(unsigned value);
    DerEncoder& addInteger(BigNum const& value);

    /// Writes ff for true and 00 for false (X.690 section 11.1).
    DerEncoder& addBool(unsigned tag, bool b);
    DerEncoder& addOctetString(asn1::blob value);
    /// `oid` is the content octets of an OBJECT IDENTIFIER.
    DerEncoder& addOid(asn1::blob oid);
    DerEncoder& addNull();
    /// Writes a BIT STRING of whole octets.
    DerEncoder& addBitString(asn1::blob value);
    /// Writes elements that are encoded already, as they are.
    DerEncoder& addEncoded(asn1::blob elements);

    /// Opens a constructed element. What is written until the matching `end` is its content.
    DerEncoder& begin(unsigned tag);
    /// Closes the element that was opened last. Without one it does nothing.
    DerEncoder& end();

    /// Gives the element at `pos` of `buf`, which has one identifier octet and one octet for its length
    /// and reaches to the end of `buf`, its true length. Does nothing when there is no such element.
    void updateLen(unsigned pos);

    /// Moves the buffer out. The encoder is as new then. Elements that are still open stay as they are,
    /// with a length of 0.
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
