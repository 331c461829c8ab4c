#include "tools/host/reply_assembler.h"

#include "tools/wire/frame.h"

namespace ac500::host {

int ReplyAssembler::announced() const {
    return bytes_.size() < wire::kEnvelopeBytes
               ? -1
               : wire::kEnvelopeBytes + wire::getU16(bytes_.constData() + wire::kLowLengthAt);
}

bool ReplyAssembler::mayBeReply() const {
    return wire::mayBeginFrame({bytes_.constData(), static_cast<std::size_t>(bytes_.size())});
}

QByteArray ReplyAssembler::takeReply() {
    const QByteArray taken = reply();
    bytes_.remove(0, taken.size());
    return taken;
}

}  // namespace ac500::host
