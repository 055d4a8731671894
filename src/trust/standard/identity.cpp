#include "trust/standard/identity.h"

#include "kp/text.h"
#include "trust/standard/host.h"

#include <algorithm>
#include <optional>
#include <string>

namespace detail {

namespace {

/// The requested identity, in the form in which names are compared.
class Identity {
public:
    explicit Identity(PathOptions const& options) : email(splitMailbox(options.email)) {
        if (!options.address.empty())
            addresses.push_back(options.address);
        std::string_view name = options.hostName;
        if (name.ends_with('.'))
            name.remove_suffix(1);
        IPAddr6 address;
        if (address.parse(options.hostName))
            addresses.push_back(address);
        else if (isHostName(name) && !isAddressLike(name))
            host = str2lower(name);
    }

    bool isIn(GeneralName const& name) const {
        switch (name.type) {
        case GeneralName::dnsName:
            return !host.empty() && isHost(name.data);
        case GeneralName::ipAddress:
            return std::ranges::any_of(addresses,
                                       [&](IPAddr6 const& address) { return isAddress(address, name.data); });
        case GeneralName::rfc822Name:
            return email && isAscii(name.data) && isMailbox(name.data);
        default:
            return email && isSmtpUtf8Mailbox(name);
        }
    }

private:
    /// RFC 9525, section 6.3. A wildcard matches one label and may not cover a whole top-level domain.
    bool isHost(std::string_view pattern) const {
        if (!isHostPattern(pattern))
            return false;
        std::string const known = str2lower(pattern);
        if (!known.starts_with('*'))
            return host == known;
        std::string_view const parent = std::string_view(known).substr(1);
        size_t const dot = host.find('.');
        return parent.find('.', 1) != std::string_view::npos && dot != std::string::npos &&
               std::string_view(host).substr(dot) == parent;
    }

    /// Octet by octet (RFC 9525, section 6.5): the IPv6 form of an IPv4 address is another address.
    static bool isAddress(IPAddr6 const& address, std::string_view octets) {
        if (address.isIPv4())
            return asn1::blob(octets) == asn1::blob(address.ipv4Bytes());
        return asn1::blob(octets) == asn1::blob(address.bytes());
    }

    /// RFC 5280, section 7.5.
    bool isMailbox(std::string_view text) const {
        auto const mailbox = splitMailbox(text);
        return mailbox && mailbox->local == email->local &&
               str2lower(mailbox->host) == str2lower(email->host);
    }

    /// RFC 9598, section 5: the form is only for local parts that rfc822Name cannot hold.
    bool isSmtpUtf8Mailbox(GeneralName const& name) const {
        auto const text = readSmtpUtf8Mailbox(name);
        return text && !isAscii(email->local) && isMailbox(*text);
    }

    std::string host; ///< In lowercase; empty if no host is requested or none could match.
    std::vector<IPAddr6> addresses;
    std::optional<Mailbox> email;
};

} // namespace

bool bearsStandardIdentity(X509Certificate const& leaf, PathOptions const& options) {
    Identity const asked(options);
    return std::ranges::any_of(leaf.subjectAltNames,
                               [&](GeneralName const& name) { return asked.isIn(name); });
}

} // namespace detail
