#include "trust/standard/subtrees.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "kp/text.h"
#include "sealkit/name_text.h"
#include "trust/standard/host.h"
#include "trust/standard/name.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <set>
#include <string_view>
#include <utility>

namespace detail {

namespace {

constexpr unsigned char constructed = 0x20;
constexpr unsigned char directoryName = GeneralName::directoryName | constructed;

/// The number of choices of GeneralName.
constexpr size_t kindCount = 9;

/// The choice of a name, without the constructed bit.
size_t kindOf(GeneralName const& name) { return name.type & ~size_t(constructed); }

// Each name has a key, and each subtree is a range of keys in string order. Sets of subtrees are united,
// intersected and searched as sets of ranges.
//
// | name          | its key                                      | the keys in a subtree             |
// | ------------- | -------------------------------------------- | --------------------------------- |
// | dNSName       | ".", the host back to front, "."             | those that begin with a key       |
// | rfc822Name    | ".", the host back to front, "@", local part | a key, or those of a host         |
// | URI           | ".", the host back to front, "@"             | those that begin with a host      |
// | directoryName | "=", the canonical name                      | those that begin with a key       |
// | iPAddress     | "4" or "6", the octets                       | from the first to the last address |

/// From `first` up to but excluding `last`. No key begins with 0xFF.
struct Range {
    std::string first;
    std::string last;

    bool contains(std::string_view key) const { return first <= key && key < last; }
};

Range beginningWith(std::string prefix) {
    std::string last = prefix;
    while (static_cast<unsigned char>(last.back()) == 0xFF)
        last.pop_back();
    last.back() = static_cast<char>(static_cast<unsigned char>(last.back()) + 1);
    return {std::move(prefix), std::move(last)};
}

/// All longer keys that begin with `prefix`.
Range extending(std::string const& prefix) {
    Range range = beginningWith(prefix);
    range.first += '\0';
    return range;
}

/// A set of keys.
class RangeSet {
public:
    void add(Range range) {
        auto place = ranges.upper_bound(range.first);
        if (place != ranges.begin() && std::prev(place)->second >= range.first)
            --place;
        while (place != ranges.end() && place->first <= range.last) {
            range.first = std::min(range.first, place->first);
            range.last = std::max(range.last, place->second);
            place = ranges.erase(place);
        }
        ranges.emplace_hint(place, std::move(range.first), std::move(range.last));
    }

    bool contains(std::string_view key) const {
        auto const next = ranges.upper_bound(key);
        return next != ranges.begin() && key < std::prev(next)->second;
    }

    /// Removes what `others` does not contain. Every range that is removed was added before, so a series of
    /// calls takes amortized time.
    void intersect(RangeSet const& others) {
        std::string gap;
        for (auto const& [first, last] : others.ranges) {
            remove(gap, first);
            gap = last;
        }
        remove(gap, "\xFF");
    }

private:
    void remove(std::string const& first, std::string const& last) {
        auto place = ranges.lower_bound(first);
        if (place != ranges.begin() && std::prev(place)->second > first) {
            std::string const end = std::exchange(std::prev(place)->second, first);
            if (end > last)
                ranges.emplace_hint(place, last, end);
        }
        while (place != ranges.end() && place->first < last) {
            std::string end = std::move(place->second);
            place = ranges.erase(place);
            if (end > last)
                ranges.emplace_hint(place, last, std::move(end));
        }
    }

    std::map<std::string, std::string, std::less<>> ranges; ///< The end of each range by its first key.
};

std::string reverseHost(std::string_view host) {
    std::string const known = str2lower(host);
    return "." + std::string(known.rbegin(), known.rend());
}

// Keys of names. They are missing if the name is malformed.

std::optional<std::string> dnsKey(std::string_view name) {
    if (!isHostPattern(name))
        return std::nullopt;
    return reverseHost(name) + ".";
}

std::optional<std::string> mailboxKey(std::string_view name) {
    auto const mailbox = splitMailbox(name);
    if (!mailbox || !isHostName(mailbox->host))
        return std::nullopt;
    return reverseHost(mailbox->host).append("@").append(mailbox->local);
}

/// The host of a URI (RFC 3986, section 3.2); empty if it is missing or ambiguous.
std::string_view hostOf(std::string_view uri) {
    size_t const colon = uri.find(':');
    if (colon == std::string_view::npos || uri.substr(colon, 3) != "://")
        return {};
    std::string_view host = uri.substr(colon + 3);
    host = host.substr(0, host.find_first_of("/?#"));
    if (host.find('\\') != std::string_view::npos)
        return {};
    host = host.substr(host.rfind('@') + 1);
    return host.substr(0, host.find(':'));
}

/// RFC 5280, section 4.2.1.10: the host must be a name, not an address.
std::optional<std::string> uriKey(std::string_view uri) {
    std::string_view const host = hostOf(uri);
    if (!isHostName(host) || isAddressLike(host))
        return std::nullopt;
    return reverseHost(host) + "@";
}

std::optional<std::string> directoryKey(std::string const& canonical) {
    if (isMalformedName(canonical))
        return std::nullopt;
    return "=" + canonical;
}

std::optional<std::string> addressKey(std::string_view octets) {
    if (octets.size() != 4 && octets.size() != 16)
        return std::nullopt;
    return std::string(octets.size() == 4 ? "4" : "6").append(octets);
}

std::optional<std::string> keyOf(GeneralName const& name) {
    switch (name.type) {
    case GeneralName::dnsName:
        return dnsKey(name.data);
    case GeneralName::rfc822Name:
        return isAscii(name.data) ? mailboxKey(name.data) : std::nullopt;
    case GeneralName::uri:
        return uriKey(name.data);
    case GeneralName::ipAddress:
        return addressKey(name.data);
    case directoryName:
        return directoryKey(canonicalName(asn1::blob(name.data)));
    default:
        return std::nullopt;
    }
}

// Ranges of subtrees. They are missing if the subtree is malformed or unsupported.

/// A leading full stop covers only the hosts below a domain, for dNSName too, as in other validators.
/// Otherwise `end` decides: "." includes the hosts below the host, "@" excludes them.
std::optional<Range> hostRange(std::string_view subtree, char end) {
    if (subtree.empty())
        return beginningWith(".");
    bool const isBelow = subtree.starts_with('.');
    if (isBelow)
        subtree.remove_prefix(1);
    if (!isHostName(subtree))
        return std::nullopt;
    std::string const key = reverseHost(subtree);
    return isBelow ? extending(key + ".") : beginningWith(key + end);
}

std::optional<Range> mailboxRange(std::string_view subtree) {
    if (subtree.find('@') == std::string_view::npos)
        return hostRange(subtree, '@');
    std::optional<std::string> key = mailboxKey(subtree);
    if (!key)
        return std::nullopt;
    std::string last = *key + '\0';
    return Range{std::move(*key), std::move(last)};
}

/// An address and a mask, which must be a prefix: RFC 5280 refers to RFC 4632.
std::optional<Range> addressRange(std::string_view octets) {
    size_t const size = octets.size() / 2;
    if (octets.size() != 8 && octets.size() != 32)
        return std::nullopt;
    std::string first = size == 4 ? "4" : "6", last = first;
    bool hasEnded = false;
    for (size_t i = 0; i < size; i++) {
        auto const mask = static_cast<unsigned char>(octets[size + i]);
        auto const free = static_cast<unsigned char>(~mask);
        // The mask must be leading ones, so the rest is one less than a power of two.
        if ((hasEnded && mask != 0) || (free & (free + 1)) != 0)
            return std::nullopt;
        hasEnded = hasEnded || free != 0;
        auto const octet = static_cast<unsigned char>(octets[i]);
        first += static_cast<char>(octet & mask);
        last += static_cast<char>(octet | free);
    }
    return Range{std::move(first), last + '\0'};
}

std::optional<Range> rangeOf(GeneralName const& subtree) {
    switch (subtree.type) {
    case GeneralName::dnsName:
        return hostRange(subtree.data, '.');
    case GeneralName::rfc822Name:
        return mailboxRange(subtree.data);
    case GeneralName::uri:
        return hostRange(subtree.data, '@');
    case GeneralName::ipAddress:
        return addressRange(subtree.data);
    case directoryName:
        if (auto key = directoryKey(canonicalName(asn1::blob(subtree.data))))
            return beginningWith(std::move(*key));
        return std::nullopt;
    default:
        return std::nullopt;
    }
}

/// The key of the domain below which a wildcard matches; empty for other names.
std::string wildcardDomain(GeneralName const& name) {
    bool const isWildcard = name.type == GeneralName::dnsName && name.data.starts_with("*.");
    return isWildcard ? reverseHost(std::string_view(name.data).substr(2)) + "." : "";
}

/// The key of the parent domain of a dNSName subtree with a host; empty for other subtrees.
std::string domainAbove(GeneralName const& subtree) {
    if (subtree.type != GeneralName::dnsName || subtree.data.empty() || subtree.data.front() == '.')
        return "";
    size_t const dot = subtree.data.find('.');
    return dot == std::string::npos ? "" : reverseHost(std::string_view(subtree.data).substr(dot + 1)) + ".";
}

/// The emailAddress attributes of a Name, as rfc822Names.
std::vector<GeneralName> mailboxesOf(asn1::blob name) {
    std::vector<GeneralName> mailboxes;
    Reading silent;
    asn1::blob content, set, attribute, type;
    if (!readOnly(silent, name, tag::sequence, &content))
        return mailboxes;
    for (Level sets(silent, content); !atEnd(sets) && take(sets, tag::set, &set);)
        for (Level attributes(silent, set);
             !atEnd(attributes) && take(attributes, tag::sequence, &attribute);) {
            Level fields(silent, attribute);
            if (!take(fields, tag::oid, &type) || type != oid::emailAddress)
                continue;
            asn1::blob const value = fields.value();
            GeneralName& mailbox = mailboxes.emplace_back();
            mailbox.type = GeneralName::rfc822Name;
            mailbox.data.assign(value.begin(), value.end());
        }
    return mailboxes;
}

/// A certificate whose constraints have been added.
struct Source {
    NameSubtrees const* subtrees;
    size_t depth;
};

/// One subtree.
struct Constraint {
    GeneralName const* subtree = nullptr;
    size_t depth = 0;
    bool isExcluded = false;
};

/// The constraints on the names of one choice.
struct KindConstraints {
    Constraint first;       ///< Null if there is no constraint.
    Constraint unsupported; ///< The first constraint that cannot be compared.
    std::optional<RangeSet> permitted;
    RangeSet excluded;
};

} // namespace

struct Subtrees::State {
    std::array<KindConstraints, kindCount> kinds;
    /// A wildcard directly below one of them covers an excluded host.
    std::set<std::string> domainsAboveExcluded;
    std::vector<Source> sources;

    /// Records the constraint for its kind and returns the range of its subtree.
    std::optional<Range> take(GeneralName const& subtree, size_t depth, bool isExcluded) {
        KindConstraints& kind = kinds[kindOf(subtree)];
        Constraint const constraint{&subtree, depth, isExcluded};
        if (kind.first.subtree == nullptr)
            kind.first = constraint;
        std::optional<Range> range = rangeOf(subtree);
        if (!range && kind.unsupported.subtree == nullptr)
            kind.unsupported = constraint;
        return range;
    }

    bool isConstrained(size_t kind) const { return kind < kindCount && kinds[kind].first.subtree != nullptr; }

    /// The violation of a name. `key` is missing if the name is malformed.
    std::optional<SubtreeViolation> check(GeneralName const& name,
                                          std::optional<std::string> const& key) const {
        KindConstraints const& kind = kinds[kindOf(name)];
        if (kind.unsupported.subtree != nullptr)
            return unsupported(name, kind.unsupported);
        if (!key)
            return unsupported(name, kind.first);
        std::string const domain = wildcardDomain(name);
        if (kind.excluded.contains(*key) || (!domain.empty() && domainsAboveExcluded.contains(domain)))
            return findExcluded(name, *key, domain);
        if (kind.permitted && !kind.permitted->contains(*key))
            return findNotPermitted(name, *key);
        return std::nullopt;
    }

    static SubtreeViolation unsupported(GeneralName const& name, Constraint const& constraint) {
        return {generalNameText(name),
                {generalNameText(*constraint.subtree)},
                constraint.depth,
                constraint.isExcluded,
                true};
    }

    // The next two functions find the subtrees for a violation that is already known.

    SubtreeViolation findExcluded(GeneralName const& name, std::string const& key,
                                  std::string const& domain) const {
        for (Source const& source : sources)
            for (GeneralName const& subtree : source.subtrees->excluded) {
                if (kindOf(subtree) != kindOf(name))
                    continue;
                if (rangeOf(subtree)->contains(key) || (!domain.empty() && domainAbove(subtree) == domain))
                    return {generalNameText(name), {generalNameText(subtree)}, source.depth, true, false};
            }
        return {generalNameText(name), {}, 0, true, false};
    }

    SubtreeViolation findNotPermitted(GeneralName const& name, std::string const& key) const {
        constexpr size_t maxShown = 8;
        SubtreeViolation violation;
        violation.name = generalNameText(name);
        for (Source const& source : sources) {
            std::vector<GeneralName const*> subtrees;
            for (GeneralName const& subtree : source.subtrees->permitted)
                if (kindOf(subtree) == kindOf(name))
                    subtrees.push_back(&subtree);
            bool const isPermitted = std::ranges::any_of(
                subtrees, [&](GeneralName const* subtree) { return rangeOf(*subtree)->contains(key); });
            if (subtrees.empty() || isPermitted)
                continue;
            violation.depth = source.depth;
            for (GeneralName const* subtree : subtrees)
                if (violation.subtrees.size() < maxShown)
                    violation.subtrees.push_back(generalNameText(*subtree));
            break;
        }
        return violation;
    }
};

std::vector<Fact> SubtreeViolation::facts(X509Certificate const& constraining) const {
    std::vector<Fact> list = {{"name", name}};
    for (std::string const& subtree : subtrees)
        list.push_back({isExcluded ? "excluded" : "permitted", subtree});
    list.push_back({"constrained by", getDisplayName(constraining)});
    return list;
}

Subtrees::Subtrees() = default;
Subtrees::~Subtrees() = default;

std::optional<SubtreeViolation> Subtrees::findViolation(CertificateFields const& fields) const {
    if (!state)
        return std::nullopt;
    if (state->isConstrained(GeneralName::directoryName) && !fields.isSubjectEmpty) {
        asn1::blob const name = fields.certificate->subjectBytes();
        GeneralName subject;
        subject.type = directoryName;
        subject.data.assign(name.begin(), name.end());
        if (auto violation = state->check(subject, directoryKey(fields.subject)))
            return violation;
    }
    bool const areMailboxesConstrained = state->isConstrained(GeneralName::rfc822Name);
    bool hasMailbox = false;
    for (GeneralName const& name : fields.certificate->subjectAltNames) {
        if (state->isConstrained(kindOf(name)))
            if (auto violation = state->check(name, keyOf(name)))
                return violation;
        hasMailbox = hasMailbox || kindOf(name) == GeneralName::rfc822Name;
        if (!areMailboxesConstrained)
            continue;
        // RFC 9598, section 6.
        if (auto const text = readSmtpUtf8Mailbox(name)) {
            GeneralName mailbox;
            mailbox.type = GeneralName::rfc822Name;
            mailbox.data = *text;
            if (auto violation = state->check(mailbox, mailboxKey(*text)))
                return violation;
        }
    }
    if (areMailboxesConstrained && !hasMailbox)
        for (GeneralName const& mailbox : mailboxesOf(fields.certificate->subjectBytes()))
            if (auto violation = state->check(mailbox, keyOf(mailbox)))
                return violation;
    return std::nullopt;
}

std::optional<SubtreeViolation> Subtrees::findViolation(std::span<GeneralName const> names) const {
    if (!state)
        return std::nullopt;
    for (GeneralName const& name : names)
        if (state->isConstrained(kindOf(name)))
            if (auto violation = state->check(name, keyOf(name)))
                return violation;
    return std::nullopt;
}

void Subtrees::add(CertificateFields const& fields, size_t depth) {
    NameSubtrees const& subtrees = fields.constraints;
    if (subtrees.permitted.empty() && subtrees.excluded.empty())
        return;
    if (!state)
        state = std::make_unique<State>();
    state->sources.push_back({&subtrees, depth});
    for (GeneralName const& subtree : subtrees.excluded)
        if (auto range = state->take(subtree, depth, true)) {
            state->kinds[kindOf(subtree)].excluded.add(std::move(*range));
            if (std::string domain = domainAbove(subtree); !domain.empty())
                state->domainsAboveExcluded.insert(std::move(domain));
        }

    std::array<std::optional<RangeSet>, kindCount> permitted;
    for (GeneralName const& subtree : subtrees.permitted)
        if (auto range = state->take(subtree, depth, false)) {
            auto& ranges = permitted[kindOf(subtree)];
            if (!ranges)
                ranges.emplace();
            ranges->add(std::move(*range));
        }
    for (size_t kind = 0; kind < kindCount; kind++) {
        if (!permitted[kind])
            continue;
        auto& known = state->kinds[kind].permitted;
        if (known)
            known->intersect(*permitted[kind]);
        else
            known = std::move(permitted[kind]);
    }
}

} // namespace detail
