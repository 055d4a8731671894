#include "reference.h"
#include "sealkit/x509.h"

#include <algorithm>
#include <string_view>

namespace fuzz::model {

namespace {

std::string lower(std::string text) {
    for (char& letter : text)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    return text;
}

/// In lower case, with single spaces and without spaces at the ends.
std::string fold(std::string const& text) {
    std::string folded;
    for (char const letter : lower(text))
        if (letter != ' ' || (!folded.empty() && folded.back() != ' '))
            folded += letter;
    while (!folded.empty() && folded.back() == ' ')
        folded.pop_back();
    return folded;
}

bool areSame(Attribute const& a, Attribute const& b) {
    return a.oid == b.oid && fold(a.value) == fold(b.value);
}

bool beginsWith(Name const& name, Name const& start) {
    if (start.size() > name.size())
        return false;
    for (size_t i = 0; i < start.size(); i++)
        if (!areSame(name[i], start[i]))
            return false;
    return true;
}

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool isSelfIssued(Certificate const& certificate) { return areSame(certificate.issuer, certificate.subject); }

/// A version 1 certificate as it is read: without extensions.
Certificate asWritten(Certificate certificate) {
    if (certificate.version == 3)
        return certificate;
    Certificate bare;
    bare.version = certificate.version;
    bare.serialNumber = certificate.serialNumber;
    bare.issuer = certificate.issuer;
    bare.subject = certificate.subject;
    bare.key = certificate.key;
    bare.signer = certificate.signer;
    bare.notBefore = certificate.notBefore;
    bare.notAfter = certificate.notAfter;
    return bare;
}

// Name constraints, section 4.2.1.10.

enum class Fit { outside, inside, malformed };

/// A host below a base, or the base itself; ".base" matches only hosts below it.
bool isHostWithin(std::string const& host, std::string const& base, bool baseHasHostsBelow) {
    if (base.empty())
        return true;
    if (base.front() == '.')
        return endsWith(host, base);
    return host == base || (baseHasHostsBelow && endsWith(host, "." + base));
}

Fit fitDns(std::string const& name, std::string const& base, bool isExcluded) {
    std::string const host = lower(name), wanted = lower(base);
    // A wildcard is the whole first label (RFC 9525, section 6.3).
    if (host.find("..") != std::string::npos || host.find('*', 1) != std::string::npos)
        return Fit::malformed;
    if (isHostWithin(host, wanted, true))
        return Fit::inside;
    // "*.a.test" stands for each host with one label before "a.test".
    if (isExcluded && host.starts_with("*.")) {
        size_t const dot = wanted.find('.');
        if (dot != 0 && dot != std::string::npos && wanted.substr(dot) == host.substr(1))
            return Fit::inside;
    }
    return Fit::outside;
}

Fit fitEmail(std::string const& mailbox, std::string const& base) {
    size_t const at = mailbox.find('@');
    std::string const host = lower(mailbox.substr(at + 1));
    size_t const baseAt = base.find('@');
    if (baseAt != std::string::npos)
        return mailbox.substr(0, at) == base.substr(0, baseAt) && host == lower(base.substr(baseAt + 1))
                   ? Fit::inside
                   : Fit::outside;
    return isHostWithin(host, lower(base), false) ? Fit::inside : Fit::outside;
}

Fit fitUri(std::string const& uri, std::string const& base) {
    size_t const start = uri.find("//");
    if (start == std::string::npos)
        return Fit::malformed;
    std::string host = uri.substr(start + 2);
    host = host.substr(0, host.find('/'));
    if (size_t const at = host.find('@'); at != std::string::npos)
        host = host.substr(at + 1);
    host = lower(host.substr(0, host.find(':')));
    if (host.find_first_not_of("0123456789.") == std::string::npos)
        return Fit::malformed;
    return isHostWithin(host, lower(base), false) ? Fit::inside : Fit::outside;
}

Fit fitAddress(std::string const& address, std::string const& base) {
    size_t const size = base.size() / 2;
    bool hasEnded = false;
    for (size_t bit = 0; bit < size * 8; bit++) {
        bool const isSet = (static_cast<unsigned char>(base[size + bit / 8]) >> (7 - bit % 8) & 1) != 0;
        if (isSet && hasEnded)
            return Fit::malformed; // No prefix (RFC 4632).
        hasEnded = hasEnded || !isSet;
    }
    if (address.size() != size)
        return Fit::outside;
    for (size_t i = 0; i < size; i++)
        if (((address[i] ^ base[i]) & base[size + i]) != 0)
            return Fit::outside;
    return Fit::inside;
}

Fit fit(GeneralName const& name, GeneralName const& base, bool isExcluded) {
    switch (name.kind) {
    case Kind::dns:
        return fitDns(name.text, base.text, isExcluded);
    case Kind::email:
        return fitEmail(name.text, base.text);
    case Kind::uri:
        return fitUri(name.text, base.text);
    case Kind::ip:
        return fitAddress(name.text, base.text);
    case Kind::directory:
        return beginsWith(name.directory, base.directory) ? Fit::inside : Fit::outside;
    default:
        return Fit::malformed; // RFC 5280 does not define how these are compared.
    }
}

void checkName(GeneralName const& name, std::vector<Certificate const*> const& above,
               std::set<PathCode>* broken) {
    for (Certificate const* ca : above) {
        bool isConstrained = false, isPermitted = false;
        for (GeneralName const& base : ca->permitted) {
            if (base.kind != name.kind)
                continue;
            Fit const result = fit(name, base, false);
            isConstrained = true;
            isPermitted = isPermitted || result == Fit::inside;
            if (result == Fit::malformed)
                broken->insert(PathCode::unsupportedNameConstraint);
        }
        if (isConstrained && !isPermitted)
            broken->insert(PathCode::nameConstraintViolated);
        for (GeneralName const& base : ca->excluded) {
            if (base.kind != name.kind)
                continue;
            Fit const result = fit(name, base, true);
            if (result == Fit::inside)
                broken->insert(PathCode::nameConstraintViolated);
            if (result == Fit::malformed)
                broken->insert(PathCode::unsupportedNameConstraint);
        }
    }
}

void checkNames(Certificate const& certificate, std::vector<Certificate const*> const& above,
                std::set<PathCode>* broken) {
    if (!certificate.subject.empty())
        checkName({Kind::directory, {}, certificate.subject}, above, broken);
    bool hasEmail = false;
    for (GeneralName const& name : certificate.names) {
        checkName(name, above, broken);
        hasEmail = hasEmail || name.kind == Kind::email;
    }
    for (Attribute const& attribute : certificate.subject)
        if (!hasEmail && attribute.oid == "1.2.840.113549.1.9.1")
            checkName({Kind::email, attribute.value, {}}, above, broken);
}

// Policies, section 6.1, with the tree.

struct Node {
    unsigned policy = 0; ///< valid_policy.
    std::set<unsigned> expected;
    size_t parent = 0; ///< In the level above.
    bool isAlive = true;
};
using Level = std::vector<Node>;

class PolicyTree {
public:
    std::vector<Level> levels = {{Node{0, {0}, 0, true}}};

    bool isEmpty() const {
        return std::ranges::none_of(levels.back(), [](Node const& node) { return node.isAlive; });
    }
    void clear() {
        for (Node& node : levels.back())
            node.isAlive = false;
        prune();
    }
    /// Deletes nodes above the lowest level that have no child.
    void prune() {
        for (size_t depth = levels.size() - 1; depth-- > 0;)
            for (size_t i = 0; i < levels[depth].size(); i++)
                levels[depth][i].isAlive = levels[depth][i].isAlive &&
                                           std::ranges::any_of(levels[depth + 1], [i](Node const& child) {
                                               return child.isAlive && child.parent == i;
                                           });
    }

    /// 6.1.3 (d).
    void addLevel(Certificate const& certificate, bool mayBeAny) {
        Level const above = levels.back();
        Level next;
        bool hasAny = false;
        for (unsigned const policy : certificate.policies) {
            if (policy == 0) {
                hasAny = true;
                continue;
            }
            bool isExpected = false;
            for (size_t i = 0; i < above.size(); i++)
                if (above[i].isAlive && above[i].expected.contains(policy)) {
                    next.push_back({policy, {policy}, i, true});
                    isExpected = true;
                }
            for (size_t i = 0; i < above.size() && !isExpected; i++)
                if (above[i].isAlive && above[i].policy == 0)
                    next.push_back({policy, {policy}, i, true});
        }
        if (hasAny && mayBeAny)
            for (size_t i = 0; i < above.size(); i++)
                for (unsigned const policy : above[i].expected) {
                    bool const isThere = std::ranges::any_of(
                        next, [&](Node const& node) { return node.parent == i && node.policy == policy; });
                    if (above[i].isAlive && !isThere)
                        next.push_back({policy, {policy}, i, true});
                }
        levels.push_back(next);
        prune();
    }

    /// 6.1.4 (b).
    void map(Certificate const& certificate, bool mayMap) {
        std::set<unsigned> sources;
        for (PolicyMapping const& mapping : certificate.mappings)
            sources.insert(mapping.from);
        for (unsigned const from : sources) {
            std::set<unsigned> targets;
            for (PolicyMapping const& mapping : certificate.mappings)
                if (mapping.from == from)
                    targets.insert(mapping.to);
            mapOne(from, targets, mayMap);
        }
        prune();
    }

    /// 6.1.5 (g).
    void keep(std::set<unsigned> const& wanted) {
        if (wanted.contains(0) || isEmpty())
            return;
        for (size_t depth = 1; depth < levels.size(); depth++)
            for (Node& node : levels[depth]) {
                Node const& parent = levels[depth - 1][node.parent];
                bool const isOfSet = parent.policy == 0 && node.policy != 0; // valid_policy_node_set.
                if (!parent.isAlive || (isOfSet && !wanted.contains(node.policy)))
                    node.isAlive = false;
            }
        Level& last = levels.back();
        for (size_t i = 0; i < last.size(); i++) {
            if (!last[i].isAlive || last[i].policy != 0)
                continue;
            size_t const parent = last[i].parent;
            last[i].isAlive = false;
            for (unsigned const policy : wanted)
                last.push_back({policy, {policy}, parent, true});
        }
        prune();
    }

private:
    void mapOne(unsigned from, std::set<unsigned> const& targets, bool mayMap) {
        Level& last = levels.back();
        bool isThere = false;
        for (Node& node : last) {
            if (!node.isAlive || node.policy != from)
                continue;
            isThere = true;
            if (mayMap)
                node.expected = targets;
            else
                node.isAlive = false;
        }
        for (size_t i = 0; mayMap && !isThere && i < last.size(); i++)
            if (last[i].isAlive && last[i].policy == 0) {
                last.push_back({from, targets, last[i].parent, true});
                break;
            }
    }
};

void limit(std::optional<unsigned> const& stated, unsigned* counter) {
    if (stated && *stated < *counter)
        *counter = *stated;
}

void checkPolicies(std::vector<Certificate> const& chain, Case const& asked, std::set<PathCode>* broken) {
    // A trusted leaf is its own path, and its policies are checked.
    size_t const length = std::max<size_t>(chain.size() - 1, 1);
    unsigned const never = static_cast<unsigned>(length) + 1;
    unsigned explicitPolicy = asked.requirePolicy ? 0 : never;
    unsigned mapping = asked.inhibitPolicyMapping ? 0 : never;
    unsigned any = asked.inhibitAnyPolicy ? 0 : never;
    PolicyTree tree;
    for (size_t i = length; i-- > 0;) {
        Certificate const& certificate = chain[i];
        bool const isOwn = isSelfIssued(certificate);
        if (certificate.policies.empty())
            tree.clear();
        tree.addLevel(certificate, any > 0 || (i > 0 && isOwn));
        if (explicitPolicy == 0 && tree.isEmpty())
            broken->insert(PathCode::policyRequired);
        if (i == 0)
            break;
        for (PolicyMapping const& each : certificate.mappings)
            if (each.from == 0 || each.to == 0)
                broken->insert(PathCode::invalidPolicyMapping);
        tree.map(certificate, mapping > 0);
        if (!isOwn)
            for (unsigned* counter : {&explicitPolicy, &mapping, &any})
                *counter -= *counter > 0 ? 1 : 0;
        limit(certificate.requireExplicitPolicy, &explicitPolicy);
        limit(certificate.inhibitPolicyMapping, &mapping);
        limit(certificate.inhibitAnyPolicy, &any);
    }
    explicitPolicy -= explicitPolicy > 0 ? 1 : 0;
    if (chain.front().requireExplicitPolicy == 0u)
        explicitPolicy = 0;
    tree.keep(asked.policies.empty() ? std::set<unsigned>{0}
                                     : std::set<unsigned>(asked.policies.begin(), asked.policies.end()));
    if (explicitPolicy == 0 && tree.isEmpty())
        broken->insert(PathCode::policyRequired);
}

// Identity and purpose.

bool isAddress(std::string const& host) {
    return !host.empty() && host.find_first_not_of("0123456789.") == std::string::npos;
}

/// RFC 9525, section 6.
bool matchesHost(std::string const& presented, std::string const& asked) {
    std::string const name = lower(presented), host = lower(asked);
    if (name.find("..") != std::string::npos)
        return false;
    if (!name.starts_with("*."))
        return name == host;
    std::string const below = name.substr(1);
    return below.find('.', 1) != std::string::npos && endsWith(host, below) &&
           host.find('.') == host.size() - below.size() && host.size() > below.size();
}

bool bearsIdentity(Certificate const& leaf, Case const& asked) {
    if (asked.host.empty() && asked.address.empty() && asked.email.empty())
        return true;
    for (GeneralName const& name : leaf.names) {
        if (name.kind == Kind::dns && !asked.host.empty() && !isAddress(asked.host) &&
            matchesHost(name.text, asked.host))
            return true;
        if (name.kind == Kind::ip && !asked.address.empty() && name.text == asked.address)
            return true;
        if (name.kind == Kind::ip && asked.host == "10.0.0.1" && name.text == std::string("\x0A\0\0\1", 4))
            return true;
        if (name.kind == Kind::email && !asked.email.empty()) {
            size_t const at = asked.email.find('@');
            if (name.text.substr(0, at) == asked.email.substr(0, at) &&
                lower(name.text) == lower(asked.email))
                return true;
        }
    }
    // emailAddress attributes stand for rfc822Names in legacy certificates (section 4.1.2.6), not here.
    return false;
}

PathPurpose purposeOf(Case const& asked) {
    if (asked.purpose != PathPurpose::byIdentity)
        return asked.purpose;
    return !asked.host.empty() || !asked.address.empty() ? PathPurpose::tlsServer
           : asked.email.empty()                         ? PathPurpose::any
                                                         : PathPurpose::emailProtection;
}

void checkPurpose(std::vector<Certificate> const& chain, Case const& asked, std::set<PathCode>* broken) {
    unsigned wanted = 0, bits = 0;
    switch (purposeOf(asked)) {
    case PathPurpose::tlsServer:
        wanted = Purpose::server;
        bits = KeyUsage::digitalSignature | KeyUsage::keyEncipherment | KeyUsage::keyAgreement;
        break;
    case PathPurpose::tlsClient:
        wanted = Purpose::client;
        bits = KeyUsage::digitalSignature | KeyUsage::keyAgreement;
        break;
    case PathPurpose::codeSigning:
        wanted = Purpose::code;
        bits = KeyUsage::digitalSignature;
        break;
    case PathPurpose::emailProtection:
        wanted = Purpose::mail;
        bits = KeyUsage::digitalSignature | KeyUsage::contentCommitment | KeyUsage::keyEncipherment |
               KeyUsage::keyAgreement;
        break;
    default:
        return;
    }
    for (Certificate const& certificate : chain)
        if (certificate.purposes != 0 && (certificate.purposes & (wanted | Purpose::anyPurpose)) == 0)
            broken->insert(PathCode::purposeMismatch);
    if (chain.front().keyUsage != 0 && (chain.front().keyUsage & bits) == 0)
        broken->insert(PathCode::purposeMismatch);
}

/// The checks of every certificate above the leaf, from the anchor down.
void checkCas(std::vector<Certificate> const& chain, std::set<PathCode>* broken) {
    unsigned maxLength = static_cast<unsigned>(chain.size());
    std::vector<Certificate const*> above;
    for (size_t i = chain.size(); i-- > 0;) {
        Certificate const& certificate = chain[i];
        bool const isAnchor = i + 1 == chain.size();
        if (!isAnchor && (i == 0 || !isSelfIssued(certificate)))
            checkNames(certificate, above, broken);
        if (i == 0)
            break;
        bool const isOldAnchor = isAnchor && certificate.version == 1;
        if (!isOldAnchor && !certificate.isCa.value_or(false))
            broken->insert(PathCode::notCa);
        if (certificate.keyUsage != 0 && (certificate.keyUsage & KeyUsage::keyCertSign) == 0)
            broken->insert(PathCode::keyCertSignMissing);
        if (!isAnchor && !isSelfIssued(certificate)) {
            if (maxLength == 0)
                broken->insert(PathCode::pathTooLong);
            else
                maxLength--;
        }
        limit(certificate.pathLength, &maxLength);
        above.push_back(&certificate);
    }
}

bool isSelfSigned(Certificate const& certificate) {
    return certificate.issuer == certificate.subject &&
           (!certificate.authorityKeyId || certificate.authorityKeyId == certificate.subjectKeyId);
}

/// Where the chain meets its anchor: the first certificate with the anchor's name and key. A leaf may be the
/// anchor only if it is self-signed.
size_t findAnchor(std::vector<Certificate> const& chain) {
    Certificate const& root = chain.back();
    for (size_t i = 0; i + 1 < chain.size(); i++) {
        bool const isRootsTwin = chain[i].subject == root.subject && chain[i].key == root.key;
        if (isRootsTwin && (i > 0 || isSelfSigned(chain[i])))
            return i;
    }
    return chain.size() - 1;
}

} // namespace

bool areSame(Name const& a, Name const& b) { return a.size() == b.size() && beginsWith(a, b); }

std::set<PathCode> judgePath(std::vector<Certificate> const& chain, Case const& asked) {
    std::set<PathCode> broken;
    for (size_t i = 0; i < chain.size(); i++) {
        Certificate const& certificate = chain[i];
        if (certificate.notBefore > 0)
            broken.insert(PathCode::notYetValid);
        if (certificate.notAfter < 0)
            broken.insert(PathCode::expired);
        if (certificate.hasUnknownCritical)
            broken.insert(PathCode::unknownCriticalExtension);
        if (i + 1 == chain.size())
            break;
        if (!areSame(certificate.issuer, chain[i + 1].subject))
            broken.insert(PathCode::namesDoNotChain);
        if (certificate.signer != chain[i + 1].key)
            broken.insert(PathCode::badSignature);
    }
    checkCas(chain, &broken);
    checkPolicies(chain, asked, &broken);
    checkPurpose(chain, asked, &broken);
    if (!bearsIdentity(chain.front(), asked))
        broken.insert(PathCode::identityMismatch);
    return broken;
}

/// Keys, serial numbers and criticality are good in every case that is made.
std::set<PathCode> judgeStrictly(std::vector<Certificate> const& chain, Case const& asked) {
    std::set<PathCode> broken;
    for (size_t i = 0; i < chain.size(); i++) {
        Certificate const& certificate = chain[i];
        bool const isCa = certificate.isCa.value_or(false);
        if (certificate.subject.empty() && (isCa || i > 0))
            broken.insert(PathCode::emptyCaSubject);
        if (i + 1 == chain.size())
            break;
        bool const isOwnIssuer = isSelfIssued(certificate) && certificate.key == certificate.signer;
        if ((!certificate.authorityKeyId && !isOwnIssuer) || (!certificate.subjectKeyId && isCa))
            broken.insert(PathCode::keyIdentifierMissing);
    }
    Certificate const& leaf = chain.front();
    PathPurpose const purpose = purposeOf(asked);
    if (leaf.isCa.value_or(false)) {
        if (purpose != PathPurpose::any)
            broken.insert(PathCode::caAsEndEntity);
    } else if (leaf.purposes == 0) {
        broken.insert(PathCode::extendedKeyUsageMissing);
    } else if ((leaf.purposes & Purpose::anyPurpose) != 0) {
        broken.insert(PathCode::anyExtendedKeyUsage);
    }
    bool const isForNamed = (leaf.purposes & (Purpose::server | Purpose::mail)) != 0;
    if (leaf.names.empty() && (purpose == PathPurpose::tlsServer || purpose == PathPurpose::emailProtection ||
                               (purpose == PathPurpose::any && isForNamed)))
        broken.insert(PathCode::subjectAltNameMissing);
    for (GeneralName const& name : leaf.names)
        if (name.kind == Kind::dns && (name.text == "*" || (name.text.starts_with("*.") &&
                                                            name.text.find('.', 2) == std::string::npos)))
            broken.insert(PathCode::wideWildcard);
    return broken;
}

Judgement judge(Case const& asked) {
    std::vector<Certificate> chain;
    for (Certificate const& certificate : asked.chain)
        chain.push_back(asWritten(certificate));
    Certificate const root = chain.back();
    // A self-signed leaf that differs from the store's certificate is issued by that certificate.
    size_t anchor = findAnchor(chain);
    if (anchor == 0 && encode(chain[0]) != encode(root))
        anchor = 1;
    chain.resize(anchor + 1);
    chain.back() = root;
    Judgement result;
    result.broken = judgePath(chain, asked);
    result.brokenStrictly = judgeStrictly(chain, asked);
    if (chain.size() == 1 && !isSelfSigned(root))
        result.broken.insert(PathCode::noAnchor); // A leaf that is not its own issuer needs another anchor.
    if (asked.checkCrls && !isClearOfRevocation(chain, asked, &result.isOpen))
        result.broken.insert(PathCode::revoked);
    return result;
}

} // namespace fuzz::model
