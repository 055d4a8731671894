/// The findings of a check as ids, for tests.
#pragma once

#include "sealkit/message_check.h"

#include <vector>

namespace test {

inline std::vector<MessageFindingId> idsOf(MessageVerdict const& verdict) {
    std::vector<MessageFindingId> ids;
    for (MessageFinding const& finding : verdict.findings)
        ids.push_back(finding.id);
    return ids;
}

inline std::vector<MessageFindingId> failuresOf(MessageVerdict const& verdict) {
    std::vector<MessageFindingId> ids = idsOf(verdict);
    std::erase_if(ids, [](MessageFindingId id) { return getWeight(id) != FindingWeight::failure; });
    return ids;
}

} // namespace test
