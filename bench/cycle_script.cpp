#include "bench/cycle_script.h"

#include "bench/workload.h"
#include "core/host_interface.h"
#include "tools/wire/frame.h"

namespace ac500::bench {

namespace {

constexpr int kHandshakeFrames = 2;

}  // namespace

RequestSource driverSource() {
    return {ComCommunication, [](QByteArray* reply, int received) { return DataCom(reply, received)->status; }};
}

int itemCount(const QByteArray& request) {
    return static_cast<int>(wire::getU32(request.constData() + wire::kItemCountAt));
}

void openSession(const Exchange& exchange) {
    const RequestSource driver = driverSource();
    for (int i = 0; i < kHandshakeFrames; ++i) {
        QByteArray reply = exchange(driver.next()->frame);
        driver.take(&reply, reply.size());
        require(driver.take(&reply, reply.size()) == 1, "the handshake failed");
    }
    require(PLC_driver.connected == 1, "the session did not open");
}

CycleScript rehearse(int entries, const RequestSource& source, const Exchange& exchange) {
    CycleScript script;
    const auto playOne = [&] {
        const QByteArray request = source.next()->frame;
        QByteArray reply = exchange(request);
        require(source.take(&reply, reply.size()) == 1 && source.take(&reply, reply.size()) == 1,
                "a reply was not taken");
        script.requests.push_back(request);
        script.replies.push_back(reply);
    };
    for (int i = 0; i < entries; ++i) {  // by then every request belongs to the part that repeats itself
        playOne();
    }
    script = CycleScript();
    const QByteArray first = source.next()->frame;
    int entriesRead = 0;
    do {
        playOne();
        entriesRead += itemCount(script.requests.back());
        require(static_cast<int>(script.requests.size()) <= entries, "the list does not come round");
    } while (source.next()->frame != first);
    require(entriesRead % entries == 0, "the list came round after a broken number of cycles");
    script.cycles = entriesRead / entries;
    return script;
}

void playAlong(const CycleScript& script, const RequestSource& source, const Exchange& exchange) {
    for (const QByteArray& request : script.requests) {
        require(source.next()->frame == request, "a request is not the one that was expected");
        QByteArray reply = exchange(request);
        require(source.take(&reply, reply.size()) == 1 && source.take(&reply, reply.size()) == 1,
                "a reply was not taken");
    }
}

bool holdsAsked(const QByteArray& request, const TinyPlc& plc, const ByteAt& byteAt) {
    const char* item = request.constData() + wire::kItemsAt;
    for (int i = 0; i < itemCount(request); ++i, item += wire::kItemHeadBytes) {
        const wire::ByteRun run = wire::getItemHead(item);
        const int start = static_cast<int>(run.address);
        for (int address = start; address < start + run.size; ++address) {
            if (byteAt(address) != plc.byteAt(address)) {
                return false;
            }
        }
    }
    return true;
}

ByteAt bytesOf(const QHash<quint64, char>& image) {
    return [&image](int address) {
        return image.value(static_cast<quint64>(kArea) << 32 | static_cast<quint32>(address), '\0');
    };
}

bool holdsMemory(const QHash<quint64, char>& image, const Corpus& corpus, int generation) {
    for (const CorpusTag& tag : corpus.tags) {
        const quint64 key = static_cast<quint64>(kArea) << 32 | static_cast<quint32>(tag.startByte);
        for (int i = 0; i < 2; ++i) {
            const auto found = image.constFind(key + static_cast<quint32>(i));
            if (found == image.constEnd() || found.value() != memoryByte(tag.startByte + i, generation)) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace ac500::bench
