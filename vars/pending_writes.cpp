#include "vars/pending_writes.h"

#include "core/communication_protocol.h"

namespace ac500 {

namespace {

void take(RW_VAR& source, RW_VAR& target) {
    target.hostId = source.hostId;
    target.hostSubId = source.hostSubId;
    target.writeFlag = source.writeFlag;
    target.aux3 = source.aux3;
    target.aux4 = source.aux4;
    target.status = source.status;
    target.labelName.swap(source.labelName);
    target.labelArg.swap(source.labelArg);
    target.dataType = source.dataType;
    target.offset = source.offset;
    target.comWord = source.comWord;
    target.size = source.size;
    target.resolveResult = source.resolveResult;
    target.area = source.area;
    target.data.swap(source.data);
}

}  // namespace

PendingWrites pendingWriteList(PLC_driver.writeList);

bool PendingWrites::beginChange() {
    const bool wereCounted = areCounted();
    if (slots_ != nullptr) {
        copy_ = QList<RW_VAR>();
    }
    return wereCounted;
}

void PendingWrites::endChange(bool wereCounted) {
    if (wereCounted && areMany()) {
        copy_ = list_;
    } else if (slots_ != nullptr) {
        forget();
    }
}

void PendingWrites::append(RW_VAR& var) {
    const bool wereCounted = beginChange();
    list_.append(RW_VAR());
    take(var, list_.last());
    if (wereCounted) {
        count(identityOf(var));
    }
    endChange(wereCounted);
}

void PendingWrites::removeFirst(int count) {
    const bool wereCounted = beginChange();
    for (int i = 0; i < count && wereCounted; ++i) {
        --slotOf(identityOf(list_.at(i))).writes;
    }
    list_.erase(list_.begin(), list_.begin() + count);
    endChange(wereCounted);
}

void PendingWrites::clear() {
    list_.clear();
    forget();
}

bool PendingWrites::holds(const Identity& variable) {
    if (!areCounted()) {
        countAll();
    }
    return slotOf(variable).writes > 0;
}

void PendingWrites::countAll() {
    forget();
    slotBits_ = kFewestSlotBits;
    while (1 << slotBits_ < list_.size() * kSlotsPerWrite) {
        ++slotBits_;
    }
    slots_.reset(new FixedArray<Slot>(static_cast<std::size_t>(1) << slotBits_));
    for (int i = 0; i < list_.size(); ++i) {
        count(identityOf(list_.at(i)));
    }
    copy_ = list_;
}

void PendingWrites::count(const Identity& variable) {
    Slot& slot = slotOf(variable);
    if (slot.writes != kUnused) {
        ++slot.writes;
        return;
    }
    slot.variable = variable;
    slot.writes = 1;
    ++usedSlots_;
    if (usedSlots_ > (1 << slotBits_) / kMostFullPart) {
        countAll();
    }
}

void PendingWrites::forget() {
    slots_.reset();
    usedSlots_ = 0;
    copy_ = QList<RW_VAR>();
}

// Where the variable is, or would be.
PendingWrites::Slot& PendingWrites::slotOf(const Identity& variable) {
    FixedArray<Slot>& table = *slots_;
    const quint32 lastSlot = (1U << slotBits_) - 1;
    quint32 slot = hashOf(variable) >> (32 - slotBits_);
    while (table[slot].writes != kUnused && !(table[slot].variable == variable)) {
        slot = (slot + 1) & lastSlot;
    }
    return table[slot];
}

}  // namespace ac500
