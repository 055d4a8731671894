/// What a reader carries along: who hears its diagnostics, where it stands, and the refusal that it fills in.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/refusal.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace detail {

/// Whether diagnostics go to the streams that the stated entry points write to.
enum class Diagnostics : bool { silent, stated };

/// One call of a reader. Readers hand it down by reference; the first refusal is kept, as it is the deepest.
class Reading {
public:
    /// Silent, and without a refusal: for bytes that were read before, under any rules.
    Reading() = default;
    /// As the stated entry points read `bytes`: diagnostics are written, nobody asks why.
    explicit Reading(asn1::blob bytes)
        : diagnostics(Diagnostics::stated), forms(FormRules::platform), input(bytes) {}
    /// As the overloads with a refusal read `bytes`: silent. `asked` may be null.
    Reading(asn1::blob bytes, Refusal* asked, FormRules rules = FormRules::platform)
        : forms(rules), input(bytes), refusal(asked) {}
    /// Silent, for the outline of an object: its readers go on where they would refuse it, as far as they
    /// can.
    struct Tolerant {};
    explicit Reading(Tolerant) : tolerant(true) {}
    Reading(Reading const&) = delete;
    Reading& operator=(Reading const&) = delete;

    /// Refuses the input: fills the refusal in, unless it is filled in already or nobody asks. Always false.
    /// `at` is the place, null for none.
    bool refuse(RefusalId id, unsigned char const* at, std::vector<Fact> facts = {});
    bool refuse(RefusalId id, asn1::blob at, std::vector<Fact> facts = {}) {
        return refuse(id, at.start, std::move(facts));
    }

    /// Refuses what is well-formed and not supported by the platform's rules. Under the standard rules this
    /// marks the object that is read instead, and is true.
    bool refuseUnsupported(RefusalId id, asn1::blob at, std::vector<Fact> facts = {}) {
        isMarked = forms == FormRules::standard;
        return isMarked || refuse(id, at, std::move(facts));
    }
    /// Refuses what an outline shows all the same.
    bool refuseUnlessTolerant(RefusalId id, unsigned char const* at, std::vector<Fact> facts = {}) {
        return tolerant || refuse(id, at, std::move(facts));
    }
    bool isTolerant() const { return tolerant; }

    /// Whether the object that was read is marked; the next one is not.
    bool takeMark() { return std::exchange(isMarked, false); }

    /// The way to where the reader stands: "content 2, bag 3".
    std::string path() const;
    /// The offset in the input of what stands at `at`, or of what that was decrypted or converted from.
    size_t offsetOf(unsigned char const* at) const;

    /// Takes the refusal back, so that another form can be tried: the caller's is as it was.
    void retract();

    /// Writes a line to standard output, or to standard error, where diagnostics are stated.
    void note(std::string_view line) const;
    void noteError(std::string_view line) const;

    /// Whether a refusal is asked for and not filled in yet. For facts that are dear to gather.
    bool wantsReason() const { return refusal != nullptr && !refused; }
    bool isStated() const { return diagnostics == Diagnostics::stated; }
    /// Whether the forms of the standards are read that the stated entry points refuse.
    bool isStandard() const { return forms == FormRules::standard; }

    /// A step of the way to where the reader stands, for as long as it lives: "extension 4
    /// (nameConstraints)".
    class Step {
    public:
        /// `number` counts from 1; 0 shows no number. `name` is shown in parentheses; `toText` makes text of
        /// it when the way is asked for.
        Step(Reading& reader, char const* what, size_t number = 0, asn1::blob name = {},
             std::string (*toText)(asn1::blob) = nullptr)
            : reading(reader), before(reader.top), text(what), index(number), label(name), describe(toText) {
            reading.top = this;
        }
        ~Step() { reading.top = before; }
        Step(Step const&) = delete;
        Step& operator=(Step const&) = delete;

    private:
        friend class Reading;

        Reading& reading;
        Step* before;
        char const* text;
        size_t index;
        asn1::blob label;
        std::string (*describe)(asn1::blob);
    };

    /// Other bytes than the input's, decrypted or converted from the element at `origin`, while they are
    /// read. The refusal's offset is that of `origin` then, and its path ends with the byte in `bytes`, which
    /// `what` names: "decrypted content".
    class Derived {
    public:
        Derived(Reading& reader, asn1::blob bytes, unsigned char const* origin, char const* what)
            : reading(reader), before(reader.derived), content(bytes), source(origin), text(what) {
            reading.derived = this;
        }
        ~Derived() { reading.derived = before; }
        Derived(Derived const&) = delete;
        Derived& operator=(Derived const&) = delete;

    private:
        friend class Reading;

        Reading& reading;
        Derived* before;
        asn1::blob content;
        unsigned char const* source;
        char const* text;
    };

    /// A block of PEM text while its DER is read: the refusal names the block, and its offset counts from the
    /// start of `der`. `number` counts from 1.
    class Block {
    public:
        Block(Reading& reader, size_t number, asn1::blob der)
            : reading(reader), before(reader.input), numberBefore(reader.block) {
            reading.input = der;
            reading.block = number;
        }
        ~Block() {
            reading.input = before;
            reading.block = numberBefore;
        }
        Block(Block const&) = delete;
        Block& operator=(Block const&) = delete;

    private:
        Reading& reading;
        asn1::blob before;
        size_t numberBefore;
    };

    /// Refuses the framing of PEM text at a line, which counts from 1. `number` is that of the block, 0 for
    /// none.
    bool refuseLine(RefusalId id, size_t number, size_t line, std::vector<Fact> facts = {});

private:
    /// Follows `at` out of derived bytes, which it names in `path`, and gives its offset in the input.
    size_t locate(unsigned char const* at, std::string& path) const;

    Diagnostics diagnostics = Diagnostics::silent;
    FormRules forms = FormRules::standard;
    bool isMarked = false; ///< By `refuseUnsupported`.
    bool tolerant = false;
    asn1::blob input;
    size_t block = 0; ///< Of PEM text that the input is the DER of; 0 for none.
    Refusal* refusal = nullptr;
    bool refused = false; ///< By this reading; what the caller's refusal held before does not count.
    Refusal before;       ///< What the caller's refusal held, once it is refused.
    Step* top = nullptr;
    Derived* derived = nullptr;
};

} // namespace detail
