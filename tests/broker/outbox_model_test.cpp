// Random sequences of all that can happen to an outbox (messages, acknowledgements, connections, time, disks that fail, clean
// ends and kills), held against what must be true of any of them. What fails is made smaller until nothing can be left out.
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/detail/TestListenerAdapter.h>

#include <algorithm>
#include <deque>
#include <map>
#include <sstream>

#include "tests/broker/failing_disk.h"
#include "tests/broker/outbox_support.h"
#include "tests/support/pace.h"

namespace ac500::test {
namespace {

using Step = std::pair<std::uint32_t, std::uint32_t>;  // what happens, and how much of it

class OutboxModelTest : public OutboxTest {
protected:
    ~OutboxModelTest() override { outbox_.reset(); }  // before the disk goes

    // Nothing when all was as it must be; else what was not.
    std::string run(const std::vector<Step>& steps) {
        start();
        for (const Step& step : steps) {
            take(step);
            if (outbox_ == nullptr || !wrong_.empty()) {
                return wrong_.empty() ? "it could not be opened: " + failure_.text : wrong_;
            }
            check(outbox_->status().memoryBytes <= settings_.memoryBytes, "memory is beyond its bound");
        }
        drain();
        for (const auto& [number, payload] : added_) {
            check(sent_.count(number) == 1 || isInGap(number), std::to_string(number) + " is missing without a gap");
        }
        return wrong_;
    }

private:
    void start() {
        outbox_.reset();
        disk_.faults() = {};
        disk_.faults().mustSync = false;
        for (const char* end : {"", "-wal", ".lock"}) {
            std::filesystem::remove(settings_.file + end);
        }
        settings_.memoryBytes = 16 * 1024;
        settings_.storeBytes = 128 * 1024;
        now_ = seconds(1);
        added_.clear();
        stored_.clear();
        unstored_.clear();
        sent_.clear();
        gaps_.clear();
        wrong_.clear();
        highest_ = 0;
        open();
        begin(false);
    }

    void take(const Step& step) {
        const std::uint32_t amount = step.second;
        const std::uint32_t choice = step.first % 100;
        if (choice < 45) {
            addMessage(amount % 3000);
        } else if (choice < 65) {
            send();
        } else if (choice < 73) {
            acknowledge();
        } else if (choice < 77) {
            begin(!isConnected_);
        } else if (choice < 87) {
            passAndTick(milliseconds(amount % 3000));
        } else if (choice < 89) {
            passAndTick(hours(amount % 100));
        } else if (choice < 92) {
            flush(false);
        } else if (choice < 94) {
            flush(true);
            unstored_.clear();
            open();
            begin(false);
        } else if (choice < 96) {
            unstored_.clear();
            open();  // a kill
            begin(false);
        } else if (choice < 98) {
            disk_.faults().write = disk_.faults().write == SQLITE_OK ? SQLITE_FULL : SQLITE_OK;
        } else {
            const std::int64_t number = takeNumber();
            outbox_->addGap({number, number, kWallMs, kWallMs, "too large"});
        }
    }

    std::int64_t takeNumber() {
        const std::int64_t number = outbox_->takeSequence();
        check(number > highest_, "a number is used twice");
        highest_ = number;
        return number;
    }
    void addMessage(std::size_t bytes) {
        const std::int64_t number = takeNumber();
        added_[number] = textFor(number, bytes);
        unstored_.insert(number);
        outbox_->add({"plant/values", added_[number], number, kWallMs}, now_);
    }
    void begin(bool isConnected) {
        isConnected_ = isConnected;
        inFlight_.clear();
        sentNow_.clear();
        tails_ = {0, 0};
        if (outbox_ != nullptr) {
            outbox_->setConnected(isConnected, now_);
        }
    }
    void flush(bool isLast) {
        if (outbox_->flush(now_, isLast)) {
            stored_.insert(unstored_.begin(), unstored_.end());
            unstored_.clear();
        }
    }

    bool send() {
        const std::optional<Message> message = outbox_->next(now_);
        if (!message) {
            return false;
        }
        const std::int64_t number = message->sequence;
        check(isConnected_, "something is sent without a connection");
        check(sentNow_.insert(number).second, std::to_string(number) + " is sent twice in a connection");
        inFlight_.push_back(number);
        if (message->payload.rfind("gap ", 0) == 0) {
            takeGap(number, message->payload.substr(4));
            return true;
        }
        check(added_.count(number) == 1 && added_[number] == message->payload, std::to_string(number) + " differs");
        sent_.insert(number);
        // Live messages and backlog, each ascending.
        std::sort(tails_.begin(), tails_.end());
        std::int64_t& tail = number > tails_[1] ? tails_[1] : tails_[0];
        check(number > tail, std::to_string(number) + " is out of order");
        tail = number;
        return true;
    }
    void takeGap(std::int64_t number, const std::string& text) {
        highest_ = std::max(highest_, number);
        const auto known = gaps_.find(number);
        check(known == gaps_.end() || known->second == text, "a gap record is not the same");
        gaps_[number] = text;
    }
    void acknowledge() {
        if (!inFlight_.empty()) {
            outbox_->acknowledged(inFlight_.front());
            inFlight_.pop_front();
        }
    }

    void drain() {
        disk_.faults().write = SQLITE_OK;
        passAndTick(seconds(10));
        begin(true);
        for (int idle = 0; idle < 600;) {  // longer than gaps are put together
            pass(milliseconds(20));
            idle = send() ? 0 : idle + 1;
            acknowledge();
        }
        check(outbox_->status().backlog == 0 && outbox_->status().gapRecords == 0, "it is not empty in the end");
    }

    // What was stored, or had gone before that, cannot go by a kill.
    bool isInGap(std::int64_t number) const {
        return std::any_of(gaps_.begin(), gaps_.end(), [&](const std::pair<const std::int64_t, std::string>& gap) {
            const std::string& text = gap.second;
            const bool isNamed = std::stoll(text) <= number && number <= std::stoll(text.substr(text.find("..") + 2));
            const bool isOfKill = text.find("ended without being stored") != text.npos;
            return isNamed && (!isOfKill || stored_.count(number) == 0);
        });
    }

    void check(bool isRight, const std::string& wrong) {
        if (!isRight && wrong_.empty()) {
            wrong_ = wrong;
        }
    }

    FailingDisk disk_;
    std::map<std::int64_t, std::string> added_;
    std::set<std::int64_t> unstored_;  // added by this process, after the last flush
    std::set<std::int64_t> stored_;
    std::set<std::int64_t> sent_;
    std::map<std::int64_t, std::string> gaps_;
    std::int64_t highest_ = 0;
    bool isConnected_ = false;
    std::deque<std::int64_t> inFlight_;
    std::set<std::int64_t> sentNow_;         // in this connection
    std::vector<std::int64_t> tails_{0, 0};  // of the two ascending rows
    std::string wrong_;
};

TEST_F(OutboxModelTest, WhateverHappensNothingIsMissingWithoutAGapAndTheOrderHolds) {
    const auto number = rc::gen::resize(rc::kNominalSize, rc::gen::arbitrary<std::uint32_t>());
    const auto steps = rc::gen::container<std::vector<Step>>(rc::gen::pair(number, number));
    rc::detail::TestParams params;
    params.seed = 4711;
    params.maxSuccess = rounds(60);
    params.maxSize = 400;
    const auto property = [&] {
        const std::string wrong = run(*steps);
        RC_LOG() << wrong;
        RC_ASSERT(wrong.empty());
    };
    rc::detail::TestListenerAdapter listener;
    const rc::detail::TestResult result =
        rc::detail::checkProperty(rc::detail::toProperty(property), rc::detail::TestMetadata(), params, listener, {});
    std::ostringstream text;
    rc::detail::printResultMessage(result, text);

    EXPECT_TRUE(result.is<rc::detail::SuccessResult>()) << text.str();
}

}  // namespace
}  // namespace ac500::test
