#include "tools/host/reply_verdict.h"

#include <fmt/format.h>

namespace ac500::host {

namespace {

ReplyVerdict judgeData(const RequestFrame& request, const QByteArray& reply) {
    if (reply.size() < wire::kShortReplyBytes) {
        return {Verdict::NoStatus,
                fmt::format("the reply of {} bytes is too short to carry a status word", reply.size())};
    }
    const std::uint16_t status = wire::getU16(reply.constData() + wire::kStatusAt);
    if (status != 0) {
        return {Verdict::Refused, fmt::format("the PLC refused it with status word 0x{:04X}", status)};
    }
    if (request.expectedReplyBytes >= 0 && reply.size() != request.expectedReplyBytes) {
        return {Verdict::WrongLength,
                fmt::format("the reply should have {} bytes and has {}", request.expectedReplyBytes, reply.size())};
    }
    return {};
}

}  // namespace

ReplyVerdict judgeReply(const RequestFrame& request, const QByteArray& reply) {
    const std::uint16_t magic = wire::getU16(reply.constData());
    if (magic != wire::kMagic) {
        return {Verdict::WrongMagic, fmt::format("the reply begins with 0x{:04X} instead of 0xBBBB", magic)};
    }
    return wire::isHandshake(request.service) ? ReplyVerdict() : judgeData(request, reply);
}

bool keepsConnection(Verdict verdict) {
    return verdict == Verdict::Good || verdict == Verdict::Refused;
}

}  // namespace ac500::host
