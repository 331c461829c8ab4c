#include "tools/host/reply_assembler.h"

#include "protocol/bytes.h"

namespace ac500::host {

namespace {

const char kMagicByte = static_cast<char>(0xBB);
const int kLengthLowAt = 4;
const int kEnvelopeBytes = 2 + 4;

}  // namespace

int ReplyAssembler::announced() const {
    return bytes_.size() < kEnvelopeBytes ? -1 : kEnvelopeBytes + getU16(bytes_.constData() + kLengthLowAt);
}

bool ReplyAssembler::mayBeReply() const {
    return (bytes_.size() < 1 || bytes_[0] == kMagicByte) && (bytes_.size() < 2 || bytes_[1] == kMagicByte);
}

QByteArray ReplyAssembler::takeReply() {
    const QByteArray taken = reply();
    bytes_.remove(0, taken.size());
    return taken;
}

}  // namespace ac500::host
