// Writers that are killed, and writers that meet.
#include "kp/store.h"

#include "support/slow.h"
#include "support/temporary_root.h"

#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace TEST_FILE {

using kp::message;
using kp::Store;

class StoreCrash : public test::PlatformRootTest {};

int const rounds = test::lessWhenSlow(300, 60);

constexpr uint32_t numberField = 1, patternField = 2;

/// A record that tells whether it is whole: its bytes and their count follow from its number.
message numbered(uint32_t number) {
    std::mt19937 random(number);
    std::vector<unsigned char> pattern(random() % 20000);
    for (unsigned char& byte : pattern)
        byte = static_cast<unsigned char>(random());
    message record;
    record.setU32(numberField, number);
    record.setRaw(patternField, pattern);
    return record;
}

/// The number of a whole record. Fails the test for every other.
uint32_t numberOf(std::optional<message> const& record) {
    if (!record) {
        ADD_FAILURE() << "the record is absent";
        return UINT32_MAX;
    }
    uint32_t const number = record->getU32(numberField, UINT32_MAX);
    EXPECT_EQ(*record, numbered(number));
    return number;
}

/// A child process that runs `body` with the writing end of a pipe.
class Child {
public:
    template <typename Body>
    explicit Child(Body body) {
        int ends[2];
        if (pipe(ends) != 0)
            throw std::system_error(errno, std::generic_category());
        process = fork();
        if (process == 0) {
            close(ends[0]);
            body(ends[1]);
            _exit(0);
        }
        close(ends[1]);
        output = ends[0];
    }
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;
    ~Child() {
        kill();
        wait();
        close(output);
    }

    void kill() const {
        if (process > 0)
            ::kill(process, SIGKILL);
    }
    /// Waits for its end and returns its status.
    int wait() {
        int status = 0;
        if (process > 0)
            waitpid(process, &status, 0);
        process = -1;
        return status;
    }
    /// The next number that it wrote; false at the end.
    bool next(uint32_t& number) const { return read(output, &number, sizeof number) == sizeof number; }

private:
    pid_t process = -1;
    int output = -1;
};

void acknowledge(int pipe, uint32_t number) {
    if (write(pipe, &number, sizeof number) != sizeof number)
        _exit(1);
}

TEST_F(StoreCrash, EveryAcknowledgedRecordOutlivesAKilledWriter) {
    constexpr uint32_t idCount = 8;
    auto const idOf = [](uint32_t number) { return static_cast<int32_t>(number % idCount); };
    Store store("cerm");
    std::map<int32_t, uint32_t> acknowledged;
    uint32_t last = 0;
    for (; last < idCount; ++last) {
        ASSERT_TRUE(store.put(idOf(last), numbered(last)));
        acknowledged[idOf(last)] = last;
    }
    --last;

    std::mt19937 random(4);
    int caughtInPut = 0;
    for (int round = 0; round < rounds; ++round) {
        Child writer([&](int pipe) {
            for (uint32_t number = last + 1;; ++number) {
                if (!store.put(idOf(number), numbered(number)))
                    _exit(1);
                acknowledge(pipe, number);
            }
        });
        // Killed at any moment, in every other round after a record of its own, however slow the machine is.
        uint32_t first;
        if (round % 2 == 0 && writer.next(first))
            acknowledged[idOf(last = first)] = first;
        usleep(random() % 5000);
        writer.kill();
        int const status = writer.wait();
        ASSERT_TRUE(WIFSIGNALED(status)) << "a put failed";
        caughtInPut += std::filesystem::exists(root.path("rw/store/cerm/.new"));
        while (writer.next(last))
            acknowledged[idOf(last)] = last;

        // The put after the last acknowledged one may have come to its end too.
        ASSERT_EQ(store.ids().size(), idCount);
        for (auto& [id, number] : acknowledged) {
            uint32_t const found = numberOf(store.find(id));
            ASSERT_TRUE(found == number || (found == last + 1 && id == idOf(found)))
                << "round " << round << ": record " << id << " is " << found << ", acknowledged was "
                << number;
            number = found;
        }
        last = acknowledged[idOf(last + 1)] == last + 1 ? last + 1 : last;
    }
    EXPECT_GT(caughtInPut, 0) << "no writer was killed inside a put";
    EXPECT_GT(last, idCount) << "no writer came to put anything";
    EXPECT_TRUE(store.put(0, numbered(0))) << "a killed writer left its lock";
}

TEST_F(StoreCrash, ARecordWhoseRemoverIsKilledIsWholeOrGone) {
    Store store("cerm");
    std::mt19937 random(5);
    for (int round = 0; round < rounds / 5; ++round) {
        ASSERT_TRUE(store.put(1, numbered(1)));
        Child remover([&](int pipe) {
            if (store.remove(1))
                acknowledge(pipe, 1);
            pause();
        });
        usleep(random() % 2000);
        remover.kill();
        remover.wait();
        uint32_t answer;
        bool const acknowledged = remover.next(answer);
        std::optional<message> const found = store.find(1);
        EXPECT_TRUE(!found || (!acknowledged && *found == numbered(1))) << "round " << round;
    }
}

TEST_F(StoreCrash, ReadersSeeWholeRecordsWhileOthersWrite) {
    Store store("cerm");
    ASSERT_TRUE(store.put(1, numbered(0)));
    auto const writeOn = [&](int) {
        for (uint32_t number = 0;; ++number)
            store.put(1, numbered(number));
    };
    Child first(writeOn), second(writeOn), third(writeOn);
    for (int i = 0; i < rounds * 5; ++i)
        numberOf(store.find(1));
}

TEST_F(StoreCrash, WritersThatMeetLoseNothing) {
    constexpr int writers = 4, each = 10;
    {
        std::vector<std::unique_ptr<Child>> children;
        for (int writer = 0; writer < writers; ++writer)
            children.push_back(std::make_unique<Child>([writer](int) {
                Store store("cerm");
                for (int i = 0; i < each; ++i)
                    if (!store.put(-1 - (writer * each + i), numbered(static_cast<uint32_t>(i))) ||
                        !store.add(numbered(static_cast<uint32_t>(writer * each + i))))
                        _exit(1);
            }));
        for (auto const& child : children)
            EXPECT_EQ(child->wait(), 0);
    }
    Store store("cerm");
    std::map<uint32_t, int> added;
    for (int32_t id = 1; id <= writers * each; ++id)
        ++added[numberOf(store.find(id))];
    EXPECT_EQ(added.size(), static_cast<size_t>(writers * each)) << "two processes got the same id";
    EXPECT_EQ(store.ids().size(), static_cast<size_t>(2 * writers * each));
    for (int32_t id = -1; id >= -writers * each; --id)
        EXPECT_EQ(numberOf(store.find(id)), static_cast<uint32_t>((-id - 1) % each));
}

} // namespace TEST_FILE
