/// From BER to DER, for the readers.
#pragma once

#include "base/reading.h"
#include "base/secret_bytes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace detail {

/// The rewriting of one element with all within it, as `asn1::berToDer` says, in two passes over the bytes:
/// the first finds the lengths, the second writes.
class BerConversion {
public:
    /// `bytes` must outlive the object.
    explicit BerConversion(asn1::blob bytes) : input(bytes) {}

    /// Reads the input. Refuses what is malformed, bytes after it, and elements that are nested too deep.
    bool scan(Reading& reading);
    /// Whether there is something to rewrite in what was read.
    bool isBer() const { return isFound; }
    /// The result, after a scan that succeeded.
    std::vector<unsigned char> write() const;

private:
    asn1::blob input;
    std::vector<std::uint32_t> lengths; ///< Of each constructed element, in the order in which they begin.
    size_t size = 0;                    ///< Of the result.
    bool isFound = false;
};

/// What `read` says of the DER made of `bytes`. Of malformed BER `read` gets the bytes as they are, and where
/// it refuses them, the refusal is that of the BER. Nothing for other bytes than BER.
template <typename Read>
std::optional<bool> readBer(Reading& reading, asn1::blob bytes, Read read) {
    BerConversion conversion(bytes);
    Reading silent;
    bool const isGood = conversion.scan(silent);
    if (!conversion.isBer())
        return std::nullopt;
    reading.retract();
    if (!isGood) {
        // What is malformed may stand where nothing reads it.
        if (read(bytes))
            return true;
        reading.retract();
        return conversion.scan(reading);
    }
    SecretBytes const der(conversion.write());
    Reading::Derived const derived(reading, der, bytes.start, "DER made of the BER");
    return read(asn1::blob(der));
}

/// What `read` says of `bytes`, which are converted before if they may be BER and are.
template <typename Read>
bool readAsDer(Reading& reading, bool mayBeBer, asn1::blob bytes, Read read) {
    std::optional<bool> const isGood = mayBeBer ? readBer(reading, bytes, read) : std::nullopt;
    return isGood ? *isGood : read(bytes);
}

/// What `read` says of `bytes`, and of the DER made of them where it refuses them and forms of the standards
/// are read. For small objects, which are seldom BER; `read` begins anew each time.
template <typename Read>
bool readDerOrBer(Reading& reading, asn1::blob bytes, Read read) {
    return read(bytes) || (reading.isStandard() && readBer(reading, bytes, read).value_or(false));
}

} // namespace detail
