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

class PendingWrites::Change {
public:
    explicit Change(PendingWrites& writes)
        : writes_(writes), haveSlots_(!writes.slots_.isEmpty()), areCounted_(writes.areCounted()) {
        if (haveSlots_) {
            writes_.copy_ = QList<RW_VAR>();
        }
    }

    ~Change() {
        if (!haveSlots_) {
            return;
        }
        if (areCounted_ && writes_.areMany()) {
            writes_.copy_ = writes_.list_;
        } else {
            writes_.forget();
        }
    }

    bool areCounted() const { return areCounted_; }

private:
    Q_DISABLE_COPY(Change)

    PendingWrites& writes_;
    const bool haveSlots_;
    const bool areCounted_;
};

void PendingWrites::append(const RW_VAR& var) {
    RW_VAR copy = var;
    appendTaken(copy);
}

void PendingWrites::appendTaken(RW_VAR& var) {
    const Change change(*this);
    list_.append(RW_VAR());
    take(var, list_.last());
    if (change.areCounted()) {
        count(identityOf(var));
    }
}

void PendingWrites::removeFirst(int count) {
    const Change change(*this);
    for (int i = 0; i < count && change.areCounted(); ++i) {
        --slotOf(identityOf(list_.at(i))).writes;
    }
    list_.erase(list_.begin(), list_.begin() + count);
}

void PendingWrites::clear() {
    const Change change(*this);
    list_.clear();
}

bool PendingWrites::holds(const Identity& variable) {
    if (!areCounted()) {
        countAll();
    }
    return slotOf(variable).writes > 0;
}

void PendingWrites::countAll() {
    forget();
    for (slotBits_ = 4; 1 << slotBits_ < list_.size() * kSlotsPerWrite;) {
        ++slotBits_;
    }
    const Slot unused = {{0, 0}, kUnused};
    slots_.fill(unused, 1 << slotBits_);
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
    if (usedSlots_ > slots_.size() / kMostFullPart) {
        countAll();
    }
}

void PendingWrites::forget() {
    slots_.clear();
    usedSlots_ = 0;
    copy_ = QList<RW_VAR>();
}

// Where the variable is, or would be.
PendingWrites::Slot& PendingWrites::slotOf(const Identity& variable) {
    Slot* const table = slots_.data();
    const quint32 lastSlot = static_cast<quint32>(slots_.size() - 1);
    quint32 slot = hashOf(variable) >> (32 - slotBits_);
    while (table[slot].writes != kUnused && !(table[slot].variable == variable)) {
        slot = (slot + 1) & lastSlot;
    }
    return table[slot];
}

}  // namespace ac500
