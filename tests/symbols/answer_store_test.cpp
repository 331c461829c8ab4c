// The store of answers on its own: every word comes back, names are told apart though their hashes are equal, what is
// asked for stays, and no more is held than the bound says.
#include "symbols/answer_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <future>
#include <random>
#include <set>
#include <thread>
#include <vector>

namespace ac500::test {
namespace {

constexpr std::size_t kMostBytes = 14 * 1024 * 1024;  // 11 MiB of pages, 3 MiB of slots

class AnswerStoreTest : public testing::Test {
protected:
    AnswerStoreTest() : seat_(seats_.take()) {}

    void insert(const QString& name, const ControlInformationM& info) { insert(HashedName(name), info); }
    void insert(const HashedName& name, const ControlInformationM& info) { store_.insert(name, info, seats_, seat_); }

    // The address that is kept for the name, or -1.
    qint32 found(const QString& name) { return found(HashedName(name)); }
    qint32 found(const HashedName& name) {
        ControlInformationM info;
        return find(name, info) ? info.address : -1;
    }
    bool find(const HashedName& name, ControlInformationM& info) {
        return store_.find(name, seats_.lastFound(seat_), info);
    }

    // The address that is kept for the name as the one that came next last time, or -1.
    qint32 foundNext(const QString& name) {
        ControlInformationM info;
        return store_.findNext(name, seats_.lastFound(seat_), info) ? info.address : -1;
    }

    // As the cache asks, from any seat.
    qint32 foundFrom(int seat, const QString& name) {
        ControlInformationM info;
        quint32& last = seats_.lastFound(seat);
        return store_.findNext(name, last, info) || store_.find(HashedName(name), last, info) ? info.address : -1;
    }

    // As nobody is reading.
    void clear() {
        seats_.leave(seat_);
        ASSERT_TRUE(seats_.takeAll());
        store_.clear();
        seats_.leaveAll();
        seat_ = seats_.take();
    }

    // Readers on all seats that are free.
    void fillSeats() {
        while (seats_.take() != ReaderSeats::kNoSeat) {
        }
    }

    void emptySeats() {
        for (int seat = 0; seat < 16; ++seat) {
            if (seat != seat_) {
                seats_.leave(seat);
            }
        }
    }

    // A name with a hash of the test's choosing. REQUIRES: `name` outlives what is returned.
    static HashedName hashedAs(const QString& name, quint32 hash) {
        HashedName hashed(name);
        hashed.hash = hash;
        return hashed;
    }

    static ControlInformationM scalar(qint32 address) {
        ControlInformationM info = ControlInformationM();
        info.dataType = 3;
        info.address = address;
        info.area = 1;
        return info;
    }

    // A name of its own for each number. Not by QString::arg, which takes most of the time of these tests.
    static QString nameOf(int number, int length = 19) {
        QString name(length, 'v');
        QChar* digit = name.data() + length;
        for (; number > 0 && digit > name.data(); number /= 10) {
            *--digit = QChar('0' + number % 10);
        }
        return name;
    }

    ReaderSeats seats_;
    int seat_;
    AnswerStore store_;
};

TEST_F(AnswerStoreTest, KnowsNothingAtFirst) {
    const QString name = "Main.counter";
    ControlInformationM info = scalar(77);
    EXPECT_FALSE(find(HashedName(name), info));
    EXPECT_EQ(info.address, 77);
    EXPECT_EQ(store_.bytes(), 0U);
}

TEST_F(AnswerStoreTest, GivesBackAllTenWords) {
    ControlInformationM ofBit = scalar(30);
    ofBit.isBit = 1;
    ofBit.bitIndex = -9;
    ControlInformationM ofElement = scalar(-16);
    ofElement.dataType = 21;
    ofElement.area = -2;
    ofElement.isArray = 1;
    ofElement.arrayIndex = 3;
    ofElement.arrayCount = -5;
    ControlInformationM ofBoth = ofElement;
    ofBoth.isBit = 1;
    ofBoth.bitIndex = 7;
    const ControlInformationM all[] = {ControlInformationM(), scalar(40), ofBit, ofElement, ofBoth};
    for (int i = 0; i < 5; ++i) {
        insert(nameOf(i), all[i]);
    }
    for (int i = 0; i < 5; ++i) {
        const QString name = nameOf(i);
        ControlInformationM info = {9, 9, 9, 9, 9, 9, 9, 9, 9, 9};
        ASSERT_TRUE(find(HashedName(name), info)) << i;
        EXPECT_EQ(std::memcmp(&info, &all[i], sizeof info), 0) << i;
    }
}

TEST_F(AnswerStoreTest, TellsNamesOfOneHashApart) {
    const QString first = "Main.first";
    const QString second = "Main.secon";
    const QString third = "Main.third";
    const QString longer = "Main.first.";
    insert(hashedAs(first, 5), scalar(10));
    insert(hashedAs(second, 5), scalar(20));
    EXPECT_EQ(found(hashedAs(first, 5)), 10);
    EXPECT_EQ(found(hashedAs(second, 5)), 20);
    EXPECT_EQ(found(hashedAs(third, 5)), -1);
    EXPECT_EQ(found(hashedAs(longer, 5)), -1);
}

// The host may let a string point at a buffer of its own, or edit a string through a pointer that it took earlier.
TEST_F(AnswerStoreTest, KeepsACopyOfTheName) {
    QString name = "Main.counter";
    QChar* inPlace = name.data();
    insert(hashedAs(name, 5), scalar(10));
    std::fill(inPlace, inPlace + name.size(), QLatin1Char('x'));
    const QString before = "Main.counter";
    EXPECT_EQ(found(hashedAs(name, 5)), -1);
    EXPECT_EQ(found(hashedAs(before, 5)), 10);
}

TEST_F(AnswerStoreTest, KeepsNamesOfEveryLengthUpToItsLimit) {
    for (int length : {0, 1, 2, 3, 4, 7, 8, 9, 100, 254, 255}) {
        insert(QString(length, 'n'), scalar(length));
    }
    for (int length : {0, 1, 2, 3, 4, 7, 8, 9, 100, 254, 255}) {
        EXPECT_EQ(found(QString(length, 'n')), length);
    }
    const std::size_t held = store_.bytes();
    for (int length : {256, 257, 4096, 65536 + 255, 1000000}) {
        insert(QString(length, 'n'), scalar(length));
        EXPECT_EQ(found(QString(length, 'n')), -1);
    }
    EXPECT_EQ(store_.bytes(), held);
    EXPECT_EQ(found(QString(255, 'n')), 255);
}

TEST_F(AnswerStoreTest, KeepsWhatItKnowsWhileItGrows) {
    for (int i = 0; i < 10000; ++i) {
        insert(nameOf(i), scalar(i));
        insert(nameOf(i), scalar(-7));  // is known
    }
    for (int i = 0; i < 10000; ++i) {
        ASSERT_EQ(found(nameOf(i)), i);
    }
}

TEST_F(AnswerStoreTest, HoldsLittleForAFewNames) {
    for (int i = 0; i < 100; ++i) {
        insert(nameOf(i), scalar(i));
    }
    EXPECT_LE(store_.bytes(), 34U * 1024);
    for (int i = 100; i < 10000; ++i) {
        insert(nameOf(i), scalar(i));
    }
    EXPECT_LE(store_.bytes(), 66U * 10000 + 34 * 1024) << "56 bytes and a slot and a half";
}

TEST_F(AnswerStoreTest, GivesBackEveryArea) {
    const qint32 areas[] = {0, 1, 255, 256, 511, 65536, 2147483647, -1, -256, -2147483647 - 1};
    for (int i = 0; i < 10; ++i) {
        ControlInformationM info = scalar(i);
        info.area = areas[i];
        insert(nameOf(i), info);
    }
    for (int i = 0; i < 10; ++i) {
        const QString name = nameOf(i);
        ControlInformationM info;
        ASSERT_TRUE(find(HashedName(name), info)) << i;
        EXPECT_EQ(info.area, areas[i]);
    }
}

TEST_F(AnswerStoreTest, FindsNextWhatCameNextLastTime) {
    EXPECT_EQ(foundNext("Main.first"), -1) << "nothing was found yet";
    insert("Main.first", scalar(10));
    EXPECT_EQ(foundNext("Main.first"), -1) << "nothing came behind it yet";
    insert("Main.other", scalar(20));
    insert("Main.third", scalar(30));
    EXPECT_EQ(foundNext("Main.first"), -1);
    EXPECT_EQ(found("Main.first"), 10);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(foundNext("Main.third"), -1) << "not next";
        EXPECT_EQ(foundNext("Main.othe"), -1);
        EXPECT_EQ(foundNext("Main.otheR"), -1);
        EXPECT_EQ(foundNext("Main.other2"), -1);
        EXPECT_EQ(foundNext("Main.other"), 20);
        EXPECT_EQ(foundNext("Main.third"), 30);
        EXPECT_EQ(foundNext("Main.first"), 10);
    }
    EXPECT_EQ(found("Main.third"), 30) << "another order";
    EXPECT_EQ(found("Main.first"), 10);
    EXPECT_EQ(foundNext("Main.other"), -1);
    EXPECT_EQ(foundNext("Main.third"), 30);
    clear();
    EXPECT_EQ(foundNext("Main.first"), -1);
}

TEST_F(AnswerStoreTest, EverySeatHasItsOwnPlaceInTheOrder) {
    for (int i = 0; i < 10; ++i) {
        insert(nameOf(i), scalar(i));
    }
    const int first = seat_;
    const int second = seats_.take();
    EXPECT_EQ(found(nameOf(2)), 2);
    seat_ = second;
    EXPECT_EQ(foundNext(nameOf(3)), -1) << "nothing was found from here yet";
    EXPECT_EQ(found(nameOf(7)), 7);
    for (int i = 1; i < 3; ++i) {
        seat_ = first;
        EXPECT_EQ(foundNext(nameOf(2 + i)), 2 + i);
        seat_ = second;
        EXPECT_EQ(foundNext(nameOf(7 + i)), 7 + i);
    }
}

TEST_F(AnswerStoreTest, KnowsNothingOnceCleared) {
    insert("Main.counter", scalar(10));
    clear();
    EXPECT_EQ(store_.bytes(), 0U);
    EXPECT_EQ(found("Main.counter"), -1);
    insert("Main.counter", scalar(20));
    EXPECT_EQ(found("Main.counter"), 20);
}

TEST_F(AnswerStoreTest, HoldsAPageAndATableThatGrowsWithTheThirteenthName) {
    for (int round = 0; round < 2; ++round) {  // at first and once cleared
        for (int i = 0; i < 12; ++i) {
            insert(nameOf(i), scalar(i));
            EXPECT_EQ(store_.bytes(), 32768U + 16 * 4) << i;
        }
        insert(nameOf(12), scalar(12));
        EXPECT_EQ(store_.bytes(), 32768U + 32 * 4 + 16 * 4) << "the old table may still be searched";
        insert(nameOf(13), scalar(13));
        EXPECT_EQ(store_.bytes(), 32768U + 32 * 4);
        clear();
    }
}

// An answer takes 16 bytes, four for a bit, eight for an array position, four for an area above 255, two for each
// character; rounded up to eight, and at least 32.
TEST_F(AnswerStoreTest, FillsAPageToItsLastByte) {
    ControlInformationM ofBit = scalar(7);
    ofBit.isBit = 1;
    ofBit.bitIndex = 15;
    ControlInformationM ofElement = scalar(8);
    ofElement.isArray = 1;
    ofElement.arrayIndex = 3;
    ofElement.arrayCount = 9;
    ControlInformationM ofBoth = ofElement;
    ofBoth.isBit = 1;
    ofBoth.bitIndex = 12;
    ControlInformationM ofFarArea = scalar(10);
    ofFarArea.area = 256;
    struct {
        ControlInformationM info;
        int length;
        int names;
    } const rows[] = {{scalar(9), 4, 1024}, {scalar(9), 8, 1024}, {scalar(9), 9, 819}, {scalar(9), 12, 819},
                      {scalar(9), 13, 682}, {ofBit, 6, 1024},     {ofBit, 7, 819},     {ofElement, 4, 1024},
                      {ofElement, 5, 819},  {ofBoth, 4, 819},     {ofBoth, 6, 819},    {ofBoth, 7, 682},
                      {ofFarArea, 6, 1024}, {ofFarArea, 7, 819}};
    for (const auto& row : rows) {
        const std::size_t table = row.names > 768 ? 8192 : 4096;
        for (int i = 0; i < row.names; ++i) {
            insert(nameOf(i, row.length), row.info);
        }
        EXPECT_EQ(store_.bytes(), 32768 + table) << row.names << " names of " << row.length;
        for (int i = 0; i < row.names; ++i) {
            const QString name = nameOf(i, row.length);
            ControlInformationM info;
            ASSERT_TRUE(find(HashedName(name), info)) << i;
            ASSERT_EQ(std::memcmp(&info, &row.info, sizeof info), 0) << i;
        }
        insert(nameOf(row.names, row.length), row.info);
        EXPECT_EQ(store_.bytes(), 2 * 32768 + table) << row.names << " and one names of " << row.length;
        clear();
    }
}

// A table that was replaced and readers who may look at it: neither counts once all is freed.
TEST_F(AnswerStoreTest, RemembersNothingThatWasGivenUpOnceCleared) {
    for (int i = 0; i < 13; ++i) {
        insert(nameOf(i), scalar(i));
    }
    clear();
    EXPECT_EQ(store_.bytes(), 0U) << "the old table, too";
    fillSeats();
    for (int i = 0; i < 13; ++i) {
        insert(nameOf(i), scalar(i));
        EXPECT_EQ(found(nameOf(i)), i);
    }
    insert(nameOf(13), scalar(13));
    ASSERT_EQ(found(nameOf(13)), -1) << "somebody may still look at the old table";
    emptySeats();
    clear();
    fillSeats();
    insert(nameOf(13), scalar(13));
    EXPECT_EQ(found(nameOf(13)), 13);
}

TEST_F(AnswerStoreTest, InsertsBesideReadersAsLongAsNothingWasGivenUp) {
    fillSeats();
    for (int i = 0; i < 13; ++i) {
        insert(nameOf(i), scalar(i));
        EXPECT_EQ(found(nameOf(i)), i);
    }
    insert(nameOf(13), scalar(13));
    EXPECT_EQ(found(nameOf(13)), -1) << "the thirteenth made the table grow";
}

TEST_F(AnswerStoreTest, HoldsAHundredThousandOrdinaryNames) {
    for (int i = 0; i < 100000; ++i) {
        insert(nameOf(i, 40), scalar(i));
    }
    for (int i = 0; i < 100000; ++i) {
        ASSERT_EQ(found(nameOf(i, 40)), i);
    }
    EXPECT_LE(store_.bytes(), kMostBytes);
}

TEST_F(AnswerStoreTest, NeverHoldsMoreThanItsBound) {
    struct {
        int length;
        int names;
    } const rows[] = {{6, 370000}, {255, 40000}, {30, 150000}};  // the shortest and the longest: most slots, fewest
    for (const auto& row : rows) {
        std::size_t most = 0;
        for (int i = 0; i < row.names; ++i) {
            insert(nameOf(i, row.length), scalar(i));
            most = i % 100 == 0 ? std::max(most, store_.bytes()) : most;
        }
        EXPECT_LE(most, kMostBytes) << row.length;
        EXPECT_GE(most, 11U * 1024 * 1024) << row.length << ": it was filled";
        EXPECT_EQ(found(nameOf(row.names - 1, row.length)), row.names - 1);
    }
}

// One screen is looked at again and again while many others are looked at once. The long names fill the store soon:
// some 21,000 fit.
TEST_F(AnswerStoreTest, LetsGoOfWhatWasNotAskedForAndKeepsTheRest) {
    for (int i = 0; i < 70000; ++i) {
        insert(nameOf(i, 255), scalar(i));
        if (i >= 100) {
            ASSERT_EQ(found(nameOf(i % 100, 255)), i % 100) << "when " << i << " was inserted";
        }
    }
    EXPECT_EQ(found(nameOf(5000, 255)), -1) << "not asked for";
    EXPECT_EQ(found(nameOf(69999, 255)), 69999);
}

TEST_F(AnswerStoreTest, MakesRoomAlsoWhenEverythingWasAskedFor) {
    int kept = 0;
    for (int i = 0; i < 70000; ++i) {
        insert(nameOf(i, 255), scalar(i));
        kept += found(nameOf(i, 255)) == i ? 1 : 0;
    }
    EXPECT_GE(kept, 70000 - 70000 / 62) << "62 fit into a page; one may be skipped for each that is emptied";
    EXPECT_LE(store_.bytes(), kMostBytes);
}

TEST_F(AnswerStoreTest, AnswersRightWhateverComesAndGoes) {
    std::mt19937 random(1);
    int right = 0;
    for (int i = 0; i < 150000; ++i) {
        const int number = static_cast<int>(random() % 50000);
        const QString name = nameOf(number, 155 + number % 100);
        const qint32 address = found(name);
        ASSERT_TRUE(address == number || address == -1) << number;
        right += address == number ? 1 : 0;
        if (address == -1) {
            insert(name, scalar(number));
        }
    }
    EXPECT_GT(right, 50000);
    EXPECT_LE(store_.bytes(), kMostBytes);
}

// Who sits may still look at what was given up: it is not used again before.
TEST_F(AnswerStoreTest, InsertsNothingWhileAReaderMayLookAtWhatWasGivenUp) {
    for (int i = 0; i < 12; ++i) {
        insert(nameOf(i), scalar(i));
    }
    const int reader = seats_.take();
    insert(nameOf(12), scalar(12));  // the table of 16 slots grows
    EXPECT_EQ(found(nameOf(12)), 12);
    const std::size_t held = store_.bytes();
    insert(nameOf(13), scalar(13));
    EXPECT_EQ(found(nameOf(13)), -1);
    EXPECT_EQ(store_.bytes(), held) << "the old table is still there";
    EXPECT_EQ(found(nameOf(3)), 3);

    seats_.leave(reader);
    const int another = seats_.take();  // came afterwards
    insert(nameOf(13), scalar(13));
    EXPECT_EQ(found(nameOf(13)), -1) << "the seat was not seen empty";
    seats_.leave(another);
    insert(nameOf(13), scalar(13));
    EXPECT_EQ(found(nameOf(13)), 13);
    EXPECT_EQ(store_.bytes(), held - 16 * 4);
}

// A rebuild of the cyclic list has its seat for thousands of names, while other readers insert, too.
TEST_F(AnswerStoreTest, InsertsFromASeatThatWasTakenWhenAnotherGaveSomethingUp) {
    for (int i = 0; i < 13; ++i) {
        insert(nameOf(i), scalar(i));  // the table of 16 slots grows
    }
    const int another = seats_.take();
    const QString theirs = nameOf(13);
    store_.insert(HashedName(theirs), scalar(13), seats_, another);
    EXPECT_EQ(found(nameOf(13)), -1) << "the first seat is taken";
    seats_.leave(another);
    insert(nameOf(14), scalar(14));
    EXPECT_EQ(found(nameOf(14)), 14) << "its own seat is in nobody's way";
}

// 62 of the longest names fit into a page: the first of the last page empties the first page.
TEST_F(AnswerStoreTest, InsertsNothingWhileAReaderMayLookAtAPageThatWasEmptied) {
    ControlInformationM kept = scalar(5);
    kept.isBit = 1;
    kept.bitIndex = -9;
    kept.isArray = 1;
    kept.arrayIndex = 3;
    kept.arrayCount = 70;
    const QString keptName = nameOf(5, 249);  // 528 bytes, as the others
    for (int i = 0; i < 351 * 62; ++i) {
        if (i == 5) {
            insert(keptName, kept);
        } else {
            insert(nameOf(i, 255), scalar(i));
        }
    }
    ControlInformationM info;
    ASSERT_TRUE(find(HashedName(keptName), info));
    ASSERT_EQ(store_.bytes(), 351 * 32768U + 131072) << "and a table for 24576";
    const int reader = seats_.take();
    insert(nameOf(21762, 255), scalar(21762));
    EXPECT_EQ(store_.bytes(), 352 * 32768U + 131072);
    EXPECT_EQ(found(nameOf(21762, 255)), 21762);
    EXPECT_EQ(found(nameOf(0, 255)), -1);
    EXPECT_EQ(found(nameOf(61, 255)), -1);
    EXPECT_EQ(found(nameOf(62, 255)), 62) << "the second page";
    info = ControlInformationM();
    ASSERT_TRUE(find(HashedName(keptName), info)) << "moved on, as it was asked for";
    EXPECT_EQ(std::memcmp(&info, &kept, sizeof info), 0);

    insert(nameOf(21763, 255), scalar(21763));
    EXPECT_EQ(found(nameOf(21763, 255)), -1);
    seats_.leave(reader);
    insert(nameOf(21763, 255), scalar(21763));
    EXPECT_EQ(found(nameOf(21763, 255)), 21763);
}

// As above: what came next last time is in the page that is emptied.
TEST_F(AnswerStoreTest, FollowsNobodyToAPageThatWasEmptied) {
    for (int i = 0; i < 351 * 62; ++i) {
        insert(nameOf(i, 255), scalar(i));
    }
    EXPECT_EQ(found(nameOf(100, 255)), 100);
    EXPECT_EQ(found(nameOf(5, 255)), 5);
    EXPECT_EQ(found(nameOf(100, 255)), 100);
    EXPECT_EQ(foundNext(nameOf(5, 255)), 5);
    insert(nameOf(21762, 255), scalar(21762));
    EXPECT_EQ(found(nameOf(100, 255)), 100);
    EXPECT_EQ(foundNext(nameOf(5, 255)), -1) << "moved on";
    EXPECT_EQ(found(nameOf(5, 255)), 5);
    EXPECT_EQ(found(nameOf(100, 255)), 100);
    EXPECT_EQ(foundNext(nameOf(5, 255)), 5) << "learnt anew";

    seats_.take();
    insert(nameOf(21763, 255), scalar(21763));
    EXPECT_EQ(found(nameOf(21763, 255)), -1) << "somebody may look at the page";
    EXPECT_EQ(seats_.lastFound(seat_), 0xFFFFFFFFU) << "this seat must not any longer";
}

// A host that reads its tags in turn, more of them than are kept: whatever was asked for next, the answer is right.
TEST_F(AnswerStoreTest, AnswersRightInTurnWhileTheOldestGo) {
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 30000; ++i) {
            const QString name = nameOf(i, 200 + i % 50);
            const qint32 address = foundFrom(seat_, name);
            ASSERT_TRUE(address == i || address == -1) << i << " in round " << round;
            if (address == -1) {
                insert(name, scalar(i));
            }
        }
    }
    EXPECT_LE(store_.bytes(), kMostBytes);
}

// More names than fit, so that answers come and go all the time: readers see the right answer or none.
TEST_F(AnswerStoreTest, ReadersSeeTheRightAnswerOrNoneWhileOthersInsert) {
    std::atomic<bool> done(false);
    std::atomic<int> wrong(0);
    std::atomic<int> right(0);
    std::vector<std::thread> readers;
    seats_.leave(seat_);
    for (unsigned t = 0; t < 3; ++t) {
        readers.emplace_back([&, t] {
            std::mt19937 random(t);
            while (!done) {
                const int seat = seats_.take();
                const int number = static_cast<int>(random() % 30000);
                for (int next = number; next < number + 3; ++next) {  // in a row, as the names are inserted
                    const qint32 address = foundFrom(seat, nameOf(next, 255));
                    wrong += address == next || address == -1 ? 0 : 1;
                    right += address == next ? 1 : 0;
                }
                seats_.leave(seat);
            }
        });
    }
    for (int i = 0; i < 60000; ++i) {
        seat_ = seats_.take();
        insert(nameOf(i % 30000, 255), scalar(i % 30000));
        seats_.leave(seat_);
    }
    done = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    seat_ = seats_.take();
    EXPECT_EQ(wrong, 0);
    EXPECT_GT(right, 0);
}

TEST(ReaderSeatsTest, GivesEachReaderASeatOfItsOwnUntilAllAreTaken) {
    ReaderSeats seats;
    std::vector<int> taken;
    for (int i = 0; i < 16; ++i) {
        taken.push_back(seats.take());
    }
    EXPECT_EQ(seats.take(), -1);
    std::vector<int> sorted = taken;
    std::sort(sorted.begin(), sorted.end());
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(sorted[static_cast<std::size_t>(i)], i);
    }
    seats.leave(7);
    EXPECT_EQ(seats.take(), 7);
}

// Else threads would take the same cache line from each other with every look-up.
TEST(ReaderSeatsTest, GivesThreadsDifferentSeatsThoughAllAreFree) {
    ReaderSeats seats;
    std::promise<void> done;
    const std::shared_future<void> end(done.get_future());
    std::vector<std::thread> threads;
    std::set<int> first;
    for (int t = 0; t < 16; ++t) {  // all alive, so that each has a stack of its own
        std::promise<int> taken;
        std::future<int> seat = taken.get_future();
        threads.emplace_back(
            [&seats, end](std::promise<int> answer) {
                const int mine = seats.take();
                seats.leave(mine);
                answer.set_value(mine);
                end.wait();
            },
            std::move(taken));
        first.insert(seat.get());
    }
    done.set_value();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GE(first.size(), 4U);
}

TEST(ReaderSeatsTest, TakesAllOrNone) {
    ReaderSeats seats;
    const int one = seats.take();
    EXPECT_FALSE(seats.takeAll());
    EXPECT_EQ(seats.takenAmong(0xFFFF), 1U << one);
    seats.leave(one);
    ASSERT_TRUE(seats.takeAll());
    EXPECT_EQ(seats.take(), -1);
    EXPECT_FALSE(seats.takeAll());
    seats.leaveAll();
    EXPECT_EQ(seats.takenAmong(0xFFFF), 0U);
}

// What was found from a seat may be given up once the seat was seen empty.
TEST(ReaderSeatsTest, ForgetsWhatWasFoundFromSeatsThatAreEmpty) {
    ReaderSeats seats;
    const int sitting = seats.take();
    const int left = seats.take();
    EXPECT_EQ(seats.lastFound(sitting), 0xFFFFFFFFU);
    seats.lastFound(sitting) = 5;
    seats.lastFound(left) = 6;
    seats.leave(left);
    EXPECT_EQ(seats.takenAmong(1U << sitting), 1U << sitting);
    EXPECT_EQ(seats.lastFound(left), 6U) << "was not asked about";
    EXPECT_EQ(seats.takenAmong(0xFFFF), 1U << sitting);
    EXPECT_EQ(seats.lastFound(sitting), 5U);
    EXPECT_EQ(seats.lastFound(left), 0xFFFFFFFFU);
    seats.leave(sitting);
    ASSERT_TRUE(seats.takeAll());
    seats.leaveAll();
    EXPECT_EQ(seats.lastFound(sitting), 0xFFFFFFFFU);
}

TEST(ReaderSeatsTest, TakesNoneWhicheverSeatIsTaken) {
    for (int one = 0; one < 16; ++one) {
        ReaderSeats seats;
        for (int i = 0; i < 16; ++i) {
            ASSERT_NE(seats.take(), -1);
        }
        EXPECT_EQ(seats.takenAmong(0xFFFF), 0xFFFFU);
        EXPECT_EQ(seats.takenAmong(0x8001), 0x8001U);
        EXPECT_EQ(seats.takenAmong(ReaderSeats::allBut(one)), 0xFFFFU - (1U << one));
        for (int seat = 0; seat < 16; ++seat) {
            if (seat != one) {
                seats.leave(seat);
            }
        }
        EXPECT_FALSE(seats.takeAll()) << one;
        EXPECT_EQ(seats.takenAmong(0xFFFF), 1U << one);
        seats.leave(one);
        EXPECT_TRUE(seats.takeAll()) << one;
    }
}

TEST(ReaderSeatsTest, TellsWhichOfTheSeatsAskedForAreTaken) {
    ReaderSeats seats;
    const int first = seats.take();
    const int second = seats.take();
    EXPECT_EQ(seats.takenAmong(ReaderSeats::allBut(first)), 1U << second);
    EXPECT_EQ(seats.takenAmong(1U << first), 1U << first);
    EXPECT_EQ(seats.takenAmong(0), 0U);
}

}  // namespace
}  // namespace ac500::test
