#include "tests/reference/machine.h"

#include <algorithm>

namespace reference {

namespace {

// Byte offsets in the settings record.
constexpr int kMaxRequestWords = 16;
constexpr int kComWord = 24;
constexpr int kRetryLimit = 28;
constexpr int kRetryCount = 32;
constexpr int kCleared40 = 40;
constexpr int kFrameTotal = 44;
constexpr int kFrameDone = 48;
constexpr int kCleared52 = 52;
constexpr int kAux3 = 56;
constexpr int kAux4 = 60;
constexpr int kAccessMode = 64;
constexpr int kFirstPassDone = 68;
constexpr int kStationId = 72;

std::string bigEndian(std::int64_t value, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i) {
        text += static_cast<char>((value >> (8 * i)) & 0xFF);
    }
    return text;
}

int lengthField(const std::string& reply) {
    return static_cast<unsigned char>(reply[4]) * 256 + static_cast<unsigned char>(reply[5]);
}

bool isComplete(const std::string& reply) {
    return reply.size() >= 6 && static_cast<int>(reply.size()) == lengthField(reply) + 6;
}

std::string itemHead(const Variable& variable) {
    return bigEndian(variable.area, 2) + bigEndian(variable.offset, 4) + bigEndian(std::max(variable.size, 0), 4);
}

std::string requestFrame(char service, std::size_t count, const std::string& items,
                         const std::array<std::uint8_t, 4>& session) {
    std::string payload;
    payload += service;
    payload += '\0';
    payload += bigEndian(static_cast<std::int64_t>(count), 4) + items;
    for (const std::uint8_t byte : session) {
        payload += static_cast<char>(byte);
    }
    return "\xBB\xBB" + std::string(2, '\0') + bigEndian(static_cast<std::int64_t>(payload.size()), 2) + payload;
}

// A frame has at most 1 GiB less one byte. Only a single write can be larger: a batch of several stays below 800 bytes.
bool fitsIntoAFrame(const std::vector<Variable>& writes) {
    return writes.size() > 1 || std::int64_t{writes.front().size} + 26 < std::int64_t{1} << 30;
}

constexpr unsigned char kFirstHandshake[] = {0xBB, 0xBB, 0, 0, 0,    0x0E, 0x01, 0, 0, 0,
                                             0x02, 0,    0, 0, 0x06, 0,    0,    0, 0, 0};
constexpr unsigned char kSecondHandshake[] = {0xBB, 0xBB, 0,   0,   0,   0x11, 0x31, 0,   0,   0x0D, 'D', 'O',
                                              'W',  'N',  'L', 'O', 'A', 'D',  '.',  'S', 'D', 'B',  0};

}  // namespace

void Machine::useSettings(Settings* hostSettings) {
    hostSettings->at(kCleared52) = 0;
    hostSettings->at(kCleared40) = 0;
    settings = hostSettings;
}

void Machine::loadSymbols(const std::vector<Symbol>& list) {
    symbols.load(list);
}

bool Machine::concreteName(std::string* name, const std::string& argument) const {
    return !contains(*name, "%%") || symbols.rewrite(name, decimalOrZero(argument)) == 0;
}

bool Machine::locate(std::string* name, const std::string& argument, Place* place) const {
    return concreteName(name, argument) && symbols.resolve(*name, place) == 0;
}

std::int32_t Machine::addRead(const Variable& variable) {
    readList.push_back(variable);
    return static_cast<std::int32_t>(readList.size());
}

std::int32_t Machine::addWrite(const Variable& variable) {
    writeList.push_back(variable);
    return static_cast<std::int32_t>(writeList.size());
}

std::int32_t Machine::addOnceRead(Variable* v) {
    std::string name = v->labelName;
    Place place;
    if (!locate(&name, v->labelArg, &place)) {
        return 0;
    }
    v->area = place.area;
    v->resolveResult = 0;
    v->dataType = place.dataType;
    v->comWord = settings->at(kComWord);
    v->offset = place.address;
    Extent extent;
    if (!readExtent(place, v->size, &extent)) {
        return 0;
    }
    v->dataType = extent.dataType;
    v->offset = extent.offset;
    const std::int64_t maxBytes = 2 * std::int64_t{settings->at(kMaxRequestWords)};
    std::int64_t remaining = maxBytes > 0 ? extent.bytes : 0;
    while (remaining > 0) {
        const std::int64_t piece = std::min(remaining, maxBytes);
        v->size = wrapped(piece);
        bool known = false;
        for (const Variable& other : onceReadList) {
            known = known || (other.hostId == v->hostId && other.hostSubId == v->hostSubId &&
                              other.comWord == v->comWord && other.offset == v->offset && other.size == v->size &&
                              other.aux4 == v->aux4 && other.dataType == v->dataType && other.area == v->area);
        }
        if (!known && onceReadList.size() <= 1023) {
            onceReadList.push_back(*v);
        }
        remaining -= piece;
        v->offset = wrapped(v->offset + piece);
    }
    return static_cast<std::int32_t>(onceReadList.size());
}

std::int32_t Machine::rebuildReadList(const std::vector<Tag>& tags) {
    readList.clear();
    if (tags.empty()) {
        return 0;
    }
    const std::int32_t maxBytes = wrapped(2 * std::int64_t{settings->at(kMaxRequestWords)});
    cyclicBatches = 0;
    settings->at(kFirstPassDone) = 0;
    std::map<std::int32_t, std::vector<Variable>> areas;
    for (const Tag& tag : tags) {
        std::string name = tag.name;
        Place place;
        Extent extent;
        if (!locate(&name, tag.argument, &place) || !readExtent(place, tag.count, &extent) || extent.nothingAsked) {
            continue;
        }
        Variable v;
        v.hostId = 0;
        v.hostSubId = -1;
        v.writeFlag = 0;
        v.aux3 = settings->at(kAux3);
        v.aux4 = settings->at(kAux4);
        v.labelName = name;
        v.labelArg = tag.argument;
        v.dataType = extent.dataType;
        v.offset = extent.offset;
        v.comWord = settings->at(kComWord);
        v.size = extent.bytes;
        v.area = place.area;
        areas[place.area].push_back(v);
    }
    for (auto& area : areas) {
        sortByOffset(&area.second);
        mergeArea(&area.second, maxBytes, &readList);
    }
    return static_cast<std::int32_t>(readList.size());
}

void Machine::chooseReads(const std::vector<Variable>& list) {
    std::int64_t sum = 0;
    for (const Variable& candidate : list) {
        sum += std::int64_t{std::max(candidate.size, 0)} + 1;
        if (!batch.empty() && (sum >= 800 || batch.size() >= 79)) {
            break;
        }
        batch.push_back(candidate);
    }
}

void Machine::queueRead() {
    std::string items;
    for (const Variable& variable : batch) {
        items += itemHead(variable);
    }
    Frame frame;
    frame.bytes = requestFrame(0x2E, batch.size(), items, session);
    frame.frameLength = static_cast<std::int32_t>(frame.bytes.size());
    frame.replyDataOffset = 12;
    frame.variable = batch.front();
    frames.push_back(frame);
    settings->at(kFrameDone) = 0;
    settings->at(kFrameTotal) = 1;
}

void Machine::queueWrite() {
    std::string items;
    for (const Variable& variable : batch) {
        std::string data = variable.data;
        data.resize(static_cast<std::size_t>(std::max(variable.size, 0)), '\0');
        items += itemHead(variable) + data;
    }
    Frame frame;
    frame.bytes = requestFrame(0x3C, batch.size(), items, session);
    frame.frameLength = static_cast<std::int32_t>(frame.bytes.size());
    frame.variable = batch.front();
    frames.push_back(frame);
    settings->at(kFrameDone) = 0;
    settings->at(kFrameTotal) = 1;
    if (!commFailed) {
        image.store(batch.front());
    }
}

void Machine::refuseWrite() {
    callbacks.push_back("varDone(" + std::to_string(settings->at(kStationId)) + ", " +
                        std::to_string(writeList.front().hostId) + ", " + std::to_string(writeList.front().hostSubId) +
                        ", 2)");
    writeList.erase(writeList.begin());
}

void Machine::queueHandshake(const Variable& variable) {
    Frame frame;
    frame.minReplyLength = 6;
    frame.variable = variable;
    frame.bytes.assign(std::begin(kFirstHandshake), std::end(kFirstHandshake));
    frame.frameLength = 20;
    frames.push_back(frame);
    frame.bytes.assign(std::begin(kSecondHandshake), std::end(kSecondHandshake));
    frame.frameLength = 23;
    frames.push_back(frame);
    settings->at(kFrameDone) = 0;
    settings->at(kFrameTotal) = 2;
}

const Frame* Machine::nextRequest() {
    if (!frames.empty()) {
        return &frames.front();
    }
    batch.clear();
    if (!writeList.empty() && writeTurns <= 4) {
        std::int64_t sum = 0;
        for (const Variable& candidate : writeList) {
            sum += std::int64_t{std::max(candidate.size, 0)} + 10;
            if (!batch.empty() && sum >= 800) {
                break;
            }
            batch.push_back(candidate);
        }
        if (fitsIntoAFrame(batch)) {
            queueWrite();
        } else {
            refuseWrite();
        }
        batchKind = 1;
        writeTurns += 1;
    } else if (!onceReadList.empty() && onceReadTurns <= 4) {
        chooseReads(onceReadList);
        queueRead();
        batchKind = 2;
        onceReadTurns += 1;
    } else if (!readList.empty()) {
        chooseReads(readList);
        queueRead();
        batchKind = 0;
        writeTurns = 0;
        onceReadTurns = 0;
    }
    if (frames.empty()) {
        writeTurns = 0;
        onceReadTurns = 0;
        settings->at(kFirstPassDone) = 1;
        return nullptr;
    }
    if (!connected) {
        frames.clear();
        queueHandshake(batch.front());
    }
    return &frames.front();
}

std::int32_t Machine::withHostId(std::int32_t base) const {
    const std::int32_t id = frames.front().variable.hostId;
    return base + 1 + (id >= 1 && id <= 11 ? id : 0);
}

std::int32_t Machine::judgeHandshake(const std::string& reply) {
    if (static_cast<std::int64_t>(reply.size()) < frames.front().minReplyLength) {
        return 8;
    }
    const int length = lengthField(reply);
    switch (settings->at(kFrameDone)) {
        case 0:
            return length <= 199 ? 9 : 0;
        case 1:
            if (length <= 29) {
                return 13;
            }
            for (std::size_t i = 0; i < 4; ++i) {
                session[i] = static_cast<std::uint8_t>(reply[27 - i]);
            }
            return 0;
        default:
            return 1;
    }
}

void Machine::storeBatch(const std::string& reply) {
    auto position = static_cast<std::size_t>(frames.front().replyDataOffset);
    for (const Variable& request : batch) {
        position += 1;
        image.storeReply(reply, &position, request);
    }
}

std::int32_t Machine::judgeData(const std::string& reply, std::int32_t received) {
    const Frame& head = frames.front();
    if (received == 0 && head.replyLength != 0) {
        return withHostId(40);
    }
    if (head.replyLength == 0) {
        return 1;
    }
    if (head.replyLength != received && head.replyLength != -1) {
        return withHostId(70);
    }
    if (reply.size() < 8 || !isComplete(reply) || reply[6] != 0 || reply[7] != 0) {
        return withHostId(10);
    }
    if (head.variable.writeFlag == 0) {
        storeBatch(reply);
    }
    return 1;
}

std::int32_t Machine::fail(std::int32_t code, bool* batchDone) {
    settings->at(kRetryCount) += 1;
    if (settings->at(kRetryCount) <= settings->at(kRetryLimit)) {
        *batchDone = false;
        return 0;
    }
    commFailed = true;
    cyclicBatches = 0;
    settings->at(kFirstPassDone) = 0;
    settings->at(kRetryCount) = 0;
    frames.clear();
    connected = false;
    *batchDone = true;
    return code;
}

void Machine::report(std::vector<Variable>* list) {
    const std::size_t count = std::min(list->size(), batch.size());
    std::vector<Variable> finished(list->begin(), list->begin() + static_cast<std::ptrdiff_t>(count));
    list->erase(list->begin(), list->begin() + static_cast<std::ptrdiff_t>(count));
    while (!finished.empty()) {
        const std::int32_t id = finished.back().hostId;
        const std::int32_t subId = finished.back().hostSubId;
        const auto same = [&](const Variable& v) { return v.hostId == id && v.hostSubId == subId; };
        finished.erase(std::remove_if(finished.begin(), finished.end(), same), finished.end());
        const bool pending = std::any_of(list->begin(), list->end(), same);
        if (pending && !commFailed) {
            continue;
        }
        callbacks.push_back("varDone(" + std::to_string(settings->at(kStationId)) + ", " + std::to_string(id) + ", " +
                            std::to_string(subId) + ", " + (commFailed ? "2" : "1") + ")");
    }
}

void Machine::complete() {
    if (batchKind == 1) {
        report(&writeList);
    } else if (batchKind == 2) {
        report(&onceReadList);
    } else if (batchKind == 0) {
        for (std::size_t i = 0; i < batch.size() && !readList.empty(); ++i) {
            readList.push_back(readList.front());
            readList.erase(readList.begin());
        }
    }
    if (commFailed) {
        callbacks.push_back("commFail(empty, " + std::to_string(result.hostId) + ", 1)");
        if (batchKind == 1) {
            writeList.clear();
        } else if (batchKind == 2) {
            onceReadList.clear();
        }
    }
}

std::int32_t Machine::takeReply(const std::string& reply, std::int32_t received) {
    result.status = 1;
    if (frames.empty()) {
        return result.status;
    }
    result = frames.front().variable;
    result.data.clear();

    bool batchDone = false;
    std::int32_t status = 0;
    if (frames.front().replyLength == -1) {
        if (isComplete(reply)) {
            frames.front().replyLength = static_cast<std::int32_t>(reply.size());
            return result.status = 1;
        }
        if (!reply.empty()) {
            return result.status = 0;
        }
        status = fail(41, &batchDone);
    } else if (frames.front().replyLength > 0 && !isComplete(reply)) {
        status = fail(71, &batchDone);
    } else if (connected) {
        status = judgeData(reply, received);
        if (status != 1 && status != 100) {
            status = fail(status, &batchDone);
        } else {
            commFailed = false;
            settings->at(kFrameDone) += 1;
            if (settings->at(kFrameDone) >= settings->at(kFrameTotal)) {
                batchDone = true;
                if (settings->at(kFirstPassDone) == 0) {
                    cyclicBatches += 1;
                    if (cyclicBatches > static_cast<std::int32_t>(readList.size())) {
                        cyclicBatches = 0;
                        settings->at(kFirstPassDone) = 1;
                    }
                }
            }
            frames.erase(frames.begin());
        }
    } else {
        if (judgeHandshake(reply) != 0) {
            frames.clear();
            return result.status = 201;
        }
        settings->at(kFrameDone) += 1;
        if (settings->at(kFrameDone) < settings->at(kFrameTotal)) {
            frames.erase(frames.begin());
        } else {
            frames.clear();
            connected = true;
        }
        return result.status = 1;
    }

    if (batchDone) {
        complete();
    }
    return result.status = status;
}

std::uint32_t Machine::readValue(std::string* label, const std::string& argument, std::int32_t count,
                                 std::string* out) {
    Place place;
    if (!locate(label, argument, &place)) {
        *out = std::string(static_cast<std::size_t>(std::max(count, 0)) * 2, '\0');
        return 0;
    }
    *out = image.read(place, count);
    return 1;
}

void Machine::sendOrStore(const Variable& variable) {
    if (settings->at(kAccessMode) == 2) {
        addWrite(variable);
        if (commFailed) {
            image.store(variable);
        }
    } else {
        image.store(variable);
    }
}

std::uint32_t Machine::writeValue(std::string* label, const std::string& argument, const std::string& in,
                                  std::int32_t count, std::int32_t hostId, std::int32_t hostSubId) {
    Place place;
    if (!locate(label, argument, &place)) {
        return 0;
    }
    Variable v;
    v.hostId = hostId;
    v.hostSubId = hostSubId;
    v.writeFlag = 1;
    v.aux3 = settings->at(kAux3);
    v.aux4 = settings->at(kAux4);
    v.labelName = *label;
    v.labelArg = argument;
    v.dataType = place.dataType;
    v.offset = place.address;
    v.comWord = settings->at(kComWord);
    v.size = count;
    v.area = place.area;
    if (place.isBit == 1) {
        const int width = bytesWithBits(place.dataType);
        if (width > 0) {
            v.data = image.wholeVariable(place, width);
            writeBits(place, in, count, &v.data);
            v.size = width;
            sendOrStore(v);
        }
        return static_cast<std::uint32_t>(writeList.size());
    }
    const std::string bytes = payload(place, in, count);
    const std::int64_t limit = place.dataType == 13 ? 1 : 2 * std::int64_t{settings->at(kMaxRequestWords)};
    std::size_t position = 0;
    while (limit > 0 && position < bytes.size()) {
        v.data = bytes.substr(position, static_cast<std::size_t>(limit));
        v.size = static_cast<std::int32_t>(v.data.size());
        sendOrStore(v);
        v.offset = wrapped(std::int64_t{v.offset} + v.size);
        position += v.data.size();
    }
    return static_cast<std::uint32_t>(writeList.size());
}

void Machine::switchStation(std::int32_t station, std::int32_t enable) {
    if (station < 0) {
        offStations.clear();
    } else if (enable == 0) {
        offStations[station] = 0;
    } else if (enable == 1) {
        offStations.erase(station);
    }
}

bool Machine::stationIsOff(std::int32_t station) const {
    return offStations.count(station) != 0;
}

}  // namespace reference
