// Rebuilding the cyclic read list from the host's tags: resolve, plan, store.
#include "vars/read_list.h"

#include "core/codes.h"
#include "core/host_interface.h"
#include "core/list_lock.h"
#include "protocol/bytes.h"
#include "symbols/tag_resolution.h"
#include "vars/read_planner.h"
#include "vars/request_size.h"

using namespace ac500;

namespace {

// The runs of the tags that can be read and of which something is asked for, in the order of planning. Their sources are
// positions in `tags`.
QVector<ReadRun> sortedRuns(const QList<HostTag>& tags) {
    QVector<ReadRun> runs;
    runs.reserve(tags.size());
    TagResolver resolver;
    for (int i = 0; i < tags.size(); ++i) {
        const HostTag& tag = tags.at(i);
        ControlInformationM info;
        if (resolver.resolve(tag.tagName, tag.argument, info) != kResolved) {
            continue;
        }
        const ReadExtent extent = readExtent(info, tag.count);
        const ReadRun run = {info.area, extent.startByte, extent.lengthBytes, i};
        if (extent.transferable && extent.askedFor) {
            runs.append(run);
        }
    }
    sortRuns(runs);
    return runs;
}

// Resolves the tag again, which gives the same answer: few tags need a record.
RW_VAR recordOf(const HostTag& tag) {
    const ComInfo& settings = *PLC_driver.comInfo;
    RW_VAR var = RW_VAR();
    var.hostSubId = -1;
    var.aux3 = settings.aux3;
    var.aux4 = settings.aux4;
    var.labelName = tag.tagName;
    var.labelArg = tag.argument;
    ControlInformationM info;
    resolveTag(var.labelName, &tag.argument, info);
    var.dataType = readExtent(info, tag.count).dataType;
    var.comWord = settings.comWord;
    var.area = info.area;
    return var;
}

// Appends one record for each request to `list`: that of its opener, with the bytes of the request. `recordOf` gives the
// record of an opener.
template <typename RecordOf>
void store(const QVector<ReadRequest>& requests, const RecordOf& recordOf, QList<RW_VAR>& list) {
    RW_VAR var = RW_VAR();
    for (int i = 0; i < requests.size(); ++i) {
        const ReadRequest& request = requests.at(i);
        if (i == 0 || request.opener != requests.at(i - 1).opener) {
            var = recordOf(request.opener);
        }
        var.offset = request.offset;
        var.size = request.size;
        list.append(var);
    }
}

QList<RW_VAR> plannedReads(const QList<HostTag>& tags) {
    const int maxBytes = maxRequestBytes();  // before the long part: one limit for all areas, known from the start
    const QVector<ReadRun> runs = sortedRuns(tags);
    const QVector<ReadRequest> requests = planReads(runs, maxBytes);
    QList<RW_VAR> reads;
    store(
        requests, [&tags](int position) { return recordOf(tags.at(position)); }, reads);
    return reads;
}

}  // namespace

// The list is built before the list lock is taken, and the old one freed after: writes and the loop do not wait for it,
// and nobody sees it half built.
int ReCreatReadVarList(QList<HostTag>* tags) noexcept {
    const bool hasTags = tags != nullptr && !tags->isEmpty();
    QList<RW_VAR> reads = hasTags ? plannedReads(*tags) : QList<RW_VAR>();
    const int count = reads.size();

    const ListLock lock;
    PLC_driver.readList.swap(reads);
    if (hasTags) {
        PLC_driver.cyclicBatches = 0;
        PLC_driver.comInfo->firstPassDone = 0;
    }
    return count;
}

// The name is the host's; exchanging neighbours would make it wait for thousands of variables. Sorts runs, as planning
// does, and exchanges each record once. std::stable_sort of the records would be one line, and a tenth of the library.
void Bubble_Sort(QList<RW_VAR>* list) noexcept {
    QVector<ReadRun> order;
    order.reserve(list->size());
    for (int i = 0; i < list->size(); ++i) {
        const ReadRun run = {0, list->at(i).offset, 0, i};  // all of one area: offsets alone count
        order.append(run);
    }
    sortRuns(order);
    for (int place = 0; place < order.size(); ++place) {
        int source = order.at(place).source;
        while (source < place) {
            source = order.at(source).source;  // where an exchange has brought it
        }
        order[place].source = source;
        if (source != place) {
            qSwap((*list)[place], (*list)[source]);
        }
    }
}

namespace {

// A variable that opens a run gives its bytes away piece by piece: it is left with the size of the last piece and with
// the offset behind it.
// REQUIRES: maxBytes is at least 2, the variable has bytes.
void leaveBehindLastPiece(RW_VAR& var, int maxBytes) {
    const int rest = var.size % maxBytes;
    var.offset = wrapAdd(var.offset, var.size);
    var.size = rest != 0 ? rest : qMin(var.size, maxBytes);
}

}  // namespace

void BitVarReCreat(QList<RW_VAR>* list, int maxBytes) noexcept {
    QVector<ReadRun> runs;
    runs.reserve(list->size());
    for (int i = 0; i < list->size(); ++i) {
        const ReadRun run = {list->at(i).area, list->at(i).offset, list->at(i).size, i};
        runs.append(run);
    }

    enum { kLastStored = -1 };  // the opener of what the last stored request grows into
    QList<RW_VAR>& stored = PLC_driver.readList;
    QVector<ReadRequest> requests;
    RW_VAR last = RW_VAR();
    if (!stored.isEmpty()) {
        last = stored.last();
        const ReadRequest mayGrow = {last.area, last.offset, last.size, kLastStored};
        requests.append(mayGrow);
    }
    requests = planReads(runs, maxBytes, requests);
    if (!stored.isEmpty()) {
        stored.last().size = requests.first().size;
        requests.remove(0);
    }
    store(
        requests, [list, &last](int opener) { return opener == kLastStored ? last : list->at(opener); }, stored);

    for (int i = 0; maxBytes > 1 && i < requests.size(); ++i) {
        const int opener = requests.at(i).opener;
        if (opener != kLastStored && (i == 0 || opener != requests.at(i - 1).opener)) {
            leaveBehindLastPiece((*list)[opener], maxBytes);
        }
    }
}

void WhetherGroup(int total, int maxBytes, RW_VAR* var, QList<RW_VAR>* list) noexcept {
    if (total <= maxBytes) {
        list->append(*var);
        return;
    }
    if (maxBytes <= 0) {
        return;
    }
    const qint32 start = var->offset;
    const int pieces = total / maxBytes + (total % maxBytes != 0 ? 1 : 0);
    for (int i = 0; i < pieces; ++i) {
        const int position = i * maxBytes;
        var->offset = wrapAdd(start, position);
        var->size = qMin(maxBytes, total - position);
        list->append(*var);
    }
}
