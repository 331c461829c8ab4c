#include "tools/host/reply_verdict.h"

#include <fmt/format.h>

namespace ac500::host {

namespace {

constexpr std::uint16_t kSpoiltBySimulator = 0x0F01;

ReplyVerdict judgeData(const RequestFrame& request, const QByteArray& reply) {
    if (reply.size() < wire::kShortReplyBytes) {
        return {Verdict::NoStatus,
                fmt::format("the reply of {} bytes is too short to carry a status word", reply.size()), 0};
    }
    const std::uint16_t status = wire::getU16(reply.constData() + wire::kStatusAt);
    if (status != 0) {
        return {Verdict::Refused, fmt::format("the PLC refused it with status word 0x{:04X}", status), status};
    }
    if (request.expectedReplyBytes >= 0 && reply.size() != request.expectedReplyBytes) {
        return {Verdict::WrongLength,
                fmt::format("the reply should have {} bytes and has {}", request.expectedReplyBytes, reply.size()), 0};
    }
    return {};
}

}  // namespace

ReplyVerdict judgeReply(const RequestFrame& request, const QByteArray& reply) {
    const std::uint16_t magic = wire::getU16(reply.constData());
    if (magic != wire::kMagic) {
        return {Verdict::WrongMagic, fmt::format("the reply begins with 0x{:04X} instead of 0xBBBB", magic), 0};
    }
    return wire::isHandshake(request.service) ? ReplyVerdict() : judgeData(request, reply);
}

bool mayPass(std::uint16_t statusWord) {
    return statusWord == kSpoiltBySimulator;
}

bool keepsConnection(Verdict verdict) {
    return verdict == Verdict::Good || verdict == Verdict::Refused;
}

}  // namespace ac500::host
