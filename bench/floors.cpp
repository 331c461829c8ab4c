#include "bench/floors.h"

#include <algorithm>
#include <cstring>

#include <QtCore/QMutexLocker>
#include <QtCore/QStringList>

#include "bench/driver_setup.h"
#include "bench/workload.h"
#include "core/codes.h"
#include "tools/wire/frame.h"

namespace ac500::bench {

namespace {

constexpr int kVariableBytes = 2;
constexpr int kMostEntries = 79;
constexpr int kByteBudget = 800;
constexpr int kMostTurns = 5;  // of writes in a row

QHash<QString, int> startBytesByName(const Corpus& corpus) {
    QHash<QString, int> result;
    result.reserve(static_cast<int>(corpus.tags.size()));
    for (const CorpusTag& tag : corpus.tags) {
        result.insert(separateCopy(tag.name), tag.startByte);
    }
    return result;
}

void fillMemory(std::vector<char>& memory, int generation) {
    for (int address = 0; address < static_cast<int>(memory.size()); ++address) {
        memory[static_cast<std::size_t>(address)] = memoryByte(address, generation);
    }
}

quint64 imageKey(const RW_VAR& var) {
    return static_cast<quint64>(static_cast<quint32>(var.area)) << 32 | static_cast<quint32>(var.offset);
}

Protocol newRequest(const QByteArray& frame, const RW_VAR& var) {
    Protocol request = Protocol();
    request.frame = frame;
    request.frameLength = frame.size();
    request.replyLength = -1;
    request.var = var;
    return request;
}

bool startsBefore(const RW_VAR& a, const RW_VAR& b) {
    return a.offset < b.offset;
}

bool isComplete(const QByteArray& reply) {
    return reply.size() >= wire::kEnvelopeBytes &&
           reply.size() == wire::kEnvelopeBytes + wire::getU16(reply.constData() + wire::kLowLengthAt);
}

}  // namespace

ReadFloor::ReadFloor(const Corpus& corpus)
    : startBytes_(startBytesByName(corpus)), memory_(static_cast<std::size_t>(corpus.areaBytes)) {
    setGeneration(0);
}

void ReadFloor::setGeneration(int generation) {
    fillMemory(memory_, generation);
}

bool ReadFloor::read(const QString& name, char* value) {
    const auto found = startBytes_.constFind(name);
    if (found == startBytes_.constEnd()) {
        return false;
    }
    QMutexLocker lock(&mutex_);
    const char* bytes = memory_.data() + found.value();
    value[0] = bytes[1];
    value[1] = bytes[0];
    return true;
}

void ReadFloor::store(const std::vector<std::pair<int, int>>& runs, const char* reply) {
    QMutexLocker lock(&mutex_);
    const char* next = reply + wire::kReadReplyHeadBytes;
    for (const auto& [startByte, bytes] : runs) {
        next += wire::kLeadBytes;
        std::copy(next, next + bytes, memory_.begin() + startByte);
        next += bytes;
    }
}

ResolutionFloor::Node ResolutionFloor::nodeOf(const Label_Type_Info& record) {
    Node node;
    node.offset = record.offset;
    node.dataType = record.type & 0xFF;
    node.area = record.areaList.value(0);
    if (!record.elementType.isEmpty()) {
        const Label_Type_Info& structure = record.elementType.first();
        node.members.reserve(structure.members.size());
        for (const Label_Type_Info& member : structure.members) {
            node.members.insert(separateCopy(member.name), nodeOf(member));
        }
    }
    return node;
}

ResolutionFloor::ResolutionFloor(const Corpus& corpus) {
    for (const Label_Type_Info& scope : corpus.symbols) {
        scopes_.insert(separateCopy(scope.name), nodeOf(scope));
    }
}

bool ResolutionFloor::resolve(const QString& name, ControlInformationM& info) const {
    const QStringList parts = name.split(QLatin1Char('.'));
    const QHash<QString, Node>* level = &scopes_;
    const Node* node = nullptr;
    for (const QString& part : parts) {
        const auto found = level->constFind(part);
        if (found == level->constEnd()) {
            return false;
        }
        node = &found.value();
        info.address += node->offset;
        info.area |= node->area;
        level = &node->members;
    }
    info.dataType = node->dataType;
    return true;
}

FirstReadFloor::FirstReadFloor(const Corpus& corpus)
    : resolution_(corpus), memory_(static_cast<std::size_t>(corpus.areaBytes)) {
    setGeneration(0);
}

void FirstReadFloor::setGeneration(int generation) {
    fillMemory(memory_, generation);
}

bool FirstReadFloor::read(const QString& name, char* value) {
    auto found = startBytes_.constFind(name);
    if (found == startBytes_.constEnd()) {
        ControlInformationM info = ControlInformationM();
        if (!resolution_.resolve(name, info)) {
            return false;
        }
        found = startBytes_.insert(separateCopy(name), info.address);
    }
    QMutexLocker lock(&mutex_);
    const char* bytes = memory_.data() + found.value();
    value[0] = bytes[1];
    value[1] = bytes[0];
    return true;
}

RebuildFloor::RebuildFloor(const Corpus& corpus) : startBytes_(startBytesByName(corpus)) {}

int RebuildFloor::rebuild(const QList<HostTag>& tags) {
    std::vector<RW_VAR> records;
    records.reserve(static_cast<std::size_t>(tags.size()));
    for (const HostTag& tag : tags) {
        const auto found = startBytes_.constFind(tag.tagName);
        if (found == startBytes_.constEnd()) {
            continue;
        }
        RW_VAR var = RW_VAR();
        var.hostSubId = -1;
        var.labelName = tag.tagName;
        var.labelArg = tag.argument;
        var.dataType = kUnsignedInt;
        var.offset = found.value();
        var.size = kVariableBytes;
        var.area = kArea;
        records.push_back(std::move(var));
    }
    std::stable_sort(records.begin(), records.end(), startsBefore);

    requests_ = QList<RW_VAR>();
    for (const RW_VAR& var : records) {
        if (requests_.isEmpty() || var.offset >= requests_.last().offset + kMaxRequestBytes) {
            requests_.append(var);
            continue;
        }
        RW_VAR& group = requests_.last();
        const int end = var.offset + var.size;
        if (end > group.offset + kMaxRequestBytes) {  // the variable crosses the limit: its end opens a request
            RW_VAR rest = group;
            rest.offset = group.offset + kMaxRequestBytes;
            rest.size = end - rest.offset;
            group.size = kMaxRequestBytes;
            requests_.append(rest);
        } else if (end > group.offset + group.size) {
            group.size = end - group.offset;
        }
    }
    return requests_.size();
}

void sortFloor(QList<RW_VAR>& list) {
    std::stable_sort(list.begin(), list.end(), startsBefore);
}

CycleFloor::CycleFloor(const QList<RW_VAR>& readList, const quint8* sessionBytes)
    : readList_(readList), result_(RW_VAR()) {
    std::memcpy(sessionBytes_, sessionBytes, sizeof sessionBytes_);
}

Protocol* CycleFloor::nextRequest() {
    if (!frames_.isEmpty()) {
        return &frames_.first();
    }
    QMutexLocker lock(&listMutex_);
    if (readList_.isEmpty()) {
        return nullptr;
    }
    const int limit = std::min<int>(readList_.size(), kMostEntries);
    batch_[0] = readList_.at(0);
    batchCount_ = 1;
    for (int cost = batch_[0].size + 1; batchCount_ < limit; ++batchCount_) {
        cost += readList_.at(batchCount_).size + 1;
        if (cost >= kByteBudget) {
            break;
        }
        batch_[batchCount_] = readList_.at(batchCount_);
    }

    QByteArray frame(wire::kItemsAt + batchCount_ * wire::kItemHeadBytes + wire::kSessionBytes, '\0');
    char* next = frame.data();
    wire::putU16(next, wire::kMagic);
    wire::putU16(next + wire::kLowLengthAt, static_cast<quint16>(frame.size() - wire::kEnvelopeBytes));
    next[wire::kServiceAt] = static_cast<char>(wire::Service::Read);
    wire::putU32(next + wire::kItemCountAt, static_cast<quint32>(batchCount_));
    next += wire::kItemsAt;
    for (int i = 0; i < batchCount_; ++i, next += wire::kItemHeadBytes) {
        wire::putU16(next, static_cast<quint16>(batch_[i].area));
        wire::putU32(next + 2, static_cast<quint32>(batch_[i].offset));
        wire::putU32(next + 6, static_cast<quint32>(batch_[i].size));
    }
    std::memcpy(next, sessionBytes_, sizeof sessionBytes_);

    Protocol request = newRequest(frame, batch_[0]);
    request.replyDataOffset = wire::kReadReplyHeadBytes;
    frames_.append(request);
    return &frames_.first();
}

int CycleFloor::takeReply(QByteArray* reply, int received) {
    Protocol& head = frames_.first();
    result_ = head.var;
    if (head.replyLength == -1) {
        if (!isComplete(*reply)) {
            return 0;
        }
        head.replyLength = reply->size();
        return 1;
    }
    if (!isComplete(*reply) || received != head.replyLength ||
        wire::getU16(reply->constData() + wire::kStatusAt) != 0) {
        return 0;
    }
    {
        QMutexLocker lock(&imageMutex_);
        const char* next = reply->constData() + head.replyDataOffset;
        const char* end = reply->constData() + reply->size();
        for (int i = 0; i < batchCount_; ++i) {
            const RW_VAR& item = batch_[i];
            const quint64 key = imageKey(item);
            ++next;  // lead byte
            for (int k = 0; k < item.size; ++k) {
                image_.insert(key + static_cast<quint32>(k), next < end ? *next++ : '\0');
            }
        }
    }
    QMutexLocker lock(&listMutex_);
    frames_.removeFirst();
    for (int i = 0; i < batchCount_; ++i) {
        readList_.move(0, readList_.size() - 1);
    }
    return 1;
}

void CycleFloor::mirror(int startByte, const char* bytes, int count) {
    QMutexLocker lock(&imageMutex_);
    const quint64 key = static_cast<quint64>(kArea) << 32 | static_cast<quint32>(startByte);
    for (int i = 0; i < count; ++i) {
        image_.insert(key + static_cast<quint32>(i), bytes[i]);
    }
}

WriteFloor::WriteFloor(const Corpus& corpus, const QList<RW_VAR>& readList, const quint8* sessionBytes,
                       VarDoneCallback report)
    : startBytes_(startBytesByName(corpus)),
      reads_(readList, sessionBytes),
      report_(report),
      pendingOf_(corpus.tags.size()) {
    std::memcpy(sessionBytes_, sessionBytes, sizeof sessionBytes_);
}

void WriteFloor::write(const QString& name, const QByteArray& in, int hostId) {
    const auto found = startBytes_.constFind(name);
    require(found != startBytes_.constEnd(), "the floor does not know a name");
    QMutexLocker lock(&listMutex_);
    queue_.push_back({hostId, found.value(), {in.at(1), in.at(0)}});
    ++pendingOf_[static_cast<std::size_t>(hostId)];
}

// REQUIRES: the list lock is held, writes are queued.
void WriteFloor::encodeBatch() {
    constexpr int kItemBytes = wire::kItemHeadBytes + kVariableBytes;
    const int most = std::min(kMostEntries, (kByteBudget - 1) / kItemBytes);
    batchCount_ = static_cast<int>(std::min(queue_.size(), static_cast<std::size_t>(most)));
    QByteArray frame(wire::kItemsAt + batchCount_ * kItemBytes + wire::kSessionBytes, '\0');
    char* next = frame.data();
    wire::putU16(next, wire::kMagic);
    wire::putU16(next + wire::kLowLengthAt, static_cast<quint16>(frame.size() - wire::kEnvelopeBytes));
    next[wire::kServiceAt] = static_cast<char>(wire::Service::Write);
    wire::putU32(next + wire::kItemCountAt, static_cast<quint32>(batchCount_));
    next += wire::kItemsAt;
    for (int i = 0; i < batchCount_; ++i, next += kItemBytes) {
        const Write& write = queue_[static_cast<std::size_t>(i)];
        wire::putU16(next, static_cast<quint16>(kArea));
        wire::putU32(next + 2, static_cast<quint32>(write.startByte));
        wire::putU32(next + 6, kVariableBytes);
        std::memcpy(next + wire::kItemHeadBytes, write.data, kVariableBytes);
    }
    std::memcpy(next, sessionBytes_, sizeof sessionBytes_);
    frames_.append(newRequest(frame, RW_VAR()));
    reads_.mirror(queue_.front().startByte, queue_.front().data, kVariableBytes);
}

Protocol* WriteFloor::nextRequest() {
    if (!frames_.isEmpty()) {
        return &frames_.first();
    }
    {
        QMutexLocker lock(&listMutex_);
        if (!queue_.empty() && turnsInARow_ < kMostTurns) {
            ++turnsInARow_;
            encodeBatch();
            return &frames_.first();
        }
    }
    turnsInARow_ = 0;
    return reads_.nextRequest();
}

int WriteFloor::takeReply(QByteArray* reply, int received) {
    if (frames_.isEmpty()) {
        return reads_.takeReply(reply, received);
    }
    Protocol& head = frames_.first();
    if (!isComplete(*reply)) {
        return 0;
    }
    if (head.replyLength == -1) {
        head.replyLength = reply->size();
        return 1;
    }
    if (received != head.replyLength || wire::getU16(reply->constData() + wire::kStatusAt) != 0) {
        return 0;
    }
    QMutexLocker lock(&listMutex_);
    frames_.removeFirst();
    for (int i = 0; i < batchCount_; ++i) {
        const int hostId = queue_.front().hostId;
        queue_.pop_front();
        if (--pendingOf_[static_cast<std::size_t>(hostId)] == 0) {
            report_(0, static_cast<quint32>(hostId), 1, kVariableDone);
        }
    }
    return 1;
}

}  // namespace ac500::bench
