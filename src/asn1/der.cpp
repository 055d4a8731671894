#include "sealkit/der.h"

#include "asn1/tags.h"
#include "base/secret_bytes.h"
#include "sealkit/bignum.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace tag = detail::tag;
using detail::wipe;

namespace {

/// Length octets in their shortest form (X.690, section 10.1).
class LengthOctets {
public:
    explicit LengthOctets(unsigned v) {
        if (v <= 127) {
            octets[count++] = static_cast<unsigned char>(v);
            return;
        }
        unsigned const significant = (std::bit_width(v) + 7) / 8;
        octets[count++] = static_cast<unsigned char>(0x80 + significant);
        for (unsigned i = significant; i-- > 0;)
            octets[count++] = static_cast<unsigned char>(v >> (8 * i));
    }

    operator asn1::blob() const { return asn1::blob(octets, count); }

private:
    unsigned char octets[5];
    unsigned count = 0;
};

} // namespace

DerScope::DerScope(DerScope&& other) noexcept
    : encoder(other.encoder), position(std::exchange(other.position, movedFrom)) {}

DerScope::~DerScope() {
    if (position != movedFrom)
        encoder->updateLen(position);
}

DerEncoder::DerEncoder(DerEncoder&& other) noexcept { *this = std::move(other); }

DerEncoder& DerEncoder::operator=(DerEncoder&& other) noexcept {
    if (this == &other)
        return *this;
    abandonOpen();
    wipe(buf);
    buf = std::exchange(other.buf, {});
    open = std::exchange(other.open, {});
    for (DerScope& scope : open)
        scope.encoder = this;
    return *this;
}

DerEncoder::~DerEncoder() {
    abandonOpen();
    wipe(buf);
}

DerEncoder& DerEncoder::addTag(unsigned tag, unsigned len) {
    unsigned char const identifier[] = {static_cast<unsigned char>(tag)};
    append(identifier);
    append(LengthOctets(len));
    return *this;
}

DerEncoder& DerEncoder::add(unsigned tag, asn1::blob value) {
    addTag(tag, static_cast<unsigned>(value.size()));
    append(value);
    return *this;
}

DerEncoder& DerEncoder::addInt(unsigned tag, unsigned value) { return add(tag, LengthOctets(value)); }

DerEncoder& DerEncoder::addInt(unsigned tag, BigNum const& value) {
    // A zero octet precedes a magnitude whose top bit is set, which would be negative.
    unsigned const octets = value.bits() / 8 + 1;
    std::vector<unsigned char> content = value.bin(octets);
    add(tag, content);
    wipe(content);
    return *this;
}

DerEncoder& DerEncoder::addInteger(unsigned value) { return addInt(tag::integer, value); }
DerEncoder& DerEncoder::addInteger(BigNum const& value) { return addInt(tag::integer, value); }

DerEncoder& DerEncoder::addBool(unsigned tag, bool b) {
    unsigned char const content[] = {static_cast<unsigned char>(b ? 0xFF : 0x00)};
    return add(tag, content);
}

DerEncoder& DerEncoder::addOctetString(asn1::blob value) { return add(tag::octetString, value); }
DerEncoder& DerEncoder::addOid(asn1::blob oid) { return add(tag::oid, oid); }
DerEncoder& DerEncoder::addNull() { return add(tag::null, {}); }

DerEncoder& DerEncoder::addBitString(asn1::blob value) {
    unsigned char const unusedBits[] = {0};
    addTag(tag::bitString, static_cast<unsigned>(value.size() + 1));
    append(unusedBits);
    append(value);
    return *this;
}

DerEncoder& DerEncoder::addEncoded(asn1::blob elements) {
    append(elements);
    return *this;
}

DerEncoder& DerEncoder::begin(unsigned tag) {
    auto const position = static_cast<std::uint32_t>(buf.size());
    addTag(tag, 0);
    open.emplace_back(*this, position);
    return *this;
}

DerEncoder& DerEncoder::end() {
    if (!open.empty())
        open.pop_back();
    return *this;
}

void DerEncoder::updateLen(unsigned pos) {
    if (buf.size() < 2 || pos > buf.size() - 2)
        return;
    LengthOctets const octets(static_cast<unsigned>(buf.size() - pos - 2));
    asn1::blob const length = octets;
    makeRoom(length.size() - 1);
    buf.insert(buf.begin() + pos + 1, length.size() - 1, 0);
    std::copy(length.begin(), length.end(), buf.begin() + pos + 1);
}

std::vector<unsigned char> DerEncoder::take() {
    abandonOpen();
    return std::exchange(buf, {});
}

/// Doubles the capacity, and wipes the old memory.
void DerEncoder::makeRoom(size_t more) {
    if (more <= buf.capacity() - buf.size())
        return;
    std::vector<unsigned char> grown;
    grown.reserve(std::max(2 * buf.capacity(), buf.size() + more));
    grown.assign(buf.begin(), buf.end());
    wipe(buf);
    buf = std::move(grown);
}

void DerEncoder::append(asn1::blob bytes) {
    makeRoom(bytes.size());
    buf.insert(buf.end(), bytes.begin(), bytes.end());
}

/// Discards the open elements.
void DerEncoder::abandonOpen() {
    for (DerScope& scope : open)
        scope.position = DerScope::movedFrom;
    open.clear();
}

namespace asn1 {

std::vector<unsigned char> toDerInt(unsigned v) {
    LengthOctets const octets(v);
    blob const bytes = octets;
    return {bytes.begin(), bytes.end()};
}

} // namespace asn1
