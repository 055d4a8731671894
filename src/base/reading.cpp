#include "base/reading.h"

#include <functional>
#include <iostream>
#include <utility>

namespace detail {

namespace {

/// `std::less` orders pointers into different arrays, which `<` does not.
bool isWithin(unsigned char const* at, asn1::blob bytes) {
    std::less<unsigned char const*> const before;
    return at != nullptr && bytes.start != nullptr && !before(at, bytes.start) && !before(bytes.finish, at);
}

} // namespace

bool Reading::refuse(RefusalId id, unsigned char const* at, std::vector<Fact> facts) {
    if (refusal == nullptr || refused)
        return false;
    refused = true;
    before = std::exchange(*refusal, Refusal());
    refusal->id = id == RefusalId::missingElement && input.empty() ? RefusalId::emptyInput : id;
    refusal->facts = std::move(facts);
    refusal->block = block;
    refusal->path = path();
    refusal->offset = locate(at, refusal->path);
    return false;
}

std::string Reading::path() const {
    std::vector<Step const*> way;
    for (Step const* step = top; step != nullptr; step = step->before)
        way.insert(way.begin(), step);
    std::string path;
    for (Step const* step : way) {
        path += (path.empty() ? "" : ", ") + std::string(step->text);
        if (step->index != 0)
            path += " " + std::to_string(step->index);
        if (step->describe != nullptr)
            path += " (" + step->describe(step->label) + ")";
    }
    return path;
}

bool Reading::refuseLine(RefusalId id, size_t number, size_t line, std::vector<Fact> facts) {
    if (refusal != nullptr && !refused) {
        refuse(id, nullptr, std::move(facts));
        refusal->block = number;
        refusal->line = line;
    }
    return false;
}

size_t Reading::offsetOf(unsigned char const* at) const {
    std::string path;
    return locate(at, path);
}

size_t Reading::locate(unsigned char const* at, std::string& path) const {
    for (Derived const* inner = derived; inner != nullptr && !isWithin(at, input); inner = inner->before)
        if (isWithin(at, inner->content)) {
            path += (path.empty() ? "byte " : ", byte ") + std::to_string(at - inner->content.start) +
                    " of the " + inner->text;
            at = inner->source;
        }
    return isWithin(at, input) ? static_cast<size_t>(at - input.start) : Refusal::nowhere;
}

void Reading::retract() {
    if (refused)
        *refusal = std::exchange(before, Refusal());
    refused = false;
}

void Reading::note(std::string_view line) const {
    if (isStated())
        std::cout << line << std::endl;
}

void Reading::noteError(std::string_view line) const {
    if (isStated())
        std::cerr << line << std::endl;
}

} // namespace detail
