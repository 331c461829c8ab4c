// What the outbox does when its files are damaged, and the disk is full, read-only or not there.
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <numeric>

#include "tests/broker/failing_disk.h"
#include "tests/broker/outbox_support.h"

namespace ac500::test {
namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// ---- damaged files

class DamagedStoreTest : public OutboxTest {
protected:
    // A store with the messages 1 to `count`, ended in order.
    void makeStore(int count = 100) {
        ASSERT_TRUE(open(0));
        for (int i = 0; i < count; ++i) {
            add(1000);
        }
        end();
        ASSERT_FALSE(exists("store.db-wal"));
    }
    void runSql(const std::string& sql) const {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(settings_.file.c_str(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(database);
        sqlite3_close(database);
    }
    // The next start sets the file aside as `name`, tells `why`, and goes on with a new store and new numbers.
    void expectSetAside(const std::string& why, const std::string& name = "store.db.damaged-1") {
        const std::string damaged = readFile("store.db");
        told_.clear();
        ASSERT_TRUE(open());
        ASSERT_THAT(told_, SizeIs(1));
        EXPECT_THAT(told_[0], AllOf(HasSubstr("is damaged"), HasSubstr(why), HasSubstr(name)));
        EXPECT_TRUE(readFile(name) == damaged) << "for whoever wants to know";

        EXPECT_EQ(outbox_->status().trouble, "");
        const std::int64_t number = add();
        connect();
        const std::vector<Message> sent = sendFor(seconds(1));
        EXPECT_THAT(gapsIn(sent), ElementsAre("1.." + std::to_string(number - 1) + " store damaged"));
        EXPECT_EQ(sent.back().sequence, number);
        disconnect();
        add();
        end();
        told_.clear();
        ASSERT_TRUE(open());
        EXPECT_EQ(outbox_->status().storeMessages, 1u);
        EXPECT_THAT(told_, IsEmpty());
    }
};

TEST_F(DamagedStoreTest, ATruncatedFileIsSetAside) {
    makeStore();
    const std::string whole = readFile("store.db");
    writeFile("store.db", whole.substr(0, whole.size() / 2));

    expectSetAside("malformed");
}

TEST_F(DamagedStoreTest, AFileOfLessThanAPageIsSetAside) {
    makeStore();
    writeFile("store.db", readFile("store.db").substr(0, 1000));

    expectSetAside("");
}

TEST_F(DamagedStoreTest, AnythingButADatabaseIsSetAside) {
    makeStore();
    writeFile("store.db", "[this is somebody's settings file, not a database]\n" + std::string(10000, 'x'));

    expectSetAside("not a database");
}

TEST_F(DamagedStoreTest, ADatabaseOfSomethingElseIsSetAside) {
    makeStore();
    std::filesystem::remove(settings_.file);
    runSql("CREATE TABLE recipes(name TEXT); INSERT INTO recipes VALUES('mix');");

    expectSetAside("database of something else");
}

TEST_F(DamagedStoreTest, AStoreOfAnotherVersionIsSetAside) {
    makeStore();
    runSql("PRAGMA user_version = 2");

    expectSetAside("its version is 2, and this program knows 1");
}

TEST_F(DamagedStoreTest, AStoreWithoutItsTablesIsSetAside) {
    makeStore();
    runSql("DROP TABLE messages");

    expectSetAside("no such table: messages");
}

TEST_F(DamagedStoreTest, AnEmptyFileIsANewStore) {
    makeStore();
    writeFile("store.db", "");
    ASSERT_TRUE(open());

    EXPECT_THAT(told_, IsEmpty());
    EXPECT_EQ(add(), 101) << "the numbers are remembered beside it";
}

TEST_F(DamagedStoreTest, NumbersGoOnWhenTheFileIsGone) {
    makeStore();
    std::filesystem::remove(settings_.file);
    ASSERT_TRUE(open());

    EXPECT_EQ(add(), 101);
}

TEST_F(DamagedStoreTest, NumbersGoOnWhenTheLocksFileIsTorn) {
    makeStore();
    const std::string line = readFile("store.db.lock");
    ASSERT_EQ(line.substr(0, 34), "ac500 numbers 00000000000000000101");
    for (const std::string& torn : {std::string(), line.substr(0, 40), "ac500 numbers 9" + line.substr(15)}) {
        writeFile("store.db.lock", torn);
        ASSERT_TRUE(open(0));
        EXPECT_EQ(outbox_->takeSequence(), 101) << "nobody knows more while the clock is not set";
    }
}

// What was sent live since the store was written last is in the lock's file alone.
TEST_F(DamagedStoreTest, WithoutTheLocksFileNoNumberThatWasSentLiveComesBack) {
    settings_.file = folder_ + "/live.db";
    ASSERT_TRUE(open());
    connect();
    std::int64_t last = 0;
    for (int i = 0; i < 2000; ++i) {
        last = add();
        ASSERT_TRUE(outbox_->next(now_));
        outbox_->acknowledged(last);
    }
    outbox_.reset();
    std::filesystem::remove(settings_.file + ".lock");
    ASSERT_TRUE(open(kWallMs + 60000));
    EXPECT_EQ(outbox_->takeSequence(), 1795388460000);
    EXPECT_GT(1795388460000, last);
    EXPECT_EQ(outbox_->status().gapRecords, 1u);
}

TEST_F(DamagedStoreTest, ADamagedStoreIsToldAlsoWhenTheNewOneCannotBeMadeAtOnce) {
    makeStore();
    writeFile("store.db", std::string(10000, 'x'));
    std::filesystem::create_directory(settings_.file + "-wal");
    ASSERT_TRUE(open());
    EXPECT_EQ(outbox_->status().gapRecords, 0u);
    std::filesystem::remove(settings_.file + "-wal");
    passAndTick(seconds(11));
    EXPECT_EQ(outbox_->status().gapRecords, 1u);
}

// Zeros in the place of pages in the middle are found when these are read.
TEST_F(DamagedStoreTest, GarbageInTheMiddleIsFoundWhileTheBacklogIsSent) {
    makeStore();
    std::string bytes = readFile("store.db");
    const std::size_t middle = bytes.size() / 2 / 4096 * 4096;
    bytes.replace(middle, 2 * 4096, std::string(2 * 4096, '\0'));
    writeFile("store.db", bytes);
    ASSERT_TRUE(open());
    connect();
    std::vector<Message> sent = sendFor(seconds(1));
    ASSERT_THAT(told_, SizeIs(1));
    EXPECT_THAT(told_[0], AllOf(HasSubstr("malformed"), HasSubstr("store.db.damaged-1")));
    const std::vector<Message> later = sendFor(seconds(10));
    sent.insert(sent.end(), later.begin(), later.end());

    EXPECT_THAT(gapsIn(sent), ElementsAre("1..100 store damaged"));
    EXPECT_EQ(outbox_->status().trouble, "");
    disconnect();
    add();
    EXPECT_TRUE(outbox_->flush(now_));
    EXPECT_EQ(outbox_->status().storeMessages, 1u);
}

// The database itself does not notice this.
TEST_F(DamagedStoreTest, AMessageThatIsNotAsItWasWrittenIsNotSent) {
    makeStore();
    std::string bytes = readFile("store.db");
    const std::size_t place = bytes.find("50 xxxx");
    ASSERT_NE(place, std::string::npos);
    bytes[place + 500] ^= 1;
    writeFile("store.db", bytes);
    ASSERT_TRUE(open());
    settings_.backlogRate = 1000;
    outbox_->setLimits(settings_);
    connect();
    const std::vector<Message> sent = sendFor(seconds(2));

    ASSERT_THAT(told_, SizeIs(1));
    EXPECT_THAT(told_[0], HasSubstr("message 50 is not as it was written"));
    for (const Message& message : sent) {
        EXPECT_TRUE(message.payload.rfind("gap ", 0) == 0 || message.payload == textFor(message.sequence, 1000));
    }
}

TEST_F(DamagedStoreTest, WhatIsInMemoryIsKeptWhenTheStoreIsFoundDamaged) {
    ASSERT_TRUE(open(0));
    for (int i = 0; i < 100; ++i) {
        add(1000);
    }
    end();
    std::string bytes = readFile("store.db");
    const std::size_t place = bytes.find("50 xxxx");
    bytes[place + 500] ^= 1;
    writeFile("store.db", bytes);
    ASSERT_TRUE(open());
    connect();
    add(1000);
    add(1000);
    ASSERT_TRUE(outbox_->next(now_));
    ASSERT_TRUE(outbox_->flush(now_)) << "they are in the damaged store, too";
    ASSERT_EQ(outbox_->next(now_)->sequence, 102);
    EXPECT_EQ(outbox_->next(now_), std::nullopt) << "now the backlog is read, and found damaged";
    ASSERT_THAT(told_, SizeIs(1));
    passAndTick(seconds(5));

    EXPECT_EQ(outbox_->status().storeMessages, 2u) << "of the new store";
    ASSERT_TRUE(open());
    connect();
    const std::vector<Message> sent = sendFor(seconds(12));
    EXPECT_THAT(gapsIn(sent), ElementsAre("1..100 store damaged", "103..1124 ended without being stored"));
    EXPECT_THAT(numbersOf(sent), ElementsAre(1125, 1126, 101, 102));
}

TEST_F(DamagedStoreTest, OfFilesSetAsideTheThreeLatestAreKept) {
    for (int round = 1; round <= 5; ++round) {
        writeFile("store.db", "damage of round " + std::to_string(round) + std::string(1000, ' '));
        ASSERT_TRUE(open());
        end();
    }

    EXPECT_FALSE(exists("store.db.damaged-1"));
    EXPECT_FALSE(exists("store.db.damaged-2"));
    EXPECT_THAT(readFile("store.db.damaged-3"), HasSubstr("damage of round 3"));
    EXPECT_THAT(readFile("store.db.damaged-4"), HasSubstr("damage of round 4"));
    EXPECT_THAT(readFile("store.db.damaged-5"), HasSubstr("damage of round 5"));
}

// ---- disks

class DiskTroubleTest : public OutboxTest {
protected:
    ~DiskTroubleTest() override { outbox_.reset(); }  // before the disk goes

    FailingDisk disk_;
};

TEST_F(DiskTroubleTest, OnAFullDiskItGoesOnInMemoryAndTellsAndStoresAllOnceThereIsRoom) {
    ASSERT_TRUE(open(0));
    add();
    passAndTick(seconds(1));
    disk_.faults().write = SQLITE_FULL;
    add();
    passAndTick(seconds(1));
    ASSERT_THAT(told_, ElementsAre(AllOf(HasSubstr("cannot be written"), HasSubstr("full"))));
    EXPECT_THAT(outbox_->status().trouble, HasSubstr("full"));
    EXPECT_EQ(outbox_->status().memoryMessages, 1u);
    connect();
    EXPECT_THAT(numbersOf(sendFor(seconds(1))), ElementsAre(1, 2)) << "what it has can be sent";
    disconnect();
    add();
    passAndTick(seconds(60));
    EXPECT_THAT(told_, SizeIs(1)) << "once, however often it is tried";

    disk_.faults().write = SQLITE_OK;
    passAndTick(seconds(10));
    EXPECT_THAT(told_, ElementsAre(HasSubstr("full"), HasSubstr("written again")));
    EXPECT_EQ(outbox_->status().trouble, "");
    EXPECT_EQ(outbox_->status().storeMessages, 1u);
    ASSERT_TRUE(open());
    connect();
    EXPECT_EQ(numbersOf(sendFor(seconds(1))).back(), 3);
}

TEST_F(DiskTroubleTest, WhatDoesNotFitIntoMemoryOnAFullDiskIsToldAsAGap) {
    settings_.memoryBytes = 10 * (100 + 12 + broker::kMessageOverhead);
    ASSERT_TRUE(open(0));
    add();
    passAndTick(seconds(1));
    disk_.faults().write = SQLITE_FULL;
    for (int i = 0; i < 30; ++i) {
        add();
        passAndTick(seconds(1));
    }
    EXPECT_LE(outbox_->status().memoryBytes, settings_.memoryBytes);
    disk_.faults().write = SQLITE_OK;
    passAndTick(seconds(10));
    end();
    ASSERT_TRUE(open());
    connect();
    const std::vector<Message> sent = sendFor(seconds(1));

    EXPECT_THAT(gapsIn(sent), ElementsAre("2..21 memory full"));
    EXPECT_THAT(numbersOf(sent), ElementsAre(32, 1, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31));
}

TEST_F(DiskTroubleTest, AFullMemoryDoesNotWaitLongForADiskThatIsWellAgain) {
    settings_.memoryBytes = 10 * (100 + 12 + broker::kMessageOverhead);
    ASSERT_TRUE(open(0));
    disk_.faults().write = SQLITE_FULL;
    for (int i = 0; i < 10; ++i) {
        add();
    }
    EXPECT_FALSE(outbox_->flush(now_));
    disk_.faults().write = SQLITE_OK;
    pass(seconds(1));
    add();

    EXPECT_EQ(outbox_->status().dropped, 0u);
    EXPECT_EQ(outbox_->status().storeMessages, 11u);
}

TEST_F(DiskTroubleTest, ADiskThatCannotSyncIsTroubleNotDamage) {
    ASSERT_TRUE(open(0));
    disk_.faults().sync = SQLITE_IOERR_FSYNC;
    add();
    EXPECT_FALSE(outbox_->flush(now_));
    EXPECT_THAT(told_, ElementsAre(HasSubstr("disk I/O error")));
    disk_.faults().sync = SQLITE_OK;
    EXPECT_TRUE(outbox_->flush(now_));

    EXPECT_FALSE(exists("store.db.damaged-1"));
    EXPECT_EQ(outbox_->status().storeMessages, 1u);
}

TEST_F(DiskTroubleTest, TheLocksFileAloneIsToldOnceAndDoesNotKeepTheStoreFromWriting) {
    std::filesystem::create_symlink("/dev/full", settings_.file + ".lock");
    ASSERT_TRUE(open(0));
    for (int i = 0; i < 1000; ++i) {
        add();
        if (i % 10 == 0) {
            passAndTick(seconds(20));
            EXPECT_EQ(outbox_->status().storeMessages, static_cast<std::size_t>(i) + 1);
        }
    }
    EXPECT_THAT(told_, ElementsAre(AllOf(HasSubstr("store.db.lock"), HasSubstr("No space left on device"))));
}

TEST_F(DiskTroubleTest, ADiskThatCannotBeReadIsTroubleNotDamage) {
    ASSERT_TRUE(open(0));
    for (int i = 0; i < 2000; ++i) {
        add(2000);
    }
    ASSERT_TRUE(outbox_->flush(now_));
    settings_.backlogRate = 1000;
    outbox_->setLimits(settings_);
    connect();
    disk_.faults().read = SQLITE_IOERR_READ;
    std::vector<std::int64_t> sent = numbersOf(sendFor(seconds(3)));
    EXPECT_LT(sent.size(), 1000u) << "what SQLite had in its memory";
    EXPECT_THAT(told_, ElementsAre(HasSubstr("disk I/O error")));
    disk_.faults().read = SQLITE_OK;
    passAndTick(seconds(10));
    const std::vector<std::int64_t> rest = numbersOf(sendFor(seconds(3)));
    sent.insert(sent.end(), rest.begin(), rest.end());

    std::vector<std::int64_t> expected(2000);
    std::iota(expected.begin(), expected.end(), 1);
    EXPECT_TRUE(sent == expected);
    EXPECT_FALSE(exists("store.db.damaged-1"));
}

TEST_F(DiskTroubleTest, AReadOnlyFileIsToldAndTheGatewayGoesOnInMemory) {
    ASSERT_TRUE(open(0));
    add();
    end();
    disk_.faults().isReadOnly = true;
    ASSERT_TRUE(open(0));
    ASSERT_THAT(told_, ElementsAre(AllOf(HasSubstr("cannot be written"), HasSubstr("read-only"))));
    add();
    connect();
    EXPECT_EQ(numbersOf(sendFor(seconds(1))).front(), 2);
    disconnect();
    add();

    disk_.faults().isReadOnly = false;
    passAndTick(seconds(20));
    passAndTick(seconds(20));
    EXPECT_THAT(told_.back(), HasSubstr("written again"));
    EXPECT_EQ(outbox_->status().trouble, "");
}

// No permission keeps root from a file; these folders do.
TEST_F(OutboxTest, WhereNoFileCanBeMadeItGoesOnInMemoryAndTriesAgain) {
    settings_.file = folder_ + "/later/store.db";
    ASSERT_TRUE(open());
    ASSERT_THAT(told_, ElementsAre(AllOf(HasSubstr("cannot be written"), HasSubstr("store.db.lock"))));
    const std::int64_t number = add();
    EXPECT_EQ(number, kWallMs);
    connect();
    EXPECT_THAT(numbersOf(sendFor(seconds(1))), ElementsAre(number));
    disconnect();
    add();
    EXPECT_FALSE(outbox_->flush(now_));

    std::filesystem::create_directory(folder_ + "/later");
    EXPECT_LE(*outbox_->whenNext(now_), now_ + seconds(10));
    passAndTick(seconds(10));
    EXPECT_EQ(outbox_->status().trouble, "");
    EXPECT_EQ(outbox_->status().storeMessages, 1u);
    EXPECT_THAT(told_.back(), HasSubstr("written again"));
    ASSERT_TRUE(open());
    EXPECT_GT(outbox_->takeSequence(), number + 1);
}

TEST_F(OutboxTest, AFolderInTheFilesPlaceIsToldAndLeftAlone) {
    std::filesystem::create_directory(settings_.file);
    ASSERT_TRUE(open());

    EXPECT_THAT(told_, ElementsAre(HasSubstr("cannot be written")));
    EXPECT_TRUE(std::filesystem::is_directory(settings_.file));
    connect();
    add();
    EXPECT_THAT(sendFor(seconds(1)), SizeIs(1));
}

// A limit of the system, in a process of its own, in the place of a small disk.
TEST_F(OutboxTest, AFileThatMayNotGrowIsAFullDisk) {
    const pid_t child = ::fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{512 * 1024, 512 * 1024};
        bool isGood = ::setrlimit(RLIMIT_FSIZE, &limit) == 0 && open(0);
        for (int i = 0; isGood && i < 3000; ++i) {
            add(1000);
            passAndTick(milliseconds(100));
        }
        isGood = isGood && told_.size() == 1 && outbox_->status().memoryMessages > 2000;
        connect();
        settings_.backlogRate = 100000;
        outbox_->setLimits(settings_);
        const std::vector<Message> sent = sendFor(seconds(5));
        isGood = isGood && sent.size() == 3000 && sent.front().sequence == 1 && sent.back().sequence == 3000;
        ::_exit(isGood ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);

    settings_.backlogRate = 100000;
    ASSERT_TRUE(open()) << "the file is whole";
    EXPECT_THAT(told_, IsEmpty());
    connect();
    for (const Message& message : sendFor(seconds(1))) {
        EXPECT_TRUE(message.payload.rfind("gap ", 0) == 0 || message.payload == textFor(message.sequence, 1000));
    }
}

}  // namespace
}  // namespace ac500::test
