/// The state of a reader: its diagnostics, its location and its refusal.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/refusal.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace detail {

/// Whether diagnostics are written to the streams of the stated entry points.
enum class Diagnostics : bool { silent, stated };

/// One call of a reader. Readers pass it down by reference. The first refusal is kept: it is the deepest.
class Reading {
public:
    /// Silent and without a refusal, for bytes that were read before under any rules.
    Reading() = default;
    /// For the stated entry points: writes diagnostics and has no refusal.
    explicit Reading(asn1::blob bytes)
        : diagnostics(Diagnostics::stated), forms(FormRules::platform), input(bytes) {}
    /// For the overloads with a refusal: silent. `asked` may be null.
    Reading(asn1::blob bytes, Refusal* asked, FormRules rules = FormRules::platform)
        : forms(rules), input(bytes), refusal(asked) {}
    /// Silent, for the outline of an object: its readers continue after errors as far as possible.
    struct Tolerant {};
    explicit Reading(Tolerant) : tolerant(true) {}
    Reading(Reading const&) = delete;
    Reading& operator=(Reading const&) = delete;

    /// Refuses the input. Sets the refusal unless it is already set or not wanted. `at` is the location and
    /// may be null. Returns false.
    bool refuse(RefusalId id, unsigned char const* at, std::vector<Fact> facts = {});
    bool refuse(RefusalId id, asn1::blob at, std::vector<Fact> facts = {}) {
        return refuse(id, at.start, std::move(facts));
    }

    /// Refuses what is well-formed but unsupported by the platform's rules. Under the standard rules it marks
    /// the object instead, and returns true.
    bool refuseUnsupported(RefusalId id, asn1::blob at, std::vector<Fact> facts = {}) {
        isMarked = forms == FormRules::standard;
        return isMarked || refuse(id, at, std::move(facts));
    }
    /// Refuses what only a tolerant reading accepts.
    bool refuseUnlessTolerant(RefusalId id, unsigned char const* at, std::vector<Fact> facts = {}) {
        return tolerant || refuse(id, at, std::move(facts));
    }
    bool isTolerant() const { return tolerant; }

    /// Returns and clears the mark of the object.
    bool takeMark() { return std::exchange(isMarked, false); }

    /// The path to the current location: "content 2, bag 3".
    std::string path() const;
    /// The offset of `at` in the input. For derived bytes, that of their origin.
    size_t offsetOf(unsigned char const* at) const;

    /// Withdraws the refusal, so that another form can be tried, and restores the caller's previous one.
    void retract();

    /// Writes a line to standard output, or to standard error, if diagnostics are stated.
    void note(std::string_view line) const;
    void noteError(std::string_view line) const;

    /// Whether a refusal is wanted and not yet set. For facts that are expensive to gather.
    bool wantsReason() const { return refusal != nullptr && !refused; }
    bool isStated() const { return diagnostics == Diagnostics::stated; }
    /// Whether standard forms are read that the stated entry points refuse.
    bool isStandard() const { return forms == FormRules::standard; }

    /// A step of the path to the current location, while it lives: "extension 4 (nameConstraints)".
    class Step {
    public:
        /// `number` counts from 1; 0 means no number. `name` is shown in parentheses; `toText` formats it
        /// when the path is needed.
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

    /// Reads other bytes than the input, which were decrypted or converted from the element at `origin`. A
    /// refusal then has the offset of `origin`, and its path ends with the offset in `bytes`, which `what`
    /// names: "decrypted content".
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

    /// Reads the DER of a PEM block. A refusal then names the block, and its offset is relative to `der`.
    /// `number` counts from 1.
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

    /// Refuses the framing of PEM text at a line, which counts from 1. `number` is that of the block, or 0.
    bool refuseLine(RefusalId id, size_t number, size_t line, std::vector<Fact> facts = {});

private:
    /// Resolves `at` in derived bytes: adds it to `path` and returns the offset in the input.
    size_t locate(unsigned char const* at, std::string& path) const;

    Diagnostics diagnostics = Diagnostics::silent;
    FormRules forms = FormRules::standard;
    bool isMarked = false; ///< Set by `refuseUnsupported`.
    bool tolerant = false;
    asn1::blob input;
    size_t block = 0; ///< The number of the PEM block whose DER is the input, or 0.
    Refusal* refusal = nullptr;
    bool refused = false; ///< Whether this reading refused; the caller's refusal may already be set.
    Refusal before;       ///< The previous value of the caller's refusal, once it is replaced.
    Step* top = nullptr;
    Derived* derived = nullptr;
};

} // namespace detail
