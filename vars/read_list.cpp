// Rebuilding the cyclic read list from the host's tags.
#include <QtCore/QMap>
#include <QtCore/QMutexLocker>

#include "core/codes.h"
#include "core/host_interface.h"
#include "symbols/tag_resolution.h"
#include "vars/read_extent.h"
#include "vars/read_planner.h"
#include "vars/record_order.h"
#include "vars/request_size.h"

using namespace ac500;

namespace {

typedef QMap<int, QVector<ReadRun>> AreaRuns;

struct ResolvedTag {
    QString concreteName;
    qint32 area;
    ReadExtent extent;  // not transferable: the tag is left out
};

ResolvedTag resolved(const HostTag& tag) {
    ResolvedTag result = {tag.tagName, 0, {false, 0, 0, 0}};
    ControlInformationM info;
    if (resolveTag(result.concreteName, tag.argument, info) == kResolved) {
        result.area = info.area;
        result.extent = readExtent(info, tag.count);
    }
    return result;
}

// The host's tags by their position. Resolves a tag again for its record: few tags need one.
class TagRecords : public RecordSource {
public:
    explicit TagRecords(const QList<HostTag>& tags) : tags_(tags) {}

    RW_VAR record(int source) const {
        const HostTag& tag = tags_.at(source);
        const ResolvedTag found = resolved(tag);
        const ComInfo& settings = *PLC_driver.comInfo;
        RW_VAR var = RW_VAR();
        var.hostSubId = -1;
        var.aux3 = settings.aux3;
        var.aux4 = settings.aux4;
        var.labelName = found.concreteName;
        var.labelArg = tag.argument;
        var.dataType = found.extent.dataType;
        var.offset = found.extent.startByte;
        var.comWord = settings.comWord;
        var.size = found.extent.lengthBytes;
        var.area = found.area;
        return var;
    }

private:
    const QList<HostTag>& tags_;
};

// The records of a list by their position.
class ListRecords : public RecordSource {
public:
    explicit ListRecords(const QList<RW_VAR>& list) : list_(list) {}

    RW_VAR record(int source) const { return list_.at(source); }

private:
    const QList<RW_VAR>& list_;
};

AreaRuns runsOf(const QList<HostTag>& tags) {
    AreaRuns areaRuns;
    for (int i = 0; i < tags.size(); ++i) {
        const ResolvedTag tag = resolved(tags.at(i));
        const ReadRun run = {tag.area, tag.extent.startByte, tag.extent.lengthBytes, i};
        if (tag.extent.transferable) {
            areaRuns[tag.area].append(run);
        }
    }
    return areaRuns;
}

void plan(const QVector<ReadRun>& sorted, int maxBytes, const RecordSource& records) {
    if (maxBytes == 1) {
        keepLargestPerOffset(sorted, records, PLC_driver.readList);
    } else if (maxBytes > 1) {
        mergeReads(sorted, maxBytes, records, PLC_driver.readList);
    }
}

}  // namespace

int ReCreatReadVarList(QList<HostTag>* tags) noexcept {
    QMutexLocker lock(&PLC_driver.listMutex);
    PLC_driver.readList = QList<RW_VAR>();
    if (tags == nullptr || tags->isEmpty()) {
        return 0;
    }
    PLC_driver.cyclicBatches = 0;
    PLC_driver.comInfo->firstPassDone = 0;

    AreaRuns areaRuns = runsOf(*tags);
    for (AreaRuns::iterator area = areaRuns.begin(); area != areaRuns.end(); ++area) {
        sortByOffset(area.value());
        plan(area.value(), maxRequestBytes(), TagRecords(*tags));
    }
    return PLC_driver.readList.size();
}

// The name is the host's; sorting thousands of tags that way would make the loop wait.
void Bubble_Sort(QList<RW_VAR>* list) noexcept {
    sortByOffset(*list);
}

void BitVarReCreat(QList<RW_VAR>* list, int maxBytes) noexcept {
    QVector<ReadRun> runs;
    runs.reserve(list->size());
    for (int i = 0; i < list->size(); ++i) {
        const ReadRun run = {list->at(i).area, list->at(i).offset, list->at(i).size, i};
        runs.append(run);
    }
    plan(runs, maxBytes, ListRecords(*list));
}
