#include "tools/simulator/request_server.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "tools/simulator/reserved_variables.h"

namespace ac500::sim {

namespace {

constexpr std::size_t kSmallestDataRequest = wire::kItemsAt + wire::kSessionBytes;

// What the replies to the handshake say beyond what clients look at.
constexpr std::size_t kServiceEchoAt = 8;
constexpr std::size_t kBootCountAt = 12;
constexpr std::size_t kMaxRequestAt = 16;
constexpr std::size_t kMaxReplyAt = 20;
constexpr std::size_t kProgramAt = 16;  // of the reply to symbols
constexpr std::size_t kDeviceAt = 24;
constexpr std::size_t kVersionAt = 56;

constexpr std::size_t kCountEchoAt = wire::kShortReplyBytes;  // of a read reply
constexpr char kLeadByte = '\0';

constexpr const char* kDeviceName = "AC500-SIM";
constexpr const char* kVersionText = "CODESYS V2 simulation 1.0";

Reply refusal(Status status) {
    return {status, makeRefusal(status), {}, std::nullopt, std::nullopt};
}

Reply good(Bytes bytes) {
    return {Status::Good, std::move(bytes), {}, std::nullopt, std::nullopt};
}

template <class Items>
std::vector<TouchedRun> touchedBy(const Items& items) {
    std::vector<TouchedRun> touched;
    touched.reserve(items.size());
    for (const auto& item : items) {
        touched.push_back({item.run, item.bit});
    }
    return touched;
}

// The terminator of a text field is the zero that is there already.
void putText(Bytes& reply, std::size_t offset, const char* text) {
    reply.replace(offset, std::strlen(text), text);
}

Status checkEnvelope(const Bytes& request) {
    if (request.size() < 2 || !wire::mayBeginFrame(request)) {
        return Status::BadMagic;
    }
    if (request.size() <= wire::kServiceAt ||
        wire::getU32(request.data() + wire::kLengthAt) != request.size() - wire::kEnvelopeBytes) {
        return Status::BadLength;
    }
    return Status::Good;
}

Reply answerHello(const Bytes& request, const Identity& identity) {
    if (request.size() != wire::kHelloRequestBytes) {
        return refusal(Status::BadLength);
    }
    Bytes reply = makeReply(wire::kHelloReplyBytes, Status::Good);
    reply[kServiceEchoAt] = request[wire::kServiceAt];
    wire::putU32(&reply[kBootCountAt], identity.bootCount);
    wire::putU32(&reply[kMaxRequestAt], wire::kMaxPayloadBytes);
    wire::putU32(&reply[kMaxReplyAt], wire::kMaxPayloadBytes);
    putText(reply, kDeviceAt, kDeviceName);
    putText(reply, kVersionAt, kVersionText);
    return good(std::move(reply));
}

Reply answerSymbols(const Bytes& request, const Identity& identity) {
    if (request.size() < wire::kNameAt ||
        wire::getU16(request.data() + wire::kNameLengthAt) != request.size() - wire::kNameAt) {
        return refusal(Status::BadLength);
    }
    // The name on the wire ends with its terminator: comparing both with it keeps "DOWNLOAD.SDB\0x" out.
    if (request.substr(wire::kNameAt) != Bytes(wire::kSymbolFileName, std::strlen(wire::kSymbolFileName) + 1)) {
        return refusal(Status::UnknownFile);
    }
    Bytes reply = makeReply(wire::kSymbolsReplyBytes, Status::Good);
    reply[kServiceEchoAt] = request[wire::kServiceAt];
    wire::putU32(&reply[kBootCountAt], identity.bootCount);
    reply.replace(kProgramAt, sizeof identity.program, wire::bigEndian(identity.program, sizeof identity.program));
    std::copy(identity.session.begin(), identity.session.end(), &reply[wire::kSessionAt]);
    return good(std::move(reply));
}

// A read or write request: header, items, session bytes in reversed order.
Status checkDataRequest(const Bytes& request, const Identity& identity) {
    if (request.size() < kSmallestDataRequest) {
        return Status::BadLength;
    }
    const auto reversed = [](char sent, std::uint8_t own) { return static_cast<std::uint8_t>(sent) == own; };
    const bool same =
        std::equal(request.end() - wire::kSessionBytes, request.end(), identity.session.rbegin(), reversed);
    return same ? Status::Good : Status::WrongSession;
}

// Does the item touch bytes [begin, end) of the simulator's own area?
bool touchesReserved(const ByteRun& run, std::int64_t begin, std::int64_t end) {
    return run.area == kReservedArea && run.address < end && begin < run.address + run.size;
}

bool touchesFaultKind(const ByteRun& run) {
    return touchesReserved(run, reserved::kFaultKind, reserved::kFaultKind + 2);
}

bool touchesProgram(const ByteRun& run) {
    return touchesReserved(run, reserved::kProgram, reserved::kProgram + 2);
}

bool touchesReadOnly(const ByteRun& run) {
    return touchesReserved(run, reserved::kFirstReadOnly, reserved::kAreaBytes);
}

struct Command {
    FaultSchedule::Armed armed;
    bool good;
};

bool isService(std::uint16_t code) {
    return code <= 0xFF && wire::isKnown(static_cast<Service>(code));
}

// What the writable part of the reserved area says.
Command readCommand(const Bytes& block) {
    const std::uint16_t kind = wire::getU16(&block[reserved::kFaultKind]);
    const std::uint16_t count = wire::getU16(&block[reserved::kFaultCount]);
    const std::int32_t argument = static_cast<std::int32_t>(wire::getU32(&block[reserved::kFaultArgument]));
    const std::uint16_t service = wire::getU16(&block[reserved::kFaultService]);
    Command command;
    command.armed.fault = {static_cast<FaultKind>(kind), argument};
    command.armed.count = std::max<std::uint32_t>(count, 1);
    if (service != 0) {
        command.armed.service = static_cast<Service>(service);
    }
    const FaultTraits* traits = faultTraits(kind);
    command.good = (service == 0 || isService(service)) &&
                   (kind == 0 || (traits != nullptr && acceptsArgument(*traits, argument)));
    return command;
}

template <class Items>
bool arms(const Items& items) {
    return std::any_of(items.begin(), items.end(), [](const auto& item) { return touchesFaultKind(item.run); });
}

template <class Items>
bool loadsProgram(const Items& items) {
    return std::any_of(items.begin(), items.end(), [](const auto& item) { return touchesProgram(item.run); });
}

// The reserved area as it will be once the items are written. REQUIRES: reserved items lie within the area.
template <class Items>
Bytes reservedBlockAfter(const PlcMemory& memory, const Items& items) {
    Bytes block = memory.read({kReservedArea, 0, reserved::kAreaBytes});
    for (const auto& item : items) {
        if (item.run.area == kReservedArea) {
            block.replace(static_cast<std::size_t>(item.run.address), item.data.size(), item.data);
        }
    }
    return block;
}

}  // namespace

Reply RequestServer::answer(const Bytes& request, const Identity& identity) {
    const Status status = checkEnvelope(request);
    return status == Status::Good ? answerService(request, identity) : refusal(status);
}

Reply RequestServer::answerService(const Bytes& request, const Identity& identity) {
    const Service service = Service{wire::byteAt(request.data(), wire::kServiceAt)};
    switch (service) {
        case Service::Hello:
            return answerHello(request, identity);
        case Service::Symbols:
            return answerSymbols(request, identity);
        case Service::Read:
        case Service::Write: {
            const Status status = checkDataRequest(request, identity);
            if (status != Status::Good) {
                return refusal(status);
            }
            return service == Service::Read ? read(request) : write(request);
        }
    }
    return refusal(Status::UnknownService);
}

Reply RequestServer::read(const Bytes& request) {
    std::vector<Item> items;
    if (!parseReadItems(request, &items)) {
        return refusal(Status::BadLength);
    }
    const Status status = checkRead(items);
    if (status != Status::Good) {
        return refusal(status);
    }
    Bytes reply = makeReply(wire::kReadReplyHeadBytes, Status::Good);
    reply.replace(kCountEchoAt, 4, request, wire::kItemCountAt, 4);
    for (const Item& item : items) {
        reply += kLeadByte;
        reply += memory_.read(item.run);
    }
    wire::putEnvelope(reply);
    Reply result = good(std::move(reply));
    result.touched = touchedBy(items);
    return result;
}

Reply RequestServer::write(const Bytes& request) {
    std::vector<Item> items;
    if (!parseWriteItems(request, &items)) {
        return refusal(Status::BadLength);
    }
    const Status status = checkWrite(items);
    if (status != Status::Good) {
        return refusal(status);
    }
    for (const Item& item : items) {
        apply(item);
    }
    Reply reply = good(makeReply(wire::kShortReplyBytes, Status::Good));
    reply.touched = touchedBy(items);
    if (arms(items)) {
        reply.armed = readCommand(memory_.read({kReservedArea, 0, reserved::kAreaBytes})).armed;
    }
    if (loadsProgram(items)) {
        reply.program = wire::getU16(memory_.read({kReservedArea, reserved::kProgram, 2}).data());
    }
    return reply;
}

Status RequestServer::checkRead(const std::vector<Item>& items) const {
    std::int64_t replyBytes = wire::kReadReplyHeadBytes;
    for (const Item& item : items) {
        const Status status = checkRange(item.run);
        if (status != Status::Good) {
            return status;
        }
        replyBytes += wire::kLeadBytes + item.run.size;
    }
    return replyBytes <= wire::kEnvelopeBytes + mostReplyBytes_ ? Status::Good : Status::ReplyTooLong;
}

Status RequestServer::checkWrite(const std::vector<Item>& items) const {
    for (const Item& item : items) {
        const ByteRun touched = item.bit ? PlcMemory::wordOfBit(item.run.area, item.run.address) : item.run;
        const Status status = checkRange(touched);
        if (status != Status::Good) {
            return status;
        }
        if (touchesReadOnly(item.run)) {
            return Status::ReadOnly;
        }
    }
    const bool badFault = arms(items) && !readCommand(reservedBlockAfter(memory_, items)).good;
    const bool badProgram =
        loadsProgram(items) && !isProgram(wire::getU16(&reservedBlockAfter(memory_, items)[reserved::kProgram]));
    return badFault || badProgram ? Status::BadValue : Status::Good;
}

Status RequestServer::checkRange(const ByteRun& run) const {
    if (!memory_.hasArea(run.area)) {
        return Status::UnknownArea;
    }
    return memory_.contains(run) ? Status::Good : Status::OutOfRange;
}

void RequestServer::apply(const Item& item) {
    if (item.bit) {
        memory_.setBit(item.run.area, item.run.address, item.data[0] != '\0');
    } else {
        memory_.write(item.run.area, item.run.address, item.data);
    }
}

// The count is compared with the bytes that are there before anything is made of it.
bool RequestServer::parseReadItems(const Bytes& request, std::vector<Item>* items) {
    const std::uint64_t count = wire::getU32(request.data() + wire::kItemCountAt);
    if (request.size() - kSmallestDataRequest != count * wire::kItemHeadBytes) {
        return false;
    }
    for (std::size_t at = wire::kItemsAt; at < request.size() - wire::kSessionBytes; at += wire::kItemHeadBytes) {
        items->push_back({wire::getItemHead(request.data() + at), Bytes(), false});
    }
    return true;
}

bool RequestServer::parseWriteItems(const Bytes& request, std::vector<Item>* items) const {
    const std::uint64_t count = wire::getU32(request.data() + wire::kItemCountAt);
    const std::size_t end = request.size() - wire::kSessionBytes;
    std::size_t at = wire::kItemsAt;
    while (items->size() < count && end - at >= wire::kItemHeadBytes) {
        const ByteRun run = wire::getItemHead(request.data() + at);
        at += wire::kItemHeadBytes;
        const auto dataBytes = static_cast<std::size_t>(run.size);
        if (dataBytes > end - at) {
            return false;
        }
        const bool bit = dataBytes == 1 && bits_.isBitWrite(run.area, run.address);
        items->push_back({run, request.substr(at, dataBytes), bit});
        at += dataBytes;
    }
    return items->size() == count && at == end;
}

}  // namespace ac500::sim
