// An outbox in a folder of its own, and what tests ask of it.
#ifndef AC500_TESTS_BROKER_OUTBOX_SUPPORT_H
#define AC500_TESTS_BROKER_OUTBOX_SUPPORT_H

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/broker/outbox.h"

namespace ac500::test {

using broker::Gap;
using broker::Message;
using broker::Outbox;
using broker::OutboxSettings;
using host::Time;

// 2026-11-22 23:00 UTC
constexpr std::int64_t kWallMs = 1795388400000;

inline std::string textOf(const Gap& gap) {
    return std::to_string(gap.first) + ".." + std::to_string(gap.last) + " " + gap.reason;
}

class OutboxTest : public ::testing::Test {
protected:
    using hours = std::chrono::hours;
    using seconds = std::chrono::seconds;
    using milliseconds = std::chrono::milliseconds;

    OutboxTest() {
        std::string name = ::testing::TempDir() + "outbox-XXXXXX";
        folder_ = ::mkdtemp(name.data()) == nullptr ? "" : name;
        settings_.file = folder_ + "/store.db";
    }
    ~OutboxTest() override {
        outbox_.reset();
        std::filesystem::remove_all(folder_);
    }

    // As the start of a gateway; what was open before ends without a flush.
    bool open(std::int64_t wallMs = kWallMs) {
        outbox_.reset();
        outbox_ = Outbox::open(
            settings_, now_, wallMs,
            [](const Gap& gap, std::int64_t sequence) {
                return Message{"plant/values", "gap " + textOf(gap), sequence, gap.toMs};
            },
            [this](const std::string& text) { told_.push_back(text); }, &failure_);
        return outbox_ != nullptr;
    }
    // As a gateway that ends in order.
    void end() {
        EXPECT_TRUE(outbox_->flush(now_, true));
        outbox_.reset();
    }

    // A message of the next number, which this returns; so many bytes of text that tell the number.
    std::int64_t add(std::size_t bytes = 100, std::int64_t atMs = kWallMs) {
        const std::int64_t sequence = outbox_->takeSequence();
        outbox_->add({"plant/values", textFor(sequence, bytes), sequence, atMs}, now_);
        return sequence;
    }
    static std::string textFor(std::int64_t sequence, std::size_t bytes) {
        const std::string number = std::to_string(sequence) + " ";
        return number + std::string(bytes - std::min(bytes, number.size()), 'x');
    }

    void pass(Time time) { now_ += time; }
    void passAndTick(Time time) {
        pass(time);
        outbox_->tick(now_);
    }
    void connect() { outbox_->setConnected(true, now_); }
    void disconnect() { outbox_->setConnected(false, now_); }

    // What is to be sent in so much time by somebody who asks every 10 ms, in the order of sending; acknowledged at once.
    std::vector<Message> sendFor(Time time) {
        std::vector<Message> sent;
        for (const Time end = now_ + time; now_ < end; now_ += milliseconds(10)) {
            outbox_->tick(now_);
            while (std::optional<Message> message = outbox_->next(now_)) {
                outbox_->acknowledged(message->sequence);
                sent.push_back(std::move(*message));
            }
        }
        return sent;
    }
    static std::vector<std::int64_t> numbersOf(const std::vector<Message>& messages) {
        std::vector<std::int64_t> numbers;
        for (const Message& message : messages) {
            numbers.push_back(message.sequence);
        }
        return numbers;
    }
    static std::vector<std::string> gapsIn(const std::vector<Message>& messages) {
        std::vector<std::string> gaps;
        for (const Message& message : messages) {
            if (message.payload.rfind("gap ", 0) == 0) {
                gaps.push_back(message.payload.substr(4));
            }
        }
        return gaps;
    }

    std::string readFile(const std::string& name) const {
        std::ifstream file(folder_ + "/" + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void writeFile(const std::string& name, const std::string& bytes) const {
        std::ofstream(folder_ + "/" + name, std::ios::binary | std::ios::trunc) << bytes;
    }
    bool exists(const std::string& name) const { return std::filesystem::exists(folder_ + "/" + name); }

    std::string folder_;
    OutboxSettings settings_;
    Time now_ = seconds(1000);
    std::unique_ptr<Outbox> outbox_;
    std::vector<std::string> told_;
    host::Failure failure_;
};

}  // namespace ac500::test

#endif
