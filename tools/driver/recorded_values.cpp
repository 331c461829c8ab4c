#include "tools/driver/recorded_values.h"

#include <cstring>

namespace ac500::host {

namespace {

using record::LabelRecord;

template <typename Words, typename Record>
Words wordsOf(const Record& record) {
    Words words{};
    static_assert(sizeof words == sizeof record, "a record of 32-bit words");
    std::memcpy(words.data(), &record, sizeof words);
    return words;
}

template <typename Record, typename Words>
Record recordOf(const Words& words) {
    Record record{};
    static_assert(sizeof words == sizeof record, "a record of 32-bit words");
    std::memcpy(&record, words.data(), sizeof record);
    return record;
}

std::vector<std::int32_t> recordedIntegers(const QList<int>& integers) {
    return {integers.begin(), integers.end()};
}

QList<int> integersOf(const std::vector<std::int32_t>& integers) {
    QList<int> list;
    for (const std::int32_t integer : integers) {
        list.append(integer);
    }
    return list;
}

// NOLINTNEXTLINE(misc-no-recursion): structures hold structures
std::vector<LabelRecord> recordedLabels(const QList<Label_Type_Info>& labels) {
    std::vector<LabelRecord> records;
    for (const Label_Type_Info& label : labels) {
        records.push_back(recorded(label));
    }
    return records;
}

// NOLINTNEXTLINE(misc-no-recursion): structures hold structures
QList<Label_Type_Info> labelsOf(const std::vector<LabelRecord>& records) {
    QList<Label_Type_Info> labels;
    for (const LabelRecord& label : records) {
        labels.append(fromRecord(label));
    }
    return labels;
}

}  // namespace

record::Text recorded(const QString& text) {
    return text.toStdU16String();
}

record::Bytes recorded(const QByteArray& bytes) {
    return bytes.toStdString();
}

record::SettingsWords recorded(const ComInfo& info) {
    return wordsOf<record::SettingsWords>(info);
}

record::ResolutionWords recorded(const ControlInformationM& info) {
    return wordsOf<record::ResolutionWords>(info);
}

record::VarRecord recorded(const RW_VAR& var) {
    record::VarRecord record;
    record.hostId = var.hostId;
    record.hostSubId = var.hostSubId;
    record.writeFlag = var.writeFlag;
    record.aux3 = var.aux3;
    record.aux4 = var.aux4;
    record.status = var.status;
    record.labelName = recorded(var.labelName);
    record.labelArg = recorded(var.labelArg);
    record.dataType = var.dataType;
    record.offset = var.offset;
    record.comWord = var.comWord;
    record.size = var.size;
    record.resolveResult = var.resolveResult;
    record.area = var.area;
    record.data = recorded(var.data);
    return record;
}

record::FrameRecord recorded(const Protocol& frame) {
    record::FrameRecord record;
    record.frame = recorded(frame.frame);
    record.frameLength = frame.frameLength;
    record.replyLength = frame.replyLength;
    record.replyDataOffset = frame.replyDataOffset;
    record.minReplyLength = frame.minReplyLength;
    record.var = recorded(frame.var);
    record.reserved = {frame.reserved80, frame.reserved84, frame.reserved88};
    return record;
}

record::TagRecord recorded(const HostTag& tag) {
    return {tag.hostWord0, tag.hostWord1, recorded(tag.argument), recorded(tag.tagName), tag.count};
}

// NOLINTNEXTLINE(misc-no-recursion): structures hold structures
record::LabelRecord recorded(const Label_Type_Info& label) {
    record::LabelRecord record;
    record.name = recorded(label.name);
    record.type = label.type;
    record.offset = label.offset;
    record.dimensions = label.dimensions;
    record.memberCount = label.memberCount;
    record.arrayBounds = recordedIntegers(label.arrayBounds);
    record.members = recordedLabels(label.members);
    record.elementType = recordedLabels(label.elementType);
    record.typeName = recorded(label.typeName);
    record.extra1 = label.extra1;
    record.extra2 = label.extra2;
    record.areaList = recordedIntegers(label.areaList);
    for (const QString& text : label.textList) {
        record.textList.push_back(recorded(text));
    }
    return record;
}

QString fromRecord(const record::Text& text) {
    return QString::fromStdU16String(text);
}

QByteArray fromRecord(const record::Bytes& bytes) {
    return QByteArray::fromStdString(bytes);
}

ComInfo fromRecord(const record::SettingsWords& words) {
    return recordOf<ComInfo>(words);
}

ControlInformationM fromRecord(const record::ResolutionWords& words) {
    return recordOf<ControlInformationM>(words);
}

RW_VAR fromRecord(const record::VarRecord& record) {
    RW_VAR var{};
    var.hostId = record.hostId;
    var.hostSubId = record.hostSubId;
    var.writeFlag = record.writeFlag;
    var.aux3 = record.aux3;
    var.aux4 = record.aux4;
    var.status = record.status;
    var.labelName = fromRecord(record.labelName);
    var.labelArg = fromRecord(record.labelArg);
    var.dataType = record.dataType;
    var.offset = record.offset;
    var.comWord = record.comWord;
    var.size = record.size;
    var.resolveResult = record.resolveResult;
    var.area = record.area;
    var.data = fromRecord(record.data);
    return var;
}

HostTag fromRecord(const record::TagRecord& tag) {
    return {tag.hostWord0, tag.hostWord1, fromRecord(tag.argument), fromRecord(tag.tagName), tag.count};
}

// NOLINTNEXTLINE(misc-no-recursion): structures hold structures
Label_Type_Info fromRecord(const record::LabelRecord& record) {
    Label_Type_Info label{};
    label.name = fromRecord(record.name);
    label.type = record.type;
    label.offset = record.offset;
    label.dimensions = record.dimensions;
    label.memberCount = record.memberCount;
    label.arrayBounds = integersOf(record.arrayBounds);
    label.members = labelsOf(record.members);
    label.elementType = labelsOf(record.elementType);
    label.typeName = fromRecord(record.typeName);
    label.extra1 = record.extra1;
    label.extra2 = record.extra2;
    label.areaList = integersOf(record.areaList);
    for (const record::Text& text : record.textList) {
        label.textList.append(fromRecord(text));
    }
    return label;
}

void setSettingsWord(ComInfo* info, std::size_t index, std::int32_t value) {
    std::memcpy(reinterpret_cast<char*>(info) + index * sizeof value, &value, sizeof value);
}

}  // namespace ac500::host
