// Rebuilding the cyclic read list from the host's tags.
#include <QtCore/QMap>
#include <QtCore/QMutexLocker>

#include "core/host_interface.h"
#include "symbols/resolution_code.h"
#include "symbols/tag_resolution.h"
#include "vars/read_extent.h"
#include "vars/read_planner.h"
#include "vars/record_order.h"
#include "vars/request_size.h"

using namespace ac500;

namespace {

typedef QMap<int, QList<RW_VAR>> AreaLists;

RW_VAR cyclicRead(const HostTag& tag, const QString& concreteName, int area, const ReadExtent& extent) {
    const ComInfo& settings = *PLC_driver.comInfo;
    RW_VAR var = RW_VAR();
    var.hostSubId = -1;
    var.aux3 = settings.aux3;
    var.aux4 = settings.aux4;
    var.labelName = concreteName;
    var.labelArg = tag.argument;
    var.dataType = extent.dataType;
    var.offset = extent.startByte;
    var.comWord = settings.comWord;
    var.size = extent.lengthBytes;
    var.area = area;
    return var;
}

void addTag(const HostTag& tag, AreaLists& areaLists) {
    QString name = tag.tagName;
    ControlInformationM info;
    if (resolveTag(name, tag.argument, info) != kResolved)
        return;
    const ReadExtent extent = readExtent(info, tag.count);
    if (extent.transferable)
        areaLists[info.area].append(cyclicRead(tag, name, info.area, extent));
}

}  // namespace

int ReCreatReadVarList(QList<HostTag>* tags) noexcept {
    QMutexLocker lock(&PLC_driver.listMutex);
    PLC_driver.readList = QList<RW_VAR>();
    if (tags == nullptr || tags->isEmpty())
        return 0;
    PLC_driver.cyclicBatches = 0;
    PLC_driver.comInfo->firstPassDone = 0;

    AreaLists areaLists;
    for (int i = 0; i < tags->size(); ++i)
        addTag(tags->at(i), areaLists);
    for (AreaLists::iterator area = areaLists.begin(); area != areaLists.end(); ++area) {
        Bubble_Sort(&area.value());
        BitVarReCreat(&area.value(), maxRequestBytes());
    }
    return PLC_driver.readList.size();
}

// The name is the host's; sorting thousands of tags that way would make the loop wait.
void Bubble_Sort(QList<RW_VAR>* list) noexcept {
    sortByOffset(*list);
}

void BitVarReCreat(QList<RW_VAR>* list, int maxBytes) noexcept {
    if (maxBytes == 1)
        keepLargestPerOffset(*list, PLC_driver.readList);
    else if (maxBytes > 1)
        mergeReads(*list, maxBytes, PLC_driver.readList);
}
