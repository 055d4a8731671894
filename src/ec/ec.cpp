#include "sealkit/ec.h"

bool ECPoint::empty() const { return x.bits() == 0 && y.bits() == 0; }

ECPoint ECPoint::fromOctetString(asn1::blob octets) {
    if (octets.empty() || octets.pop_front() != 0x04)
        return {};
    asn1::blob const first = octets.pop_front(octets.size() / 2);
    return {first, octets};
}

ECPoint ECPoint::fromOctetStringCompressed(asn1::blob octets, BigNum const& p, BigNum const& a,
                                           BigNum const& b) {
    // Montgomery arithmetic requires an odd modulus. That of an unknown curve is 0.
    if (octets.empty() || !p.getBit(0))
        return {};
    unsigned char const prefix = octets.pop_front();
    if (prefix != 0x02 && prefix != 0x03)
        return {};
    ECPoint point;
    point.x = octets;
    WCurve const curve(p, a, new MontgomeryReducer(p));
    if (!curve.getY(a, b, point.x, point.y))
        return {};
    if (point.y.getBit(0) != (prefix == 0x03))
        point.y = p - point.y;
    return point;
}

std::vector<unsigned char> ECPoint::toBin(unsigned len, bool compressed) const {
    std::vector<unsigned char> octets;
    octets.reserve(1 + size_t{len} * (compressed ? 1 : 2));
    octets.push_back(compressed ? 0x02 + y.getBit(0) : 0x04);
    for (BigNum const* coordinate : {&x, &y}) {
        std::vector<unsigned char> const tmp = coordinate->bin(len);
        SEALKIT_ASSERT(tmp.size() == len);
        octets.insert(octets.end(), tmp.begin(), tmp.end());
        if (compressed)
            break;
    }
    return octets;
}
