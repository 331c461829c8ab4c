// DriverRecorder stands between a host and the driver and records every call, with its arguments, its answers, and the
// callbacks in it.
//
// Calls are let through one at a time, so that the order in the record is the order in which the driver saw them, whatever
// threads they came from. The driver does its own locking as before; what changes is that a GetRegisterData waits for the
// end of a DataCom, which takes microseconds.
#ifndef AC500_TOOLS_HOST_DRIVER_RECORDER_H
#define AC500_TOOLS_HOST_DRIVER_RECORDER_H

#include <mutex>
#include <optional>
#include <vector>

#include "tools/driver/driver_functions.h"
#include "tools/record/flight_recorder.h"

namespace ac500::host {

class DriverRecorder {
public:
    // Both must outlive this. `state`: the driver object of the same library, which is looked at between two calls, when a
    // segment is to begin with what is in it; null: no segment but the first can be replayed.
    DriverRecorder(const DriverFunctions& driver, const Communication_Protocol* state,
                   record::FlightRecorder& recorder);
    ~DriverRecorder();
    DriverRecorder(const DriverRecorder&) = delete;
    DriverRecorder& operator=(const DriverRecorder&) = delete;

    // What the host is to call instead. At most one recorder of a process passes callbacks on: the one that registered them
    // last.
    const DriverFunctions& functions() const { return functions_; }

private:
    // Stands for a call into the driver other than getValue: nobody else makes one while it exists.
    class Call;

    record::Event begin();
    void finish(record::Event& event, record::What what);
    void recordHostsChanges(const record::Moment& moment);
    void recordHostsChanges(const record::FlightRecorder::Hold& hold);
    std::vector<record::SettingsWord> changedSettings();
    void endSegment();
    std::optional<record::Checkpoint> checkpoint() const;

    void setComInfo(ComInfo* info);
    void registerCallbacks(VarDoneCallback varDone, CommFailCallback commFailed);
    void** setLocalRegisters(void* lb, void* lw, void* rwi);
    void passSymbols(QList<Label_Type_Info>* labels);
    int rebuildReadList(QList<HostTag>* tags);
    int addCyclicRead(RW_VAR* var);
    int addOnceRead(RW_VAR* var);
    int addWrite(RW_VAR* var);
    Protocol* nextRequest();
    RW_VAR* takeReply(QByteArray* reply, int received);
    struct ValueCall;
    quint32 getValue(const ValueCall& call);
    quint32 callGetValue(const ValueCall& call);
    quint32 getOtherValue(const record::FlightRecorder::Hold& hold, const ValueCall& call);
    quint32 getValueInTurn(const ValueCall& call);
    static record::ValueQuestion questionOf(const ValueCall& call);
    static record::ValueAnswer answerOf(const ValueCall& call, quint32 result);
    quint32 setValue(QString* label, qint32 unused1, QString* argument, qint32 unused2, QByteArray* in, qint32 count,
                     qint32 hostId, qint32 hostSubId);
    int resolveTag(const QString& tag, ControlInformationM& info);

    static quint32 onVarDone(quint32 stationId, quint32 hostId, quint32 hostSubId, quint32 outcome);
    static quint32 onCommFailed(QList<RW_VAR>* emptyList, quint32 hostId, quint32 one);

    // Constant after construction
    const DriverFunctions& driver_;
    const Communication_Protocol* const state_;
    record::FlightRecorder& recorder_;
    DriverFunctions functions_;
    using GetValueFunction = quint32 (*)(QString*, qint32, QString*, qint32, QByteArray*, qint32);
    GetValueFunction plainGetValue_ = nullptr;  // behind driver_.getValue, when that is nothing more

    // Held during each call but getValue, for which the lock of the recorder is enough. What follows belongs to whoever has
    // mutex_ and has set isCalling_, and while that is not set, to whoever has the lock of the recorder.
    std::mutex mutex_;
    bool isCalling_ = false;  // guarded by the lock of the recorder
    ComInfo* info_ = nullptr;
    ComInfo lastInfo_{};
    VarDoneCallback varDone_ = nullptr;
    CommFailCallback commFailed_ = nullptr;
    std::vector<record::Callback> callbacks_;  // of the call that goes on
    const Protocol* lastFrame_ = nullptr;      // the driver's, while it keeps it
    std::uint32_t frameNumber_ = 0;
};

}  // namespace ac500::host

#endif
