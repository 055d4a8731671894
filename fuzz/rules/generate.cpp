#include "model.h"
#include "sealkit/x509.h"

#include <array>
#include <initializer_list>
#include <string_view>

namespace fuzz::model {

namespace {

/// The variations of a case. The first bytes of an input choose few of them, so that chains are valid except
/// for one or two faults.
enum Topic : unsigned {
    links = 1u << 0,
    dates = 1u << 1,
    basics = 1u << 2,
    usages = 1u << 3,
    purposes = 1u << 4,
    constraints = 1u << 5,
    alternatives = 1u << 6,
    policies = 1u << 7,
    criticals = 1u << 8,
    selfIssued = 1u << 9,
    keyIds = 1u << 10,
    question = 1u << 11,
    revocation = 1u << 12,
    scopes = 1u << 13,
    deltas = 1u << 14,
    entries = 1u << 15,
};

class Choices {
public:
    explicit Choices(asn1::blob input) : rest(input) {
        topics = byte();
        topics |= byte() << 8;
    }

    /// A number below `end`; 0 after the end of the input.
    unsigned below(unsigned end) { return byte() % end; }
    /// The same, but usually 0.
    unsigned seldom(unsigned end) {
        unsigned const value = byte();
        return value % 4 == 3 ? value / 4 % end : 0;
    }
    bool isVaried(Topic topic) const { return (topics & topic) != 0; }

private:
    unsigned byte() { return rest.empty() ? 0 : rest.pop_front(); }

    asn1::blob rest;
    unsigned topics = 0;
};

constexpr char const* organization = "2.5.4.10";
constexpr char const* unit = "2.5.4.11";
constexpr char const* commonName = "2.5.4.3";
constexpr char const* emailAddress = "1.2.840.113549.1.9.1";

constexpr unsigned nameCount = 8;
constexpr unsigned rootName = 4;

Name makeName(unsigned number) {
    switch (number % nameCount) {
    case 0:
        return {{organization, "Test Org"}, {commonName, "www.a.test"}};
    case 1:
        return {{organization, "Test Org"}, {unit, "One"}, {commonName, "Sub"}};
    case 2:
        return {{organization, "Test Org"}, {commonName, "Int"}};
    case 3:
        return {{organization, "Other"}, {commonName, "Int"}};
    case 4:
        return {{organization, "Test Org"}, {commonName, "Root"}};
    case 5:
        return {{organization, "Test Org"}};
    case 6:
        return {{organization, "Test Org"}, {unit, "One"}};
    default:
        return {{organization, "Test Org"}, {emailAddress, "m@a.test", 0x16}};
    }
}

/// The same name, written in another way.
Name respell(Name name, unsigned way) {
    for (Attribute& attribute : name) {
        if (attribute.tag != 0x0C)
            continue;
        if (way == 1)
            attribute.tag = 0x13;
        for (char& letter : attribute.value)
            if (way == 2 && letter >= 'a' && letter <= 'z')
                letter = static_cast<char>(letter - 'a' + 'A');
        if (way == 3)
            attribute.value = "  " + attribute.value + " ";
        if (size_t const space = attribute.value.find(' ', 3); way == 3 && space != std::string::npos)
            attribute.value.insert(space, "  ");
    }
    return name;
}

GeneralName textName(Kind kind, std::string_view text) { return {kind, std::string(text), {}}; }
GeneralName pick(Choices& choices, Kind kind, std::initializer_list<std::string_view> texts) {
    return textName(kind, texts.begin()[choices.below(static_cast<unsigned>(texts.size()))]);
}

using namespace std::string_view_literals;

GeneralName makeAlternative(Choices& choices) {
    switch (choices.below(8)) {
    case 1:
        return pick(choices, Kind::email, {"m@a.test", "M@a.test", "m@A.TEST", "m@www.a.test", "n@b.test"});
    case 2:
        return {Kind::directory, {}, makeName(choices.below(nameCount))};
    case 3:
        return pick(
            choices, Kind::uri,
            {"http://a.test/", "https://www.A.test:443/x", "http://u@b.test/", "http://10.0.0.1/", "urn:x"});
    case 4:
        return pick(choices, Kind::ip,
                    {"\x0A\0\0\1"sv, "\x0A\0\1\1"sv, "\xFD\0\0\0\0\0\0\0\0\0\0\0\0\0\0\1"sv, "\xC0\0\2\1"sv});
    case 5:
        return textName(Kind::registeredId, {});
    default:
        return pick(choices, Kind::dns,
                    {"www.a.test", "a.test", "WWW.A.TEST", "b.test", "x.www.a.test", "*.a.test", "evila.test",
                     "*.test", "w*.a.test", "a..test", "*.www.a.test"});
    }
}

GeneralName makeSubtree(Choices& choices) {
    switch (choices.below(8)) {
    case 1:
        return pick(choices, Kind::email, {"m@a.test", "a.test", ".a.test", "www.a.test", ""});
    case 2:
        return {Kind::directory, {}, respell(makeName(choices.below(nameCount)), choices.seldom(4))};
    case 3:
        return pick(choices, Kind::uri, {"a.test", ".a.test", "b.test", "www.a.test"});
    case 4:
        return pick(choices, Kind::ip,
                    {"\x0A\0\0\0\xFF\xFF\xFF\0"sv, "\x0A\0\0\0\xFF\0\0\0"sv, "\0\0\0\0\0\0\0\0"sv,
                     "\x0A\0\0\1\xFF\0\xFF\xFF"sv,
                     "\xFD\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\xFF\xFF\0\0\0\0\0\0\0\0\0\0\0\0\0\0"sv});
    case 5:
        return textName(Kind::registeredId, {});
    case 6:
        return {Kind::directory, {}, {}};
    default:
        return pick(choices, Kind::dns,
                    {"a.test", ".a.test", "www.a.test", "", "test", "b.test", "A.TEST", "x.www.a.test",
                     ".www.a.test"});
    }
}

std::vector<GeneralName> makeSubtrees(Choices& choices) {
    std::vector<GeneralName> subtrees(choices.seldom(4));
    for (GeneralName& subtree : subtrees)
        subtree = makeSubtree(choices);
    return subtrees;
}

constexpr unsigned policyCount = 4;

void varyPolicies(Choices& choices, Certificate* certificate) {
    unsigned const wanted = choices.below(1u << policyCount);
    for (unsigned policy = 0; policy < policyCount; policy++)
        if ((wanted >> policy & 1) != 0)
            certificate->policies.push_back(policy);
    certificate->mappings.resize(choices.seldom(4));
    for (PolicyMapping& mapping : certificate->mappings)
        mapping = {1 + choices.below(policyCount - 1), 1 + choices.below(policyCount - 1)};
    if (choices.seldom(8) == 1 && !certificate->mappings.empty())
        certificate->mappings.front().to = 0;
    if (unsigned const skip = choices.seldom(4); skip != 0)
        certificate->requireExplicitPolicy = skip - 1;
    if (unsigned const skip = choices.seldom(4); skip != 0)
        certificate->inhibitPolicyMapping = skip - 1;
    if (unsigned const skip = choices.seldom(4); skip != 0)
        certificate->inhibitAnyPolicy = skip - 1;
}

void varyBasics(Choices& choices, Certificate* certificate) {
    switch (choices.seldom(8)) {
    case 1:
        certificate->isCa.reset();
        break;
    case 2:
        certificate->isCa = false;
        break;
    case 3:
        certificate->version = 1;
        break;
    case 4:
        certificate->isCa = true;
        break;
    default:
        break;
    }
    if (unsigned const length = choices.seldom(5); length != 0 && certificate->isCa.value_or(false))
        certificate->pathLength = length - 1;
}

void vary(Choices& choices, Certificate* certificate) {
    if (choices.isVaried(dates)) {
        certificate->notBefore += static_cast<int>(choices.seldom(3)) * 10;
        certificate->notAfter -= static_cast<int>(choices.seldom(3)) * 10;
        certificate->notBefore += certificate->notBefore == 10 ? -9 : 0;
        certificate->notAfter -= certificate->notAfter == -10 ? -9 : 0;
    }
    if (choices.isVaried(basics))
        varyBasics(choices, certificate);
    if (choices.isVaried(usages)) {
        static constexpr std::array<unsigned, 8> words = {0,
                                                          KeyUsage::digitalSignature,
                                                          KeyUsage::keyEncipherment,
                                                          KeyUsage::keyCertSign,
                                                          KeyUsage::crlSign,
                                                          KeyUsage::keyCertSign | KeyUsage::crlSign,
                                                          KeyUsage::contentCommitment,
                                                          KeyUsage::keyAgreement | KeyUsage::decipherOnly};
        if (unsigned const word = choices.seldom(16); word != 0)
            certificate->keyUsage = words[word % words.size()];
    }
    if (choices.isVaried(purposes))
        certificate->purposes = choices.below(3) == 0 ? 0 : choices.below(32);
    if (choices.isVaried(constraints)) {
        certificate->permitted = makeSubtrees(choices);
        certificate->excluded = makeSubtrees(choices);
    }
    if (choices.isVaried(alternatives)) {
        if (unsigned const count = choices.below(4); count != 0) {
            certificate->names.resize(count - 1);
            for (GeneralName& name : certificate->names)
                name = makeAlternative(choices);
        }
    }
    if (choices.isVaried(policies))
        varyPolicies(choices, certificate);
    if (choices.isVaried(criticals))
        certificate->hasUnknownCritical = choices.seldom(4) == 1;
}

/// The certificate at `depth`, issued by the one above it; a root if that is null.
Certificate makeCertificate(Choices& choices, unsigned depth, Certificate const* issuer) {
    Certificate made;
    made.key = depth;
    made.serialNumber = depth + 1;
    made.subject = makeName(issuer == nullptr ? rootName : depth == 0 ? 0 : 1 + (depth - 1) % 3);
    made.isCa = depth != 0 || issuer == nullptr ? std::optional(true) : std::nullopt;
    made.keyUsage = made.isCa ? KeyUsage::keyCertSign | KeyUsage::crlSign : 0u;
    if (depth == 0)
        made.names = {textName(Kind::dns, "www.a.test")};
    if (issuer != nullptr && choices.isVaried(links)) {
        if (unsigned const name = choices.seldom(nameCount + 1); name != 0)
            made.subject = makeName(name - 1);
        if (unsigned const serialNumber = choices.seldom(4); serialNumber != 0)
            made.serialNumber = serialNumber;
        if (unsigned const key = choices.seldom(6); key != 0)
            made.key = key - 1;
    }
    if (issuer != nullptr && choices.isVaried(selfIssued) && choices.below(2) == 1)
        made.subject = issuer->subject;
    made.issuer = issuer == nullptr ? made.subject : issuer->subject;
    made.signer = issuer == nullptr ? made.key : issuer->key;
    if (issuer != nullptr && choices.isVaried(links)) {
        made.issuer = respell(made.issuer, choices.seldom(4));
        if (unsigned const name = choices.seldom(32); name != 0)
            made.issuer = makeName(name);
        if (unsigned const key = choices.seldom(32); key != 0)
            made.signer = key % 6;
    }
    made.subjectKeyId = made.key;
    made.authorityKeyId = made.signer;
    if (choices.isVaried(keyIds)) {
        if (choices.seldom(2) == 1)
            made.subjectKeyId.reset();
        if (unsigned const key = choices.seldom(4); key == 1)
            made.authorityKeyId.reset();
        else if (key != 0)
            made.authorityKeyId = key;
    }
    vary(choices, &made);
    return made;
}

GeneralName makePointName(Choices& choices) {
    return choices.below(2) == 0 ? pick(choices, Kind::uri, {"http://a.test/1.crl", "http://a.test/2.crl"})
                                 : GeneralName{Kind::directory, {}, makeName(choices.below(nameCount))};
}

unsigned makeReasons(Choices& choices) {
    static constexpr std::array<unsigned, 4> words = {0, 0x002, 0x1FC, 0x0FE};
    return words[choices.seldom(4)];
}

void makePoints(Choices& choices, std::vector<Certificate> const& chain, Certificate* certificate) {
    certificate->points.resize(choices.below(3));
    for (DistributionPoint& point : certificate->points) {
        if (choices.below(4) != 3)
            point.names.push_back(makePointName(choices));
        point.reasons = makeReasons(choices);
        if (choices.seldom(4) == 1)
            point.crlIssuer = chain[choices.below(static_cast<unsigned>(chain.size()))].subject;
        if (point.names.empty() && !point.crlIssuer)
            point.crlIssuer = certificate->issuer;
    }
}

void varyScope(Choices& choices, Crl* crl) {
    crl->hasScope = choices.below(2) == 1;
    if (!crl->hasScope)
        return;
    if (choices.below(2) == 1)
        crl->pointNames.push_back(makePointName(choices));
    unsigned const kind = choices.seldom(8);
    crl->onlyUser = kind == 1 || kind == 2;
    crl->onlyCa = kind == 3 || kind == 4;
    crl->onlyAttribute = kind == 5;
    crl->reasons = makeReasons(choices);
    crl->isIndirect = choices.seldom(2) == 1;
    // An issuingDistributionPoint is not empty.
    crl->hasScope = !crl->pointNames.empty() || crl->onlyUser || crl->onlyCa || crl->onlyAttribute ||
                    crl->reasons != 0 || crl->isIndirect;
}

void makeEntries(Choices& choices, Crl* crl) {
    crl->entries.resize(choices.seldom(4));
    for (Revoked& entry : crl->entries) {
        entry.serialNumber = 1 + choices.below(6);
        static constexpr std::array<unsigned, 4> reasons = {1, 3, 6, 8};
        if (choices.below(2) == 1)
            entry.reason = reasons[choices.below(crl->deltaBase ? 4 : 3)];
        if (crl->isIndirect && choices.below(2) == 1)
            entry.certificateIssuer = makeName(choices.below(nameCount));
    }
}

/// A CRL by the issuer of a certificate, or by another CA of the chain if it is indirect.
Crl makeCrl(Choices& choices, std::vector<Certificate> const& chain, size_t depth) {
    Certificate const& subject = chain[depth];
    Crl made;
    made.issuer = subject.issuer;
    made.signer = subject.signer;
    made.authorityKeyId = subject.signer;
    if (choices.isVaried(keyIds) && choices.seldom(2) == 1)
        made.authorityKeyId.reset();
    if (choices.isVaried(links)) {
        made.issuer = respell(made.issuer, choices.seldom(4));
        if (unsigned const key = choices.seldom(8); key != 0)
            made.signer = key % 6;
    }
    if (choices.isVaried(dates)) {
        made.thisUpdate += static_cast<int>(choices.seldom(3));
        if (unsigned const when = choices.seldom(3); when == 1)
            made.nextUpdate = -1;
        else if (when == 2)
            made.nextUpdate.reset();
    }
    if (choices.isVaried(criticals))
        made.hasUnknownCritical = choices.seldom(4) == 1;
    if (choices.isVaried(scopes)) {
        varyScope(choices, &made);
        if (made.isIndirect && choices.below(2) == 1) {
            Certificate const& other = chain[1 + choices.below(static_cast<unsigned>(chain.size()) - 1)];
            made.issuer = other.subject;
            made.signer = other.key;
            if (made.authorityKeyId)
                made.authorityKeyId = other.key;
        }
    }
    if (choices.isVaried(deltas)) {
        made.number = 4 + choices.below(3);
        if (choices.below(3) == 1)
            made.deltaBase = 3 + choices.below(3);
    }
    if (choices.isVaried(entries))
        makeEntries(choices, &made);
    return made;
}

void ask(Choices& choices, Case* made) {
    if (choices.isVaried(question)) {
        static constexpr std::array<char const*, 8> hosts = {
            "", "www.a.test", "WWW.A.test", "a.test", "b.test", "10.0.0.1", "x.test", "x.www.a.test"};
        static constexpr std::array<std::string_view, 4> addresses = {
            "", "\x0A\0\0\1"sv, "\xFD\0\0\0\0\0\0\0\0\0\0\0\0\0\0\1"sv, "\xC0\0\2\1"sv};
        static constexpr std::array<char const*, 5> emails = {"", "m@a.test", "M@a.test", "m@A.test",
                                                              "n@b.test"};
        static constexpr std::array<PathPurpose, 6> kinds = {
            PathPurpose::byIdentity, PathPurpose::any,         PathPurpose::tlsServer,
            PathPurpose::tlsClient,  PathPurpose::codeSigning, PathPurpose::emailProtection};
        made->host = hosts[choices.below(hosts.size())];
        made->address = addresses[choices.seldom(addresses.size())];
        made->email = emails[choices.seldom(emails.size())];
        made->purpose = kinds[choices.seldom(kinds.size())];
    }
    if (choices.isVaried(policies)) {
        unsigned const wanted = choices.below(4) == 3 ? choices.below(1u << policyCount) : 0;
        for (unsigned policy = 0; policy < policyCount; policy++)
            if ((wanted >> policy & 1) != 0)
                made->policies.push_back(policy);
        made->requirePolicy = choices.below(2) == 1;
        made->inhibitPolicyMapping = choices.seldom(2) == 1;
        made->inhibitAnyPolicy = choices.seldom(2) == 1;
    }
}

} // namespace

Case generate(asn1::blob input) {
    Choices choices(input);
    Case made;
    static constexpr std::array<unsigned, 8> lengths = {3, 3, 2, 4, 5, 1, 3, 4};
    unsigned const length = lengths[choices.below(lengths.size())];
    made.chain.resize(length);
    for (unsigned depth = length; depth-- > 0;)
        made.chain[depth] =
            makeCertificate(choices, depth, depth + 1 < length ? &made.chain[depth + 1] : nullptr);
    ask(choices, &made);
    if (choices.isVaried(revocation)) {
        made.checkCrls = true;
        made.checkLeafCrlOnly = choices.below(2) == 1;
        for (size_t depth = 0; depth + 1 < length; depth++) {
            if (choices.isVaried(scopes))
                makePoints(choices, made.chain, &made.chain[depth]);
            for (unsigned count = 1 + choices.seldom(3) - choices.seldom(2); count > 0; count--)
                made.crls.push_back(makeCrl(choices, made.chain, depth));
        }
    }
    return made;
}

} // namespace fuzz::model
