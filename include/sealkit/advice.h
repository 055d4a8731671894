/// What a person can do about a chain that is refused.
///
/// | member           | what it is                                  |
/// | ---------------- | ------------------------------------------- |
/// | `x509AdvisePath` | the one piece of advice that fits a verdict |
/// | `PathAdvice`     | its id, and the facts behind it             |
/// | `pathAdvices`    | the table of ids, names and sentences       |
///
/// Advice is not part of a verdict and never changes one. It is a guess at what went wrong, made from what
/// certificates claim about themselves. The person who follows it still decides what to trust.
#pragma once

#include "sealkit/detail/export.h"
#include "sealkit/path.h"
#include "sealkit/refusal.h"
#include "sealkit/search.h"
#include "sealkit/store.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

/// What a person can do.
enum class PathAdviceId : unsigned {
    nameIsUrl,
    nameHasPort,
    clockBehind,
    clockAhead,
    anchorOfSameKey,
    otherStore,
    untrustedRoot,
    missingIssuer,
    missingCrl,
};

/// Every id with its name and sentence, in ascending order.
SEALKIT_API std::span<ReasonText<PathAdviceId> const> pathAdvices();
/// The row of an id.
SEALKIT_API ReasonText<PathAdviceId> const& getReasonText(PathAdviceId id);

/// A piece of advice.
struct SEALKIT_API PathAdvice {
    PathAdviceId id{};       ///< The row of `pathAdvices`.
    std::vector<Fact> facts; ///< May hold any byte.

    /// The sentence and the facts on one line, without a line end.
    std::string str() const;
};

/// Returns what may help against the failure of `verdict`, the result of a search under `store`; nothing for
/// a valid chain, or if no advice fits. `other` is another store that the caller could trust instead, such as
/// that of the certificate manager, or null. The advice may name it.
SEALKIT_API std::optional<PathAdvice> x509AdvisePath(PathVerdict const& verdict, PathOptions const& options,
                                                     CertificateStore const& store,
                                                     CertificateStore const* other = nullptr);
