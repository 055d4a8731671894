#include "x509/key_usage.h"

#include "sealkit/der.h"
#include "sealkit/extensions.h"
#include "sealkit/x509.h"

#include "asn1/element.h"
#include "asn1/oids.h"

#include <bit>
#include <iterator>
#include <ostream>
#include <span>

namespace oid = detail::oid;

namespace {

struct Usage {
    char const* name;
    std::span<unsigned char const> oid = {}; ///< Of an extended key usage.
};

/// In the order of the named bits.
constexpr Usage keyUsages[] = {
    {"digital-signature"}, {"content-commitment"}, {"key-encipherment"},
    {"data-encipherment"}, {"key-agreement"},      {"key-cert-sign"},
    {"crl-sign"},          {"encipher-only"},      {"decipher-only"},
};

/// In the order of the bits of `ExtKeyUsage`.
constexpr Usage extKeyUsages[] = {
    {"tls-server", oid::serverAuth},
    {"tls-client", oid::clientAuth},
    {"code-signing", oid::codeSigning},
    {"email-protection", oid::emailProtection},
    {"time-stamping", oid::timeStamping},
    {"ocsp-signing", oid::ocspSigning},
    {"dvcs", oid::dvcs},
};

/// The bit of `ExtKeyUsage` for an object identifier; 0 if it is unknown.
unsigned getExtKeyUsageBit(asn1::blob id) {
    unsigned bit = 1;
    for (Usage const& usage : extKeyUsages) {
        if (asn1::blob(usage.oid) == id)
            return bit;
        bit <<= 1;
    }
    return 0;
}

std::vector<std::string> namesOf(unsigned bits, std::span<Usage const> usages) {
    std::vector<std::string> names;
    for (Usage const& usage : usages) {
        if (bits & 1)
            names.emplace_back(usage.name);
        bits >>= 1;
    }
    return names;
}

/// Writes the names, if any, as one line.
void dumpNames(std::ostream& out, char const* title, std::vector<std::string> const& names) {
    char const* before = title;
    for (std::string const& name : names) {
        out << before << name;
        before = ", ";
    }
    if (!names.empty())
        out << '\n';
}

} // namespace

namespace detail {

bool readKeyUsage(Reading& reading, asn1::blob value, unsigned* bits) {
    asn1::blob content;
    if (!readOnly(reading, value, tag::bitString, &content))
        return false;
    asn1::blob octets = bitStringContent(content);
    *bits = 0;
    // Named bit 0 is the highest bit of the first octet (X.690, section 8.6.2.1).
    for (size_t i = 0; i < std::size(keyUsages) && i / 8 < octets.size(); i++)
        if (octets[i / 8] & 0x80u >> i % 8)
            *bits |= 1u << i;
    return true;
}

bool readExtKeyUsage(Reading& reading, asn1::blob value, unsigned* bits) {
    asn1::blob content, usage;
    if (!readOnly(reading, value, tag::sequence, &content))
        return false;
    Level usages(reading, content);
    *bits = 0;
    while (!atEnd(usages)) {
        if (!take(usages, tag::oid, &usage))
            return false;
        unsigned bit = getExtKeyUsageBit(usage);
        if (bit == 0 && reading.isStated())
            reading.note("unknown extended key usage " + oidStr(usage));
        *bits |= bit;
    }
    return true;
}

bool isNamedKeyUsage(unsigned bits) { return bits >> std::size(keyUsages) == 0; }
bool isNamedExtKeyUsage(unsigned bits) { return bits >> std::size(extKeyUsages) == 0; }

std::vector<unsigned char> encodeKeyUsage(unsigned bits) {
    if (bits == 0 || !isNamedKeyUsage(bits))
        return {};
    unsigned const last = static_cast<unsigned>(std::bit_width(bits)) - 1;
    std::vector<unsigned char> content(1 + last / 8 + 1);
    content[0] = static_cast<unsigned char>(7 - last % 8); // Unused bits.
    for (unsigned i = 0; i <= last; i++)
        if (bits >> i & 1)
            content[1 + i / 8] = static_cast<unsigned char>(content[1 + i / 8] | 0x80u >> i % 8);
    return DerEncoder().add(tag::bitString, content).take();
}

std::vector<unsigned char> encodeExtKeyUsage(unsigned bits) {
    if (bits == 0 || !isNamedExtKeyUsage(bits))
        return {};
    DerEncoder encoder;
    encoder.begin(tag::sequence);
    for (unsigned i = 0; i < std::size(extKeyUsages); i++)
        if (bits >> i & 1)
            encoder.addOid(extKeyUsages[i].oid);
    return encoder.end().take();
}

} // namespace detail

std::vector<std::string> keyUsageNames(unsigned bits) { return namesOf(bits, keyUsages); }

std::vector<std::string> extKeyUsageNames(unsigned bits) { return namesOf(bits, extKeyUsages); }

void X509Certificate::dumpKeyUsage(unsigned bits, std::ostream& out) {
    dumpNames(out, "    key usage: ", keyUsageNames(bits & 0xFFFF));
    dumpNames(out, "    extended key usage: ", extKeyUsageNames(bits >> 16));
}
