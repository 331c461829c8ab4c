// One reply to a driver in one situation: the first byte chooses it, the rest is the reply as it came off the wire.
//
// Situations, modulo 12: 0 nothing is pending; 1 first and 2 second frame of the handshake; 3 a cyclic read of one run,
// 4 of three; 5 a write of bytes, 6 of a bit; 7 a one-shot read; 8 a read after a write failed. From 9 on, as 3, 5 and 2,
// but measured before with a reply of 8 bytes, or 206. Bit 0x40 of it: a retry is left; bit 0x80: the host counts one
// byte more than there are.
#include "protocol/bytes.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzzed_driver.h"
#include "tests/support/wire.h"

using namespace ac500;
using namespace ac500::fuzz;

namespace {

constexpr int kSituations = 12;
constexpr int kRetryFlag = 0x40;
constexpr int kMiscountFlag = 0x80;

std::string zeroReply(int payloadBytes) {
    return test::zeroReply(payloadBytes).toStdString();
}

void openSecondHandshakeFrame(FuzzedDriver& driver) {
    driver.addCyclicRead(1, 16, 2);
    driver.next();
    FUZZ_CHECK(driver.answer(zeroReply(200)) == 1);
}

void failWrite(FuzzedDriver& driver) {
    driver.addWrite(1, 40, 3, "\x12\x34", 2, 5);
    driver.connect();
    driver.next();
    while (!isFailure(driver.deliver(std::string()))) {
    }
    driver.addCyclicRead(1, 16, 2);
    driver.connect();
}

void enter(int situation, FuzzedDriver& driver) {
    switch (situation) {
        case 0:
            return;
        case 1:
            return driver.addCyclicRead(1, 16, 2);
        case 2:
        case 11:
            return openSecondHandshakeFrame(driver);
        case 4:
            driver.addCyclicRead(1, 16, 2);
            driver.addCyclicRead(2, 0, 1);
            driver.addCyclicRead(1, 100, 40);
            return driver.connect();
        case 5:
        case 10:
            driver.addWrite(1, 16, 3, "\x12\x34", 2, 11);
            driver.addWrite(1, 20, 3, "\x56", 4, 12);
            return driver.connect();
        case 6:
            driver.addWrite(3, 21, 13, "\x01", 1, 1);
            return driver.connect();
        case 7:
            driver.addOnceRead(1, 16, 7, 3);
            driver.addOnceRead(1, 64, 200, 3);
            return driver.connect();
        case 8:
            return failWrite(driver);
        default:
            driver.addCyclicRead(1, 16, 2);
            return driver.connect();
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const int choice = input.u8();
    const int situation = (choice & 0x3F) % kSituations;
    const std::string reply = input.rest();

    FuzzedDriver driver;
    enter(situation, driver);
    driver.settings.retryLimit = (choice & kRetryFlag) != 0 ? 1 : 0;
    driver.next();
    if (situation >= 9) {
        driver.deliver(zeroReply(situation == 11 ? 200 : 2));
    }
    const int received = static_cast<int>(reply.size()) + ((choice & kMiscountFlag) != 0 ? 1 : 0);

    ExactBytes bytes(reply);
    const bool complete = infinite_length_data_reception(&bytes.array()) == 0;
    FUZZ_CHECK(complete == (reply.size() >= 6 && reply.size() == 6u + getU16(reply.data() + 4)));
    const int judged = CheckGetData(&bytes.array(), received);
    FUZZ_CHECK(judged >= 0 && judged <= 2 && (judged == 0 || complete));

    driver.deliver(reply, received);
    driver.deliver(reply, received);
    driver.next();
    driver.deliver(reply, received);
    driver.expectModelledImage();
    return 0;
}
