/// What a reader of a PKCS#12 file carries along beside its `Reading`.
#pragma once

#include "sealkit/pkcs12.h"

#include "base/reading.h"

#include <utility>

namespace detail {

/// Where a part stands in the file, for refusals of what is decrypted later.
struct PKCS12Place {
    std::string path; ///< "content 2, bag 3".
    size_t offset = Refusal::nowhere;
};

/// One call of a reader of PKCS#12.
class PKCS12Reading {
public:
    /// As the stated entry points read `bytes`.
    PKCS12Reading(asn1::blob bytes, bool ber) : reading(bytes), mayBeBer(ber) {}
    /// As the overloads with a refusal do.
    PKCS12Reading(asn1::blob bytes, bool ber, PKCS12Options const& options)
        : reading(bytes, &found, options.forms),
          mayBeBer(ber),
          isPartial(options.partial),
          schemes(options.schemes) {}

    /// Sets the refusal of a part aside, if the file is read partially, so that the rest can be read. False
    /// if the whole is to be refused.
    bool setAside(std::vector<Refusal>& refusals) {
        if (!isPartial || refusals.size() >= pkcs12MaxUnreadable)
            return false;
        refusals.push_back(found);
        reading.retract();
        return true;
    }

    /// The refusal so far. Only overloads with a refusal have one.
    Refusal& refusal() { return found; }

    /// Gives the caller the refusal, if there is one. Returns true if there is not.
    bool report(bool isGood, Refusal* asked) const {
        if (!isGood && asked != nullptr)
            *asked = found;
        return isGood;
    }

private:
    Refusal found;

public:
    Reading reading;
    bool mayBeBer;
    bool isPartial = false;
    PasswordSchemes schemes;
};

} // namespace detail
