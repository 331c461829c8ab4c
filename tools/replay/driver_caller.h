// DriverCaller makes the calls of a record: as the host made them, on a driver that may be another one.
#ifndef AC500_TOOLS_REPLAY_DRIVER_CALLER_H
#define AC500_TOOLS_REPLAY_DRIVER_CALLER_H

#include <string>
#include <vector>

#include "tools/driver/driver_functions.h"
#include "tools/record/event.h"

namespace ac500::replay {

// Is it a call into the driver? All other events are something that the host noted, or did by itself.
bool isCall(const record::What& what);

// One at a time in a process, because the driver's callbacks carry no pointer of their own; used by one thread. The
// driver keeps a pointer to the settings record in it: no call may be made after it is gone.
class DriverCaller {
public:
    // `driver` must outlive this.
    explicit DriverCaller(const host::DriverFunctions& driver);
    ~DriverCaller();
    DriverCaller(const DriverCaller&) = delete;
    DriverCaller& operator=(const DriverCaller&) = delete;

    // Calls the driver with the arguments of the event, and returns the event with the answers of this driver. Events that
    // are no calls return as they are; of them SettingsChanged is obeyed.
    // REQUIRES: problemOf(event) has nothing to say (admission.h).
    record::Event answer(const record::Event& event);

    // Brings the driver to the state of the checkpoint. False, and *error says why, when it does not get there.
    // REQUIRES: the driver was not called since it was loaded.
    bool restore(const record::Checkpoint& checkpoint, std::string* error);

private:
    void call(record::SetComInfo& call);
    void call(record::RegisterCallbacks& call);
    void call(record::SetLocalRegisters& call);
    void call(record::PassSymbols& call);
    void call(record::RebuildReadList& call);
    void call(record::AddCyclicRead& call);
    void call(record::AddOnceRead& call);
    void call(record::AddWrite& call);
    void call(record::NextRequest& call);
    void call(record::TakeReply& call);
    void call(record::GetValue& call);
    void call(record::SetValue& call);
    void call(record::ResolveTag& call);
    void call(record::SettingsChanged& change);
    void call(record::SegmentStart&) {}
    void call(record::Connection&) {}
    void call(record::Note&) {}

    static quint32 onVariableDone(quint32 stationId, quint32 hostId, quint32 hostSubId, quint32 outcome);
    static quint32 onCommunicationFailed(QList<RW_VAR>* emptyList, quint32 hostId, quint32 one);

    const host::DriverFunctions& driver_;
    ComInfo settings_{};
    std::vector<record::Callback> callbacks_;  // of the call that goes on
};

}  // namespace ac500::replay

#endif
