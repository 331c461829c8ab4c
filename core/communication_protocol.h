// Communication_Protocol is the driver object: all state of the driver, and nothing but state. There is one per loaded
// library, PLC_driver, built when the library is loaded and destroyed when it is unloaded.
//
// Fields stand in contract order: the layout is known to the host. What guards a field is said beside it:
//   [setup]  set before polling starts, constant afterwards
//   [list]   listMutex
//   [image]  localAreaMutex
//   [loop]   only touched by the thread that calls ComCommunication and DataCom
// Lock order: listMutex before localAreaMutex; stationMutex is never held together with another.
#ifndef AC500_CORE_COMMUNICATION_PROTOCOL_H
#define AC500_CORE_COMMUNICATION_PROTOCOL_H

#include <cstddef>

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QMutex>
#include <QtCore/QString>

#include "core/com_info.h"
#include "core/export.h"
#include "protocol/protocol.h"
#include "symbols/label_type_info.h"
#include "vars/rw_var.h"

// Outcome of one written or one-shot read variable: (stationId, hostId, hostSubId, VariableOutcome).
typedef quint32 (*VarDoneCallback)(quint32 stationId, quint32 hostId, quint32 hostSubId, quint32 outcome);

// A request was abandoned: (empty list, hostId of the record that DataCom returns, kCommunicationFailed).
typedef quint32 (*CommFailCallback)(QList<RW_VAR>* emptyList, quint32 hostId, quint32 one);

// The element of a list that the driver keeps for the host's sake: created, cleared and destroyed with the driver object,
// never filled.
struct EXTENDVAR {
    qint32 word0;
    qint32 word1;
    qint32 word2;
    QByteArray data;
};

#if __cplusplus >= 201103L
#if __SIZEOF_POINTER__ == 4
static_assert(offsetof(EXTENDVAR, word0) == 0, "EXTENDVAR::word0");
static_assert(offsetof(EXTENDVAR, word1) == 4, "EXTENDVAR::word1");
static_assert(offsetof(EXTENDVAR, word2) == 8, "EXTENDVAR::word2");
static_assert(offsetof(EXTENDVAR, data) == 12, "EXTENDVAR::data");
static_assert(sizeof(EXTENDVAR) == 16, "EXTENDVAR is 16 bytes on 32-bit targets");
#else
static_assert(sizeof(EXTENDVAR) == 24, "EXTENDVAR is 24 bytes on 64-bit targets");
#endif
#endif

enum { kBatchCapacity = 100, kSessionBytes = 4 };

// Values of Communication_Protocol::batchKind.
enum BatchKind { kCyclicBatch = 0, kWriteBatch = 1, kOnceReadBatch = 2, kNoBatchYet = 100 };

class Communication_Protocol {
public:
    Communication_Protocol();

    ComInfo* comInfo;                   // [setup] the host's record; null until SetComInfo
    QList<RW_VAR> readList;             // [list] cyclic reads, rotated batch by batch
    QList<RW_VAR> writeList;            // [list] pending writes; may share its data with a copy that the driver keeps
    QList<RW_VAR> onceReadList;         // [list] pending one-shot reads
    QList<RW_VAR> spareList;            // unused
    QList<Protocol> frameList;          // [loop] frames to be sent or answered, head first
    QList<EXTENDVAR> extendList;        // unused
    VarDoneCallback varDoneCallback;    // [setup] called with listMutex held
    CommFailCallback commFailCallback;  // [setup] called with listMutex held
    QMutex listMutex;
    QMutex localAreaMutex;
    QMutex stationMutex;
    QMap<int, int> disabledStations;       // stationMutex: key: a station that is switched off; value: 0
    RW_VAR resultVar;                      // [loop] what DataCom returns
    qint32 batchKind;                      // [list] see BatchKind
    qint32 writeTurns;                     // [list] write batches in a row
    qint32 onceReadTurns;                  // [list] one-shot batches in a row
    qint32 cyclicBatches;                  // [list] data replies since the last full pass
    quint8 commFailed;                     // [list] 1 from an abandoned request to the next good data reply
    quint8 unusedFlag;                     // zero
    quint8 connected;                      // [loop] 1 once the handshake completed; 0 forces a new one
    qint32 batchCount;                     // [list] valid entries of batch
    quint8 handshakeBytes[kSessionBytes];  // [loop] session bytes, sent at the end of every request, in this order
    RW_VAR batch[kBatchCapacity];          // [list] copies of the variables in flight
    // [setup] Scopes by name. Names are resolved through a cache that shares the table's data: it notices a change that
    // is made through this field, but not one through a reference or iterator that is older than the last resolution;
    // and such a one dangles when the table was touched through a non-const call since (docs/threads.md has the rules).
    QHash<QString, Label_Type_Info> labelTable;
    QHash<quint64, char> localValues;  // [image] byte image: (area << 32 | byte address) to byte

private:
    Q_DISABLE_COPY(Communication_Protocol)
};

#if __cplusplus >= 201103L
#if __SIZEOF_POINTER__ == 4
static_assert(offsetof(Communication_Protocol, comInfo) == 0, "Communication_Protocol::comInfo");
static_assert(offsetof(Communication_Protocol, readList) == 4, "Communication_Protocol::readList");
static_assert(offsetof(Communication_Protocol, writeList) == 8, "Communication_Protocol::writeList");
static_assert(offsetof(Communication_Protocol, onceReadList) == 12, "Communication_Protocol::onceReadList");
static_assert(offsetof(Communication_Protocol, spareList) == 16, "Communication_Protocol::spareList");
static_assert(offsetof(Communication_Protocol, frameList) == 20, "Communication_Protocol::frameList");
static_assert(offsetof(Communication_Protocol, extendList) == 24, "Communication_Protocol::extendList");
static_assert(offsetof(Communication_Protocol, varDoneCallback) == 28, "Communication_Protocol::varDoneCallback");
static_assert(offsetof(Communication_Protocol, commFailCallback) == 32, "Communication_Protocol::commFailCallback");
static_assert(offsetof(Communication_Protocol, listMutex) == 36, "Communication_Protocol::listMutex");
static_assert(offsetof(Communication_Protocol, localAreaMutex) == 40, "Communication_Protocol::localAreaMutex");
static_assert(offsetof(Communication_Protocol, stationMutex) == 44, "Communication_Protocol::stationMutex");
static_assert(offsetof(Communication_Protocol, disabledStations) == 48, "Communication_Protocol::disabledStations");
static_assert(offsetof(Communication_Protocol, resultVar) == 52, "Communication_Protocol::resultVar");
static_assert(offsetof(Communication_Protocol, batchKind) == 112, "Communication_Protocol::batchKind");
static_assert(offsetof(Communication_Protocol, writeTurns) == 116, "Communication_Protocol::writeTurns");
static_assert(offsetof(Communication_Protocol, onceReadTurns) == 120, "Communication_Protocol::onceReadTurns");
static_assert(offsetof(Communication_Protocol, cyclicBatches) == 124, "Communication_Protocol::cyclicBatches");
static_assert(offsetof(Communication_Protocol, commFailed) == 128, "Communication_Protocol::commFailed");
static_assert(offsetof(Communication_Protocol, unusedFlag) == 129, "Communication_Protocol::unusedFlag");
static_assert(offsetof(Communication_Protocol, connected) == 130, "Communication_Protocol::connected");
static_assert(offsetof(Communication_Protocol, batchCount) == 132, "Communication_Protocol::batchCount");
static_assert(offsetof(Communication_Protocol, handshakeBytes) == 136, "Communication_Protocol::handshakeBytes");
static_assert(offsetof(Communication_Protocol, batch) == 140, "Communication_Protocol::batch");
static_assert(offsetof(Communication_Protocol, labelTable) == 6140, "Communication_Protocol::labelTable");
static_assert(offsetof(Communication_Protocol, localValues) == 6144, "Communication_Protocol::localValues");
static_assert(sizeof(Communication_Protocol) == 6148, "Communication_Protocol is 6148 bytes on 32-bit targets");
#else
static_assert(sizeof(Communication_Protocol) == 7424, "Communication_Protocol is 7424 bytes on 64-bit targets");
#endif
#endif

extern "C" {
extern AC500_API Communication_Protocol PLC_driver;

// The host's local register areas, as last passed to FlashLocalRegister. The driver never looks behind them.
extern AC500_API void* LB;
extern AC500_API void* LW;
extern AC500_API void* RWI;
}

#endif
