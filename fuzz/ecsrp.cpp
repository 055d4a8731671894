#include "sealkit/ecsrp.h"

#include "targets.h"

#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

/// An `ECSRP` whose state is visible.
struct Side : ECSRP {
    using ECSRP::ECSRP;
    using ECSRP::expectedReply;
    using ECSRP::replyExpected;

    Bytes reply() const { return {expectedReply.begin(), expectedReply.end()}; }
};

} // namespace

/// The input is a peer's message, in either mode. A message without an answer leaves the object unchanged;
/// one with an answer gets the same answer again, also from another object.
void fuzz::ecsrp(asn1::blob input) {
    Bytes const message(input.begin(), input.end());
    Side side("alice", "open sesame", Bytes(32, 0x5a));
    Bytes const response = side.generateResponse(message);
    SEALKIT_ASSERT(response.empty() || response.size() == (message.size() == 33 ? 24 : 32));
    SEALKIT_ASSERT(side.replyExpected == (response.size() == 32));
    SEALKIT_ASSERT(side.verifyReply(side.reply()) == side.replyExpected);
    SEALKIT_ASSERT(response.empty() == side.getSessionKey().empty());

    // With a salt, and without one.
    asn1::blob rest = input;
    asn1::blob const point = rest.size() < 33 ? rest : rest.pop_front(33);
    Side other("alice", "open sesame", Bytes(32, 0x5a));
    Bytes const A(point.begin(), point.end()), salt(rest.begin(), rest.end());
    Bytes const answer =
        message.size() == 33 ? other.generateMSCHAPResponse(A) : other.generateSRPResponse(A, salt);
    if (message.size() == 33 || message.size() == 49)
        SEALKIT_ASSERT(answer == response && other.getSessionKey() == side.getSessionKey());
    SEALKIT_ASSERT(answer.empty() == other.expectedReply.empty());
}
