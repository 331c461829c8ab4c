// A gateway that is killed at any moment, many times. A child process fills and empties an outbox and tells each step through a
// pipe, so that what it told is known however it ends; then the next child goes on with the same files.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <random>
#include <thread>

#include "tests/broker/outbox_support.h"
#include "tests/support/pace.h"
#include "tools/text/checksum.h"

namespace ac500::test {
namespace {

enum class Step : std::int64_t { Adds, Flushed, Sends, SendsGap, Acknowledges, Connects, Empty, Refused };

struct Note {
    Step step = Step::Refused;
    std::int64_t number = 0;
    std::int64_t more = 0;  // checksum of the payload; the last number of a gap
};

class Child {
public:
    using milliseconds = std::chrono::milliseconds;

    Child(OutboxSettings settings, unsigned round, int pipe)
        : settings_(std::move(settings)), random_(round), round_(round), pipe_(pipe) {}

    // `drains`: nothing is added, and it ends when nothing is left.
    [[noreturn]] void run(bool drains) {
        host::Failure failure;
        outbox_ = Outbox::open(
            settings_, now_, kWallMs,
            [](const Gap& gap, std::int64_t sequence) {
                return Message{"plant/values", "gap " + textOf(gap), sequence, gap.toMs};
            },
            [](const std::string&) {}, &failure);
        if (outbox_ == nullptr) {
            note({Step::Refused, 0, 0});
            ::_exit(1);
        }
        if (drains) {
            drain();
        }
        for (;;) {
            now_ += milliseconds(random_() % 400);
            step(static_cast<int>(random_() % 100));
        }
    }

private:
    void step(int choice) {
        if (choice < 50) {
            add();
        } else if (choice < 80) {
            send();
        } else if (choice < 90) {
            outbox_->tick(now_);
        } else if (choice < 94) {
            if (outbox_->flush(now_)) {
                note({Step::Flushed, 0, 0});
            }
        } else if (choice < 97) {
            connect(random_() % 2 == 0);
        } else {
            acknowledgeAll();
        }
    }

    void add() {
        const std::int64_t number = outbox_->takeSequence();
        const std::string payload =
            std::to_string(round_) + " " + std::to_string(number) + std::string(random_() % 3000, 'x');
        note({Step::Adds, number, text::crc32(payload)});
        outbox_->add({"plant/values", payload, number, kWallMs}, now_);
    }
    void send() {
        const std::optional<Message> message = outbox_->next(now_);
        if (!message) {
            return;
        }
        inFlight_.push_back(message->sequence);
        if (message->payload.rfind("gap ", 0) == 0) {
            const std::string text = message->payload.substr(4);
            note({Step::SendsGap, std::stoll(text), std::stoll(text.substr(text.find("..") + 2))});
        } else {
            note({Step::Sends, message->sequence, text::crc32(message->payload)});
        }
    }
    void acknowledgeAll() {
        for (const std::int64_t number : inFlight_) {
            note({Step::Acknowledges, number, 0});
            outbox_->acknowledged(number);
        }
        inFlight_.clear();
    }
    void connect(bool isConnected) {
        inFlight_.clear();
        note({Step::Connects, isConnected ? 1 : 0, 0});
        outbox_->setConnected(isConnected, now_);
    }
    [[noreturn]] void drain() {
        connect(true);
        while (outbox_->status().backlog > 0 || outbox_->status().gapRecords > 0) {
            now_ += milliseconds(20);
            send();
            acknowledgeAll();
        }
        note({Step::Empty, 0, 0});
        ::_exit(0);
    }

    void note(const Note& note) const {
        if (::write(pipe_, &note, sizeof note) != static_cast<ssize_t>(sizeof note)) {
            ::_exit(2);
        }
    }

    const OutboxSettings settings_;
    std::minstd_rand random_;
    const unsigned round_;
    const int pipe_;
    Time now_ = std::chrono::seconds(10);
    std::unique_ptr<Outbox> outbox_;
    std::vector<std::int64_t> inFlight_;
};

class OutboxKillTest : public OutboxTest {
protected:
    // Runs a child for so long, and takes in what it told.
    void runChild(unsigned round, std::optional<milliseconds> killedAfter) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(::pipe(ends), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            ::close(ends[0]);
            Child(settings_, round, ends[1]).run(!killedAfter);
        }
        ::close(ends[1]);
        std::thread reader([&] { readNotes(ends[0]); });
        if (killedAfter) {
            std::this_thread::sleep_for(*killedAfter);
            ::kill(child, SIGKILL);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        reader.join();
        ::close(ends[0]);
        ASSERT_EQ(WIFSIGNALED(status), killedAfter.has_value()) << "round " << round;
    }

    void readNotes(int pipe) {
        addedUnflushed_.clear();
        lastBacklog_ = 0;
        Note note;
        while (::read(pipe, &note, sizeof note) == static_cast<ssize_t>(sizeof note)) {
            take(note);
        }
    }

    void take(const Note& note) {
        switch (note.step) {
            case Step::Adds:
                EXPECT_GT(note.number, highest_) << "a number is used twice, or out of order";
                highest_ = std::max(highest_, note.number);
                checksums_[note.number] = note.more;
                addedUnflushed_.push_back(note.number);
                break;
            case Step::Flushed:
                flushed_.insert(addedUnflushed_.begin(), addedUnflushed_.end());
                addedUnflushed_.clear();
                ++flushes_;
                break;
            case Step::Sends:
                EXPECT_EQ(checksums_.at(note.number), note.more) << "message " << note.number << " is not the same";
                takeOrder(note.number);
                sent_.insert(note.number);
                break;
            case Step::SendsGap:
                gaps_.push_back({note.number, note.more});
                break;
            case Step::Acknowledges:
                acknowledged_.insert(note.number);
                break;
            case Step::Connects:
                lastBacklog_ = 0;
                lastLive_ = 0;
                liveFrom_ = highest_ + 1;
                break;
            case Step::Empty:
                isEmpty_ = true;
                break;
            case Step::Refused:
                ADD_FAILURE() << "the outbox could not be opened";
                break;
        }
    }
    void takeOrder(std::int64_t number) {
        std::int64_t& last = number < liveFrom_ ? lastBacklog_ : lastLive_;
        EXPECT_GT(number, last) << "the order is broken";
        last = number;
    }
    bool isInGap(std::int64_t number) const {
        return std::any_of(gaps_.begin(), gaps_.end(), [number](const std::pair<std::int64_t, std::int64_t>& gap) {
            return gap.first <= number && number <= gap.second;
        });
    }

    std::int64_t highest_ = 0;
    std::map<std::int64_t, std::int64_t> checksums_;  // of all that was added
    std::vector<std::int64_t> addedUnflushed_;
    std::set<std::int64_t> flushed_;
    std::set<std::int64_t> sent_;
    std::set<std::int64_t> acknowledged_;
    std::vector<std::pair<std::int64_t, std::int64_t>> gaps_;
    std::int64_t liveFrom_ = 0;
    std::int64_t lastBacklog_ = 0;
    std::int64_t lastLive_ = 0;
    int flushes_ = 0;
    bool isEmpty_ = false;
};

TEST_F(OutboxKillTest, AKillAtAnyMomentLosesNothingThatWasFlushedAndUsesNoNumberTwice) {
    std::minstd_rand random(4711);
    const int kills = rounds(60);
    for (int round = 0; round < kills && !HasFailure(); ++round) {
        runChild(static_cast<unsigned>(round + 1), milliseconds(random() % static_cast<unsigned>(paced(60))));
    }
    runChild(0, std::nullopt);

    EXPECT_TRUE(isEmpty_);
    EXPECT_GT(flushes_, kills / 2) << "the rounds are too short";
    EXPECT_GT(sent_.size(), 100u);
    for (const std::int64_t number : flushed_) {
        EXPECT_TRUE(sent_.count(number) == 1) << "message " << number << " was flushed, and never sent";
    }
    std::size_t lost = 0;
    for (const auto& [number, checksum] : checksums_) {
        const bool isLost = sent_.count(number) == 0;
        lost += isLost ? 1 : 0;
        EXPECT_TRUE(!isLost || isInGap(number)) << "message " << number << " is missing, and no gap record says so";
    }
    RecordProperty("added", static_cast<int>(checksums_.size()));
    RecordProperty("lost", static_cast<int>(lost));
    EXPECT_GT(lost, 0u) << "kills that take nothing show nothing of the gaps";
}

}  // namespace
}  // namespace ac500::test
