// FakePlc answers the driver's requests in-process: memory by area, and one heartbeat that is never at rest.
#ifndef AC500_TESTS_DOOR_FAKE_PLC_H
#define AC500_TESTS_DOOR_FAKE_PLC_H

#include <QtCore/QByteArray>

#include <map>
#include <utility>

#include "tests/support/wire.h"

namespace ac500::test {

// Used by one thread at a time.
class FakePlc {
public:
    // Every read of this area gives bytes that are all alike, and other ones each time.
    static constexpr int kHeartbeatArea = 9;

    // The reply to one request; empty for a service that is not known.
    QByteArray answer(const QByteArray& request) {
        switch (request.at(6)) {
            case 0x01:
                return firstHandshakeReply();
            case 0x31:
                return secondHandshakeReply("0D 0C 0B 0A");
            case 0x2E:
                return answerRead(request);
            case 0x3C:
                return answerWrite(request);
            default:
                return QByteArray();
        }
    }

    QByteArray memoryAt(int area, int address, int size) {
        QByteArray data;
        for (int i = 0; i < size; ++i) {
            data += memory[{area, address + i}];
        }
        return data;
    }

private:
    static int number(const QByteArray& frame, int position, int size) {
        return frame.mid(position, size).toHex().toInt(nullptr, 16);
    }

    QByteArray answerRead(const QByteArray& request) {
        QByteArray payload = bytes("00 00 00 00 00 00");
        int position = 12;
        for (int items = number(request, 8, 4); items > 0; --items, position += 10) {
            payload += '\xFF' + readAt(number(request, position, 2), number(request, position + 2, 4),
                                       number(request, position + 6, 4));
        }
        return envelope(payload);
    }

    QByteArray readAt(int area, int address, int size) {
        return area == kHeartbeatArea ? QByteArray(size, ++heartbeat) : memoryAt(area, address, size);
    }

    QByteArray answerWrite(const QByteArray& request) {
        int position = 12;
        for (int items = number(request, 8, 4); items > 0; --items) {
            const int size = number(request, position + 6, 4);
            for (int i = 0; i < size; ++i) {
                memory[{number(request, position, 2), number(request, position + 2, 4) + i}] =
                    request.at(position + 10 + i);
            }
            position += 10 + size;
        }
        return writeReply();
    }

    std::map<std::pair<int, int>, char> memory;
    char heartbeat = 0;
};

}  // namespace ac500::test

#endif
