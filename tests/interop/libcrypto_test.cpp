// Compares the library with OpenSSL's libcrypto over random cases, and writes the cases with libcrypto's
// answers to files for `replay_test.cpp`. The environment may set SEALKIT_INTEROP_SEED and
// SEALKIT_INTEROP_CASES, the number of cases a subject.
#include "interop/libcrypto.h"
#include "interop/makers.h"
#include "interop/subjects.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

unsigned setting(char const* name, unsigned otherwise) {
    char const* const value = std::getenv(name);
    return value != nullptr ? static_cast<unsigned>(std::stoul(value)) : otherwise;
}

class Libcrypto : public testing::TestWithParam<interop::Subject> {};

TEST_P(Libcrypto, GivesTheSameAnswers) {
    unsigned const seed = setting("SEALKIT_INTEROP_SEED", 1);
    SCOPED_TRACE("with SEALKIT_INTEROP_SEED=" + std::to_string(seed));
    interop::Maker const* const make = interop::makerOf(GetParam().name);
    ASSERT_NE(make, nullptr);

    test::Random random(GetParam().name + std::to_string(seed));
    interop::Cases cases;
    for (unsigned i = setting("SEALKIT_INTEROP_CASES", 2000) / make->share; i > 0; i--)
        make->make(random, cases.begin(GetParam().name));
    std::string const text = "# Source: random cases from seed " + std::to_string(seed) + ", answered by " +
                             libcrypto::version() + "\n" + cases.text();

    // A file is there either whole or not at all.
    std::filesystem::path const path = interop::pathOf(GetParam());
    create_directories(path.parent_path());
    std::filesystem::path const unfinished = path.string() + ".part";
    std::ofstream(unfinished) << text;
    rename(unfinished, path);

    std::istringstream in(text);
    test::forEachCase(in, path, {}, GetParam().check);
}

INSTANTIATE_TEST_SUITE_P(Of, Libcrypto, testing::ValuesIn(interop::subjects), interop::nameOf);

} // namespace
