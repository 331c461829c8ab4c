// A whole conversation: requests are registered, frames asked for and replies delivered in any order. Replies are raw
// bytes, or begin as the good reply to the frame that is pending, so that conversations get past the handshake.
//
// Each step is one byte and its arguments, see steps.h.
#include "protocol/bytes.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzzed_driver.h"
#include "tests/fuzz/steps.h"

using namespace ac500;
using namespace ac500::fuzz;

namespace {

constexpr int kMostEntries = 150;

void addCyclicRead(FuzzInput& input, FuzzedDriver& driver) {
    const int area = input.below(4);
    const int offset = input.between(0, 4095);
    const int size = input.between(-4, kMostBytes);
    if (PLC_driver.readList.size() < kMostEntries) {
        driver.addCyclicRead(area, offset, size);
    }
}

void addWrite(FuzzInput& input, FuzzedDriver& driver) {
    const int area = input.below(4);
    const int offset = input.between(0, 4095);
    const int dataType = input.below(22);
    const int hostId = input.below(16) - 1;
    const int size = input.between(-4, kMostBytes);
    const std::string bytes = input.bytes(input.u8());
    if (PLC_driver.writeList.size() < kMostEntries) {
        driver.addWrite(area, offset, dataType, bytes, size, hostId);
    }
}

void addOnceRead(FuzzInput& input, FuzzedDriver& driver) {
    const int area = input.below(4);
    const int offset = input.between(0, 4095);
    const int hostId = input.below(16) - 1;
    const int size = input.between(-4, kMostBytes);
    if (PLC_driver.onceReadList.size() < kMostEntries) {
        driver.addOnceRead(area, offset, size, hostId);
    }
}

// Moves or replaces one byte.
void damage(FuzzInput& input, std::string& reply) {
    const std::size_t at = input.u16();
    const char value = static_cast<char>(input.u8());
    if (at < reply.size()) {
        reply[at] = value;
    } else {
        reply.resize(at % (reply.size() + 4));
    }
}

void step(FuzzInput& input, FuzzedDriver& driver) {
    switch (input.below(kConversationSteps)) {
        case kAddCyclicRead:
            return addCyclicRead(input, driver);
        case kAddWrite:
            return addWrite(input, driver);
        case kAddOnceRead:
            return addOnceRead(input, driver);
        case kNext:
            driver.next();
            return;
        case kDeliver:
            driver.deliver(input.bytes(input.u16()));
            return;
        case kDeliverMiscounted: {
            const int received = input.between(-2, 1000);
            driver.deliver(input.bytes(input.u16()), received);
            return;
        }
        case kDeliverNothing:
            driver.deliver(std::string());
            return;
        case kAnswerWell: {
            const char fill = static_cast<char>(input.u8());
            driver.answer(goodReplyTo(driver.next(), fill));
            return;
        }
        case kAnswerBadly: {
            std::string reply = goodReplyTo(driver.next(), static_cast<char>(input.u8()));
            damage(input, reply);
            driver.answer(reply);
            return;
        }
        case kClearCyclicReads:
            driver.readCyclically({});
            return;
        case kConversationSteps:
            return;
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    FuzzedDriver driver;
    driver.settings.retryLimit = input.below(4);
    for (int steps = 0; !input.empty() && steps < 150; ++steps) {
        step(input, driver);
    }
    driver.expectModelledImage();
    return 0;
}
