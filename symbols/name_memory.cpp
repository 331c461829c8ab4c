#include "symbols/name_memory.h"

namespace ac500 {

bool NameMemory::recall(const HashedTag& tag, ControlInformationM& info) const {
    const quint32 position = positions_.find(
        tag.hash, [&](quint32 i) { return answers_[i].hash == tag.hash && answers_[i].tag == tag.text; });
    if (position == PositionTable::kNone)
        return false;

    const Answer& answer = answers_[position];
    info = ControlInformationM();
    info.dataType = answer.dataType;
    info.address = answer.address;
    info.area = answer.area;
    if (answer.details != PositionTable::kNone) {
        const Details& details = details_[answer.details];
        info.isBit = details.isBit;
        info.bitIndex = details.bitIndex;
        info.isArray = details.isArray;
        info.arrayIndex = details.arrayIndex;
        info.arrayCount = details.arrayCount;
    }
    return true;
}

void NameMemory::remember(const HashedTag& tag, const ControlInformationM& info) {
    makeRoom();
    const Answer answer = {tag.text, tag.hash, info.dataType, info.address, info.area, addDetails(info)};
    positions_.insert(answer.hash, static_cast<quint32>(answers_.size()));
    answers_.push_back(answer);
}

void NameMemory::clear() {
    answers_.clear();
    details_.clear();
    positions_ = PositionTable();
}

void NameMemory::makeRoom() {
    if (answers_.size() >= kMostAnswers)
        clear();
    if (answers_.size() < positions_.room())
        return;
    positions_ = PositionTable(2 * positions_.room());
    for (quint32 i = 0; i < answers_.size(); ++i)
        positions_.insert(answers_[i].hash, i);
}

quint32 NameMemory::addDetails(const ControlInformationM& info) {
    if (info.isBit == 0 && info.isArray == 0)
        return PositionTable::kNone;
    const Details details = {info.isBit, info.bitIndex, info.isArray, info.arrayIndex, info.arrayCount};
    details_.push_back(details);
    return static_cast<quint32>(details_.size() - 1);
}

}  // namespace ac500
