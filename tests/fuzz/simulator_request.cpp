// The simulated PLC and whatever a client sends: a stream of bytes in pieces of any size. First byte: the fault that
// the replies meet (low 4 bits); bit 0x40: requests that end in "SSSS" get the session bytes in place of these, so that
// inputs get past the session check also after a restart. Second byte: the size of the pieces.
#include "protocol/bytes.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/plant.h"
#include "tools/simulator/frame_splitter.h"
#include "tools/simulator/plc_model.h"
#include "tools/simulator/reserved_variables.h"

using namespace ac500;
using namespace ac500::fuzz;
using namespace ac500::sim;

namespace {

constexpr int kSessionFlag = 0x40;
constexpr int kMostRequests = 40;

constexpr ByteRun kMemory[] = {{1, 0, 2048}, {2, 0, 256}, {3, 0, 16}};
// The part of the reserved area that clients write.
constexpr ByteRun kCommand = {kReservedArea, 0, reserved::kFirstReadOnly};

Bytes wholeMemory(const PlcModel& model) {
    Bytes all = model.memory().read(kCommand);
    for (const ByteRun& run : kMemory) {
        all += model.memory().read(run);
    }
    return all;
}

void withSession(const PlcModel& model, Bytes& request) {
    const std::size_t at = request.size() < wire::kSessionBytes ? 0 : request.size() - wire::kSessionBytes;
    if (request.compare(at, Bytes::npos, "SSSS") == 0) {
        const SessionBytes& session = model.identity().session;
        request.replace(at, wire::kSessionBytes, Bytes(session.rbegin(), session.rend()));
    }
}

bool isNamed(Status status) {
    return std::string(statusText(status)) != "unnamed status";
}

void checkReply(const Bytes& reply) {
    FUZZ_CHECK(reply.size() >= wire::kShortReplyBytes && reply.size() <= wire::kEnvelopeBytes + wire::kMaxPayloadBytes);
    FUZZ_CHECK(getU16(reply.data()) == 0xBBBB);
    FUZZ_CHECK(getU32(reply.data() + 2) == reply.size() - wire::kEnvelopeBytes);
    const Status status = static_cast<Status>(getU16(reply.data() + wire::kEnvelopeBytes));
    FUZZ_CHECK(isNamed(status));
    FUZZ_CHECK(status == Status::Good || reply.size() == wire::kShortReplyBytes);
}

// The bytes of a good read, item by item.
void checkReadReply(const PlcModel& model, const Bytes& request, const Bytes& reply) {
    std::size_t at = 12;
    for (std::size_t item = 12; item + 10 <= request.size() - wire::kSessionBytes; item += 10) {
        const ByteRun run{getU16(&request[item]), getU32(&request[item + 2]), getU32(&request[item + 6])};
        FUZZ_CHECK(model.memory().contains(run));
        FUZZ_CHECK(reply.compare(at + 1, static_cast<std::size_t>(run.size), model.memory().read(run)) == 0);
        at += 1 + static_cast<std::size_t>(run.size);
    }
    FUZZ_CHECK(at == reply.size());
}

// What was written last stands in the memory; bits go elsewhere.
void checkLastWritten(const PlcModel& model, const Bytes& request) {
    std::size_t at = 12;
    ByteRun last;
    std::size_t dataAt = 0;
    while (at + 10 <= request.size() - wire::kSessionBytes) {
        last = {getU16(&request[at]), getU32(&request[at + 2]), getU32(&request[at + 6])};
        dataAt = at + 10;
        at = dataAt + static_cast<std::size_t>(last.size);
    }
    FUZZ_CHECK(at == request.size() - wire::kSessionBytes);
    FUZZ_CHECK(last.area != kReservedArea || last.address + last.size <= reserved::kFirstReadOnly);
    if (dataAt != 0 && last.area != 3) {
        FUZZ_CHECK(model.memory().read(last) == request.substr(dataAt, static_cast<std::size_t>(last.size)));
    }
}

// Waits only for a request that may still come: the right magic, a length that is allowed, and bytes missing.
void checkWaiting(const Bytes& pending) {
    FUZZ_CHECK(pending.compare(0, 2, Bytes("\xBB\xBB").substr(0, pending.size())) == 0);
    FUZZ_CHECK(pending.size() < wire::kEnvelopeBytes || getU32(&pending[2]) <= wire::kMaxPayloadBytes);
    FUZZ_CHECK(pending.size() < wire::kEnvelopeBytes || pending.size() < wire::kEnvelopeBytes + getU32(&pending[2]));
}

// An answer without faults first, then one with: the second never harms the memory more than the first.
void serve(PlcModel& model, const Bytes& request) {
    const Bytes before = wholeMemory(model);
    const Counters counters = model.counters();
    const Bytes reply = model.answer(request);
    checkReply(reply);
    FUZZ_CHECK(model.counters().requests() == counters.requests() + 1);
    const bool good = getU16(reply.data() + wire::kEnvelopeBytes) == 0;
    const int service = byteAt(request.data(), wire::kEnvelopeBytes);
    const bool writes = service == static_cast<int>(Service::Write);
    FUZZ_CHECK(model.counters().refused == counters.refused + (good ? 0 : 1));
    FUZZ_CHECK((good && writes) || wholeMemory(model) == before);
    if (good && service == static_cast<int>(Service::Read)) {
        FUZZ_CHECK(reply.compare(8, 4, request, 8, 4) == 0);
    }
    if (good && service == static_cast<int>(Service::Read)) {
        checkReadReply(model, request, reply);
    }
    if (good && writes) {
        checkLastWritten(model, request);
    }

    const Exchange exchange = model.serve(request);
    FUZZ_CHECK((exchange.status == Status::Good) == good);
    FUZZ_CHECK(exchange.replyBytes == reply.size());
    FUZZ_CHECK(good || exchange.fault.kind == FaultKind::None);
    std::size_t sent = 0;
    for (const DeliveryStep& step : exchange.delivery.steps) {
        sent += step.bytes.size();
        FUZZ_CHECK(step.delayMs >= 0);
    }
    FUZZ_CHECK(sent <= 16 * reply.size());
    if (exchange.fault.kind == FaultKind::None) {
        FUZZ_CHECK(sent == reply.size() && exchange.delivery.steps.size() == 1);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const int choice = input.u8();
    const std::size_t piece = input.u8() + 1u;
    PlcSettings settings;
    if ((choice & 0x0F) != 0 && faultTraits(static_cast<std::uint16_t>(choice & 0x0F)) != nullptr) {
        FaultRule rule;
        rule.fault.kind = static_cast<FaultKind>(choice & 0x0F);
        rule.trigger = FaultRule::Trigger::Every;
        rule.number = 3;
        settings.faults.push_back(rule);
    }
    PlcModel model(plant(), settings);
    FUZZ_CHECK(model.problems().empty());

    FrameSplitter splitter;
    Bytes pending;  // what the splitter should hold
    int requests = 0;
    while (!input.empty() && requests < kMostRequests) {
        const std::string bytes = input.bytes(std::min(piece, splitter.room()));
        FUZZ_CHECK(!bytes.empty());  // else a full buffer without a frame: the connection would wait for ever
        splitter.append(bytes.data(), bytes.size());
        pending += bytes;
        FUZZ_CHECK(splitter.room() <= kMaxRequestBytes);
        Bytes request;
        FrameSplitter::Result result = splitter.next(&request);
        for (; result == FrameSplitter::Result::Frame && requests < kMostRequests; ++requests) {
            FUZZ_CHECK(pending.compare(0, request.size(), request) == 0);
            pending.erase(0, request.size());
            if ((choice & kSessionFlag) != 0) {
                withSession(model, request);
            }
            serve(model, request);
            result = splitter.next(&request);
        }
        if (result == FrameSplitter::Result::NeedMore) {
            checkWaiting(pending);
        }
        if (result == FrameSplitter::Result::BadMagic || result == FrameSplitter::Result::TooLong) {
            const Exchange end = model.refuse(Status::BadMagic);
            FUZZ_CHECK(end.delivery.steps.size() == 1 && end.delivery.steps[0].after == After::Close);
            return checkReply(end.delivery.steps[0].bytes), 0;
        }
    }
    return 0;
}
