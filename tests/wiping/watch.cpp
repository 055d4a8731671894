#include "wiping/watch.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include <malloc.h>
#include <sys/mman.h>
#include <ucontext.h>

// The C library's own heap, under names of its own.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void __libc_free(void* memory);
}

namespace {

/// Eight bytes in a row.
using Run = std::uint64_t;

Run runAt(void const* memory) {
    Run run;
    std::memcpy(&run, memory, sizeof run);
    return run;
}

/// Runs of a few different bytes, zeros above all, stand everywhere.
bool isTelling(Run run) {
    std::array<unsigned char, sizeof run> bytes;
    std::memcpy(bytes.data(), &run, sizeof run);
    std::sort(bytes.begin(), bytes.end());
    return bytes[3] != 0 && std::unique(bytes.begin(), bytes.end()) - bytes.begin() > 4;
}

/// Values by a key that is not zero, in memory of its own: the heap functions use it.
template <typename Value, size_t capacity>
class Table {
public:
    /// Null when there is none.
    Value* find(std::uint64_t key) {
        Entry& entry = at(key);
        return entry.key == key ? &entry.value : nullptr;
    }
    void add(std::uint64_t key, Value value) {
        Entry& entry = at(key);
        if (entry.key != key && ++used > capacity / 2)
            std::abort();
        entry = {key, value};
    }
    void clear() {
        std::fill(entries.begin(), entries.end(), Entry{});
        used = 0;
    }
    template <typename Body>
    void forEach(Body const& body) const {
        for (Entry const& entry : entries)
            if (entry.key != 0)
                body(entry.key, entry.value);
    }
    size_t size() const { return used; }

private:
    struct Entry {
        std::uint64_t key = 0;
        Value value = {};
    };
    /// Where the key is, or would be.
    Entry& at(std::uint64_t key) {
        std::uint64_t slot = (key * 0x9E3779B97F4A7C15) >> 32; // 2^64 divided by the golden ratio
        while (entries[slot % capacity].key != 0 && entries[slot % capacity].key != key)
            slot++;
        return entries[slot % capacity];
    }

    std::array<Entry, capacity> entries = {};
    size_t used = 0;
};

struct Finding {
    unsigned name;
    char place[64];
    size_t size, offset, length;
};

/// What the watch knows.
struct State {
    bool active;
    Table<unsigned, 1 << 18> secrets; ///< By their runs; the value is the index of the name.
    Table<char, 1 << 14> publicRuns;
    Table<size_t, 1 << 18>
        blocks; ///< By address, their sizes: taken since the watch began. 0 once given back.
    std::array<Finding, 8> findings; ///< The first ones.
    size_t findingCount;
    std::vector<std::string>* names; ///< Null while there is no watch.
};
constinit State state = {};

/// Takes down where `shortest` or more bytes in a row are secret.
void searchMemory(std::string_view place, void const* memory, size_t size, size_t shortest) {
    auto const* const bytes = static_cast<unsigned char const*>(memory);
    Finding finding = {};
    auto const end = [&] {
        if (finding.length >= shortest && finding.length > 0) {
            if (state.findingCount < state.findings.size())
                state.findings[state.findingCount] = finding;
            state.findingCount++;
        }
        finding.length = 0;
    };
    for (size_t offset = 0; offset + sizeof(Run) <= size; offset++) {
        Run const run = runAt(bytes + offset);
        unsigned const* const name = run == 0 ? nullptr : state.secrets.find(run);
        if (name == nullptr || state.publicRuns.find(run) != nullptr)
            end();
        else if (finding.length > 0)
            finding.length++;
        else {
            finding = {*name, {}, size, offset, sizeof run};
            place.copy(finding.place, sizeof finding.place - 1);
        }
    }
    end();
}

unsigned nameIndex(std::string_view name) {
    state.names->emplace_back(name);
    return static_cast<unsigned>(state.names->size() - 1);
}

/// The addresses that are in use, to tell pointers from other words.
class AddressSpace {
public:
    AddressSpace() {
        std::unique_ptr<std::FILE, int (*)(std::FILE*)> const maps(std::fopen("/proc/self/maps", "r"),
                                                                   std::fclose);
        if (maps == nullptr)
            throw std::runtime_error("cannot read /proc/self/maps");
        char line[512];
        while (std::fgets(line, sizeof line, maps.get()) != nullptr) {
            unsigned long first, last;
            if (std::sscanf(line, "%lx-%lx", &first, &last) == 2)
                ranges.emplace_back(first, last);
        }
    }

    bool contains(std::uintptr_t address) const {
        return std::any_of(ranges.begin(), ranges.end(), [=](auto const& range) {
            return range.first <= address && address < range.second;
        });
    }

private:
    std::vector<std::pair<std::uintptr_t, std::uintptr_t>> ranges;
};

void addRuns(unsigned name, unsigned char const* bytes, size_t size) {
    for (size_t i = 0; i + sizeof(Run) <= size; i++)
        if (Run const run = runAt(bytes + i); isTelling(run))
            state.secrets.add(run, name);
}

/// The runs that no pointer is part of.
void addMemory(unsigned name, void const* memory, size_t size, AddressSpace const& space) {
    auto const* const bytes = static_cast<unsigned char const*>(memory);
    size_t first = 0;
    for (size_t i = 0; i + sizeof(std::uintptr_t) <= size; i += sizeof(std::uintptr_t)) {
        std::uintptr_t word;
        std::memcpy(&word, bytes + i, sizeof word);
        if (space.contains(word)) {
            addRuns(name, bytes + first, i - first);
            first = i + sizeof word;
        }
    }
    addRuns(name, bytes + first, size - first);
}

constexpr int unused = 0xDD; ///< Fills new blocks: what they held before is not what their owner leaves.

std::function<void()> const* ownStackBody; ///< A context begins in a function without arguments.
void callOwnStackBody() { (*ownStackBody)(); }

} // namespace

extern "C" {

void* malloc(size_t size) {
    void* const memory = __libc_malloc(size);
    if (state.active && memory != nullptr) {
        std::memset(memory, unused, malloc_usable_size(memory));
        state.blocks.add(reinterpret_cast<std::uintptr_t>(memory), size);
    }
    return memory;
}

void* calloc(size_t count, size_t size) {
    void* const memory = __libc_calloc(count, size);
    if (state.active && memory != nullptr)
        state.blocks.add(reinterpret_cast<std::uintptr_t>(memory), count * size);
    return memory;
}

void free(void* memory) {
    if (memory == nullptr)
        return;
    if (state.active) {
        searchMemory("a freed block", memory, malloc_usable_size(memory), sizeof(Run));
        if (size_t* const size = state.blocks.find(reinterpret_cast<std::uintptr_t>(memory)))
            *size = 0;
    }
    __libc_free(memory);
}

/// Always moves, so that it always gives a block back.
void* realloc(void* memory, size_t size) {
    void* const moved = malloc(size);
    if (memory != nullptr && moved != nullptr) {
        std::memcpy(moved, memory, std::min(size, malloc_usable_size(memory)));
        free(memory);
    }
    return moved;
}
}

namespace test {

OwnStack::OwnStack()
    : memory(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
    if (memory == MAP_FAILED)
        throw std::runtime_error("no memory for a stack");
}

OwnStack::~OwnStack() { munmap(memory, size); }

void OwnStack::run(std::function<void()> const& body) {
    ucontext_t here, there;
    getcontext(&there);
    there.uc_stack.ss_sp = memory;
    there.uc_stack.ss_size = size;
    there.uc_link = &here;
    ownStackBody = &body;
    makecontext(&there, callOwnStackBody, 0);
    swapcontext(&here, &there);
}

Watch::Pause::Pause() : was(std::exchange(state.active, false)) {}

Watch::Pause::~Pause() { state.active = was; }

Watch::Watch() {
    if (state.names != nullptr)
        throw std::logic_error("a second watch");
    state.names = new std::vector<std::string>;
    state.secrets.clear();
    state.publicRuns.clear();
    state.blocks.clear();
    state.findingCount = 0;
    state.active = true;
}

Watch::~Watch() {
    state.active = false;
    delete std::exchange(state.names, nullptr);
}

void Watch::addSecret(std::string_view name, std::span<unsigned char const> bytes) {
    Pause const pause;
    addRuns(nameIndex(name), bytes.data(), bytes.size());
}

void Watch::addObject(std::string_view name, void const* object, size_t size) {
    Pause const pause;
    addMemory(nameIndex(name), object, size, AddressSpace());
}

void Watch::addHeap(std::string_view name) {
    Pause const pause;
    AddressSpace const space;
    unsigned const index = nameIndex(name);
    state.blocks.forEach([&](std::uint64_t address, size_t size) {
        addMemory(index, reinterpret_cast<void const*>(static_cast<std::uintptr_t>(address)), size, space);
    });
}

void Watch::addPublic(std::span<unsigned char const> bytes) {
    for (size_t i = 0; i + sizeof(Run) <= bytes.size(); i++)
        if (Run const run = runAt(bytes.data() + i); run != 0)
            state.publicRuns.add(run, 0);
}

void Watch::search(std::string_view place, void const* memory, size_t size) {
    searchMemory(place, memory, size, sizeof(Run));
}

void Watch::search(OwnStack const& stack) {
    searchMemory("the stack", stack.data(), stack.size, 2 * sizeof(Run));
}

size_t Watch::size() const { return state.secrets.size(); }

std::string Watch::found() const {
    Pause const pause;
    std::string text;
    for (size_t i = 0; i < std::min(state.findingCount, state.findings.size()); i++) {
        Finding const& finding = state.findings[i];
        text += (*state.names)[finding.name] + " in " + finding.place + ": " +
                std::to_string(finding.length) + " of " + std::to_string(finding.size) + " bytes, at " +
                std::to_string(finding.offset) + '\n';
    }
    if (state.findingCount > state.findings.size())
        text += "and " + std::to_string(state.findingCount - state.findings.size()) + " more\n";
    return text;
}

} // namespace test
