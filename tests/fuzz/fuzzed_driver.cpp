#include "tests/fuzz/fuzzed_driver.h"

#include <QtCore/QHash>

#include <algorithm>
#include <new>

#include "protocol/bytes.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/wire.h"

namespace ac500::fuzz {

namespace {

constexpr int kEnvelope = 6;
constexpr int kHelloFrameBytes = 20;
constexpr int kSymbolFrameBytes = 23;
constexpr int kItemsAt = 12;
constexpr int kItemHead = 10;
constexpr int kSession = 4;
constexpr int kBudget = 800;
constexpr int kMostItems = 79;
constexpr int kBitType = 13;

enum ServiceCode { kHello = 0x01, kSymbols = 0x31, kRead = 0x2E, kWrite = 0x3C };

struct Item {
    int area;
    int offset;
    int size;
    std::string data;  // of a write
};

std::string textOf(const QByteArray& bytes) {
    return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

int serviceOf(const std::string& frame) {
    return byteAt(frame.data(), kEnvelope);
}

// The items of a read or write request; checks that they end where the session bytes begin.
std::vector<Item> itemsOf(const std::string& frame) {
    FUZZ_CHECK(frame.size() >= kItemsAt + kSession);
    const quint32 count = getU32(frame.data() + 8);
    const std::size_t end = frame.size() - kSession;
    std::vector<Item> items;
    std::size_t at = kItemsAt;
    while (at < end) {
        FUZZ_CHECK(end - at >= kItemHead);
        Item item{getU16(frame.data() + at), static_cast<qint32>(getU32(frame.data() + at + 2)),
                  static_cast<qint32>(getU32(frame.data() + at + 6)), std::string()};
        at += kItemHead;
        FUZZ_CHECK(item.size >= 0);
        if (serviceOf(frame) == kWrite) {
            FUZZ_CHECK(end - at >= static_cast<std::size_t>(item.size));
            item.data = frame.substr(at, static_cast<std::size_t>(item.size));
            at += static_cast<std::size_t>(item.size);
        }
        items.push_back(item);
    }
    FUZZ_CHECK(items.size() == count);
    return items;
}

// At most 79 items; and unless it is a single one, less than 800 bytes with what each costs beside its data.
void checkBudget(const std::string& frame) {
    const std::vector<Item> items = itemsOf(frame);
    const int overhead = serviceOf(frame) == kWrite ? kItemHead : 1;
    qint64 cost = 0;
    for (const Item& item : items) {
        cost += item.size + overhead;
    }
    FUZZ_CHECK(!items.empty() && items.size() <= kMostItems);
    FUZZ_CHECK(items.size() == 1 || cost < kBudget);
    const auto* session = reinterpret_cast<const char*>(PLC_driver.handshakeBytes);
    FUZZ_CHECK(frame.compare(frame.size() - kSession, kSession, session, kSession) == 0);
}

std::string paddedData(const RW_VAR& var) {
    std::string data = textOf(var.data);
    data.resize(static_cast<std::size_t>(qMax(var.size, 0)), '\0');
    return data;
}

void checkItems(const std::string& frame, const QList<RW_VAR>& list) {
    const std::vector<Item> items = itemsOf(frame);
    FUZZ_CHECK(items.size() <= static_cast<std::size_t>(list.size()));
    for (std::size_t i = 0; i < items.size(); ++i) {
        const RW_VAR& var = list.at(static_cast<int>(i));
        FUZZ_CHECK(items[i].area == (var.area & 0xFFFF));
        FUZZ_CHECK(items[i].offset == var.offset);
        FUZZ_CHECK(items[i].size == qMax(var.size, 0));
        FUZZ_CHECK(serviceOf(frame) == kRead || items[i].data == paddedData(var));
    }
}

bool isComplete(const std::string& reply) {
    return reply.size() >= kEnvelope && reply.size() == static_cast<std::size_t>(kEnvelope) + getU16(reply.data() + 4);
}

bool holds(const QList<RW_VAR>& list, int serial) {
    return std::any_of(list.begin(), list.end(), [serial](const RW_VAR& var) { return var.hostSubId == serial; });
}

quint64 keyOf(int area, qint64 address) {
    return (static_cast<quint64>(static_cast<quint32>(area)) << 32) + static_cast<quint64>(address);
}

}  // namespace

bool isFailure(int status) {
    return (status >= 11 && status <= 22) || (status >= 41 && status <= 52) || (status >= 71 && status <= 82);
}

bool isDocumentedStatus(int status) {
    return status == 0 || status == 1 || status == 100 || status == 201 || isFailure(status);
}

bool isResolutionCode(int code) {
    return (code >= 0 && code <= 3) || code == 6 || code == 7 || (code >= 10 && code <= 12);
}

int documentedOutputBytes(int typeCode, bool bit, int count) {
    const int n = qMax(count, 0);
    if (bit) {
        return n;
    }
    switch (typeCode) {
        case 1:
        case 13:
            return n;
        case 5:
        case 6:
        case 7:
        case 17:
            return (n + 1) / 2 * 4;
        case 8:
        case 9:
        case 18:
        case 21:
            return (n + 3) / 4 * 8;
        default:
            return 2 * n;
    }
}

void checkFrame(const Protocol& request) {
    const std::string frame = textOf(request.frame);
    FUZZ_CHECK(request.frameLength == request.frame.size());
    FUZZ_CHECK(frame.size() > kEnvelope);
    FUZZ_CHECK(getU16(frame.data()) == 0xBBBB);
    FUZZ_CHECK(getU16(frame.data() + 2) == 0);
    FUZZ_CHECK(getU16(frame.data() + 4) == frame.size() - kEnvelope);
    switch (serviceOf(frame)) {
        case kHello:
            return FUZZ_CHECK(frame.size() == kHelloFrameBytes);
        case kSymbols:
            return FUZZ_CHECK(frame.size() == kSymbolFrameBytes);
        case kRead:
        case kWrite:
            return checkBudget(frame);
        default:
            ac500::fuzz::fail("the service is one of this protocol", __FILE__, __LINE__);
    }
}

FuzzedDriver* FuzzedDriver::current_ = nullptr;

FuzzedDriver::FuzzedDriver() {
    // A finding must repeat: the order of a hash is part of the run.
    qSetGlobalQHashSeed(0);
    current_ = this;
    PLC_driver.~Communication_Protocol();
    new (&PLC_driver) Communication_Protocol();
    QList<Label_Type_Info> none;
    PassVarName_2(&none);  // makes the driver forget what names resolved to
    settings.maxRequestWords = 100;
    settings.comWord = 2424;
    settings.retryLimit = 2;
    settings.accessMode = 2;
    settings.stationId = 7;
    SetComInfo(&settings);
    RegistCallBackFuncIntf(varDone, commFail);
}

// Leaves nothing behind that points here.
FuzzedDriver::~FuzzedDriver() {
    PLC_driver.~Communication_Protocol();
    new (&PLC_driver) Communication_Protocol();
    current_ = nullptr;
}

quint32 FuzzedDriver::varDone(quint32 station, quint32, quint32 hostSubId, quint32 outcome) {
    FUZZ_CHECK(station == static_cast<quint32>(current_->settings.stationId));
    FUZZ_CHECK(outcome == 1 || outcome == 2);
    FUZZ_CHECK(current_->reportedOutcome_ == 0 || current_->reportedOutcome_ == static_cast<int>(outcome));
    current_->reportedOutcome_ = static_cast<int>(outcome);
    const int serial = static_cast<int>(hostSubId);
    const auto order = current_->orders_.find(serial);
    FUZZ_CHECK(order != current_->orders_.end());
    FUZZ_CHECK(!order->second.ended);
    FUZZ_CHECK(current_->reportable_.count(serial) != 0);
    order->second.ended = true;
    FUZZ_CHECK(current_->reported_.insert(serial).second);
    return 4711;
}

quint32 FuzzedDriver::commFail(QList<RW_VAR>* list, quint32, quint32 one) {
    FUZZ_CHECK(list != nullptr && list->isEmpty() && one == 1);
    ++current_->failuresReported_;
    return 4712;
}

Protocol* FuzzedDriver::next() {
    const bool isNew = PLC_driver.frameList.isEmpty();
    Protocol* request = ComCommunication();
    checkLists(std::nullopt);
    checkState();
    if (request == nullptr) {
        FUZZ_CHECK(isNew && PLC_driver.frameList.isEmpty());
        FUZZ_CHECK(PLC_driver.readList.isEmpty());
        FUZZ_CHECK(settings.firstPassDone == 1);
        return nullptr;
    }
    FUZZ_CHECK(request == &PLC_driver.frameList.first());
    if (isNew) {
        checkNewRequest();
    }
    checkFrame(*request);
    return request;
}

void FuzzedDriver::checkNewRequest() {
    const Protocol& request = PLC_driver.frameList.first();
    FUZZ_CHECK(request.replyLength == -1);
    const QList<RW_VAR>* served = nullptr;
    switch (PLC_driver.batchKind) {
        case kWriteBatch:
            served = &PLC_driver.writeList;
            break;
        case kOnceReadBatch:
            served = &PLC_driver.onceReadList;
            break;
        default:
            served = &PLC_driver.readList;
    }
    FUZZ_CHECK(!served->isEmpty());
    FUZZ_CHECK(PLC_driver.batchCount >= 1 && PLC_driver.batchCount <= served->size());
    FUZZ_CHECK(request.var.hostSubId == served->first().hostSubId);
    if (PLC_driver.batchKind == kWriteBatch && PLC_driver.commFailed == 0) {
        mirrorHead();
    }
    if (PLC_driver.connected == 0) {
        FUZZ_CHECK(serviceOf(textOf(request.frame)) == kHello && PLC_driver.frameList.size() == 2);
        return;
    }
    const std::string frame = textOf(request.frame);
    FUZZ_CHECK(serviceOf(frame) == (PLC_driver.batchKind == kWriteBatch ? kWrite : kRead));
    checkItems(frame, *served);
    FUZZ_CHECK(itemsOf(frame).size() == static_cast<std::size_t>(PLC_driver.batchCount));
}

// What docs/host-guide.md and docs/status-codes.md promise for these bytes.
FuzzedDriver::Judgement FuzzedDriver::judge(const std::string& reply, int received) const {
    if (PLC_driver.frameList.isEmpty()) {
        return {Verdict::Accepted, 0};
    }
    const int measured = PLC_driver.frameList.first().replyLength;
    if (measured == -1) {
        if (isComplete(reply)) {
            return {Verdict::Accepted, 0};
        }
        return reply.empty() ? Judgement{Verdict::Failed, 40} : Judgement{Verdict::Pending, 0};
    }
    if (!isComplete(reply)) {
        return {Verdict::Failed, 70};
    }
    if (PLC_driver.connected == 0) {
        const std::size_t least = settings.frameDone == 0 ? 200 : 30;
        return {reply.size() - kEnvelope < least ? Verdict::Rejected : Verdict::Accepted, 0};
    }
    if (received == 0) {
        return {Verdict::Failed, 40};
    }
    if (received != measured) {
        return {Verdict::Failed, 70};
    }
    const bool good = reply.size() >= 8 && getU16(reply.data() + kEnvelope) == 0;
    return good ? Judgement{Verdict::Accepted, 0} : Judgement{Verdict::Failed, 10};
}

void FuzzedDriver::expectStatus(const Judgement& judgement, int retriesBefore, int status) const {
    FUZZ_CHECK(isDocumentedStatus(status));
    switch (judgement.verdict) {
        case Verdict::Accepted:
            return FUZZ_CHECK(status == 1);
        case Verdict::Pending:
            return FUZZ_CHECK(status == 0);
        case Verdict::Rejected:
            return FUZZ_CHECK(status == 201);
        case Verdict::Failed:
            break;
    }
    if (retriesBefore < settings.retryLimit) {
        return FUZZ_CHECK(status == 0 && settings.retryCount == retriesBefore + 1);
    }
    FUZZ_CHECK(status > judgement.familyBase && status <= judgement.familyBase + 12);
    FUZZ_CHECK(settings.retryCount == 0 && PLC_driver.connected == 0 && PLC_driver.frameList.isEmpty());
}

int FuzzedDriver::deliver(const std::string& reply, int received) {
    const Judgement judgement = judge(reply, received);
    const bool pending = !PLC_driver.frameList.isEmpty();
    const bool processes = pending && PLC_driver.connected != 0 && PLC_driver.frameList.first().replyLength != -1;
    const std::string request = pending ? textOf(PLC_driver.frameList.first().frame) : std::string();
    const int retriesBefore = settings.retryCount;
    const int writes = PLC_driver.writeList.size();
    const int onceReads = PLC_driver.onceReadList.size();
    reportable_.clear();
    for (int i = 0; i < PLC_driver.batchCount; ++i) {
        reportable_.insert(PLC_driver.batch[i].hostSubId);
    }
    reported_.clear();
    reportedOutcome_ = 0;
    failuresReported_ = 0;

    ExactBytes bytes(reply);
    const RW_VAR* result = DataCom(&bytes.array(), received);
    FUZZ_CHECK(result == &PLC_driver.resultVar);
    const int status = result->status;

    expectStatus(judgement, retriesBefore, status);
    const bool failed = isFailure(status);
    FUZZ_CHECK(failuresReported_ == (failed ? 1 : 0));
    FUZZ_CHECK(reported_.empty() || reportedOutcome_ == (failed ? 2 : 1));
    FUZZ_CHECK(reported_.empty() || failed || (processes && status == 1));
    checkLists(failed ? std::optional<Kind>(kindOf(*result)) : std::nullopt);
    checkState();
    if (processes && status == 1) {
        const int answered = static_cast<int>(itemsOf(request).size());
        const bool once = PLC_driver.batchKind == kOnceReadBatch;
        FUZZ_CHECK(PLC_driver.writeList.size() == writes - (serviceOf(request) == kWrite ? answered : 0));
        FUZZ_CHECK(PLC_driver.onceReadList.size() == onceReads - (once ? answered : 0));
        FUZZ_CHECK(PLC_driver.frameList.isEmpty());
        if (serviceOf(request) == kRead) {
            modelReply(request, reply);
        }
    }
    return status;
}

int FuzzedDriver::answer(const std::string& reply) {
    const bool measures = !PLC_driver.frameList.isEmpty() && PLC_driver.frameList.first().replyLength == -1;
    const int status = deliver(reply);
    return measures && status == 1 ? deliver(reply) : status;
}

void FuzzedDriver::checkState() const {
    FUZZ_CHECK(PLC_driver.connected <= 1 && PLC_driver.commFailed <= 1);
    FUZZ_CHECK(PLC_driver.batchCount >= 0 && PLC_driver.batchCount <= kMostItems);
    FUZZ_CHECK(settings.frameDone <= settings.frameTotal);
    FUZZ_CHECK(settings.retryCount <= qMax(settings.retryLimit, 0));
    const int queued = PLC_driver.frameList.size();
    FUZZ_CHECK(PLC_driver.connected == 0 ? queued == 0 || queued + settings.frameDone == 2 : queued <= 1);
}

void FuzzedDriver::checkLists(std::optional<Kind> abandoned) {
    checkOrders(Kind::Write, PLC_driver.writeList, abandoned == Kind::Write);
    checkOrders(Kind::OnceRead, PLC_driver.onceReadList, abandoned == Kind::OnceRead);
    // A rotation of what it was before.
    const std::vector<Run> runs = runsOf(PLC_driver.readList);
    FUZZ_CHECK(runs.size() == cyclic_.size());
    cyclic_.insert(cyclic_.end(), cyclic_.begin(), cyclic_.end());
    FUZZ_CHECK(std::search(cyclic_.begin(), cyclic_.end(), runs.begin(), runs.end()) != cyclic_.end() || runs.empty());
    cyclic_ = runs;
}

// Every order is queued, or has ended with a report, or was dropped with the rest of its list when a request of its kind
// was abandoned.
void FuzzedDriver::checkOrders(Kind kind, const QList<RW_VAR>& list, bool abandoned) {
    FUZZ_CHECK(!abandoned || list.isEmpty());
    std::set<int> queued;
    for (const RW_VAR& var : list) {
        queued.insert(var.hostSubId);
    }
    for (auto order = orders_.begin(); order != orders_.end();) {
        if (order->second.kind != kind) {
            ++order;
            continue;
        }
        const bool isQueued = queued.erase(order->first) != 0;
        FUZZ_CHECK(!order->second.ended || !isQueued);
        FUZZ_CHECK(isQueued || order->second.ended || abandoned);
        order = isQueued ? std::next(order) : orders_.erase(order);
    }
    FUZZ_CHECK(queued.empty());  // else an entry that nobody ordered, or that has ended before
}

std::vector<FuzzedDriver::Run> FuzzedDriver::runsOf(const QList<RW_VAR>& list) {
    std::vector<Run> runs;
    for (const RW_VAR& var : list) {
        runs.push_back({var.area, var.offset, var.size});
    }
    return runs;
}

FuzzedDriver::Kind FuzzedDriver::kindOf(const RW_VAR& var) {
    if (var.writeFlag != 0) {
        return Kind::Write;
    }
    return var.hostSubId == -1 ? Kind::Cyclic : Kind::OnceRead;
}

void FuzzedDriver::rememberLists() {
    cyclic_ = runsOf(PLC_driver.readList);
}

// The order that was numbered last counts from now on when it has entries in the list.
void FuzzedDriver::track(Kind kind, const QList<RW_VAR>& list) {
    if (holds(list, nextSerial_)) {
        orders_[nextSerial_] = {kind};
    }
    ++nextSerial_;
}

void FuzzedDriver::addCyclicRead(int area, int offset, int size) {
    RW_VAR var = RW_VAR();
    var.hostSubId = -1;
    var.area = area;
    var.offset = offset;
    var.size = size;
    const int before = PLC_driver.readList.size();
    FUZZ_CHECK(AddListReadVar(&var) == before + 1);
    rememberLists();
}

void FuzzedDriver::addWrite(int area, int offset, int dataType, const std::string& data, int size, int hostId) {
    RW_VAR var = RW_VAR();
    var.hostId = hostId;
    var.hostSubId = nextSerial_;
    var.writeFlag = 1;
    var.area = area;
    var.offset = offset;
    var.dataType = dataType;
    var.data = QByteArray(data.data(), static_cast<int>(data.size()));
    var.size = size;
    const int before = PLC_driver.writeList.size();
    FUZZ_CHECK(AddListWriteVar(&var) == before + 1);
    track(Kind::Write, PLC_driver.writeList);
}

void FuzzedDriver::addOnceRead(int area, int offset, int size, int hostId) {
    RW_VAR var = RW_VAR();
    var.hostId = hostId;
    var.hostSubId = nextSerial_;
    var.area = area;
    var.offset = offset;
    var.size = size;
    PLC_driver.onceReadList.append(var);
    track(Kind::OnceRead, PLC_driver.onceReadList);
}

int FuzzedDriver::writeValue(const QString& tag, const QString& argument, const std::string& in, int count,
                             int hostId) {
    QString label = tag;
    QString labelArg = argument;
    ExactBytes bytes(in);
    const int before = PLC_driver.writeList.size();
    const int result =
        static_cast<int>(SetRegisterData(&label, 0, &labelArg, 0, &bytes.array(), count, hostId, nextSerial_));
    FUZZ_CHECK(result == 0 || result == PLC_driver.writeList.size());
    FUZZ_CHECK(result != 0 || PLC_driver.writeList.size() == before);
    FUZZ_CHECK(label == tag || tag.contains("%%"));
    FUZZ_CHECK(std::equal(in.begin(), in.end(), bytes.array().constData()));
    track(Kind::Write, PLC_driver.writeList);
    checkLists(std::nullopt);
    return result;
}

int FuzzedDriver::readOnce(const QString& tag, const QString& argument, int count, int hostId) {
    RW_VAR var = RW_VAR();
    var.hostId = hostId;
    var.hostSubId = nextSerial_;
    var.labelName = tag;
    var.labelArg = argument;
    var.size = count;
    const int before = PLC_driver.onceReadList.size();
    const int result = AddListOnceReadVar(&var);
    FUZZ_CHECK(result == 0 || result == PLC_driver.onceReadList.size());
    FUZZ_CHECK(result != 0 || PLC_driver.onceReadList.size() == before);
    FUZZ_CHECK(var.labelName == tag && var.hostSubId == nextSerial_);
    for (int i = before; i < PLC_driver.onceReadList.size(); ++i) {
        const RW_VAR& piece = PLC_driver.onceReadList.at(i);
        FUZZ_CHECK(piece.size > 0 && piece.size <= 2 * settings.maxRequestWords);
    }
    track(Kind::OnceRead, PLC_driver.onceReadList);
    checkLists(std::nullopt);
    return result;
}

void FuzzedDriver::readCyclically(QList<HostTag> tags) {
    const int planned = ReCreatReadVarList(&tags);
    FUZZ_CHECK(planned == PLC_driver.readList.size());
    const int maxBytes = 2 * settings.maxRequestWords;
    for (const RW_VAR& request : PLC_driver.readList) {
        FUZZ_CHECK(maxBytes == 1 || (request.size > 0 && request.size <= maxBytes));
        FUZZ_CHECK(request.hostSubId == -1 && request.writeFlag == 0);
    }
    const std::vector<Run> first = runsOf(PLC_driver.readList);
    FUZZ_CHECK(ReCreatReadVarList(&tags) == planned);
    FUZZ_CHECK(runsOf(PLC_driver.readList) == first);
    rememberLists();
    checkLists(std::nullopt);
}

void FuzzedDriver::connect() {
    FUZZ_CHECK(next() != nullptr && PLC_driver.connected == 0);
    FUZZ_CHECK(answer(test::firstHandshakeReply().toStdString()) == 1);
    FUZZ_CHECK(next() != nullptr);
    FUZZ_CHECK(answer(test::secondHandshakeReply("0D 0C 0B 0A").toStdString()) == 1);
    FUZZ_CHECK(PLC_driver.connected == 1);
    FUZZ_CHECK(std::string(reinterpret_cast<const char*>(PLC_driver.handshakeBytes), kSession) == "\x0A\x0B\x0C\x0D");
}

void FuzzedDriver::modelStore(int area, int address, char value) {
    model_[keyOf(area, address)] = value;
}

// The first variable of a write batch appears in the image when the request is built.
void FuzzedDriver::mirrorHead() {
    const RW_VAR& var = PLC_driver.writeList.first();
    const std::string data = paddedData(var);
    for (int i = 0; i < static_cast<int>(data.size()); ++i) {
        const char value = data[static_cast<std::size_t>(i)];
        if (var.dataType != kBitType) {
            modelStore(var.area, var.offset + i, value);
            continue;
        }
        const int bit = (var.offset + i) % 16;
        const int word = (var.offset + i) / 16 * 2;
        if (model_.count(keyOf(var.area, word)) == 0) {
            modelStore(var.area, word, 0);
            modelStore(var.area, word + 1, 0);
        }
        char& byte = model_[keyOf(var.area, bit < 8 ? word + 1 : word)];
        model_[keyOf(var.area, word + 1)];
        const int mask = 1 << bit % 8;
        byte = static_cast<char>(value != 0 ? byte | mask : byte & ~mask);
    }
}

// A lead byte per item, then its bytes; zeros where the reply ends early.
void FuzzedDriver::modelReply(const std::string& request, const std::string& reply) {
    std::size_t at = kItemsAt;
    for (const Item& item : itemsOf(request)) {
        ++at;
        for (int i = 0; i < item.size; ++i, ++at) {
            modelStore(item.area, item.offset + i, at < reply.size() ? reply[at] : '\0');
        }
    }
}

void FuzzedDriver::expectModelledImage() const {
    FUZZ_CHECK(static_cast<std::size_t>(PLC_driver.localValues.size()) == model_.size());
    for (auto byte = PLC_driver.localValues.constBegin(); byte != PLC_driver.localValues.constEnd(); ++byte) {
        const auto expected = model_.find(byte.key());
        FUZZ_CHECK(expected != model_.end());
        FUZZ_CHECK(expected->second == byte.value());
    }
}

}  // namespace ac500::fuzz
