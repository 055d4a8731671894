/// What a person can do about a chain that is refused.
///
/// | member             | what it is                                                       |
/// | ------------------ | ---------------------------------------------------------------- |
/// | `x509AdvisePath`   | the one piece of advice that fits a verdict                       |
/// | `PathAdvice`       | its id, and the facts that it rests on                            |
/// | `pathAdvices`      | the table of ids, names and sentences                             |
///
/// Advice changes no verdict and is not part of one: it is a guess at what went wrong, from what certificates
/// say of themselves. Whoever follows it still decides what to trust.
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

/// Something that a person can do.
struct SEALKIT_API PathAdvice {
    PathAdviceId id{};
    std::vector<Fact> facts; ///< May hold any byte.

    /// The sentence and the facts as a line, without the end of the line.
    std::string str() const;
};

/// What may help against the failure of `verdict`, which a search under `store` gave; nothing for a valid
/// chain, and where nothing is known to help. `other` is another store that the caller could trust instead,
/// such as that of the certificate manager, or null: advice may name it.
SEALKIT_API std::optional<PathAdvice> x509AdvisePath(PathVerdict const& verdict, PathOptions const& options,
                                                     CertificateStore const& store,
                                                     CertificateStore const* other = nullptr);
