#include "quiet/quiet.h"

#include <valgrind/memcheck.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <sys/wait.h>
#include <unistd.h>

namespace test {

void hide(std::span<unsigned char const> bytes) { VALGRIND_MAKE_MEM_UNDEFINED(bytes.data(), bytes.size()); }
void show(std::span<unsigned char const> bytes) { VALGRIND_MAKE_MEM_DEFINED(bytes.data(), bytes.size()); }
unsigned errors() { return VALGRIND_COUNT_ERRORS; }

std::vector<std::string>& quietOperations() {
    static std::vector<std::string> operations;
    return operations;
}

} // namespace test

namespace {

/// Whether memcheck finds an error in what `body` does. It does it in a process of its own, so that the error
/// is not this one's.
bool isFound(void (*body)()) {
    pid_t const child = fork();
    if (child == 0) {
        body();
        _exit(test::errors() == 0 ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return !WIFEXITED(status) || WEXITSTATUS(status) != 0;
}

unsigned char volatile table[256];

TEST(Memcheck, Watches) { ASSERT_TRUE(RUNNING_ON_VALGRIND) << "run this program under valgrind"; }

TEST(Memcheck, FindsABranchOnASecret) {
    EXPECT_TRUE(isFound([] {
        unsigned char volatile secret = 1;
        VALGRIND_MAKE_MEM_UNDEFINED(&secret, 1);
        if (secret == 1)
            table[0] = 1;
        else
            table[1] = table[2];
    }));
}

TEST(Memcheck, FindsAnAddressMadeOfASecret) {
    EXPECT_TRUE(isFound([] {
        unsigned char volatile secret = 1;
        VALGRIND_MAKE_MEM_UNDEFINED(&secret, 1);
        table[0] = table[secret];
    }));
}

TEST(Memcheck, LetsArithmeticOnSecretsPass) {
    EXPECT_FALSE(isFound([] {
        unsigned char volatile secret = 1;
        VALGRIND_MAKE_MEM_UNDEFINED(&secret, 1);
        table[0] = static_cast<unsigned char>(secret * 3 ^ (secret - 1));
    }));
}

/// The first column of the rows of docs/timing.md whose second column is "yes".
std::vector<std::string> documented() {
    std::ifstream file(SEALKIT_TIMING);
    std::vector<std::string> names;
    std::regex const row(R"(\| ([^|]+) \| yes \|.*)");
    std::smatch match;
    for (std::string line; std::getline(file, line);)
        if (std::regex_match(line, match, row))
            names.push_back(match[1]);
    return names;
}

TEST(Timing, QuietOperationsAreThoseThatTheTableLists) {
    std::vector<std::string> listed = documented(), tested = test::quietOperations();
    ASSERT_FALSE(listed.empty());
    std::sort(listed.begin(), listed.end());
    std::sort(tested.begin(), tested.end());
    EXPECT_EQ(listed, tested);
}

} // namespace
