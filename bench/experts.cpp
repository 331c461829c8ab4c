#include "bench/experts.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "bench/driver_setup.h"
#include "bench/workload.h"
#include "tools/wire/frame.h"

namespace ac500::bench {

namespace {

constexpr int kVariableBytes = 2;
constexpr int kNoParent = 0;
constexpr int kMostEntries = 79;
constexpr int kByteBudget = 800;
constexpr int kMostTurns = 5;  // of writes in a row

quint32 hashOf(int parent, const QChar* text, int length) {
    constexpr quint64 kFactor = 0x9E3779B97F4A7C15U;
    quint64 hash = (static_cast<quint32>(parent) + 1) * kFactor;
    const char* bytes = reinterpret_cast<const char*>(text);
    int left = 2 * length;
    for (; left >= 8; bytes += 8, left -= 8) {
        quint64 word = 0;
        std::memcpy(&word, bytes, 8);
        hash = (hash ^ word) * kFactor;
        hash ^= hash >> 32;
    }
    quint64 rest = 0;
    std::memcpy(&rest, bytes, static_cast<std::size_t>(left));
    hash = (hash ^ rest) * kFactor;
    return static_cast<quint32>(hash >> 32);
}

FlatNames wholeNames(const Corpus& corpus) {
    FlatNames names(corpus.tags.size());
    for (const CorpusTag& tag : corpus.tags) {
        names.insert(kNoParent, tag.name.constData(), tag.name.size(), tag.startByte);
    }
    return names;
}

int startByteOf(const FlatNames& names, const QString& name) {
    return names.find(kNoParent, name.constData(), name.size());
}

struct SortKey {
    quint32 offset;
    qint32 source;
};

// By offset, least significant digit first; stable.
void radixSort(std::vector<SortKey>& keys) {
    constexpr int kDigitBits = 8;
    constexpr std::size_t kDigits = 1 << kDigitBits;
    std::vector<SortKey> other(keys.size());
    quint32 used = 0;
    for (const SortKey& key : keys) {
        used |= key.offset;
    }
    for (int shift = 0; shift < 32 && (used >> shift) != 0; shift += kDigitBits) {
        std::array<quint32, kDigits + 1> starts = {};
        for (const SortKey& key : keys) {
            ++starts[(key.offset >> shift) % kDigits + 1];
        }
        for (std::size_t i = 1; i <= kDigits; ++i) {
            starts[i] += starts[i - 1];
        }
        for (const SortKey& key : keys) {
            other[starts[(key.offset >> shift) % kDigits]++] = key;
        }
        keys.swap(other);
    }
}

void putRequestHead(char* frame, int frameBytes, wire::Service service, int items) {
    wire::putU16(frame, wire::kMagic);
    wire::putU16(frame + wire::kLowLengthAt, static_cast<quint16>(frameBytes - wire::kEnvelopeBytes));
    frame[wire::kServiceAt] = static_cast<char>(service);
    wire::putU32(frame + wire::kItemCountAt, static_cast<quint32>(items));
}

char* putItemHead(char* next, int startByte, int bytes) {
    wire::putU16(next, static_cast<quint16>(kArea));
    wire::putU32(next + 2, static_cast<quint32>(startByte));
    wire::putU32(next + 6, static_cast<quint32>(bytes));
    return next + wire::kItemHeadBytes;
}

bool isGood(const QByteArray& reply) {
    return reply.size() >= wire::kShortReplyBytes &&
           reply.size() == wire::kEnvelopeBytes + wire::getU16(reply.constData() + wire::kLowLengthAt) &&
           wire::getU16(reply.constData() + wire::kStatusAt) == 0;
}

}  // namespace

FlatNames::FlatNames(std::size_t most) {
    std::size_t slots = 16;
    while (slots < 2 * most) {
        slots *= 2;
    }
    slots_.resize(slots);
    mask_ = slots - 1;
}

std::size_t FlatNames::slotOf(int parent, const QChar* text, int length, quint32& hash) const {
    hash = hashOf(parent, text, length);
    std::size_t at = hash & mask_;
    while (slots_[at].number != kNone) {
        const Slot& slot = slots_[at];
        if (slot.hash == hash && slot.parent == parent && slot.length == length &&
            std::memcmp(&texts_[slot.textAt], text, sizeof(QChar) * static_cast<std::size_t>(length)) == 0) {
            break;
        }
        at = (at + 1) & mask_;
    }
    return at;
}

void FlatNames::insert(int parent, const QChar* text, int length, int number) {
    quint32 hash = 0;
    Slot& slot = slots_[slotOf(parent, text, length, hash)];
    slot = {hash, parent, static_cast<quint32>(texts_.size()), length, number};
    texts_.insert(texts_.end(), text, text + length);
}

int FlatNames::find(int parent, const QChar* text, int length) const {
    quint32 hash = 0;
    return slots_[slotOf(parent, text, length, hash)].number;
}

void FlatImage::store(int address, const char* bytes, int count) {
    std::memcpy(&bytes_[static_cast<std::size_t>(address)], bytes, static_cast<std::size_t>(count));
}

void FlatImage::read(int address, char* value) const {
    const char* bytes = &bytes_[static_cast<std::size_t>(address)];
    for (;;) {
        const quint32 before = version_.load(std::memory_order_acquire);
        value[0] = bytes[1];
        value[1] = bytes[0];
        std::atomic_thread_fence(std::memory_order_acquire);
        if (before % 2 == 0 && version_.load(std::memory_order_relaxed) == before) {
            return;
        }
    }
}

void FlatImage::fill(int generation) {
    for (int address = 0; address < static_cast<int>(bytes_.size()); ++address) {
        bytes_[static_cast<std::size_t>(address)] = memoryByte(address, generation);
    }
}

ReadExpert::ReadExpert(const Corpus& corpus) : names_(wholeNames(corpus)), image_(corpus.areaBytes) {}

int ReadExpert::startByteOf(const QString& name) const {
    return ac500::bench::startByteOf(names_, name);
}

bool ReadExpert::read(const QString& name, char* value) const {
    const int startByte = startByteOf(name);
    if (startByte < 0) {
        return false;
    }
    image_.read(startByte, value);
    return true;
}

ResolutionExpert::ResolutionExpert(const Corpus& corpus) : names_(2 * corpus.tags.size() + kScopes) {
    nodes_.push_back({0, 0, 0});
    for (const Label_Type_Info& scope : corpus.symbols) {
        add(kNoParent, scope);
    }
}

void ResolutionExpert::add(int parent, const Label_Type_Info& record) {
    const int number = static_cast<int>(nodes_.size());
    nodes_.push_back({record.offset, record.type & 0xFF, record.areaList.value(0)});
    names_.insert(parent, record.name.constData(), record.name.size(), number);
    if (!record.elementType.isEmpty()) {
        for (const Label_Type_Info& member : record.elementType.first().members) {
            add(number, member);
        }
    }
}

bool ResolutionExpert::resolve(const QString& name, ControlInformationM& info) const {
    int node = kNoParent;
    const QChar* const end = name.constData() + name.size();
    for (const QChar* part = name.constData(); part <= end;) {
        const QChar* const dot = std::find(part, end, QLatin1Char('.'));
        node = names_.find(node, part, static_cast<int>(dot - part));
        if (node == FlatNames::kNone) {
            return false;
        }
        const Node& found = nodes_[static_cast<std::size_t>(node)];
        info.address += found.offset;
        info.area |= found.area;
        info.dataType = found.dataType;
        part = dot + 1;
    }
    return true;
}

FirstReadExpert::FirstReadExpert(const Corpus& corpus) : resolution_(corpus), image_(corpus.areaBytes) {}

bool FirstReadExpert::read(const QString& name, char* value) const {
    ControlInformationM info = ControlInformationM();
    if (!resolution_.resolve(name, info)) {
        return false;
    }
    image_.read(info.address, value);
    return true;
}

RebuildExpert::RebuildExpert(const Corpus& corpus) : names_(wholeNames(corpus)) {}

int RebuildExpert::rebuild(const QList<HostTag>& tags) {
    std::vector<SortKey> keys;
    keys.reserve(static_cast<std::size_t>(tags.size()));
    for (int i = 0; i < tags.size(); ++i) {
        const int startByte = startByteOf(names_, tags.at(i).tagName);
        if (startByte != FlatNames::kNone) {
            keys.push_back({static_cast<quint32>(startByte), i});
        }
    }
    radixSort(keys);

    requests_ = QList<RW_VAR>();
    int start = 0;
    int limit = -1;  // the first byte that the last request cannot reach
    int end = 0;
    for (const SortKey& key : keys) {
        const int offset = static_cast<int>(key.offset);
        if (offset >= limit || requests_.isEmpty()) {
            RW_VAR var = RW_VAR();
            var.hostSubId = -1;
            var.labelName = tags.at(key.source).tagName;
            var.labelArg = tags.at(key.source).argument;
            var.dataType = kUnsignedInt;
            var.area = kArea;
            var.offset = offset;
            var.size = kVariableBytes;
            requests_.append(var);
            start = offset;
            end = offset + kVariableBytes;
            limit = start + kMaxRequestBytes;
            continue;
        }
        end = std::max(end, offset + kVariableBytes);
        requests_.last().size = std::min(end, limit) - start;
        if (end > limit) {  // the variable crosses the limit: its end opens a request
            RW_VAR rest = requests_.last();
            rest.offset = limit;
            rest.size = end - limit;
            requests_.append(rest);
            start = limit;
            limit = start + kMaxRequestBytes;
        }
    }
    return requests_.size();
}

void sortExpert(QList<RW_VAR>& list) {
    std::vector<SortKey> keys;
    keys.reserve(static_cast<std::size_t>(list.size()));
    for (int i = 0; i < list.size(); ++i) {
        keys.push_back({static_cast<quint32>(list.at(i).offset), i});
    }
    radixSort(keys);
    for (int place = 0; place < list.size(); ++place) {
        int source = keys[static_cast<std::size_t>(place)].source;
        while (source < place) {
            source = keys[static_cast<std::size_t>(source)].source;  // where an exchange has brought it
        }
        keys[static_cast<std::size_t>(place)].source = source;
        if (source != place) {
            list.swapItemsAt(place, source);
        }
    }
}

CycleExpert::CycleExpert(const QList<RW_VAR>& readList, const quint8* sessionBytes, int areaBytes) : image_(areaBytes) {
    std::vector<int> turnOf(static_cast<std::size_t>(readList.size()), -1);  // by the entry that it begins with
    int first = 0;
    while (turnOf[static_cast<std::size_t>(first)] < 0) {
        turnOf[static_cast<std::size_t>(first)] = static_cast<int>(turns_.size());
        Turn turn = Turn();
        turn.replyBytes = wire::kReadReplyHeadBytes;
        int cost = 0;
        while (static_cast<int>(turn.runs.size()) < std::min<int>(readList.size(), kMostEntries)) {
            const RW_VAR& var = readList.at((first + static_cast<int>(turn.runs.size())) % readList.size());
            cost += var.size + 1;
            if (!turn.runs.empty() && cost >= kByteBudget) {
                break;
            }
            turn.runs.emplace_back(var.offset, var.size);
            turn.replyBytes += wire::kLeadBytes + var.size;
        }
        const int items = static_cast<int>(turn.runs.size());
        QByteArray frame(wire::kItemsAt + items * wire::kItemHeadBytes + wire::kSessionBytes, '\0');
        putRequestHead(frame.data(), frame.size(), wire::Service::Read, items);
        char* next = frame.data() + wire::kItemsAt;
        for (const auto& [startByte, bytes] : turn.runs) {
            next = putItemHead(next, startByte, bytes);
        }
        std::memcpy(next, sessionBytes, wire::kSessionBytes);
        turn.request.frame = frame;
        first = (first + items) % readList.size();
        turns_.push_back(turn);
    }
    repeatedFrom_ = static_cast<std::size_t>(turnOf[static_cast<std::size_t>(first)]);
}

int CycleExpert::takeReply(QByteArray* reply, int received) {
    const Turn& turn = turns_[turn_];
    if (!isGood(*reply) || received != turn.replyBytes) {
        return 0;
    }
    isMeasured_ = !isMeasured_;
    if (isMeasured_) {
        return 1;
    }
    const char* next = reply->constData() + wire::kReadReplyHeadBytes;
    image_.beginStore();
    for (const auto& [startByte, bytes] : turn.runs) {
        image_.store(startByte, next + wire::kLeadBytes, bytes);
        next += wire::kLeadBytes + bytes;
    }
    image_.endStore();
    lastTurn_ = turn_;
    turn_ = turn_ + 1 == turns_.size() ? repeatedFrom_ : turn_ + 1;
    return 1;
}

WriteExpert::WriteExpert(const Corpus& corpus, const QList<RW_VAR>& readList, const quint8* sessionBytes, Report report)
    : names_(wholeNames(corpus)),
      reads_(readList, sessionBytes, corpus.areaBytes),
      report_(report),
      pendingOf_(corpus.tags.size()) {
    std::memcpy(sessionBytes_, sessionBytes, sizeof sessionBytes_);
}

void WriteExpert::write(const QString& name, const QByteArray& in, int hostId) {
    const int startByte = startByteOf(names_, name);
    require(startByte != FlatNames::kNone, "the expert's floor does not know a name");
    queue_.push_back({hostId, startByte, {in.at(1), in.at(0)}});
    ++pendingOf_[static_cast<std::size_t>(hostId)];
}

void WriteExpert::encodeBatch() {
    constexpr int kItemBytes = wire::kItemHeadBytes + kVariableBytes;
    const std::size_t most = std::min<std::size_t>(kMostEntries, (kByteBudget - 1) / kItemBytes);
    batchCount_ = std::min(most, queue_.size() - firstPending_);
    const int items = static_cast<int>(batchCount_);
    request_.frame = QByteArray(wire::kItemsAt + items * kItemBytes + wire::kSessionBytes, '\0');
    putRequestHead(request_.frame.data(), request_.frame.size(), wire::Service::Write, items);
    char* next = request_.frame.data() + wire::kItemsAt;
    for (std::size_t i = firstPending_; i < firstPending_ + batchCount_; ++i) {
        next = putItemHead(next, queue_[i].startByte, kVariableBytes);
        std::memcpy(next, queue_[i].data, kVariableBytes);
        next += kVariableBytes;
    }
    std::memcpy(next, sessionBytes_, wire::kSessionBytes);
    ++turnsInARow_;
    image().beginStore();
    image().store(queue_[firstPending_].startByte, queue_[firstPending_].data, kVariableBytes);
    image().endStore();
}

Protocol* WriteExpert::nextRequest() {
    if (batchCount_ > 0) {
        return &request_;
    }
    if (firstPending_ < queue_.size() && turnsInARow_ < kMostTurns) {
        encodeBatch();
        request_.replyLength = -1;
        return &request_;
    }
    turnsInARow_ = 0;
    return reads_.nextRequest();
}

int WriteExpert::takeReply(QByteArray* reply, int received) {
    if (batchCount_ == 0) {
        return reads_.takeReply(reply, received);
    }
    if (!isGood(*reply) || received != wire::kShortReplyBytes) {
        return 0;
    }
    if (request_.replyLength == -1) {
        request_.replyLength = received;
        return 1;
    }
    for (std::size_t end = firstPending_ + batchCount_; firstPending_ < end; ++firstPending_) {
        const int hostId = queue_[firstPending_].hostId;
        if (--pendingOf_[static_cast<std::size_t>(hostId)] == 0) {
            report_(hostId);
        }
    }
    batchCount_ = 0;
    if (firstPending_ == queue_.size()) {
        queue_.clear();
        firstPending_ = 0;
    }
    return 1;
}

bool holdsMemory(const FlatImage& image, const Corpus& corpus, int generation) {
    return std::all_of(corpus.tags.begin(), corpus.tags.end(), [&](const CorpusTag& tag) {
        return image.byteAt(tag.startByte) == memoryByte(tag.startByte, generation) &&
               image.byteAt(tag.startByte + 1) == memoryByte(tag.startByte + 1, generation);
    });
}

}  // namespace ac500::bench
