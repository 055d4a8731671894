/// Random cases, answered by libcrypto: one maker a subject, for its check in `checks.h`.
#pragma once

#include "support/random.h"

#include <string>
#include <string_view>
#include <vector>

namespace interop {

/// Cases in the making, as text of the vector format.
class Cases {
public:
    /// Begins a case, the id of which is `subject` and its number.
    Cases& begin(std::string_view subject);
    Cases& add(std::string_view field, std::string_view value);
    Cases& add(std::string_view field, size_t value);
    Cases& add(std::string_view field, std::vector<unsigned char> const& value);

    std::string const& text() const { return lines; }
    /// Of the case that was begun last; the first has 1.
    unsigned number() const { return count; }
    std::string const& id() const { return lastId; }

private:
    std::string lines;
    std::string lastId;
    unsigned count = 0;
};

/// Adds the fields of one case.
struct Maker {
    char const* subject;
    void (*make)(test::Random& random, Cases& out);
    unsigned share = 1; ///< Of so many cases that are asked for, one is made: others take longer.
};

/// Null when there is none.
Maker const* makerOf(std::string_view subject);

// Grouped as the files that hold them.
void makeHash(test::Random& random, Cases& out);
void makeHmac(test::Random& random, Cases& out);
void makeHkdf(test::Random& random, Cases& out);

void makeCbc(test::Random& random, Cases& out);
void makeCtr(test::Random& random, Cases& out);
void makeCfb(test::Random& random, Cases& out);
void makeRecord(test::Random& random, Cases& out);
void makeRc4(test::Random& random, Cases& out);

void makeCmac(test::Random& random, Cases& out);
void makeGcm(test::Random& random, Cases& out);
void makeSiv(test::Random& random, Cases& out);

void makeSigned(test::Random& random, Cases& out);
void makeSigning(test::Random& random, Cases& out);

void makeTimeStampRequest(test::Random& random, Cases& out);
void makeTimeStampResponse(test::Random& random, Cases& out);

void makeEnveloped(test::Random& random, Cases& out);
void makeEnveloping(test::Random& random, Cases& out);
void makeEncryptedData(test::Random& random, Cases& out);

void makePkcs12Kdf(test::Random& random, Cases& out);
void makePkcs12(test::Random& random, Cases& out);

} // namespace interop
