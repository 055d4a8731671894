#include "sealkit/agreement.h"
#include "sealkit/oid_names.h"

#include "base/reading.h"

#include <string>

namespace {

using detail::Reading;

std::vector<unsigned char> refuse(Reading& reading, RefusalId id, std::vector<Fact> facts = {}) {
    reading.refuse(id, nullptr, std::move(facts));
    return {};
}

/// The agreed secret; empty, with a refusal, if the agreement failed.
std::vector<unsigned char> checked(Reading& reading, std::vector<unsigned char>&& secret, RefusalId id) {
    if (secret.empty())
        return refuse(reading, id);
    return std::move(secret); // Moved, because a copy would leave the original unwiped.
}

} // namespace

std::vector<unsigned char> agreeKeys(PrivateKey const& own, PublicKey const& peer, Refusal* refusal) {
    Reading reading({}, refusal);
    auto const nameOf = [](PublicKey const& key) { return oidName(getKeyOid(key.keyType())); };
    if (own.keyType() != peer.keyType())
        return refuse(reading, RefusalId::keysDiffer,
                      {{"own key", nameOf(own)}, {"other key", nameOf(peer)}});
    if (auto const* const ec = dynamic_cast<EcPrivateKey const*>(&own)) {
        auto const* const other = dynamic_cast<EcPublicKey const*>(&peer);
        if (other == nullptr || other->curve != ec->curve)
            return refuse(reading, RefusalId::keysDiffer,
                          {{"own key", getCurveName(ec->curve)},
                           {"other key", other == nullptr ? "" : getCurveName(other->curve)}});
        return checked(reading, ec->exchangeKeys(other->EcPublicKey::encodeToDerEncoded()),
                       RefusalId::pointNotOnCurve);
    }
    if (auto const* const x = dynamic_cast<X25519PrivateKey const*>(&own))
        if (auto const* const other = dynamic_cast<X25519PublicKey const*>(&peer))
            return checked(reading, x->exchangeKeys(other->pub), RefusalId::pointNotOnCurve);
    return refuse(reading, RefusalId::keyCannotAgree, {{"key", nameOf(own)}});
}
