#include "tools/replay/driver_caller.h"

#include <utility>
#include <variant>

#include "tools/driver/driver_restore.h"
#include "tools/driver/recorded_values.h"

namespace ac500::replay {

namespace {

using host::fromRecord;
using host::recorded;
using record::SettingsWords;

DriverCaller* activeCaller = nullptr;

std::vector<record::SettingsWord> changes(const SettingsWords& before, const SettingsWords& after) {
    std::vector<record::SettingsWord> words;
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i] != after[i]) {
            words.push_back({static_cast<std::uint8_t>(i), after[i]});
        }
    }
    return words;
}

// A text that a call may take by pointer or as null.
class OptionalText {
public:
    explicit OptionalText(const std::optional<record::Text>& text) : isThere_(text.has_value()) {
        if (isThere_) {
            text_ = fromRecord(*text);
        }
    }
    QString* pointer() { return isThere_ ? &text_ : nullptr; }

private:
    const bool isThere_;
    QString text_;
};

}  // namespace

bool isCall(const record::What& what) {
    return !std::holds_alternative<record::SegmentStart>(what) &&
           !std::holds_alternative<record::SettingsChanged>(what) &&
           !std::holds_alternative<record::Connection>(what) && !std::holds_alternative<record::Note>(what);
}

DriverCaller::DriverCaller(const host::DriverFunctions& driver) : driver_(driver) {
    activeCaller = this;
}

DriverCaller::~DriverCaller() {
    activeCaller = nullptr;
}

record::Event DriverCaller::answer(const record::Event& event) {
    record::Event answered = event;
    if (const auto* first = std::get_if<record::SetComInfo>(&event.what)) {
        settings_ = fromRecord(first->settings);
    }
    const SettingsWords before = recorded(settings_);
    callbacks_.clear();
    std::visit([this](auto& what) { call(what); }, answered.what);
    if (isCall(event.what)) {
        answered.callbacks = std::exchange(callbacks_, {});
        answered.settingsAfter = changes(before, recorded(settings_));
    }
    return answered;
}

bool DriverCaller::restore(const record::Checkpoint& checkpoint, std::string* error) {
    if (!host::restoreDriver(checkpoint, driver_, &settings_, error)) {
        return false;
    }
    driver_.registerCallbacks(&DriverCaller::onVariableDone, &DriverCaller::onCommunicationFailed);
    return true;
}

void DriverCaller::call(record::SetComInfo&) {
    driver_.setComInfo(&settings_);
}

void DriverCaller::call(record::RegisterCallbacks& call) {
    driver_.registerCallbacks(call.varDone ? &DriverCaller::onVariableDone : nullptr,
                              call.commFailed ? &DriverCaller::onCommunicationFailed : nullptr);
}

// The driver never looks behind the pointers, so any will do.
void DriverCaller::call(record::SetLocalRegisters& call) {
    driver_.setLocalRegisters(call.lb ? this : nullptr, call.lw ? this : nullptr, call.rwi ? this : nullptr);
}

void DriverCaller::call(record::PassSymbols& call) {
    if (!call.labels) {
        driver_.passSymbols(nullptr);
        return;
    }
    QList<Label_Type_Info> labels;
    for (const record::LabelRecord& label : *call.labels) {
        labels.append(fromRecord(label));
    }
    driver_.passSymbols(&labels);
}

void DriverCaller::call(record::RebuildReadList& call) {
    if (!call.tags) {
        call.result = driver_.rebuildReadList(nullptr);
        return;
    }
    QList<HostTag> tags;
    for (const record::TagRecord& tag : *call.tags) {
        tags.append(fromRecord(tag));
    }
    call.result = driver_.rebuildReadList(&tags);
}

void DriverCaller::call(record::AddCyclicRead& call) {
    RW_VAR var = fromRecord(call.var);
    call.result = driver_.addCyclicRead(&var);
}

void DriverCaller::call(record::AddOnceRead& call) {
    RW_VAR var = fromRecord(call.var);
    call.result = driver_.addOnceRead(&var);
    call.varAfter = recorded(var);
}

void DriverCaller::call(record::AddWrite& call) {
    RW_VAR var = fromRecord(call.var);
    call.result = driver_.addWrite(&var);
}

void DriverCaller::call(record::NextRequest& call) {
    const Protocol* frame = driver_.nextRequest();
    call.frame = frame == nullptr ? std::nullopt : std::optional(recorded(*frame));
}

void DriverCaller::call(record::TakeReply& call) {
    QByteArray reply = fromRecord(call.reply);
    const RW_VAR* result = driver_.takeReply(&reply, call.received);
    call.result = result == nullptr ? record::VarRecord() : recorded(*result);
}

void DriverCaller::call(record::GetValue& call) {
    QString label = fromRecord(call.label);
    OptionalText argument(call.argument);
    QByteArray out;
    call.result = driver_.getValue(&label, call.unused1, argument.pointer(), call.unused2, &out, call.count);
    call.out = recorded(out);
    call.labelAfter = recorded(label);
}

void DriverCaller::call(record::SetValue& call) {
    QString label = fromRecord(call.label);
    OptionalText argument(call.argument);
    QByteArray in = fromRecord(call.in);
    call.result = driver_.setValue(&label, call.unused1, argument.pointer(), call.unused2, &in, call.count, call.hostId,
                                   call.hostSubId);
    call.labelAfter = recorded(label);
}

void DriverCaller::call(record::ResolveTag& call) {
    ControlInformationM information = fromRecord(call.before);
    call.result = driver_.resolveTag(fromRecord(call.tag), information);
    call.after = recorded(information);
}

void DriverCaller::call(record::SettingsChanged& change) {
    SettingsWords words = recorded(settings_);
    for (const record::SettingsWord& word : change.words) {
        if (word.index < words.size()) {
            words[word.index] = word.value;
        }
    }
    settings_ = fromRecord(words);
}

quint32 DriverCaller::onVariableDone(quint32 stationId, quint32 hostId, quint32 hostSubId, quint32 outcome) {
    if (activeCaller != nullptr) {
        activeCaller->callbacks_.push_back(record::VarDone{stationId, hostId, hostSubId, outcome});
    }
    return 0;
}

quint32 DriverCaller::onCommunicationFailed(QList<RW_VAR>* emptyList, quint32 hostId, quint32 one) {
    if (activeCaller != nullptr) {
        const auto size = emptyList == nullptr ? 0U : static_cast<std::uint32_t>(emptyList->size());
        activeCaller->callbacks_.push_back(record::CommFailed{size, hostId, one});
    }
    return 0;
}

}  // namespace ac500::replay
