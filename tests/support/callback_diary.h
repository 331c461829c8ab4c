// The host's two callbacks, writing a diary: one line per call, in the order of the calls, for example
//
//     varDone(7, 101, 1, 1)       station, hostId, hostSubId, outcome
//     commFail(empty, 5, 1)       the list handed over, hostId, the constant
//
// The callbacks are plain functions, so there is one diary per process.
#ifndef AC500_TESTS_SUPPORT_CALLBACK_DIARY_H
#define AC500_TESTS_SUPPORT_CALLBACK_DIARY_H

#include <QtCore/QList>

#include <string>
#include <vector>

#include "vars/rw_var.h"

namespace ac500::test {

inline std::vector<std::string> callbackDiary;

// Identity words are 32-bit words whose sign the callbacks lose; the diary shows them as the records carry them.
inline quint32 recordVarDone(quint32 stationId, quint32 hostId, quint32 hostSubId, quint32 outcome) {
    callbackDiary.push_back("varDone(" + std::to_string(static_cast<qint32>(stationId)) + ", " +
                            std::to_string(static_cast<qint32>(hostId)) + ", " +
                            std::to_string(static_cast<qint32>(hostSubId)) + ", " + std::to_string(outcome) + ")");
    return 4711;  // ignored by the driver
}

inline quint32 recordCommFail(QList<RW_VAR>* list, quint32 hostId, quint32 one) {
    const std::string listText = list == nullptr ? "null" : list->isEmpty() ? "empty" : "filled";
    callbackDiary.push_back("commFail(" + listText + ", " + std::to_string(static_cast<qint32>(hostId)) + ", " +
                            std::to_string(one) + ")");
    return 4712;  // ignored by the driver
}

}  // namespace ac500::test

#endif
