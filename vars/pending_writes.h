// The list of pending writes, as the driver changes it, and whether it holds one of a variable.
//
// A finished write is not reported while a newer one of the same variable is pending (quirk 10). To look through
// thousands of pending ones after each request takes longer than all the rest of a burst of writes. So from kMany on the
// writes of each variable are counted, and the counts kept up to date by whatever in the driver changes the list.
//
// A host may change the list, too. While there are counts, a copy of the list is kept that shares its data: whoever
// changes the list through the driver object makes it take data of its own first. That is noticed, and the counts are
// made anew. The driver itself lets go of the copy before it changes the list.
#ifndef AC500_VARS_PENDING_WRITES_H
#define AC500_VARS_PENDING_WRITES_H

#include <memory>

#include <QtCore/QList>

#include "symbols/fixed_array.h"
#include "vars/rw_var.h"

namespace ac500 {

// What tells variables apart when they are reported.
struct Identity {
    qint32 hostId;
    qint32 hostSubId;
};

inline Identity identityOf(const RW_VAR& variable) {
    const Identity identity = {variable.hostId, variable.hostSubId};
    return identity;
}

inline bool operator==(const Identity& a, const Identity& b) {
    return a.hostId == b.hostId && a.hostSubId == b.hostSubId;
}

// Spreads neighbours over all its bits.
inline quint32 hashOf(const Identity& identity) {
    const quint32 mixed = static_cast<quint32>(identity.hostId) * 0x9E3779B1U +  // any two large odd numbers
                          static_cast<quint32>(identity.hostSubId) * 0x85EBCA6BU;
    return (mixed ^ mixed >> 15) * 0x9E3779B1U;
}

// REQUIRES (all): the list lock is held.
class PendingWrites {
public:
    enum { kMany = 1024 };

    // Keeps a reference to `list`.
    explicit PendingWrites(QList<RW_VAR>& list) : list_(list), usedSlots_(0), slotBits_(0) {}

    // Exchanges the texts and the bytes instead of sharing them, and so leaves those of `var` empty: a burst of writes
    // would spend a fifth of its time on counting who shares what.
    void append(RW_VAR& var);
    void removeFirst(int count);
    void clear();

    // Whether asking for one variable after another is cheaper than looking through the list.
    bool areMany() const { return list_.size() >= kMany; }
    bool holds(const Identity& variable);

private:
    Q_DISABLE_COPY(PendingWrites)

    struct Slot {
        Slot() : variable(), writes(kUnused) {}

        Identity variable;
        int writes;  // kUnused: the slot holds no variable
    };

    enum { kUnused = -1, kFewestSlotBits = 4, kSlotsPerWrite = 4, kMostFullPart = 2 };

    bool areCounted() const { return slots_ != nullptr && copy_.isSharedWith(list_); }

    // Around each change by the driver: lets go of the copy, and takes it again when there were counts before.
    bool beginChange();
    void endChange(bool wereCounted);

    void countAll();
    void count(const Identity& variable);
    void forget();
    Slot& slotOf(const Identity& variable);

    QList<RW_VAR>& list_;
    QList<RW_VAR> copy_;
    std::unique_ptr<FixedArray<Slot>> slots_;  // open addressing; a variable whose writes are gone keeps its slot
    int usedSlots_;
    int slotBits_;
};

// The driver object's.
extern PendingWrites pendingWriteList;

}  // namespace ac500

#endif
