#include "tools/simulator/request_server.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "protocol/bytes.h"
#include "tools/simulator/reserved_variables.h"

namespace ac500::sim {

namespace {

// Requests.
constexpr std::size_t kServiceOffset = kEnvelopeBytes;
constexpr std::size_t kCountOffset = 8;            // read and write: number of items
constexpr std::size_t kItemsOffset = 12;           // read and write: first item
constexpr std::size_t kItemHeadBytes = 2 + 4 + 4;  // area, offset, size
constexpr std::size_t kSmallestDataRequest = kItemsOffset + kSessionBytes;
constexpr std::size_t kHelloRequestBytes = kEnvelopeBytes + 14;
constexpr std::size_t kNameLengthOffset = 8;
constexpr std::size_t kNameOffset = 10;

// Replies.
constexpr std::size_t kHelloReplyPayload = 200;
constexpr std::size_t kHelloServiceOffset = 8;
constexpr std::size_t kHelloBootCountOffset = 12;
constexpr std::size_t kHelloMaxRequestOffset = 16;
constexpr std::size_t kHelloMaxReplyOffset = 20;
constexpr std::size_t kHelloDeviceOffset = 24;
constexpr std::size_t kHelloVersionOffset = 56;
constexpr std::size_t kSymbolReplyPayload = 30;
constexpr std::size_t kSymbolServiceOffset = 8;
constexpr std::size_t kSymbolBootCountOffset = 12;
constexpr std::size_t kSymbolSessionOffset = 24;
constexpr std::size_t kReadReplyHeadPayload = kStatusBytes + 4;  // status word, count echo
constexpr char kLeadByte = '\0';

constexpr const char* kSymbolFileName = "DOWNLOAD.SDB";
constexpr const char* kDeviceName = "AC500-SIM";
constexpr const char* kVersionText = "CODESYS V2 simulation 1.0";

Reply refusal(Status status) {
    return {status, makeRefusal(status), 0, std::nullopt};
}

Reply good(Bytes bytes, std::uint32_t items) {
    return {Status::Good, std::move(bytes), items, std::nullopt};
}

// The terminator of a text field is the zero that is there already.
void putText(Bytes& reply, std::size_t offset, const char* text) {
    reply.replace(offset, std::strlen(text), text);
}

Status checkEnvelope(const Bytes& request) {
    if (request.size() < 2 || getU16(request.data()) != 0xBBBB) {
        return Status::BadMagic;
    }
    if (request.size() < kEnvelopeBytes + 1 || getU32(request.data() + 2) != request.size() - kEnvelopeBytes) {
        return Status::BadLength;
    }
    return Status::Good;
}

Reply answerHello(const Bytes& request, const Identity& identity) {
    if (request.size() != kHelloRequestBytes) {
        return refusal(Status::BadLength);
    }
    Bytes reply = makeReply(kHelloReplyPayload, Status::Good);
    reply[kHelloServiceOffset] = request[kServiceOffset];
    putU32(&reply[kHelloBootCountOffset], identity.bootCount);
    putU32(&reply[kHelloMaxRequestOffset], static_cast<quint32>(kMaxPayloadBytes));
    putU32(&reply[kHelloMaxReplyOffset], static_cast<quint32>(kMaxPayloadBytes));
    putText(reply, kHelloDeviceOffset, kDeviceName);
    putText(reply, kHelloVersionOffset, kVersionText);
    return good(std::move(reply), 0);
}

Reply answerSymbolFile(const Bytes& request, const Identity& identity) {
    if (request.size() < kNameOffset || getU16(request.data() + kNameLengthOffset) != request.size() - kNameOffset) {
        return refusal(Status::BadLength);
    }
    // The name on the wire ends with its terminator: comparing both with it keeps "DOWNLOAD.SDB\0x" out.
    if (request.substr(kNameOffset) != Bytes(kSymbolFileName, std::strlen(kSymbolFileName) + 1)) {
        return refusal(Status::UnknownFile);
    }
    Bytes reply = makeReply(kSymbolReplyPayload, Status::Good);
    reply[kSymbolServiceOffset] = request[kServiceOffset];
    putU32(&reply[kSymbolBootCountOffset], identity.bootCount);
    std::copy(identity.session.begin(), identity.session.end(), &reply[kSymbolSessionOffset]);
    return good(std::move(reply), 0);
}

// A read or write request: header, items, session bytes in reversed order.
Status checkDataRequest(const Bytes& request, const Identity& identity) {
    if (request.size() < kSmallestDataRequest) {
        return Status::BadLength;
    }
    const auto reversed = [](char sent, std::uint8_t own) { return static_cast<std::uint8_t>(sent) == own; };
    const bool same = std::equal(request.end() - kSessionBytes, request.end(), identity.session.rbegin(), reversed);
    return same ? Status::Good : Status::WrongSession;
}

ByteRange itemHead(const char* item) {
    return {getU16(item), getU32(item + 2), getU32(item + 6)};
}

// Does the item touch bytes [begin, end) of the simulator's own area?
bool touchesReserved(const ByteRange& range, std::uint64_t begin, std::uint64_t end) {
    return range.area == kReservedArea && range.offset < end && begin < range.offset + range.size;
}

bool touchesFaultKind(const ByteRange& range) {
    return touchesReserved(range, reserved::kFaultKind, reserved::kFaultKind + 2);
}

bool touchesReadOnly(const ByteRange& range) {
    return touchesReserved(range, reserved::kFirstReadOnly, reserved::kAreaBytes);
}

struct Command {
    FaultSchedule::Armed armed;
    bool good;
};

bool isService(std::uint16_t code) {
    return code <= 0xFF && serviceName(static_cast<std::uint8_t>(code))[0] != '?';
}

// What the writable part of the reserved area says.
Command readCommand(const Bytes& block) {
    const quint16 kind = getU16(&block[reserved::kFaultKind]);
    const quint16 count = getU16(&block[reserved::kFaultCount]);
    const std::int32_t argument = static_cast<std::int32_t>(getU32(&block[reserved::kFaultArgument]));
    const quint16 service = getU16(&block[reserved::kFaultService]);
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
    return std::any_of(items.begin(), items.end(), [](const auto& item) { return touchesFaultKind(item.range); });
}

// The reserved area as it will be once the items are written. REQUIRES: reserved items lie within the area.
template <class Items>
Bytes reservedBlockAfter(const PlcMemory& memory, const Items& items) {
    Bytes block = memory.read({kReservedArea, 0, reserved::kAreaBytes});
    for (const auto& item : items) {
        if (item.range.area == kReservedArea) {
            block.replace(static_cast<std::size_t>(item.range.offset), item.data.size(), item.data);
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
    const Service service = static_cast<Service>(byteAt(request.data(), kServiceOffset));
    switch (service) {
        case Service::Hello:
            return answerHello(request, identity);
        case Service::SymbolFile:
            return answerSymbolFile(request, identity);
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
    Bytes reply = makeReply(kReadReplyHeadPayload, Status::Good);
    reply.replace(kCountOffset, 4, request, kCountOffset, 4);
    for (const Item& item : items) {
        reply += kLeadByte;
        reply += memory_.read(item.range);
    }
    putU32(&reply[2], static_cast<quint32>(reply.size() - kEnvelopeBytes));
    return good(std::move(reply), static_cast<std::uint32_t>(items.size()));
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
    Reply reply = good(makeReply(kStatusBytes, Status::Good), static_cast<std::uint32_t>(items.size()));
    if (arms(items)) {
        reply.armed = readCommand(memory_.read({kReservedArea, 0, reserved::kAreaBytes})).armed;
    }
    return reply;
}

Status RequestServer::checkRead(const std::vector<Item>& items) const {
    std::uint64_t payload = kReadReplyHeadPayload;
    for (const Item& item : items) {
        const Status status = checkRange(item.range);
        if (status != Status::Good) {
            return status;
        }
        payload += 1 + item.range.size;
    }
    return payload <= kMaxPayloadBytes ? Status::Good : Status::ReplyTooLong;
}

Status RequestServer::checkWrite(const std::vector<Item>& items) const {
    for (const Item& item : items) {
        const ByteRange touched = item.bit ? PlcMemory::wordOfBit(item.range.area, item.range.offset) : item.range;
        const Status status = checkRange(touched);
        if (status != Status::Good) {
            return status;
        }
        if (touchesReadOnly(item.range)) {
            return Status::ReadOnly;
        }
    }
    const bool bad = arms(items) && !readCommand(reservedBlockAfter(memory_, items)).good;
    return bad ? Status::BadValue : Status::Good;
}

Status RequestServer::checkRange(const ByteRange& range) const {
    if (!memory_.hasArea(range.area)) {
        return Status::UnknownArea;
    }
    return memory_.contains(range) ? Status::Good : Status::OutOfRange;
}

void RequestServer::apply(const Item& item) {
    if (item.bit) {
        memory_.setBit(item.range.area, item.range.offset, item.data[0] != '\0');
    } else {
        memory_.write(item.range.area, item.range.offset, item.data);
    }
}

// The count is compared with the bytes that are there before anything is made of it.
bool RequestServer::parseReadItems(const Bytes& request, std::vector<Item>* items) {
    const std::uint64_t count = getU32(request.data() + kCountOffset);
    if (request.size() - kSmallestDataRequest != count * kItemHeadBytes) {
        return false;
    }
    for (std::size_t at = kItemsOffset; at < request.size() - kSessionBytes; at += kItemHeadBytes) {
        items->push_back({itemHead(request.data() + at), Bytes(), false});
    }
    return true;
}

bool RequestServer::parseWriteItems(const Bytes& request, std::vector<Item>* items) const {
    const std::uint64_t count = getU32(request.data() + kCountOffset);
    const std::size_t end = request.size() - kSessionBytes;
    std::size_t at = kItemsOffset;
    while (items->size() < count && end - at >= kItemHeadBytes) {
        const ByteRange range = itemHead(request.data() + at);
        at += kItemHeadBytes;
        if (range.size > end - at) {
            return false;
        }
        const auto dataBytes = static_cast<std::size_t>(range.size);
        const bool bit = dataBytes == 1 && bits_.isBitWrite(range.area, range.offset);
        items->push_back({range, request.substr(at, dataBytes), bit});
        at += dataBytes;
    }
    return items->size() == count && at == end;
}

}  // namespace ac500::sim
