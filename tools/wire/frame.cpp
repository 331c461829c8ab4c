#include "tools/wire/frame.h"

namespace ac500::wire {

namespace {

constexpr char kMagicByte = '\xBB';

constexpr Service kServices[] = {Service::Hello, Service::Symbols, Service::Read, Service::Write};

}  // namespace

const char* serviceName(Service service) {
    switch (service) {
        case Service::Hello:
            return "hello";
        case Service::Symbols:
            return "symbols";
        case Service::Read:
            return "read";
        case Service::Write:
            return "write";
    }
    return "unknown";
}

std::optional<Service> serviceNamed(const std::string& name) {
    for (const Service service : kServices) {
        if (name == serviceName(service)) {
            return service;
        }
    }
    return std::nullopt;
}

bool isKnown(Service service) {
    for (const Service known : kServices) {
        if (service == known) {
            return true;
        }
    }
    return false;
}

bool isHandshake(Service service) {
    return service == Service::Hello || service == Service::Symbols;
}

bool mayBeginFrame(std::string_view bytes) {
    return (bytes.empty() || bytes[0] == kMagicByte) && (bytes.size() < 2 || bytes[1] == kMagicByte);
}

void putEnvelope(Bytes& frame) {
    putU16(&frame[0], kMagic);
    putU32(&frame[kLengthAt], static_cast<std::uint32_t>(frame.size() - kEnvelopeBytes));
}

ByteRun getItemHead(const char* item) {
    return {getU16(item), getU32(item + 2), getU32(item + 6)};
}

}  // namespace ac500::wire
