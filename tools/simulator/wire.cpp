#include "tools/simulator/wire.h"

#include "protocol/bytes.h"

namespace ac500::sim {

namespace {

constexpr char kMagicByte = static_cast<char>(0xBB);

bool startsWithMagic(const Bytes& bytes) {
    return (bytes.empty() || bytes[0] == kMagicByte) && (bytes.size() < 2 || bytes[1] == kMagicByte);
}

}  // namespace

const char* serviceName(std::uint8_t serviceCode) {
    switch (static_cast<Service>(serviceCode)) {
        case Service::Hello:
            return "hello";
        case Service::SymbolFile:
            return "symbols";
        case Service::Read:
            return "read";
        case Service::Write:
            return "write";
    }
    return "?";
}

const char* statusText(Status status) {
    switch (status) {
        case Status::Good:
            return "good";
        case Status::BadMagic:
            return "wrong magic";
        case Status::RequestTooLong:
            return "request too long";
        case Status::BadLength:
            return "bad length";
        case Status::UnknownService:
            return "unknown service";
        case Status::WrongSession:
            return "wrong session bytes";
        case Status::UnknownFile:
            return "unknown file";
        case Status::UnknownArea:
            return "unknown area";
        case Status::OutOfRange:
            return "item out of range";
        case Status::ReplyTooLong:
            return "reply too long";
        case Status::ReadOnly:
            return "read-only variable";
        case Status::BadValue:
            return "bad value";
        case Status::Injected:
            return "injected fault";
    }
    return "unnamed status";
}

Bytes makeReply(std::size_t payloadBytes, Status status) {
    Bytes reply(kEnvelopeBytes + payloadBytes, '\0');
    reply[0] = kMagicByte;
    reply[1] = kMagicByte;
    putU32(&reply[2], static_cast<quint32>(payloadBytes));
    putU16(&reply[kEnvelopeBytes], static_cast<quint16>(status));
    return reply;
}

Bytes makeRefusal(Status status) {
    return makeReply(kStatusBytes, status);
}

FrameSplitter::Result FrameSplitter::next(Bytes* frame) {
    if (!startsWithMagic(buffer_)) {
        return Result::BadMagic;
    }
    if (buffer_.size() < kEnvelopeBytes) {
        return Result::NeedMore;
    }
    const std::size_t payloadBytes = getU32(buffer_.data() + 2);
    if (payloadBytes > kMaxPayloadBytes) {
        return Result::TooLong;
    }
    const std::size_t frameBytes = kEnvelopeBytes + payloadBytes;
    if (buffer_.size() < frameBytes) {
        return Result::NeedMore;
    }
    *frame = buffer_.substr(0, frameBytes);
    buffer_.erase(0, frameBytes);
    return Result::Frame;
}

}  // namespace ac500::sim
