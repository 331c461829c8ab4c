// SlotTable finds positions in somebody else's sequence by hash: open addressing over 32-bit slots, so that an entry
// costs 5 to 11 bytes and no allocation of its own. It does not know its entries: its owner compares them. A slot keeps
// 11 bits of the hash beside the position, so that hardly another entry than the right one is looked at.
//
// One thread may change a table while others search it: they find an entry, or miss one that is just being moved.
#ifndef AC500_SYMBOLS_SLOT_TABLE_H
#define AC500_SYMBOLS_SLOT_TABLE_H

#include <atomic>
#include <cstddef>
#include <cstring>

#include <QtCore/QChar>

#include "symbols/fixed_array.h"

namespace ac500 {

// Eight UTF-16 units in one number: those of names in Latin letters whole, others mixed.
inline quint64 eightUnits(const QChar* firstFour, const QChar* lastFour) {
    quint64 first = 0;
    quint64 last = 0;
    std::memcpy(&first, firstFour, sizeof first);
    std::memcpy(&last, lastFour, sizeof last);
    return first ^ (last << 8 | last >> 56);
}

// A hash of UTF-16 text that spreads neighbours ("ch1A", "ch21") over all its bits.
inline quint32 hashText(const QChar* text, int length) {
    const quint64 kFactor = Q_UINT64_C(0x9E3779B97F4A7C15);
    quint64 hash = static_cast<quint64>(length);
    for (int i = 0; i < length; i += 8) {
        const int rest = length - i;
        quint64 units = 0;
        if (rest >= 4) {
            units = eightUnits(text + i, text + (rest >= 8 ? i + 4 : length - 4));
        } else {
            for (int k = i; k < length; ++k) {
                units = units << 16 | text[k].unicode();
            }
        }
        hash = (hash ^ units) * kFactor;
        hash ^= hash >> 32;
    }
    return static_cast<quint32>(hash);
}

class SlotTable {
public:
    enum : quint32 {
        kNone = 0xFFFFFFFFU,
        kPositionBits = 21,
        kPositionMask = (1U << kPositionBits) - 1,
        kMostPositions = kPositionMask
    };

    // Room for `entries` positions below kMostPositions; the table does not grow.
    explicit SlotTable(std::size_t entries) : shift_(shiftFor(entries)), slots_(slotsFor(shift_)) {}

    // How many entries fit: there is always an empty slot, where a search ends.
    std::size_t room() const { return slotCount() / kMostFullOf * kMostFullPart; }

    std::size_t bytes() const { return slotCount() * sizeof(quint32); }

    // What a table for so many entries would hold.
    static std::size_t bytesFor(std::size_t entries) { return slotsFor(shiftFor(entries)) * sizeof(quint32); }

    // The earliest inserted of the positions with that hash for which `matches(position)` is true, or kNone. Asks about
    // few positions of other hashes.
    template <typename Matches>
    quint32 find(quint32 hash, const Matches& matches) const {
        const quint32 mark = markOf(hash);
        for (std::size_t slot = firstSlot(hash);; slot = nextSlot(slot)) {
            const quint32 value = slots_[slot].load(std::memory_order_acquire);
            if (value == kEmpty) {
                return kNone;
            }
            if ((value & kMarkMask) == mark && matches(positionIn(value))) {
                return positionIn(value);
            }
        }
    }

    // What the position stands for must be complete: another thread may find it at once.
    // REQUIRES: fewer than room() entries are in the table.
    void insert(quint32 hash, quint32 position) {
        std::size_t slot = firstSlot(hash);
        while (slots_[slot].load(std::memory_order_relaxed) != kEmpty) {
            slot = nextSlot(slot);
        }
        slots_[slot].store(valueOf(hash, position), std::memory_order_release);
    }

    // REQUIRES (both): the position was inserted with that hash.
    void replace(quint32 hash, quint32 position, quint32 newPosition) {
        slots_[slotOf(hash, position)].store(valueOf(hash, newPosition), std::memory_order_release);
    }

    // `hashOf(position)` is the hash that any other position was inserted with.
    template <typename HashOf>
    void remove(quint32 hash, quint32 position, const HashOf& hashOf) {
        std::size_t hole = slotOf(hash, position);
        for (std::size_t slot = nextSlot(hole);; slot = nextSlot(slot)) {
            const quint32 value = slots_[slot].load(std::memory_order_relaxed);
            if (value == kEmpty) {
                break;
            }
            if (distance(firstSlot(hashOf(positionIn(value))), slot) >= distance(hole, slot)) {
                slots_[hole].store(value, std::memory_order_release);
                hole = slot;
            }
        }
        slots_[hole].store(kEmpty, std::memory_order_release);
    }

    // Calls `use(position)` for each, in no order.
    template <typename Use>
    void forEach(const Use& use) const {
        for (std::size_t slot = 0; slot < slotCount(); ++slot) {
            const quint32 value = slots_[slot].load(std::memory_order_relaxed);
            if (value != kEmpty) {
                use(positionIn(value));
            }
        }
    }

private:
    enum : quint32 { kEmpty = 0, kMarkMask = ~kPositionMask };
    enum { kHashBits = 32, kFewestBits = 4, kMostFullOf = 4, kMostFullPart = 3 };

    static int shiftFor(std::size_t entries) {
        int shift = kHashBits - kFewestBits;
        while (slotsFor(shift) / kMostFullOf * kMostFullPart < entries) {
            --shift;
        }
        return shift;
    }

    static std::size_t slotsFor(int shift) { return static_cast<std::size_t>(1) << (kHashBits - shift); }

    // The low bits of the hash are kept in the slot, the high ones choose it.
    static quint32 markOf(quint32 hash) { return hash << kPositionBits; }
    static quint32 valueOf(quint32 hash, quint32 position) { return markOf(hash) | (position + 1); }
    static quint32 positionIn(quint32 value) { return (value & kPositionMask) - 1; }

    std::size_t slotCount() const { return slotsFor(shift_); }
    std::size_t firstSlot(quint32 hash) const { return hash >> shift_; }
    std::size_t nextSlot(std::size_t slot) const { return (slot + 1) & (slotCount() - 1); }
    std::size_t distance(std::size_t from, std::size_t to) const { return (to - from) & (slotCount() - 1); }

    std::size_t slotOf(quint32 hash, quint32 position) const {
        std::size_t slot = firstSlot(hash);
        while (slots_[slot].load(std::memory_order_relaxed) != valueOf(hash, position)) {
            slot = nextSlot(slot);
        }
        return slot;
    }

    const int shift_;
    FixedArray<std::atomic<quint32>> slots_;
};

}  // namespace ac500

#endif
