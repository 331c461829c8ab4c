// The whole driver once more: lists, choice of batches, frames, replies, completion, values.
//
// Calls carry the meaning, not the names, of the driver's entry points; the entry point is said beside each.
#ifndef AC500_TESTS_REFERENCE_MACHINE_H
#define AC500_TESTS_REFERENCE_MACHINE_H

#include <array>
#include <map>
#include <string>
#include <vector>

#include "tests/reference/names.h"
#include "tests/reference/planning.h"
#include "tests/reference/records.h"
#include "tests/reference/values.h"

namespace reference {

class Machine {
public:
    void useSettings(Settings* settings);               // SetComInfo
    void loadSymbols(const std::vector<Symbol>& list);  // PassVarName_2

    std::int32_t addRead(const Variable& variable);              // AddListReadVar
    std::int32_t addWrite(const Variable& variable);             // AddListWriteVar
    std::int32_t addOnceRead(Variable* variable);                // AddListOnceReadVar
    std::int32_t rebuildReadList(const std::vector<Tag>& tags);  // ReCreatReadVarList

    const Frame* nextRequest();                                               // ComCommunication
    std::int32_t takeReply(const std::string& reply, std::int32_t received);  // DataCom, the status

    // GetRegisterData and SetRegisterData
    std::uint32_t readValue(std::string* label, const std::string& argument, std::int32_t count, std::string* out);
    std::uint32_t writeValue(std::string* label, const std::string& argument, const std::string& in, std::int32_t count,
                             std::int32_t hostId, std::int32_t hostSubId);

    void switchStation(std::int32_t station, std::int32_t enable);  // EnableEthernet, EnCommStation
    [[nodiscard]] bool stationIsOff(std::int32_t station) const;    // Ethernetcontains

    // The state, for the comparison.
    SymbolTable symbols;
    Image image;
    Settings* settings = nullptr;
    std::vector<Variable> readList;
    std::vector<Variable> writeList;
    std::vector<Variable> onceReadList;
    std::vector<Frame> frames;
    std::vector<Variable> batch;
    Variable result;
    std::int32_t batchKind = 100;
    std::int32_t writeTurns = 0;
    std::int32_t onceReadTurns = 0;
    std::int32_t cyclicBatches = 0;
    bool commFailed = false;
    bool connected = false;
    std::array<std::uint8_t, 4> session{};
    std::map<std::int32_t, std::int32_t> offStations;
    std::vector<std::string> callbacks;  // in the words of the callback diary

private:
    bool concreteName(std::string* name, const std::string& argument) const;
    bool locate(std::string* name, const std::string& argument, Place* place) const;
    void chooseReads(const std::vector<Variable>& list);
    void queueRead();
    void queueWrite();
    void refuseWrite();
    void queueHandshake(const Variable& variable);
    std::int32_t judgeHandshake(const std::string& reply);
    std::int32_t judgeData(const std::string& reply, std::int32_t received);
    [[nodiscard]] std::int32_t withHostId(std::int32_t base) const;
    void storeBatch(const std::string& reply);
    std::int32_t fail(std::int32_t code, bool* batchDone);
    void complete();
    void report(std::vector<Variable>* list);
    void sendOrStore(const Variable& variable);
};

}  // namespace reference

#endif
