#include "kp/store.h"

#include "support/temporary_root.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace TEST_FILE {

using kp::message;
using kp::Store;

class StoreTest : public test::PlatformRootTest {};

message example() {
    message record;
    unsigned char const raw[] = {0, 1, 0xff};
    record.setBool(12, true);
    record.setU32(45, 0xffff0001);
    record.setString(113, std::string_view("www.example\0com", 15));
    record.setRaw(11, raw);
    record.setStrings(32, {"", "http://a/b.crl", std::string("\0", 1)});
    record.setString(0xfe0010, "");
    return record;
}

message numbered(uint32_t number) {
    message record;
    record.setU32(1, number);
    return record;
}

std::vector<int32_t> walk(Store const& store) {
    std::vector<int32_t> ids;
    for (int32_t id : kp::Allocator(store))
        ids.push_back(id);
    return ids;
}

mode_t modeOf(std::filesystem::path const& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

TEST_F(StoreTest, StartsEmptyAndTouchesNothing) {
    Store store("cerm");
    EXPECT_TRUE(store.valid());
    EXPECT_TRUE(store.get(0).empty());
    EXPECT_EQ(store.find(0), std::nullopt);
    EXPECT_TRUE(walk(store).empty());
    EXPECT_EQ(store.state(), 0xffffffffu);
    EXPECT_FALSE(store.remove(0));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(kp::storeNames().empty());
    EXPECT_TRUE(std::filesystem::is_empty(root.path()));
}

TEST_F(StoreTest, GivesBackWhatWasPut) {
    ASSERT_TRUE(Store("cerm").put(7, example()));
    EXPECT_EQ(Store("cerm").get(7), example());
    EXPECT_EQ(Store("cerm").find(8), std::nullopt);
}

TEST_F(StoreTest, AnEmptyRecordIsNotAnAbsentOne) {
    ASSERT_TRUE(Store("cerm").put(0, message{}));
    EXPECT_EQ(Store("cerm").find(0), message{});
    EXPECT_EQ(walk(Store("cerm")), std::vector<int32_t>{0});
}

TEST_F(StoreTest, PuttingAgainReplaces) {
    Store store("cerm");
    ASSERT_TRUE(store.put(1, example()));
    ASSERT_TRUE(store.put(1, numbered(5)));
    EXPECT_EQ(store.get(1), numbered(5));
    EXPECT_EQ(walk(store).size(), 1u);
}

TEST_F(StoreTest, RemovedRecordsAreGone) {
    Store store("cerm");
    ASSERT_TRUE(store.put(1, example()));
    ASSERT_TRUE(store.put(2, example()));
    EXPECT_TRUE(store.remove(1));
    EXPECT_FALSE(store.remove(1));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(store.find(1), std::nullopt);
    EXPECT_EQ(walk(store), std::vector<int32_t>{2});
}

TEST_F(StoreTest, WalksIdsInAscendingSignedOrder) {
    Store store("cerm");
    for (int32_t id : {10, -5, 0, INT32_MAX, 9, INT32_MIN, -10, 1})
        ASSERT_TRUE(store.put(id, numbered(static_cast<uint32_t>(id))));
    EXPECT_EQ(walk(store), (std::vector<int32_t>{INT32_MIN, -10, -5, 0, 1, 9, 10, INT32_MAX}));
    for (int32_t id : kp::Allocator(store))
        EXPECT_EQ(store.get(id), numbered(static_cast<uint32_t>(id)));
}

TEST_F(StoreTest, AddTakesTheLowestFreePositiveId) {
    Store store("cerm");
    for (int32_t id : {-1, 0, 1, 2, 4})
        ASSERT_TRUE(store.put(id, message{}));
    EXPECT_EQ(store.add(numbered(3)), 3);
    EXPECT_EQ(store.add(numbered(5)), 5);
    EXPECT_EQ(store.get(3), numbered(3));
    EXPECT_EQ(Store("other").add(numbered(1)), 1);
}

TEST_F(StoreTest, KeepsAStateWord) {
    Store store("cerm");
    for (uint32_t word : {0u, 0xfffffffdu, 0x80000000u}) {
        ASSERT_TRUE(store.setState(word));
        EXPECT_EQ(Store("cerm").state(), word);
    }
    EXPECT_TRUE(walk(store).empty());
    EXPECT_EQ(Store("cert/settings").state(), 0xffffffffu);
}

TEST_F(StoreTest, StoresOfDifferentNamesAreApart) {
    ASSERT_TRUE(Store("cert").put(1, numbered(1)));
    ASSERT_TRUE(Store("cert/settings").put(1, numbered(2)));
    ASSERT_TRUE(Store("cert/1").put(1, numbered(3)));
    ASSERT_TRUE(Store("cert/state").put(1, numbered(4)));
    EXPECT_EQ(Store("cert").get(1), numbered(1));
    EXPECT_EQ(Store("cert/settings").get(1), numbered(2));
    EXPECT_EQ(Store("cert/1").get(1), numbered(3));
    EXPECT_EQ(walk(Store("cert")), std::vector<int32_t>{1});
    EXPECT_EQ(Store("cert").state(), 0xffffffffu);
    EXPECT_EQ(kp::storeNames(), (std::vector<std::string>{"cert", "cert/1", "cert/settings", "cert/state"}));
}

TEST_F(StoreTest, NamesWithoutARecordAreNotListed) {
    ASSERT_TRUE(Store("a/b").put(1, message{}));
    ASSERT_TRUE(Store("c").put(1, message{}));
    ASSERT_TRUE(Store("c").remove(1));
    EXPECT_EQ(kp::storeNames(), std::vector<std::string>{"a/b"});
}

TEST_F(StoreTest, ListingNamesEndsInACircleOfLinks) {
    ASSERT_TRUE(Store("a").put(1, message{}));
    std::filesystem::create_directory_symlink(".", root.path("rw/store/a/x"));
    std::filesystem::create_directory_symlink("..", root.path("rw/store/a/y"));
    EXPECT_EQ(kp::storeNames(), std::vector<std::string>{"a"});
}

TEST_F(StoreTest, LiesUnderThePlatformRootOfItsTime) {
    Store store("cert/settings");
    test::TemporaryFolder elsewhere;
    test::EnvironmentVariable const other("KP_ROOT", elsewhere.path().c_str());
    ASSERT_TRUE(store.put(0, example()));
    EXPECT_TRUE(std::filesystem::is_regular_file(root.path("rw/store/cert/settings/0.rec")));
    EXPECT_TRUE(std::filesystem::is_empty(elsewhere.path()));
    EXPECT_EQ(Store("cert/settings").find(0), std::nullopt);
}

TEST_F(StoreTest, WithoutAPlatformRootIsNotValid) {
    if (std::filesystem::is_directory("/kelp"))
        GTEST_SKIP() << "/kelp exists";
    test::EnvironmentVariable const noRoot("KP_ROOT", nullptr), noData("XDG_DATA_HOME", nullptr),
        noHome("HOME", nullptr);
    Store store("cerm");
    EXPECT_FALSE(store.valid());
    EXPECT_FALSE(store.put(1, message{}));
    EXPECT_EQ(errno, EINVAL);
    EXPECT_TRUE(kp::storeNames().empty());
}

TEST_F(StoreTest, IsForItsOwnerOnly) {
    mode_t const before = umask(0);
    Store store("cert/settings");
    EXPECT_TRUE(store.put(0, example()));
    EXPECT_TRUE(store.setState(1));
    umask(before);
    for (char const* folder : {"rw", "rw/store", "rw/store/cert", "rw/store/cert/settings"})
        EXPECT_EQ(modeOf(root.path(folder)), mode_t(0700)) << folder;
    for (auto const& entry : std::filesystem::directory_iterator(root.path("rw/store/cert/settings")))
        EXPECT_EQ(modeOf(entry.path()), mode_t(0600)) << entry.path();
}

TEST_F(StoreTest, RefusesHostileNames) {
    std::filesystem::create_directories(root.path("rw/store"));
    std::string_view const names[] = {"",
                                      ".",
                                      "..",
                                      "../store",
                                      "cert/../cerm",
                                      "cert/./x",
                                      "/",
                                      "/etc",
                                      "cert/",
                                      "cert//settings",
                                      ".hidden",
                                      "a.rec",
                                      "a b",
                                      "a\nb",
                                      "a\\b",
                                      "caf\xc3\xa9",
                                      std::string_view("cerm\0", 5),
                                      std::string_view("\0", 1),
                                      std::string_view("cerm\0/../..", 11)};
    for (std::string_view name : names) {
        Store store(name);
        EXPECT_FALSE(store.valid()) << name;
        EXPECT_FALSE(store.put(1, example()));
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(store.add(example()), std::nullopt);
        EXPECT_FALSE(store.setState(1));
        EXPECT_FALSE(store.remove(1));
        EXPECT_EQ(store.find(1), std::nullopt);
        EXPECT_EQ(store.state(), 0xffffffffu);
        EXPECT_TRUE(walk(store).empty());
    }
    EXPECT_TRUE(std::filesystem::is_empty(root.path("rw/store")));
}

TEST_F(StoreTest, NamesHaveAtMost255Characters) {
    std::string const name(255, 'a');
    EXPECT_TRUE(Store(name).put(1, message{}));
    EXPECT_EQ(kp::storeNames(), std::vector<std::string>{name});
    EXPECT_FALSE(Store(name + "a").valid());
    EXPECT_FALSE(Store(name.substr(1) + "/a").valid());
}

TEST_F(StoreTest, OnlyRecordFilesCountAsIds) {
    Store store("cerm");
    ASSERT_TRUE(store.put(5, message{}));
    for (char const* name :
         {"x.rec", "1", "007.rec", "-0.rec", "+1.rec", " 1.rec", "1 .rec", "2147483648.rec",
          "-2147483649.rec", ".rec", "1.rec.rec", "1.REC", ".new", "99999999999999999999.rec"})
        root.write(std::string("rw/store/cerm/") + name, "");
    EXPECT_EQ(walk(store), std::vector<int32_t>{5});
}

TEST_F(StoreTest, RecordsThatCannotBeReadAreAbsent) {
    Store store("cerm");
    root.write("rw/store/cerm/1.rec", "");
    root.write("rw/store/cerm/2.rec", "no record");
    std::filesystem::create_directory(root.path("rw/store/cerm/3.rec"));
    ASSERT_EQ(mkfifo(root.path("rw/store/cerm/4.rec").c_str(), 0600), 0);
    ASSERT_EQ(symlink("/dev/zero", root.path("rw/store/cerm/5.rec").c_str()), 0);
    alarm(20);
    for (int32_t id : store.ids()) {
        EXPECT_EQ(store.find(id), std::nullopt) << id;
        EXPECT_TRUE(store.get(id).empty()) << id;
    }
    alarm(0);
    // None is overwritten by the way, and each can be put right.
    EXPECT_EQ(store.add(numbered(6)), 6);
    EXPECT_TRUE(store.put(2, numbered(2)));
    EXPECT_TRUE(store.remove(1));
    EXPECT_TRUE(store.put(4, numbered(4)));
    EXPECT_EQ(store.get(4), numbered(4));
}

TEST_F(StoreTest, LeftoversOfAKilledWriterDoNotHinder) {
    root.write("rw/store/cerm/.new", std::string(100000, 'x'));
    Store store("cerm");
    EXPECT_TRUE(store.put(1, example()));
    EXPECT_EQ(store.get(1), example());
    ASSERT_EQ(symlink(root.path("target").c_str(), root.path("rw/store/cerm/.new").c_str()), 0);
    EXPECT_TRUE(store.put(2, example()));
    EXPECT_EQ(store.get(2), example());
    EXPECT_FALSE(std::filesystem::exists(root.path("target")));
}

TEST_F(StoreTest, RecordsUpToTheLimitAreKeptAndLongerOnesRefused) {
    // Header, one field's header and checksum.
    size_t const overhead = 12 + 9 + 4;
    Store store("cerm");
    message record;
    record.setString(1, std::string(kp::maxRecordSize - overhead - 4, 'x'));
    ASSERT_TRUE(store.put(1, record));
    EXPECT_EQ(store.get(1), record);
    record.setString(1, std::string(kp::maxRecordSize - overhead + 1, 'y'));
    EXPECT_FALSE(store.put(1, record));
    EXPECT_EQ(errno, EFBIG);
    EXPECT_EQ(store.get(1).getString(1).front(), 'x');
}

TEST_F(StoreTest, PutTellsWhenAFolderCannotBeMade) {
    root.write("rw/store/cert", "a file");
    EXPECT_FALSE(Store("cert").put(1, message{}));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(Store("cert/settings").put(1, message{}));
    EXPECT_EQ(errno, ENOTDIR);

    std::filesystem::create_symlink("nowhere/at/all", root.path("rw/store/dangling"));
    EXPECT_FALSE(Store("dangling/x").put(1, message{}));
}

TEST_F(StoreTest, PutTellsWhenTheRecordCannotTakeItsName) {
    std::filesystem::create_directories(root.path("rw/store/cerm/1.rec/inside"));
    EXPECT_FALSE(Store("cerm").put(1, message{}));
    EXPECT_NE(errno, 0);
    EXPECT_FALSE(std::filesystem::exists(root.path("rw/store/cerm/.new")));
}

/// Runs `body` in a child process and returns its exit status.
template <typename Body>
int inChild(Body body) {
    pid_t const child = fork();
    if (child == 0)
        _exit(body());
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(StoreTest, FindOrAddFindsTheLowestIdOrAdds) {
    Store store("cerm");
    for (int32_t id : {-2, 1, 3})
        ASSERT_TRUE(store.put(id, id == 1 ? message{} : example()));
    auto const isExample = [](int32_t, message const& record) { return record == example(); };
    auto const isNone = [](int32_t, message const&) { return false; };

    auto place = store.findOrAdd(example(), isExample);
    ASSERT_TRUE(place);
    EXPECT_EQ(place->id, -2);
    EXPECT_FALSE(place->added);
    place = store.findOrAdd(numbered(5), isNone);
    ASSERT_TRUE(place);
    EXPECT_EQ(place->id, 2);
    EXPECT_TRUE(place->added);
    EXPECT_EQ(store.get(2), numbered(5));
    EXPECT_EQ(walk(store), (std::vector<int32_t>{-2, 1, 2, 3}));
    EXPECT_FALSE(Store("..").findOrAdd(example(), isExample));
}

TEST_F(StoreTest, ProcessesThatFindOrAddOneRecordAddItOnce) {
    constexpr int processes = 8, rounds = 20;
    std::vector<pid_t> children;
    for (int i = 0; i < processes; ++i) {
        pid_t const child = fork();
        if (child == 0) {
            for (uint32_t round = 0; round < rounds; ++round) {
                auto const isOfRound = [&](int32_t, message const& record) {
                    return record == numbered(round);
                };
                if (!Store("cerm").findOrAdd(numbered(round), isOfRound))
                    _exit(1);
            }
            _exit(0);
        }
        children.push_back(child);
    }
    for (pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(Store("cerm").ids().size(), static_cast<size_t>(rounds));
}

TEST_F(StoreTest, RemoveIfRemovesWhatIsWantedAlone) {
    Store store("cerm");
    ASSERT_TRUE(store.put(1, example()));
    auto const isExample = [](int32_t id, message const& record) { return id == 1 && record == example(); };
    EXPECT_FALSE(store.removeIf(1, [](int32_t, message const&) { return false; }));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(store.removeIf(2, isExample));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(walk(store), (std::vector<int32_t>{1}));
    EXPECT_TRUE(store.removeIf(1, isExample));
    EXPECT_TRUE(walk(store).empty());
    EXPECT_FALSE(Store("missing").removeIf(1, isExample));
    EXPECT_FALSE(std::filesystem::exists(root.path("rw/store/missing")));
    EXPECT_FALSE(Store("..").removeIf(1, isExample));
}

TEST_F(StoreTest, PutTellsWhenTheDiskIsFull) {
    Store store("cerm");
    ASSERT_TRUE(store.put(1, example()));
    message large;
    large.setString(1, std::string(100000, 'x'));
    // A limit of the size of files fails a write half-way just as a full disk does.
    int const status = inChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit const limit = {50000, 50000};
        setrlimit(RLIMIT_FSIZE, &limit);
        bool const refused = !store.put(1, large) && errno == EFBIG;
        bool const refusedNew = !store.add(large);
        bool const small = store.put(3, numbered(3));
        return refused && refusedNew && small ? 0 : 1;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(store.get(1), example());
    EXPECT_EQ(walk(store), (std::vector<int32_t>{1, 3}));
    EXPECT_FALSE(std::filesystem::exists(root.path("rw/store/cerm/.new")));
}

TEST_F(StoreTest, PutTellsWhenTheStoreIsReadOnly) {
    Store store("cerm");
    ASSERT_TRUE(store.put(1, example()));
    for (auto const& entry : std::filesystem::recursive_directory_iterator(root.path()))
        chmod(entry.path().c_str(), entry.is_directory() ? 0555 : 0444);
    chmod(root.path().c_str(), 0555);
    int const status = inChild([&] {
        // The superuser may write everywhere.
        if (geteuid() == 0 && setuid(65534) != 0)
            return 2;
        bool const refused = !store.put(1, numbered(1)) && errno == EACCES;
        bool const noneAdded = !store.add(numbered(1)) && !Store("new").put(1, numbered(1));
        bool const kept = !store.remove(1) && !store.setState(1);
        return refused && noneAdded && kept && store.get(1) == example() ? 0 : 1;
    });
    EXPECT_EQ(status, 0);
    for (char const* folder : {"", "rw", "rw/store", "rw/store/cerm"})
        chmod(root.path(folder).c_str(), 0700);
}

} // namespace TEST_FILE
