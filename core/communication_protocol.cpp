#include "core/communication_protocol.h"

Communication_Protocol PLC_driver;

Communication_Protocol::Communication_Protocol()
    : comInfo(nullptr),
      varDoneCallback(nullptr),
      commFailCallback(nullptr),
      resultVar(),
      batchKind(kNoBatchYet),
      writeTurns(0),
      onceReadTurns(0),
      cyclicBatches(0),
      commFailed(0),
      unusedFlag(0),
      connected(0),
      batchCount(0),
      handshakeBytes(),
      batch() {}
