#include "tools/host/host_session.h"

#include <fmt/format.h>

#include <algorithm>

#include "core/codes.h"
#include "tools/symbol_file/label_records.h"

namespace ac500::host {

namespace {

constexpr Time kShortestStaleAge = std::chrono::seconds(2);
constexpr int kCyclesUntilStale = 3;
constexpr std::size_t kKeptEvents = 1000;
constexpr int kUnused = 0;

const Failure kNoFailure{};
const Failure kEnded{FailureKind::Request, "not sent: the session was ended"};

// The host's tag records carry an argument for names with "%%"; this host uses concrete names only.
QString noArgument() {
    return QString();
}

// The record of a run of bytes that is planned already.
RW_VAR plannedVar(const Tag& tag, std::int64_t address, int size) {
    RW_VAR var{};
    var.labelName = QString::fromStdString(tag.text);
    var.dataType = static_cast<qint32>(tag.form.code);
    var.offset = static_cast<qint32>(address);
    var.size = size;
    var.area = tag.area;
    return var;
}

bool isReported(const AbandonedRequest& request, VariableId id) {
    return std::any_of(request.reports.begin(), request.reports.end(),
                       [id](const VariableReport& report) { return report.id == id; });
}

// What became of a write that the driver gave up with `request`, reported by it or not.
std::string fateOf(const AbandonedRequest& request, bool wasReported) {
    if (!request.wasSent) {
        return fmt::format("not sent: {} (status {})", request.reason.text, request.status);
    }
    const char* fate = wasReported ? "the request failed; the PLC may or may not have it"
                                   : "dropped by the driver, which gives up all pending writes after a failed one";
    return fmt::format("{} (status {}: {})", fate, request.status, request.reason.text);
}

Failure notSent(const Failure& reason) {
    return {reason.kind, "not sent: " + reason.text};
}

}  // namespace

const char* valueStateName(ValueState state) {
    switch (state) {
        case ValueState::NeverReceived:
            return "never received";
        case ValueState::Fresh:
            return "fresh";
        case ValueState::Stale:
            return "stale";
        case ValueState::WritePending:
            return "write pending";
        case ValueState::WriteFailed:
            return "write failed";
    }
    return "?";
}

HostSession::HostSession(const Parts& parts, const SessionSettings& settings)
    : driver_(parts.driver),
      tags_(parts.tags),
      clock_(parts.clock),
      makeTransport_(parts.makeTransport),
      settings_(settings) {}

HostSession::~HostSession() {
    stop();
}

bool HostSession::start(std::string* error) {
    comInfo_.maxRequestWords = settings_.maxRequestWords;
    comInfo_.retryLimit = settings_.retryLimit;
    comInfo_.accessMode = kAccessPlc;
    auto reports = std::make_unique<DriverReports>(driver_);
    if (!reports->isActive()) {
        *error = "another session of this process uses a driver; its callbacks can serve one only";
        return false;
    }
    reports_ = std::move(reports);
    driver_.setComInfo(&comInfo_);
    driver_.setLocalRegisters(nullptr, nullptr, nullptr);
    QList<Label_Type_Info> records = labelRecords(tags_.file());
    driver_.passSymbols(&records);
    thread_ = std::thread([this] { run(); });
    return true;
}

void HostSession::stop() {
    if (!thread_.joinable()) {
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    work_.notify_all();
    thread_.join();
    reports_.reset();
}

bool HostSession::driverKnows(const Tag& tag, std::string* error) const {
    ControlInformationM info{};
    const std::string name = tag.elementName(0);
    const int code = driver_.resolveTag(QString::fromStdString(name), info);
    if (code != 0) {
        *error =
            fmt::format("{}: the driver does not resolve {} (code {}, see docs/status-codes.md)", tag.text, name, code);
        return false;
    }
    if (info.area != tag.area || info.address != tag.address) {
        *error = fmt::format("{}: the symbol file has it in area {} at {}, the driver in area {} at {}", tag.text,
                             tag.area, tag.address, info.area, info.address);
        return false;
    }
    return true;
}

void HostSession::poll(const std::vector<Tag>& tags) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        newTags_ = tags;
        hasNewWork_ = true;
    }
    work_.notify_all();
}

std::int32_t HostSession::write(const Tag& tag, const HostValues& values) {
    std::int32_t serial = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        serial = writes_.order(tag, values, clock_.now());
        hasNewWork_ = true;
        if (stopping_) {
            writes_.failed(serial, kEnded, clock_.now());
        }
    }
    work_.notify_all();
    return serial;
}

std::optional<WriteRecord> HostSession::writeRecord(std::int32_t serial) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const WriteRecord* record = writes_.find(serial);
    return record == nullptr ? std::nullopt : std::optional<WriteRecord>(*record);
}

std::int32_t HostSession::readOnce(const Tag& tag) {
    std::int32_t serial = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        serial = onceReads_.order(tag, 2 * settings_.maxRequestWords, 0);
        hasNewWork_ = true;
        if (stopping_) {
            onceReads_.failed(serial, kEnded);
        }
    }
    work_.notify_all();
    return serial;
}

std::optional<OnceReadRecord> HostSession::onceReadRecord(std::int32_t serial) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const OnceReadRecord* record = onceReads_.find(serial);
    return record == nullptr ? std::nullopt : std::optional<OnceReadRecord>(*record);
}

// ---------------------------------------------------------------------------------------------------------------------
// Values and status
// ---------------------------------------------------------------------------------------------------------------------

TagValue HostSession::value(const Tag& tag) const {
    const std::vector<ByteRun> runs = tag.byteRuns();
    TagValue value;
    WriteView write;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const Time now = clock_.now();
        const std::optional<Time> oldest = received_.oldest(runs);
        write = writes_.view(runs, oldest, now);
        if (oldest) {
            const Time slowest = std::max<Time>(settings_.loop.cycle, status_.statistics.cycleTimes().median);
            const Time staleAge = std::max<Time>(kShortestStaleAge, kCyclesUntilStale * slowest);
            const bool isStale = !status_.isOnline || now - *oldest > staleAge;
            value.state = isStale ? ValueState::Stale : ValueState::Fresh;
            value.age = std::chrono::duration_cast<Milliseconds>(now - *oldest);
            value.isKnown = write.kind != WriteView::Kind::Failed || *oldest > write.ended;
        }
    }
    if (write.kind != WriteView::Kind::None) {
        value.state = write.kind == WriteView::Kind::Failed ? ValueState::WriteFailed : ValueState::WritePending;
        value.failure = write.failure;
    }
    if (value.isKnown) {
        value.values = imageValues(tag);
    }
    return value;
}

// Strings are read one by one, everything else with one call: reading counts elements of a row properly.
HostValues HostSession::imageValues(const Tag& tag) const {
    HostValues values;
    const int perCall = isString(tag.form) ? 1 : tag.elements;
    for (int done = 0; done < tag.elements; done += perCall) {
        QString name = QString::fromStdString(tag.elementName(done));
        QString argument = noArgument();
        QByteArray bytes;
        driver_.getValue(&name, kUnused, &argument, kUnused, &bytes, perCall * countPerElement(tag.form));
        const HostValues decoded = decodeRead(tag.form, bytes, perCall);
        values.insert(values.end(), decoded.begin(), decoded.end());
    }
    return values;
}

SessionStatus HostSession::status() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return status_;
}

std::vector<SessionEvent> HostSession::eventsSince(std::size_t first) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::size_t skipped = std::min(std::max(first, droppedEvents_) - droppedEvents_, events_.size());
    return {events_.begin() + static_cast<std::ptrdiff_t>(skipped), events_.end()};
}

void HostSession::waitForChange(Milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    const std::size_t seen = changes_;
    changed_.wait_for(lock, timeout, [&] { return changes_ != seen; });
}

// ---------------------------------------------------------------------------------------------------------------------
// Loop thread
// ---------------------------------------------------------------------------------------------------------------------

void HostSession::run() {
    const std::unique_ptr<Transport> transport = makeTransport_();
    PollLoop loop({driver_, *reports_, *transport, clock_, *this}, settings_.loop);
    for (;;) {
        giveWorkToDriver(loop);
        const Milliseconds pause = loop.step();
        publish(loop);
        if (waitForWork(pause)) {
            break;
        }
    }
    loop.shutDown();
    failEverything(
        {FailureKind::Request, "the session was ended before it was answered; the PLC may or may not have it"});
    publish(loop);
}

void HostSession::publish(const PollLoop& loop) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        status_.state = loop.state();
        status_.isOnline = loop.isOnline();
        status_.statistics = loop.statistics();
        ++changes_;
    }
    changed_.notify_all();
}

// True when the session is to end.
bool HostSession::waitForWork(Milliseconds pause) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (pause.count() > 0) {
        work_.wait_for(lock, pause, [this] { return stopping_ || hasNewWork_; });
    }
    hasNewWork_ = false;
    return stopping_;
}

void HostSession::failEverything(const Failure& reason) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Failure notSentReason = notSent(whyLinkIsDown());
    for (const WriteStep step : {WriteStep::Waiting, WriteStep::ReadingFirst, WriteStep::WithDriver}) {
        for (const std::int32_t serial : writes_.at(step)) {
            writes_.failed(serial, step == WriteStep::WithDriver ? reason : notSentReason, clock_.now());
        }
    }
    for (const std::int32_t serial : onceReads_.underway()) {
        onceReads_.failed(serial, reason);
    }
}

void HostSession::giveWorkToDriver(PollLoop& loop) {
    std::optional<std::vector<Tag>> tags;
    bool isOverdue = false;
    Failure reason;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        tags.swap(newTags_);
        reason = whyLinkIsDown();
        writes_.expire(clock_.now(), settings_.writeDeadline, notSent(reason));
        isOverdue = writes_.isOverdue(clock_.now(), settings_.writeDeadline);
    }
    if (isOverdue && !loop.isConnected()) {
        loop.giveUpUrgentWork(reason);
    }
    if (tags) {
        rebuildCyclicList(loop, *tags);
    }
    if (loop.takesWork()) {
        startWaitingWrites();
        startWaitingReads(loop);
    }
}

void HostSession::rebuildCyclicList(PollLoop& loop, const std::vector<Tag>& tags) {
    QList<HostTag> byName;
    for (const Tag& tag : tags) {
        if (tag.isStringInArray()) {
            continue;
        }
        for (const RunChunk& chunk : tag.readPlan()) {
            const QString name = QString::fromStdString(tag.elementName(chunk.firstElement));
            byName.append({kUnused, kUnused, noArgument(), name, chunk.count});
        }
    }
    int requests = driver_.rebuildReadList(&byName);
    readByAddress_.clear();
    for (const Tag& tag : tags) {
        if (tag.isStringInArray()) {
            requests = readStringsByAddress(tag);
        }
    }
    loop.cyclicListRebuilt(requests);
}

// Returns the number of requests then in the cyclic list.
int HostSession::readStringsByAddress(const Tag& tag) {
    readByAddress_.push_back(tag);
    const int most = 2 * settings_.maxRequestWords;
    int requests = 0;
    for (const ByteRun& run : tag.byteRuns()) {
        for (int done = 0; done < run.size; done += most) {
            RW_VAR var = plannedVar(tag, run.address + done, std::min(static_cast<int>(run.size) - done, most));
            var.hostId = kCyclicReadId.hostId;
            var.hostSubId = kCyclicReadId.hostSubId;
            requests = driver_.addCyclicRead(&var);
        }
    }
    return requests;
}

void HostSession::startWaitingReads(PollLoop& loop) {
    for (;;) {
        std::optional<OnceReadRecord> read;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            const OnceReadRecord* next = onceReads_.next();
            if (next == nullptr) {
                return;
            }
            read = *next;
            onceReads_.withDriver(read->serial, clock_.now());
        }
        handOverRead(loop, *read);
    }
}

void HostSession::handOverRead(PollLoop& loop, const OnceReadRecord& read) {
    if (read.tag.isStringInArray()) {
        const bool isRead = std::any_of(readByAddress_.begin(), readByAddress_.end(),
                                        [&](const Tag& tag) { return tag.text == read.tag.text; });
        if (!isRead) {
            loop.cyclicListRebuilt(readStringsByAddress(read.tag));
        }
        return;
    }
    if (read.requests > OnceReadBook::kDriverQueue) {
        finishOnceRead(read.serial, {FailureKind::Request, "too long for one reading; read it in parts"});
        return;
    }
    for (const RunChunk& chunk : read.tag.readPlan()) {
        RW_VAR var{};
        var.hostId = kOnceReadHostId;
        var.hostSubId = read.serial;
        var.labelName = QString::fromStdString(read.tag.elementName(chunk.firstElement));
        var.size = chunk.count;
        if (driver_.addOnceRead(&var) == 0) {
            finishOnceRead(read.serial, {FailureKind::Name, "the driver refuses to read it"});
            return;
        }
    }
}

void HostSession::startWaitingWrites() {
    for (;;) {
        std::optional<WriteRecord> write;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            const WriteRecord* next = writes_.next();
            if (next == nullptr) {
                return;
            }
            write = *next;
            if (WriteBook::mustReadFirst(write->tag)) {
                writes_.readingFirst(write->serial);
                onceReads_.order(write->tag, 2 * settings_.maxRequestWords, write->serial);
                return;
            }
        }
        handOverWrite(*write);
    }
}

void HostSession::handOverWrite(const WriteRecord& write) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        writes_.withDriver(write.serial);
    }
    if (write.tag.isStringInArray()) {
        writeStringsByAddress(write);
    } else if (!writeByName(write)) {
        const std::lock_guard<std::mutex> lock(mutex_);
        writes_.failed(write.serial, {FailureKind::Name, "the driver refuses to write it"}, clock_.now());
    }
}

bool HostSession::writeByName(const WriteRecord& write) {
    bool isTaken = true;
    for (const RunChunk& chunk : write.tag.writePlan()) {
        const auto first = write.values.begin() + chunk.firstElement;
        QByteArray bytes = encodeForWrite(write.tag.form, {first, first + chunk.elements});
        QString name = QString::fromStdString(write.tag.elementName(chunk.firstElement));
        QString argument = noArgument();
        const int count = isString(write.tag.form) ? countForWrite(write.tag.form, bytes) : chunk.count;
        isTaken =
            driver_.setValue(&name, kUnused, &argument, kUnused, &bytes, count, kWriteHostId, write.serial) != 0 &&
            isTaken;
    }
    return isTaken;
}

void HostSession::writeStringsByAddress(const WriteRecord& write) {
    const std::vector<ByteRun> runs = write.tag.byteRuns();
    const int most = 2 * settings_.maxRequestWords;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const QByteArray bytes = encodeForWrite(write.tag.form, {write.values[i]});
        for (int done = 0; done < bytes.size(); done += most) {
            RW_VAR var = plannedVar(write.tag, runs[i].address + done, std::min(bytes.size() - done, most));
            var.hostId = kWriteHostId;
            var.hostSubId = write.serial;
            var.writeFlag = 1;
            var.data = bytes.mid(done, var.size);
            driver_.addWrite(&var);
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// What the loop reports
// ---------------------------------------------------------------------------------------------------------------------

void HostSession::replyAccepted(const RequestFrame& request, const QByteArray&) {
    if (request.service != Service::Read) {
        return;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    received_.record(request.items, clock_.now());
    for (const std::int32_t serial : onceReads_.withDriver()) {
        const OnceReadRecord& read = *onceReads_.find(serial);
        const std::optional<Time> oldest = received_.oldest(read.tag.byteRuns());
        if (read.tag.isStringInArray() && oldest && *oldest > read.handedOver) {
            onceReads_.succeeded(serial);
        }
    }
}

void HostSession::variableReported(const VariableReport& report) {
    if (report.id.hostId == kOnceReadHostId && report.success) {
        finishOnceRead(report.id.hostSubId, kNoFailure);
    } else if (report.id.hostId == kWriteHostId && report.success) {
        const std::lock_guard<std::mutex> lock(mutex_);
        writes_.succeeded(report.id.hostSubId, clock_.now());
    }
}

void HostSession::requestAbandoned(const AbandonedRequest& request) {
    switch (request.kind) {
        case RequestKind::Write:
            return writesAbandoned(request);
        case RequestKind::OnceRead:
            return onceReadsAbandoned(request);
        case RequestKind::CyclicRead:
            return;
    }
}

void HostSession::writesAbandoned(const AbandonedRequest& request) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const std::int32_t serial : writes_.at(WriteStep::WithDriver)) {
        writes_.failed(serial, {request.reason.kind, fateOf(request, isReported(request, {kWriteHostId, serial}))},
                       clock_.now());
    }
}

void HostSession::onceReadsAbandoned(const AbandonedRequest& request) {
    std::vector<std::int32_t> dropped;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for (const std::int32_t serial : onceReads_.withDriver()) {
            if (onceReads_.find(serial)->requests > 0) {
                dropped.push_back(serial);
            }
        }
    }
    for (const std::int32_t serial : dropped) {
        finishOnceRead(serial, {request.reason.kind, fmt::format("the request failed (status {}: {})", request.status,
                                                                 request.reason.text)});
    }
}

// kNoFailure: it succeeded. A bit write that waited for the reading goes on at once: the driver makes the new value of
// the variable from the bits that have just come in.
void HostSession::finishOnceRead(std::int32_t serial, const Failure& failure) {
    std::optional<WriteRecord> write;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const bool success = failure.kind == FailureKind::None;
        const OnceReadRecord* read = success ? onceReads_.succeeded(serial) : onceReads_.failed(serial, failure);
        const WriteRecord* waiting = read == nullptr ? nullptr : writes_.find(read->forWrite);
        if (waiting == nullptr || waiting->step != WriteStep::ReadingFirst) {
            return;
        }
        if (!success) {
            writes_.failed(waiting->serial,
                           {failure.kind, "not sent: the variable of the bit could not be read: " + failure.text},
                           clock_.now());
            return;
        }
        write = *waiting;
    }
    handOverWrite(*write);
}

void HostSession::failed(const Failure& failure) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const SessionEvent event{clock_.now(), failure};
    status_.lastFailure = event;
    ++status_.events;
    events_.push_back(event);
    if (events_.size() > kKeptEvents) {
        events_.erase(events_.begin());
        ++droppedEvents_;
    }
}

bool HostSession::hasUrgentWork() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return writes_.anyWithDriver() || onceReads_.anyWithDriver();
}

Failure HostSession::whyLinkIsDown() const {
    if (!status_.lastFailure) {
        return {FailureKind::Request, "the link to the PLC was not up in time"};
    }
    return status_.lastFailure->failure;
}

}  // namespace ac500::host
