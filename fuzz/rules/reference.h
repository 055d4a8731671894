/// The rules of RFC 5280 and RFC 9525, and the strict ones, written plainly: with the policy tree of RFC
/// 5280, with a scan in place of every index, over a case as it was made and not as it was read from DER. It
/// shares nothing with the library.
#pragma once

#include "model.h"

#include <set>

namespace fuzz::model {

struct Judgement {
    /// Every rule that is broken; none if the chain is valid. `revoked`, `crlMissing` and
    /// `revocationUndetermined` are one: all three stand as `revoked`.
    std::set<PathCode> broken;
    /// Whether the case asks what the rules leave open, so that both answers are right.
    bool isOpen = false;
    /// What the strict rules, which come last, find broken.
    std::set<PathCode> brokenStrictly;
};

Judgement judge(Case const& asked);

/// What is broken without regard to revocation, with the certificates above.
std::set<PathCode> judgePath(std::vector<Certificate> const& chain, Case const& asked);

/// What is broken of what public CAs keep beyond RFC 5280.
std::set<PathCode> judgeStrictly(std::vector<Certificate> const& chain, Case const& asked);

/// Names by RFC 5280, section 7.1.
bool areSame(Name const& a, Name const& b);

/// Whether every certificate that must be is known not to be revoked (RFC 5280, section 6.3).
bool isClearOfRevocation(std::vector<Certificate> const& chain, Case const& asked, bool* isOpen);

} // namespace fuzz::model
