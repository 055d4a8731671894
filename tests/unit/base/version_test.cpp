#include "sealkit/version.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace TEST_FILE {

TEST(Version, IsThreeNumbers) {
    EXPECT_THAT(getSealkitVersion(), testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+"));
}

} // namespace TEST_FILE
