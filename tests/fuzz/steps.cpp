#include "tests/fuzz/steps.h"

#include "protocol/bytes.h"
#include "tests/support/wire.h"

namespace ac500::fuzz {

namespace {

constexpr int kHelloPayload = 200;
constexpr int kSymbolPayload = 30;
constexpr int kReadHeadPayload = 6;

std::string readPayload(const QByteArray& frame, char fill) {
    std::string payload(kReadHeadPayload, '\0');
    for (int at = 12; at + 14 <= frame.size(); at += 10) {
        payload += std::string(1 + getU32(frame.constData() + at + 6), fill);
    }
    return payload;
}

}  // namespace

std::string goodReplyTo(const Protocol* request, char fill) {
    if (request == nullptr) {
        return std::string();
    }
    switch (byteAt(request->frame.constData(), 6)) {
        case 0x01:
            return test::envelope(std::string(kHelloPayload, fill));
        case 0x31:
            return test::envelope(std::string(kSymbolPayload, fill));
        case 0x2E:
            return test::envelope(readPayload(request->frame, fill));
        default:
            return test::envelope(std::string(2, '\0'));
    }
}

}  // namespace ac500::fuzz
