#include "tests/layout/record_layout.h"

#include <algorithm>

namespace ac500::test {
namespace {

std::size_t roundUp(std::size_t value, std::size_t step) {
    return (value + step - 1) / step * step;
}

#define FIELD(record, member)                                                           \
    Field {                                                                             \
#member, TypeText < decltype(record::member)> ::text, offsetof(record, member), \
            extentOn < decltype(record::member)>                                        \
    }

Record comInfo() {
    return {"ComInfo",
            sizeof(ComInfo),
            {FIELD(ComInfo, hostWord0), FIELD(ComInfo, hostWord4), FIELD(ComInfo, hostWord8),
             FIELD(ComInfo, hostWord12), FIELD(ComInfo, maxRequestWords), FIELD(ComInfo, hostWord20),
             FIELD(ComInfo, comWord), FIELD(ComInfo, retryLimit), FIELD(ComInfo, retryCount),
             FIELD(ComInfo, hostWord36), FIELD(ComInfo, clearedWord40), FIELD(ComInfo, frameTotal),
             FIELD(ComInfo, frameDone), FIELD(ComInfo, clearedWord52), FIELD(ComInfo, aux3), FIELD(ComInfo, aux4),
             FIELD(ComInfo, accessMode), FIELD(ComInfo, firstPassDone), FIELD(ComInfo, stationId)}};
}

Record rwVar() {
    return {"RW_VAR",
            sizeof(RW_VAR),
            {FIELD(RW_VAR, hostId), FIELD(RW_VAR, hostSubId), FIELD(RW_VAR, writeFlag), FIELD(RW_VAR, aux3),
             FIELD(RW_VAR, aux4), FIELD(RW_VAR, status), FIELD(RW_VAR, labelName), FIELD(RW_VAR, labelArg),
             FIELD(RW_VAR, dataType), FIELD(RW_VAR, offset), FIELD(RW_VAR, comWord), FIELD(RW_VAR, size),
             FIELD(RW_VAR, resolveResult), FIELD(RW_VAR, area), FIELD(RW_VAR, data)}};
}

Record protocol() {
    return {"Protocol",
            sizeof(Protocol),
            {FIELD(Protocol, frame), FIELD(Protocol, frameLength), FIELD(Protocol, replyLength),
             FIELD(Protocol, replyDataOffset), FIELD(Protocol, minReplyLength), FIELD(Protocol, var),
             FIELD(Protocol, reserved80), FIELD(Protocol, reserved84), FIELD(Protocol, reserved88)}};
}

Record labelTypeInfo() {
    return {"Label_Type_Info",
            sizeof(Label_Type_Info),
            {FIELD(Label_Type_Info, name), FIELD(Label_Type_Info, type), FIELD(Label_Type_Info, offset),
             FIELD(Label_Type_Info, dimensions), FIELD(Label_Type_Info, memberCount),
             FIELD(Label_Type_Info, arrayBounds), FIELD(Label_Type_Info, members), FIELD(Label_Type_Info, elementType),
             FIELD(Label_Type_Info, typeName), FIELD(Label_Type_Info, extra1), FIELD(Label_Type_Info, extra2),
             FIELD(Label_Type_Info, areaList), FIELD(Label_Type_Info, textList)}};
}

Record controlInformation() {
    return {"ControlInformationM",
            sizeof(ControlInformationM),
            {FIELD(ControlInformationM, dataType), FIELD(ControlInformationM, address),
             FIELD(ControlInformationM, reserved), FIELD(ControlInformationM, isBit),
             FIELD(ControlInformationM, bitIndex), FIELD(ControlInformationM, isArray),
             FIELD(ControlInformationM, arrayReserved), FIELD(ControlInformationM, arrayIndex),
             FIELD(ControlInformationM, arrayCount), FIELD(ControlInformationM, area)}};
}

Record hostTag() {
    return {"HostTag",
            sizeof(HostTag),
            {FIELD(HostTag, hostWord0), FIELD(HostTag, hostWord1), FIELD(HostTag, argument), FIELD(HostTag, tagName),
             FIELD(HostTag, count)}};
}

Record extendVar() {
    return {"EXTENDVAR",
            sizeof(EXTENDVAR),
            {FIELD(EXTENDVAR, word0), FIELD(EXTENDVAR, word1), FIELD(EXTENDVAR, word2), FIELD(EXTENDVAR, data)}};
}

Record driverObject() {
    using Driver = Communication_Protocol;
    return {"Communication_Protocol",
            sizeof(Driver),
            {FIELD(Driver, comInfo),          FIELD(Driver, readList),        FIELD(Driver, writeList),
             FIELD(Driver, onceReadList),     FIELD(Driver, spareList),       FIELD(Driver, frameList),
             FIELD(Driver, extendList),       FIELD(Driver, varDoneCallback), FIELD(Driver, commFailCallback),
             FIELD(Driver, listMutex),        FIELD(Driver, localAreaMutex),  FIELD(Driver, stationMutex),
             FIELD(Driver, disabledStations), FIELD(Driver, resultVar),       FIELD(Driver, batchKind),
             FIELD(Driver, writeTurns),       FIELD(Driver, onceReadTurns),   FIELD(Driver, cyclicBatches),
             FIELD(Driver, commFailed),       FIELD(Driver, unusedFlag),      FIELD(Driver, connected),
             FIELD(Driver, batchCount),       FIELD(Driver, handshakeBytes),  FIELD(Driver, batch),
             FIELD(Driver, labelTable),       FIELD(Driver, localValues)}};
}

#undef FIELD

}  // namespace

std::vector<Record> sharedRecords() {
    return {comInfo(), rwVar(),     protocol(),    labelTypeInfo(), controlInformation(),
            hostTag(), extendVar(), driverObject()};
}

Layout layoutOn(PointerBytes width, const Record& record) {
    Layout layout{};
    std::size_t widest = 1;
    for (const Field& field : record.fields) {
        const Extent extent = field.extentOn(width);
        const std::size_t offset = roundUp(layout.size, extent.alignment);
        layout.offsets.push_back(offset);
        layout.size = offset + extent.size;
        widest = std::max(widest, extent.alignment);
    }
    layout.size = roundUp(layout.size, widest);
    return layout;
}

}  // namespace ac500::test
