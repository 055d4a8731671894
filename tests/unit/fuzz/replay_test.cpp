/// The inputs that fuzzing found worth keeping, through the same functions.
#include "fuzz/targets.h"

#include "support/captured_output.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

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
    for (auto const& entry : std::filesystem::recursive_directory_iterator(corpora))
        if (entry.is_regular_file())
            for (fuzz::Target const& target : fuzz::targets)
                run(target, readBytes(entry.path()));
}

TEST(Fuzz, EveryCorpusHasItsTarget) {
    std::set<std::string> names, folders;
    for (fuzz::Target const& target : fuzz::targets)
        names.insert(target.name);
    for (auto const& entry : std::filesystem::directory_iterator(corpora))
        folders.insert(entry.path().filename());
    EXPECT_EQ(folders, names);
}

} // namespace
