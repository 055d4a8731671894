/// The inputs that fuzzing found worth keeping, through the same functions.
#include "fuzz/targets.h"

#include "support/captured_output.h"
#include "support/slow.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace TEST_FILE {

std::filesystem::path const corpora = SEALKIT_TEST_DATA "/../fuzz/corpus";

std::vector<unsigned char> readBytes(std::filesystem::path const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// An input in memory that ends where it ends, so that reading on is noticed.
void run(fuzz::Target const& target, std::vector<unsigned char> const& input) {
    std::unique_ptr<unsigned char[]> exact(new unsigned char[input.size()]);
    std::copy(input.begin(), input.end(), exact.get());
    test::CapturedOutput capture;
    target.run(asn1::blob(exact.get(), input.size()));
}

TEST(Fuzz, EveryInputOfTheCorporaHolds) {
    for (fuzz::Target const& target : fuzz::targets) {
        size_t count = 0;
        for (auto const& entry : std::filesystem::directory_iterator(corpora / target.name)) {
            SCOPED_TRACE(entry.path());
            run(target, readBytes(entry.path()));
            count++;
        }
        EXPECT_GT(count, 0u) << target.name;
    }
}

TEST(Fuzz, EveryInputHoldsForEveryTarget) {
    size_t const every = test::lessWhenSlow(1u, 9u);
    size_t count = 0;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(corpora))
        if (entry.is_regular_file())
            for (size_t i = count++ % every; i < std::size(fuzz::targets); i += every)
                run(fuzz::targets[i], readBytes(entry.path()));
}

/// Damage of the kinds that files suffer: a bit, a byte, a piece that is missing, doubled or from elsewhere.
std::vector<unsigned char> damage(std::vector<unsigned char> bytes, std::minstd_rand& random) {
    auto const below = [&random](size_t end) { return static_cast<size_t>(random() >> 4) % end; };
    auto const at = [&](size_t index) { return bytes.begin() + static_cast<std::ptrdiff_t>(index); };
    if (bytes.empty())
        return bytes;
    size_t const place = below(bytes.size()), size = 1 + below(std::min<size_t>(6, bytes.size() - place));
    switch (below(6)) {
    case 0:
        bytes.resize(place);
        break;
    case 1:
        bytes.erase(at(place), at(place + size));
        break;
    case 2: {
        std::vector<unsigned char> const piece(at(place), at(place + size));
        size_t const target = below(bytes.size());
        bytes.insert(at(target), piece.begin(), piece.end());
        break;
    }
    case 3:
        bytes[place] = static_cast<unsigned char>(below(256));
        break;
    default:
        bytes[place] ^= static_cast<unsigned char>(1U << below(8));
    }
    return bytes;
}

/// The same damage in every run. Two of three inputs keep all lengths, and so reach what stands deep.
TEST(Fuzz, DamagedInputsOfTheCorporaHold) {
    unsigned const variants = test::lessWhenSlow(12u, 2u);
    std::minstd_rand random(20);
    for (fuzz::Target const& target : fuzz::targets) {
        std::set<std::filesystem::path> paths;
        for (auto const& entry : std::filesystem::directory_iterator(corpora / target.name))
            paths.insert(entry.path());
        for (auto const& path : paths) {
            SCOPED_TRACE(path);
            std::vector<unsigned char> const whole = readBytes(path);
            for (unsigned i = 0; i < variants; ++i)
                run(target, damage(whole, random));
        }
    }
}

TEST(Fuzz, EveryCorpusHasItsTarget) {
    std::set<std::string> names, folders;
    for (fuzz::Target const& target : fuzz::targets)
        names.insert(target.name);
    for (auto const& entry : std::filesystem::directory_iterator(corpora))
        folders.insert(entry.path().filename());
    EXPECT_EQ(folders, names);
}

} // namespace TEST_FILE
