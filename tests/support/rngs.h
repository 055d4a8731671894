/// Random sources for tests: repeatable ones and failing ones.
#pragma once

#include "sealkit/rng.h"

#include <cstddef>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

namespace test {

/// The same bytes in every run and on every machine. Counts the draws, and fails after `limit` of them.
class SeededRng : public Rng {
public:
    explicit SeededRng(unsigned seed, size_t limit = static_cast<size_t>(-1)) : engine(seed), left(limit) {}

    bool fill(unsigned char* buf, unsigned len) const override {
        if (left == 0)
            return false;
        --left;
        ++drawn;
        for (unsigned i = 0; i < len; ++i)
            buf[i] = static_cast<unsigned char>(engine());
        return true;
    }
    bool fillInsecure(unsigned char* buf, unsigned len) const override { return fill(buf, len); }

    size_t draws() const { return drawn; }

private:
    mutable std::mt19937 engine;
    mutable size_t left;
    mutable size_t drawn = 0;
};

/// Returns given byte strings in turn, each for one draw of its length. Fails after the last one, and for a
/// draw of another length.
class ScriptedRng : public Rng {
public:
    explicit ScriptedRng(std::vector<std::vector<unsigned char>> bytes) : script(std::move(bytes)) {}

    bool fill(unsigned char* buf, unsigned len) const override {
        if (next == script.size() || script[next].size() != len)
            return false;
        std::memcpy(buf, script[next++].data(), len);
        return true;
    }
    bool fillInsecure(unsigned char* buf, unsigned len) const override { return fill(buf, len); }

    bool isUsedUp() const { return next == script.size(); }

private:
    std::vector<std::vector<unsigned char>> script;
    mutable size_t next = 0;
};

/// Always the same byte. Counts the draws.
class StuckRng : public Rng {
public:
    explicit StuckRng(unsigned char value) : byte(value) {}

    bool fill(unsigned char* buf, unsigned len) const override {
        ++drawn;
        std::memset(buf, byte, len);
        return true;
    }
    bool fillInsecure(unsigned char* buf, unsigned len) const override { return fill(buf, len); }

    size_t draws() const { return drawn; }

private:
    unsigned char byte;
    mutable size_t drawn = 0;
};

} // namespace test
