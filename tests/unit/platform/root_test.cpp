#include "kp/root.h"

#include "kp/cloud.h"
#include "support/temporary_root.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::EnvironmentVariable;

/// The second rule takes "/" on the operating system itself.
bool onTheTarget() { return std::filesystem::is_directory("/kelp"); }

TEST(Root, IsTheFolderOfTheVariable) {
    EnvironmentVariable const root("KP_ROOT", "/some/root");
    EXPECT_EQ(kp::rootPath("/rw/store"), "/some/root/rw/store");
    EXPECT_EQ(kp::rootPath("/kelp/etc/ca/"), "/some/root/kelp/etc/ca/");
    EXPECT_EQ(kp::rootPath("ram/crl"), "/some/root/ram/crl");
}

TEST(Root, DoesNotDoubleSlashes) {
    EnvironmentVariable const root("KP_ROOT", "/some/root//");
    EXPECT_EQ(kp::rootPath("/ram"), "/some/root/ram");
}

TEST(Root, MayBeTheMachinesOwn) {
    EnvironmentVariable const root("KP_ROOT", "/");
    EXPECT_EQ(kp::rootPath("/ram/crl"), "/ram/crl");
}

TEST(Root, MayBeRelative) {
    EnvironmentVariable const root("KP_ROOT", "here");
    EXPECT_EQ(kp::rootPath("/ram"), "here/ram");
}

TEST(Root, WithoutTheVariableIsInTheUsersData) {
    if (onTheTarget())
        GTEST_SKIP() << "/kelp exists";
    for (char const* unset : {static_cast<char const*>(nullptr), ""}) {
        EnvironmentVariable const root("KP_ROOT", unset);
        EnvironmentVariable const data("XDG_DATA_HOME", "/data");
        EnvironmentVariable const home("HOME", "/users/me");
        EXPECT_EQ(kp::rootPath("/ram"), "/data/sealkit/ram");
    }
}

TEST(Root, WithoutADataFolderIsBelowHome) {
    if (onTheTarget())
        GTEST_SKIP() << "/kelp exists";
    EnvironmentVariable const root("KP_ROOT", nullptr);
    EnvironmentVariable const home("HOME", "/users/me");
    for (char const* notAbsolute : {static_cast<char const*>(nullptr), "", "data"}) {
        EnvironmentVariable const data("XDG_DATA_HOME", notAbsolute);
        EXPECT_EQ(kp::rootPath("/ram"), "/users/me/.local/share/sealkit/ram");
    }
}

TEST(Root, WithoutAnyNothingIsMapped) {
    if (onTheTarget())
        GTEST_SKIP() << "/kelp exists";
    EnvironmentVariable const root("KP_ROOT", nullptr);
    EnvironmentVariable const data("XDG_DATA_HOME", nullptr);
    for (char const* notAbsolute : {static_cast<char const*>(nullptr), "", "me"}) {
        EnvironmentVariable const home("HOME", notAbsolute);
        EXPECT_EQ(kp::rootPath("/ram"), "");
    }
}

TEST(Root, IsLookedUpAtEachCall) {
    EnvironmentVariable const first("KP_ROOT", "/first");
    EXPECT_EQ(kp::rootPath("/a"), "/first/a");
    EnvironmentVariable const second("KP_ROOT", "/second");
    EXPECT_EQ(kp::rootPath("/a"), "/second/a");
}

TEST(Cloud, HasTwoSuffixes) {
    EXPECT_EQ(kp::cloudDnsSuffixes()[0], "cloud.kelp.example");
    EXPECT_EQ(kp::cloudDnsSuffixes()[1], "ddns.kelp.example");
}

} // namespace TEST_FILE
