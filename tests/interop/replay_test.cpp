// Gives the library the cases that the comparison with other implementations has written, with none of
// these available: on the machines that they are not built for.
#include "interop/subjects.h"
#include "support/slow.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

class Replay : public testing::TestWithParam<interop::Subject> {};

TEST_P(Replay, GivesTheRecordedAnswers) {
    std::string const path = interop::pathOf(GetParam());
    std::ifstream in(path);
    ASSERT_TRUE(in)
        << "no recorded cases in " << path
        << ": `cmake --preset host && cmake --build --preset host --target replay_cases` writes them";
    test::forEachCase(in, path, {}, GetParam().check, test::lessWhenSlow(1u, 6u));
}

INSTANTIATE_TEST_SUITE_P(Of, Replay, testing::ValuesIn(interop::subjects), interop::nameOf);

} // namespace
