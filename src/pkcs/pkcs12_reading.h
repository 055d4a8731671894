/// The state of a reader of PKCS#12 files beside its `Reading`.
#pragma once

#include "sealkit/pkcs12.h"

#include "base/reading.h"

#include <utility>

namespace detail {

/// The location of a part in the file, for refusals during decryption.
struct PKCS12Place {
    std::string path; ///< "content 2, bag 3".
    size_t offset = Refusal::nowhere;
};

/// One call of a reader of PKCS#12.
class PKCS12Reading {
public:
    /// For the stated entry points.
    PKCS12Reading(asn1::blob bytes, bool ber) : reading(bytes), mayBeBer(ber) {}
    /// For the overloads with a refusal.
    PKCS12Reading(asn1::blob bytes, bool ber, PKCS12Options const& options)
        : reading(bytes, &found, options.forms),
          mayBeBer(ber),
          isPartial(options.partial),
          schemes(options.schemes) {}

    /// If the file is read partially, records the refusal of a part so that the rest can be read. Returns
    /// false if the file as a whole must be refused.
    bool setAside(std::vector<Refusal>& refusals) {
        if (!isPartial || refusals.size() >= pkcs12MaxUnreadable)
            return false;
        refusals.push_back(found);
        reading.retract();
        return true;
    }

    /// The current refusal. Only overloads with a refusal have one.
    Refusal& refusal() { return found; }

    /// Passes the refusal of a failed call to the caller, and returns `isGood`.
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
