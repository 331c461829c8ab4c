#include "tools/host/driver_recorder.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string_view>
#include <utility>

#include "core/codes.h"
#include "tools/driver/recorded_values.h"

namespace ac500::host {

namespace {

using record::FlightRecorder;
using record::Moment;

std::atomic<DriverRecorder*> activeRecorder{nullptr};

inline bool isLikely(bool condition) {
    return __builtin_expect(static_cast<long>(condition), 1) != 0;
}

std::u16string_view viewOf(const QString& text) {
    return {reinterpret_cast<const char16_t*>(text.constData()), static_cast<std::size_t>(text.size())};
}

std::string_view viewOf(const QByteArray& bytes) {
    return {bytes.constData(), static_cast<std::size_t>(bytes.size())};
}

std::optional<record::Text> recordedIfAny(const QString* text) {
    return text == nullptr ? std::nullopt : std::optional<record::Text>(recorded(*text));
}

// The bytes of the image, in ascending order, neighbours together.
std::vector<record::ImageRun> imageRuns(const QHash<quint64, char>& image) {
    std::vector<std::pair<quint64, char>> bytes;
    bytes.reserve(static_cast<std::size_t>(image.size()));
    for (auto i = image.constBegin(); i != image.constEnd(); ++i) {
        bytes.emplace_back(i.key(), i.value());
    }
    std::sort(bytes.begin(), bytes.end());
    std::vector<record::ImageRun> runs;
    quint64 expected = 0;
    for (const auto& [key, byte] : bytes) {
        if (runs.empty() || key != expected) {
            runs.push_back({static_cast<qint32>(static_cast<quint32>(key >> 32)), static_cast<quint32>(key), {}});
        }
        runs.back().bytes.push_back(byte);
        expected = key + 1;
        if (static_cast<quint32>(expected) == 0) {
            expected = 0;  // the next area begins a run of its own
        }
    }
    return runs;
}

}  // namespace

struct DriverRecorder::ValueCall {
    QString* label;
    qint32 unused1;
    QString* argument;
    qint32 unused2;
    QByteArray* out;
    qint32 count;
};

inline record::ValueQuestion DriverRecorder::questionOf(const ValueCall& call) {
    return {viewOf(*call.label), call.unused1,
            call.argument == nullptr ? std::nullopt : std::optional<std::u16string_view>(viewOf(*call.argument)),
            call.unused2, call.count};
}

inline record::ValueAnswer DriverRecorder::answerOf(const ValueCall& call, quint32 result) {
    return {result, viewOf(*call.out), viewOf(*call.label)};
}

inline quint32 DriverRecorder::callGetValue(const ValueCall& call) {
    return plainGetValue_ != nullptr
               ? plainGetValue_(call.label, call.unused1, call.argument, call.unused2, call.out, call.count)
               : driver_.getValue(call.label, call.unused1, call.argument, call.unused2, call.out, call.count);
}

// Called a thousand times in a cycle: one lock, and nothing is looked at but whether one more of the same is all there is to
// say. That the host changed its settings is told before anything that it may have to do with.
[[gnu::always_inline]] inline quint32 DriverRecorder::getValue(const ValueCall& call) {
    {
        const FlightRecorder::Hold hold(recorder_.heldDuringValue());
        if (isLikely(!isCalling_ && !recorder_.wantsSegment())) {
            if (!isLikely(recorder_.isExpected(hold, questionOf(call)))) {
                return getOtherValue(hold, ValueCall(call));
            }
            const quint32 result = callGetValue(call);
            const record::ValueAnswer answer = answerOf(call, result);
            if (!isLikely(recorder_.addRepeated(hold, answer))) {
                recordHostsChanges(hold);
                recorder_.addExpected(hold, record::ValueAnswer(answer));
            }
            return result;
        }
    }
    return getValueInTurn(ValueCall(call));
}

DriverRecorder::DriverRecorder(const DriverFunctions& driver, const Communication_Protocol* state,
                               record::FlightRecorder& recorder)
    : driver_(driver), state_(state), recorder_(recorder) {
    if (const auto* plain = driver.getValue.target<GetValueFunction>()) {
        plainGetValue_ = *plain;
    }
    functions_.setComInfo = [this](ComInfo* info) { setComInfo(info); };
    functions_.registerCallbacks = [this](VarDoneCallback varDone, CommFailCallback commFailed) {
        registerCallbacks(varDone, commFailed);
    };
    functions_.setLocalRegisters = [this](void* lb, void* lw, void* rwi) { return setLocalRegisters(lb, lw, rwi); };
    functions_.passSymbols = [this](QList<Label_Type_Info>* labels) { passSymbols(labels); };
    functions_.rebuildReadList = [this](QList<HostTag>* tags) { return rebuildReadList(tags); };
    functions_.addCyclicRead = [this](RW_VAR* var) { return addCyclicRead(var); };
    functions_.addOnceRead = [this](RW_VAR* var) { return addOnceRead(var); };
    functions_.addWrite = [this](RW_VAR* var) { return addWrite(var); };
    functions_.nextRequest = [this] { return nextRequest(); };
    functions_.takeReply = [this](QByteArray* reply, int received) { return takeReply(reply, received); };
    functions_.getValue = [this](QString* label, qint32 unused1, QString* argument, qint32 unused2, QByteArray* out,
                                 qint32 count) {
        return getValue({label, unused1, argument, unused2, out, count});
    };
    functions_.setValue = [this](QString* label, qint32 unused1, QString* argument, qint32 unused2, QByteArray* in,
                                 qint32 count, qint32 hostId, qint32 hostSubId) {
        return setValue(label, unused1, argument, unused2, in, count, hostId, hostSubId);
    };
    functions_.resolveTag = [this](const QString& tag, ControlInformationM& info) { return resolveTag(tag, info); };
}

DriverRecorder::~DriverRecorder() {
    DriverRecorder* self = this;
    activeRecorder.compare_exchange_strong(self, nullptr);
}

// ---------------------------------------------------------------------------------------------------------------------
// What all calls have in common
// ---------------------------------------------------------------------------------------------------------------------

class DriverRecorder::Call {
public:
    explicit Call(DriverRecorder& recorder) : recorder_(recorder), lock_(recorder.mutex_) { set(true); }
    ~Call() { set(false); }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

private:
    void set(bool isCalling) {
        const FlightRecorder::Hold hold(recorder_.recorder_.heldDuringValue());
        recorder_.isCalling_ = isCalling;
    }

    DriverRecorder& recorder_;
    const std::lock_guard<std::mutex> lock_;
};

record::Event DriverRecorder::begin() {
    const Moment moment = recorder_.now();
    recordHostsChanges(moment);
    callbacks_.clear();
    record::Event event;
    event.monotonicUs = moment.monotonicUs;
    event.utcUs = moment.utcUs;
    event.thread = moment.thread;
    return event;
}

void DriverRecorder::finish(record::Event& event, record::What what) {
    event.what = std::move(what);
    event.callbacks.swap(callbacks_);
    event.settingsAfter = changedSettings();
    recorder_.add(event);
    endSegment();
}

void DriverRecorder::recordHostsChanges(const Moment& moment) {
    std::vector<record::SettingsWord> words = changedSettings();
    if (!words.empty()) {
        recorder_.add(moment, record::SettingsChanged{std::move(words)});
    }
}

void DriverRecorder::recordHostsChanges(const FlightRecorder::Hold& hold) {
    std::vector<record::SettingsWord> words = changedSettings();
    if (!words.empty()) {
        recorder_.add(hold, record::SettingsChanged{std::move(words)});
    }
}

// Since it was asked last.
std::vector<record::SettingsWord> DriverRecorder::changedSettings() {
    std::vector<record::SettingsWord> changed;
    if (info_ == nullptr || std::memcmp(info_, &lastInfo_, sizeof lastInfo_) == 0) {
        return changed;
    }
    const record::SettingsWords before = recorded(lastInfo_);
    const record::SettingsWords after = recorded(*info_);
    for (std::size_t i = 0; i < after.size(); ++i) {
        if (after[i] != before[i]) {
            changed.push_back({static_cast<std::uint8_t>(i), after[i]});
        }
    }
    lastInfo_ = *info_;
    return changed;
}

void DriverRecorder::endSegment() {
    if (recorder_.wantsSegment()) {
        recorder_.beginSegment(checkpoint());
    }
}

// No call is in progress, so nothing of the driver changes, and no lock is needed. Nothing when something is pending that
// calls alone would not bring back, as driver_restore.h does it.
std::optional<record::Checkpoint> DriverRecorder::checkpoint() const {
    if (state_ == nullptr || info_ == nullptr || state_->comInfo != info_ || !state_->frameList.isEmpty() ||
        !state_->writeList.isEmpty() || !state_->onceReadList.isEmpty() || state_->writeTurns != 0 ||
        state_->onceReadTurns != 0) {
        return std::nullopt;
    }
    const bool isConnected = state_->connected != 0;
    const bool hasFailed = state_->commFailed != 0;
    const bool isCounting = info_->firstPassDone == 0 && state_->cyclicBatches != 0;
    const bool hasUnexplainedImage = !isConnected && !hasFailed && !state_->localValues.isEmpty();
    if (isCounting || hasUnexplainedImage || (isConnected && hasFailed && state_->readList.isEmpty())) {
        return std::nullopt;
    }
    record::Checkpoint checkpoint;
    checkpoint.settings = recorded(*info_);
    checkpoint.hasCallbacks = varDone_ != nullptr;
    std::copy(std::begin(state_->handshakeBytes), std::end(state_->handshakeBytes), checkpoint.sessionBytes.begin());
    checkpoint.isConnected = isConnected;
    checkpoint.hasFailed = hasFailed;
    for (const RW_VAR& var : state_->readList) {
        checkpoint.readList.push_back(recorded(var));
    }
    checkpoint.image = imageRuns(state_->localValues);
    return checkpoint;
}

// ---------------------------------------------------------------------------------------------------------------------
// Setup
// ---------------------------------------------------------------------------------------------------------------------

void DriverRecorder::setComInfo(ComInfo* info) {
    const Call inCall(*this);
    record::Event event = begin();
    info_ = info;
    lastInfo_ = *info;
    const record::SettingsWords settings = recorded(*info);
    driver_.setComInfo(info);
    finish(event, record::SetComInfo{settings});
}

void DriverRecorder::registerCallbacks(VarDoneCallback varDone, CommFailCallback commFailed) {
    const Call inCall(*this);
    record::Event event = begin();
    varDone_ = varDone;
    commFailed_ = commFailed;
    activeRecorder.store(this);
    driver_.registerCallbacks(varDone == nullptr ? nullptr : &DriverRecorder::onVarDone,
                              commFailed == nullptr ? nullptr : &DriverRecorder::onCommFailed);
    finish(event, record::RegisterCallbacks{varDone != nullptr, commFailed != nullptr});
}

// Inside a call, on the thread that made it, which holds mutex_.
quint32 DriverRecorder::onVarDone(quint32 stationId, quint32 hostId, quint32 hostSubId, quint32 outcome) {
    DriverRecorder* const active = activeRecorder.load();
    if (active == nullptr) {
        return 0;
    }
    active->callbacks_.emplace_back(record::VarDone{stationId, hostId, hostSubId, outcome});
    return active->varDone_(stationId, hostId, hostSubId, outcome);
}

quint32 DriverRecorder::onCommFailed(QList<RW_VAR>* emptyList, quint32 hostId, quint32 one) {
    DriverRecorder* const active = activeRecorder.load();
    if (active == nullptr) {
        return 0;
    }
    active->callbacks_.emplace_back(record::CommFailed{static_cast<std::uint32_t>(emptyList->size()), hostId, one});
    return active->commFailed_(emptyList, hostId, one);
}

void** DriverRecorder::setLocalRegisters(void* lb, void* lw, void* rwi) {
    const Call inCall(*this);
    record::Event event = begin();
    void** const result = driver_.setLocalRegisters(lb, lw, rwi);
    finish(event, record::SetLocalRegisters{lb != nullptr, lw != nullptr, rwi != nullptr});
    return result;
}

void DriverRecorder::passSymbols(QList<Label_Type_Info>* labels) {
    const Call inCall(*this);
    record::Event event = begin();
    record::PassSymbols call;
    if (labels != nullptr) {
        call.labels.emplace();
        for (const Label_Type_Info& label : std::as_const(*labels)) {
            call.labels->push_back(recorded(label));
        }
    }
    driver_.passSymbols(labels);
    if (call.labels) {
        recorder_.addSymbols(*call.labels);
    }
    finish(event, std::move(call));
}

// ---------------------------------------------------------------------------------------------------------------------
// Variables
// ---------------------------------------------------------------------------------------------------------------------

int DriverRecorder::rebuildReadList(QList<HostTag>* tags) {
    const Call inCall(*this);
    record::Event event = begin();
    record::RebuildReadList call;
    if (tags != nullptr) {
        call.tags.emplace();
        for (const HostTag& tag : std::as_const(*tags)) {
            call.tags->push_back(recorded(tag));
        }
    }
    const int result = driver_.rebuildReadList(tags);
    call.result = result;
    finish(event, std::move(call));
    return result;
}

int DriverRecorder::addCyclicRead(RW_VAR* var) {
    const Call inCall(*this);
    record::Event event = begin();
    record::VarRecord before = recorded(*var);
    const int result = driver_.addCyclicRead(var);
    finish(event, record::AddCyclicRead{std::move(before), result});
    return result;
}

int DriverRecorder::addOnceRead(RW_VAR* var) {
    const Call inCall(*this);
    record::Event event = begin();
    record::VarRecord before = recorded(*var);
    const int result = driver_.addOnceRead(var);
    finish(event, record::AddOnceRead{std::move(before), recorded(*var), result});
    return result;
}

int DriverRecorder::addWrite(RW_VAR* var) {
    const Call inCall(*this);
    record::Event event = begin();
    record::VarRecord before = recorded(*var);
    const int result = driver_.addWrite(var);
    finish(event, record::AddWrite{std::move(before), result});
    return result;
}

// ---------------------------------------------------------------------------------------------------------------------
// The loop
// ---------------------------------------------------------------------------------------------------------------------

// A frame stays where it is until the driver removes it.
Protocol* DriverRecorder::nextRequest() {
    const Call inCall(*this);
    record::Event event = begin();
    Protocol* const frame = driver_.nextRequest();
    record::NextRequest call;
    if (frame != nullptr) {
        if (frame != lastFrame_) {
            ++frameNumber_;
        }
        call.frame = recorded(*frame);
        call.frameNumber = frameNumber_;
    }
    lastFrame_ = frame;
    finish(event, std::move(call));
    return frame;
}

RW_VAR* DriverRecorder::takeReply(QByteArray* reply, int received) {
    const Call inCall(*this);
    record::Event event = begin();
    record::TakeReply call;
    call.frameNumber = lastFrame_ == nullptr ? 0 : frameNumber_;
    call.reply = recorded(*reply);
    call.received = received;
    const bool wasMeasured = lastFrame_ != nullptr && lastFrame_->replyLength != kNotMeasured;
    RW_VAR* const result = driver_.takeReply(reply, received);
    call.result = recorded(*result);
    const bool isKept = isAccepted(result->status) ? !wasMeasured : result->status == kStatusPending;
    lastFrame_ = isKept ? lastFrame_ : nullptr;
    finish(event, std::move(call));
    return result;
}

// ---------------------------------------------------------------------------------------------------------------------
// Values
// ---------------------------------------------------------------------------------------------------------------------

// Any value. The second reference to the label keeps the driver from changing it in place.
quint32 DriverRecorder::getOtherValue(const FlightRecorder::Hold& hold, const ValueCall& call) {
    recordHostsChanges(hold);
    const QString labelBefore = *call.label;
    const quint32 result = callGetValue(call);
    record::ValueQuestion question = questionOf(call);
    question.label = viewOf(labelBefore);
    recorder_.addGetValue(hold, question, answerOf(call, result));
    return result;
}

// When other calls are to be waited for, or a segment is to be ended.
quint32 DriverRecorder::getValueInTurn(const ValueCall& call) {
    const Call inCall(*this);
    quint32 result = 0;
    {
        const FlightRecorder::Hold hold(recorder_.heldDuringValue());
        result = getOtherValue(hold, call);
    }
    endSegment();
    return result;
}

quint32 DriverRecorder::setValue(QString* label, qint32 unused1, QString* argument, qint32 unused2, QByteArray* in,
                                 qint32 count, qint32 hostId, qint32 hostSubId) {
    const Call inCall(*this);
    record::Event event = begin();
    record::SetValue call;
    call.label = recorded(*label);
    call.unused1 = unused1;
    call.argument = recordedIfAny(argument);
    call.unused2 = unused2;
    call.in = recorded(*in);
    call.count = count;
    call.hostId = hostId;
    call.hostSubId = hostSubId;
    const quint32 result = driver_.setValue(label, unused1, argument, unused2, in, count, hostId, hostSubId);
    call.result = result;
    call.labelAfter = recorded(*label);
    finish(event, std::move(call));
    return result;
}

int DriverRecorder::resolveTag(const QString& tag, ControlInformationM& info) {
    const Call inCall(*this);
    record::Event event = begin();
    record::ResolveTag call;
    call.tag = recorded(tag);
    call.before = recorded(info);
    const int result = driver_.resolveTag(tag, info);
    call.after = recorded(info);
    call.result = result;
    finish(event, std::move(call));
    return result;
}

}  // namespace ac500::host
