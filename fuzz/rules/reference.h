/// The rules of RFC 5280 and RFC 9525, and the strict ones, in the simplest form: with the policy tree of RFC
/// 5280, with a scan instead of every index, and over the generated case instead of its DER. It shares no
/// code with the library.
#pragma once

#include "model.h"

#include <set>

namespace fuzz::model {

struct Judgement {
    /// The broken rules; empty if the chain is valid. `revoked` stands for `crlMissing` and
    /// `revocationUndetermined`, too.
    std::set<PathCode> broken;
    /// Whether the rules leave the case open, so that both answers are right.
    bool isOpen = false;
    /// The broken rules of the strict set, which is checked last.
    std::set<PathCode> brokenStrictly;
};

Judgement judge(Case const& asked);

/// The broken rules except revocation, with the certificates above.
std::set<PathCode> judgePath(std::vector<Certificate> const& chain, Case const& asked);

/// The broken rules of public CAs beyond RFC 5280.
std::set<PathCode> judgeStrictly(std::vector<Certificate> const& chain, Case const& asked);

/// Names by RFC 5280, section 7.1.
bool areSame(Name const& a, Name const& b);

/// Whether every certificate that must be is known not to be revoked (RFC 5280, section 6.3).
bool isClearOfRevocation(std::vector<Certificate> const& chain, Case const& asked, bool* isOpen);

} // namespace fuzz::model
