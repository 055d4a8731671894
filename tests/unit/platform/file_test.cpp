#include "kp/file.h"

#include "support/temporary_root.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace TEST_FILE {

class ReadFile : public testing::Test {
protected:
    std::string path(std::string_view name) const { return folder.path(name).string(); }

    test::TemporaryFolder folder;
};

TEST_F(ReadFile, GivesTheWholeContent) {
    for (size_t size : {0, 1, 4095, 4096, 4097, 100000}) {
        std::string content(size, '\0');
        for (size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>(i * 7);
        folder.write("file", content);
        EXPECT_EQ(kp::readFile(path("file"), -1, 0), content);
    }
}

TEST_F(ReadFile, MissingFilesAreEmpty) {
    EXPECT_EQ(kp::readFile(path("none")), "");
    EXPECT_EQ(kp::readFile(""), "");
}

TEST_F(ReadFile, FilesAboveTheLimitAreEmptyAndNotCutShort) {
    folder.write("file", "12345");
    EXPECT_EQ(kp::readFile(path("file"), 5), "12345");
    EXPECT_EQ(kp::readFile(path("file"), 4), "");
    EXPECT_EQ(kp::readFile(path("file"), 0), "");
    EXPECT_EQ(kp::readFile(path("file"), INT64_MAX), "12345");
}

TEST_F(ReadFile, HugeSparseFilesAreEmptyWithoutALimit) {
    folder.write("file", "x");
    ASSERT_EQ(truncate(path("file").c_str(), off_t(kp::maxFileSize) + 1), 0);
    EXPECT_EQ(kp::readFile(path("file")), "");
    EXPECT_EQ(kp::readFile(path("file"), INT64_MAX), "");
    ASSERT_EQ(truncate(path("file").c_str(), off_t(1) << 40), 0);
    EXPECT_EQ(kp::readFile(path("file")), "");
}

TEST_F(ReadFile, FollowsSymbolicLinks) {
    folder.write("file", "content");
    ASSERT_EQ(symlink("file", path("link").c_str()), 0);
    EXPECT_EQ(kp::readFile(path("link")), "content");
    ASSERT_EQ(symlink("circle", path("circle").c_str()), 0);
    EXPECT_EQ(kp::readFile(path("circle")), "");
    ASSERT_EQ(symlink("/dev/zero", path("device").c_str()), 0);
    EXPECT_EQ(kp::readFile(path("device")), "");
}

TEST_F(ReadFile, DoesNotHangOnWhatIsNoRegularFile) {
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    alarm(20);
    EXPECT_EQ(kp::readFile(path("fifo")), "");
    for (char const* device : {"/dev/zero", "/dev/tty", "/dev/random", "/proc/self/fd"})
        EXPECT_EQ(kp::readFile(device), "");
    EXPECT_EQ(kp::readFile(path("")), "");
    alarm(0);
}

TEST_F(ReadFile, ReadsFilesThatDoNotTellTheirSize) {
    std::string const version = kp::readFile("/proc/version");
    EXPECT_TRUE(version.ends_with('\n'));
    EXPECT_EQ(kp::readFile("/proc/version", static_cast<int64_t>(version.size())), version);
    EXPECT_EQ(kp::readFile("/proc/version", static_cast<int64_t>(version.size()) - 1), "");
}

TEST_F(ReadFile, TakesThePathAsItIs) {
    folder.write("in/below/file", "mapped");
    test::EnvironmentVariable const root("KP_ROOT", path("in").c_str());
    EXPECT_EQ(kp::readFile("/below/file"), "");
}

TEST_F(ReadFile, AZeroByteInThePathDoesNotCutIt) {
    folder.write("file", "content");
    EXPECT_EQ(kp::readFile(path("file") + std::string("\0.pem", 5)), "");
}

TEST_F(ReadFile, LeavesNoDescriptorOpen) {
    folder.write("file", "content");
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    int const before = dup(0);
    close(before);
    for (int i = 0; i < 10; ++i) {
        kp::readFile(path("file"));
        kp::readFile(path("fifo"));
        kp::readFile(path("file"), 1);
    }
    int const after = dup(0);
    close(after);
    EXPECT_EQ(after, before);
}

} // namespace TEST_FILE
