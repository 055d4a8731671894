/// Converts BER to DER for the readers.
#pragma once

#include "base/reading.h"
#include "base/secret_bytes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace detail {

/// Rewrites one element and its contents as `asn1::berToDer` does, in two passes: the first computes the
/// lengths, the second writes.
class BerConversion {
public:
    /// `bytes` must outlive the object.
    explicit BerConversion(asn1::blob bytes) : input(bytes) {}

    /// Reads the input. Refuses malformed elements, trailing bytes, and too deep nesting.
    bool scan(Reading& reading);
    /// Whether the input differs from DER.
    bool isBer() const { return isFound; }
    /// The DER, after a successful scan.
    std::vector<unsigned char> write() const;

private:
    asn1::blob input;
    std::vector<std::uint32_t> lengths; ///< Of each constructed element, in the order of their beginnings.
    size_t size = 0;                    ///< Of the result.
    bool isFound = false;
};

/// Calls `read` with the DER made of `bytes`. For malformed BER, it calls `read` with the unconverted bytes,
/// and a refusal is that of the BER. Returns nothing if the bytes are not BER.
template <typename Read>
std::optional<bool> readBer(Reading& reading, asn1::blob bytes, Read read) {
    BerConversion conversion(bytes);
    Reading silent;
    bool const isGood = conversion.scan(silent);
    if (!conversion.isBer())
        return std::nullopt;
    reading.retract();
    if (!isGood) {
        // The reader may not need the malformed part.
        if (read(bytes))
            return true;
        reading.retract();
        return conversion.scan(reading);
    }
    SecretBytes const der(conversion.write());
    Reading::Derived const derived(reading, der, bytes.start, "DER made of the BER");
    return read(asn1::blob(der));
}

/// Calls `read` with `bytes`, converted first if they are BER and `mayBeBer` is set.
template <typename Read>
bool readAsDer(Reading& reading, bool mayBeBer, asn1::blob bytes, Read read) {
    std::optional<bool> const isGood = mayBeBer ? readBer(reading, bytes, read) : std::nullopt;
    return isGood ? *isGood : read(bytes);
}

/// Calls `read` with `bytes` and, under the standard rules, again with their DER if it refuses them. For
/// small objects, which are seldom BER. `read` must start anew each time.
template <typename Read>
bool readDerOrBer(Reading& reading, asn1::blob bytes, Read read) {
    return read(bytes) || (reading.isStandard() && readBer(reading, bytes, read).value_or(false));
}

} // namespace detail
