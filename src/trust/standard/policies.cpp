#include "trust/standard/policies.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/view.h"
#include "sealkit/der.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <string_view>

namespace detail {

namespace {

/// Content octets.
std::string_view const anyPolicy = viewOf(oid::anyPolicy);

/// A policy for which the certificates down to some depth are valid.
struct Node {
    std::string_view policy;
    asn1::blob qualifiers;
    std::vector<size_t> parents; ///< Indexes in the level above.
    /// The expected_policy_set if the certificate maps the policy; otherwise it is the policy itself.
    std::vector<std::string_view> mappedTo;
    size_t children = 0;
    bool isAlive = true;
};

/// The nodes of one depth.
struct PolicyLevel {
    std::vector<Node> nodes;
    std::map<std::string_view, size_t> byPolicy; ///< Of the nodes that are alive.

    size_t add(std::string_view policy, asn1::blob qualifiers, std::vector<size_t> parents) {
        byPolicy[policy] = nodes.size();
        nodes.push_back({policy, qualifiers, std::move(parents), {}});
        return nodes.size() - 1;
    }

    Node* find(std::string_view policy) {
        auto const found = byPolicy.find(policy);
        return found == byPolicy.end() ? nullptr : &nodes[found->second];
    }
};

using Expectations = std::map<std::string_view, std::vector<size_t>>;

/// The valid_policy_graph. Each depth has at most one node per policy, and edges for mappings, so its size
/// grows linearly with the certificates.
class Graph {
public:
    Graph() { levels.emplace_back().add(anyPolicy, {}, {}); }

    bool isEmpty() const { return levels.empty(); }
    void clear() { levels.clear(); }

    /// RFC 5280, section 6.1.3, step (d).
    void addLevel(CertificateFields const& fields, bool isAnyPolicyHeeded) {
        PolicyLevel next;
        Expectations const expected = expectations(levels.back());
        size_t const* const above = indexOf(levels.back(), anyPolicy);
        PolicyInformation const* any = nullptr;
        for (PolicyInformation const& policy : fields.policies) {
            std::string_view const oid = viewOf(policy.oid);
            if (oid == anyPolicy)
                any = &policy;
            else if (auto const parents = expected.find(oid); parents != expected.end())
                next.add(oid, policy.qualifiers, parents->second);
            else if (above != nullptr)
                next.add(oid, policy.qualifiers, {*above});
        }
        if (any != nullptr && isAnyPolicyHeeded)
            for (auto const& [oid, parents] : expected)
                if (!next.byPolicy.contains(oid))
                    next.add(oid, any->qualifiers, parents);
        push(std::move(next));
    }

    /// RFC 5280, section 6.1.4, step (b).
    void map(CertificateFields const& fields, bool isAllowed) {
        asn1::blob anyQualifiers;
        for (PolicyInformation const& policy : fields.policies)
            if (viewOf(policy.oid) == anyPolicy)
                anyQualifiers = policy.qualifiers;
        std::map<std::string_view, std::vector<std::string_view>> mappings;
        for (EquivalentPolicies const& mapping : fields.policyMappings)
            mappings[viewOf(mapping.issuerDomain)].push_back(viewOf(mapping.subjectDomain));

        size_t const last = levels.size() - 1;
        PolicyLevel& level = levels.back();
        for (auto& [policy, targets] : mappings) {
            size_t const* const mapped = indexOf(level, policy);
            size_t const* const any = indexOf(level, anyPolicy);
            if (!isAllowed) {
                if (mapped != nullptr)
                    remove(last, *mapped);
                continue;
            }
            std::ranges::sort(targets);
            targets.erase(std::unique(targets.begin(), targets.end()), targets.end());
            if (mapped != nullptr) {
                level.nodes[*mapped].mappedTo = std::move(targets);
            } else if (any != nullptr) {
                // This node is also a child of the node that is the parent of anyPolicy.
                std::vector<size_t> parents = level.nodes[*any].parents;
                for (size_t const parent : parents)
                    ++levels[last - 1].nodes[parent].children;
                level.nodes[level.add(policy, anyQualifiers, std::move(parents))].mappedTo =
                    std::move(targets);
            }
        }
        if (level.byPolicy.empty())
            clear();
    }

    /// The authority-constrained-policy-set (RFC 9618, section 5.6): the policies in the terms of the anchor,
    /// with their qualifiers.
    std::vector<PathPolicy> policies();

private:
    static size_t const* indexOf(PolicyLevel const& level, std::string_view policy) {
        auto const found = level.byPolicy.find(policy);
        return found == level.byPolicy.end() ? nullptr : &found->second;
    }

    /// The nodes of a level by each policy of their expected_policy_set.
    static Expectations expectations(PolicyLevel const& level) {
        Expectations expected;
        for (auto const& [policy, index] : level.byPolicy) {
            Node const& node = level.nodes[index];
            if (node.mappedTo.empty())
                expected[policy].push_back(index);
            for (std::string_view const target : node.mappedTo)
                expected[target].push_back(index);
        }
        return expected;
    }

    void push(PolicyLevel next) {
        size_t const last = levels.size() - 1;
        for (Node const& node : next.nodes)
            for (size_t const parent : node.parents)
                ++levels[last].nodes[parent].children;
        if (next.nodes.empty()) {
            clear();
            return;
        }
        levels.push_back(std::move(next));
        for (size_t index = 0; index < levels[last].nodes.size(); ++index)
            if (Node const& node = levels[last].nodes[index]; node.isAlive && node.children == 0)
                remove(last, index);
    }

    /// Removes a node, and recursively its parents without other children.
    void remove(size_t depth, size_t index) {
        std::vector<std::pair<size_t, size_t>> doomed = {{depth, index}};
        while (!doomed.empty()) {
            auto const [level, number] = doomed.back();
            doomed.pop_back();
            Node& node = levels[level].nodes[number];
            node.isAlive = false;
            levels[level].byPolicy.erase(node.policy);
            for (size_t const parent : node.parents)
                if (Node& above = levels[level - 1].nodes[parent]; --above.children == 0)
                    doomed.emplace_back(level - 1, parent);
        }
    }

    std::vector<unsigned char> collectQualifiers(size_t depth, size_t index);

    std::vector<PolicyLevel> levels; ///< By depth below the anchor. Empty if the graph is NULL.
    /// The children of each node, by level, once qualifiers are collected.
    std::vector<std::vector<std::vector<size_t>>> below;
    size_t effortLeft = maxQualifierEffort;

    /// Bounds the work of collecting qualifiers, in octets and nodes, because policies may share descendants.
    static constexpr size_t maxQualifierEffort = size_t{1} << 20;
    static constexpr size_t nodeEffort = 64;
};

/// The distinct qualifiers of a node, of its ancestors, which are anyPolicy, and of its descendants.
std::vector<unsigned char> Graph::collectQualifiers(size_t depth, size_t index) {
    std::set<std::string_view> seen;
    DerEncoder encoder;
    encoder.begin(tag::sequence);
    auto const addFrom = [&](Node const& node, size_t children) {
        size_t const effort = nodeEffort * (1 + children) + node.qualifiers.size();
        if (effort > effortLeft)
            return false;
        effortLeft -= effort;
        Reading silent;
        asn1::blob content;
        if (node.qualifiers.empty() || !readOnly(silent, node.qualifiers, tag::sequence, &content))
            return true;
        for (asn1::parser list(content); list.tag < asn1::parser::endTag;) {
            asn1::blob const qualifier = list.takeWhole();
            if (!qualifier.empty() && seen.insert(viewOf(qualifier)).second)
                encoder.addEncoded(qualifier);
        }
        return true;
    };
    for (size_t above = 1; above < depth; ++above)
        if (Node const* const any = levels[above].find(anyPolicy))
            addFrom(*any, 0);

    std::set<size_t> current = {index};
    for (size_t at = depth; at < levels.size(); ++at) {
        std::set<size_t> next;
        for (size_t const number : current) {
            std::vector<size_t> const& children = below[at][number];
            if (addFrom(levels[at].nodes[number], children.size()))
                next.insert(children.begin(), children.end());
        }
        current = std::move(next);
    }
    encoder.end();
    return seen.empty() ? std::vector<unsigned char>() : encoder.take();
}

std::vector<PathPolicy> Graph::policies() {
    if (isEmpty())
        return {};
    below.assign(levels.size(), {});
    for (size_t depth = 0; depth < levels.size(); ++depth) {
        below[depth].resize(levels[depth].nodes.size());
        if (depth == 0)
            continue;
        for (auto const& [policy, index] : levels[depth].byPolicy)
            for (size_t const parent : levels[depth].nodes[index].parents)
                below[depth - 1][parent].push_back(index);
    }
    std::vector<PathPolicy> found;
    auto const add = [&](size_t depth, size_t index) {
        std::string_view const policy = levels[depth].nodes[index].policy;
        found.push_back({{policy.begin(), policy.end()}, collectQualifiers(depth, index)});
    };
    for (size_t depth = 1; depth < levels.size(); ++depth) {
        size_t const* const any = indexOf(levels[depth - 1], anyPolicy);
        if (any == nullptr)
            break;
        for (size_t const child : below[depth - 1][*any])
            if (levels[depth].nodes[child].policy != anyPolicy)
                add(depth, child);
    }
    if (size_t const* const any = indexOf(levels.back(), anyPolicy))
        add(levels.size() - 1, *any);
    return found;
}

bool mapsAnyPolicy(CertificateFields const& fields) {
    return std::ranges::any_of(fields.policyMappings, [](EquivalentPolicies const& mapping) {
        return viewOf(mapping.issuerDomain) == anyPolicy || viewOf(mapping.subjectDomain) == anyPolicy;
    });
}

/// The policies of `authority` that the caller requested (RFC 9618, section 5.6, item (vi)).
std::vector<PathPolicy> intersect(std::vector<PathPolicy> authority,
                                  std::vector<std::vector<unsigned char>> const& asked) {
    auto const isAny = [](asn1::blob oid) { return viewOf(oid) == anyPolicy; };
    if (asked.empty() || std::ranges::any_of(asked, isAny))
        return authority;
    std::set<std::string_view> left;
    for (std::vector<unsigned char> const& oid : asked)
        left.insert(viewOf(oid));
    std::vector<PathPolicy> found;
    PathPolicy const* any = nullptr;
    for (PathPolicy& policy : authority) {
        if (isAny(policy.oid))
            any = &policy;
        else if (left.erase(viewOf(policy.oid)) != 0)
            found.push_back(std::move(policy));
    }
    if (any != nullptr)
        for (std::string_view const oid : left)
            found.push_back({{oid.begin(), oid.end()}, any->qualifiers});
    return found;
}

/// The number of certificates until a condition holds. It holds at 0.
class Countdown {
public:
    Countdown(bool isSet, size_t certificates) : left(isSet ? 0 : certificates + 1) {}

    bool isOver() const { return left == 0; }
    void count() { left -= left != 0; }
    void limit(std::optional<unsigned> most) { left = most ? std::min<size_t>(left, *most) : left; }

private:
    size_t left;
};

} // namespace

PolicyResult processPolicies(std::span<CertificateFields const* const> path, PathOptions const& options) {
    Graph graph;
    Countdown explicitPolicy(options.requirePolicy, path.size());
    Countdown inhibitAny(options.inhibitAnyPolicy, path.size());
    Countdown inhibitMapping(options.inhibitPolicyMapping, path.size());
    for (size_t depth = path.size(); depth-- > 0;) {
        CertificateFields const& fields = *path[depth];
        // RFC 5280, section 6.1.3, steps (d) to (f).
        bool const isAnyPolicyHeeded = !inhibitAny.isOver() || (depth > 0 && fields.isSelfIssued);
        if (!fields.hasPolicies)
            graph.clear();
        if (!graph.isEmpty())
            graph.addLevel(fields, isAnyPolicyHeeded);
        if (graph.isEmpty() && explicitPolicy.isOver())
            return {PathCode::policyRequired, depth, {}};

        if (depth > 0) { // Section 6.1.4, steps (a), (b) and (h) to (j).
            if (mapsAnyPolicy(fields))
                return {PathCode::invalidPolicyMapping, depth, {}};
            if (!graph.isEmpty() && !fields.policyMappings.empty())
                graph.map(fields, !inhibitMapping.isOver());
            if (!fields.isSelfIssued) {
                explicitPolicy.count();
                inhibitMapping.count();
                inhibitAny.count();
            }
            explicitPolicy.limit(fields.policyConstraints.requireExplicit);
            inhibitMapping.limit(fields.policyConstraints.inhibitMapping);
            inhibitAny.limit(fields.inhibitAnyPolicy);
        } else { // Section 6.1.5, steps (a) and (b).
            explicitPolicy.count();
            if (fields.policyConstraints.requireExplicit == 0u)
                explicitPolicy.limit(0);
        }
    }
    PolicyResult result;
    result.policies = intersect(graph.policies(), options.policies);
    if (explicitPolicy.isOver() && result.policies.empty())
        result.code = PathCode::policyRequired;
    return result;
}

} // namespace detail
