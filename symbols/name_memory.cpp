#include "symbols/name_memory.h"

namespace ac500 {

namespace {

// False for a string that only points at a text of somebody else's, which may change or go.
bool ownsText(const QString& tag) {
#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)
    return tag.capacity() > 0;
#else
    QString share = tag;  // data_ptr() is not for constant strings
    return share.data_ptr()->data == share.data_ptr()->array;
#endif
}

QString ownText(const QString& tag) {
    return ownsText(tag) ? tag : QString(tag.constData(), tag.size());
}

}  // namespace

bool NameMemory::recall(const HashedTag& tag, ControlInformationM& info) const {
    const Answer* answers = answers_.constData();
    const quint32 position =
        positions_.find(tag.hash, [&](quint32 i) { return answers[i].hash == tag.hash && answers[i].tag == tag.text; });
    if (position == PositionTable::kNone) {
        return false;
    }

    const Answer& answer = answers[position];
    info = ControlInformationM();
    info.dataType = answer.dataType;
    info.address = answer.address;
    info.area = answer.area;
    if (answer.details != PositionTable::kNone) {
        const Details& details = details_.at(static_cast<int>(answer.details));
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
    const Answer answer = {ownText(tag.text), tag.hash, info.dataType, info.address, info.area, addDetails(info)};
    positions_.insert(answer.hash, static_cast<quint32>(answers_.size()));
    answers_.append(answer);
}

void NameMemory::clear() {
    answers_ = QVector<Answer>();
    details_ = QVector<Details>();
    positions_ = PositionTable();
}

void NameMemory::makeRoom() {
    if (answers_.size() >= kMostAnswers) {
        clear();
    }
    if (static_cast<std::size_t>(answers_.size()) < positions_.room()) {
        return;
    }
    positions_ = PositionTable(2 * positions_.room());
    for (int i = 0; i < answers_.size(); ++i) {
        positions_.insert(answers_.at(i).hash, static_cast<quint32>(i));
    }
    answers_.reserve(static_cast<int>(positions_.room()));  // left alone, it would grow to the next power of two
}

quint32 NameMemory::addDetails(const ControlInformationM& info) {
    if (info.isBit == 0 && info.isArray == 0) {
        return PositionTable::kNone;
    }
    const Details details = {info.isBit, info.bitIndex, info.isArray, info.arrayIndex, info.arrayCount};
    details_.append(details);
    return static_cast<quint32>(details_.size() - 1);
}

}  // namespace ac500
