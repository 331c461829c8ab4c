// PositionTable finds positions in somebody else's sequence by hash: open addressing over 32-bit positions, so an entry
// costs 4 to 11 bytes and no allocation of its own. It knows neither keys nor hashes of its entries; its owner compares.
#ifndef AC500_SYMBOLS_POSITION_TABLE_H
#define AC500_SYMBOLS_POSITION_TABLE_H

#include <cstddef>

#include <QtCore/QVector>

namespace ac500 {

class PositionTable {
public:
    // Room for `entries` positions; the table does not grow.
    explicit PositionTable(std::size_t entries = 0) : shift_(kHashBits - kFewestBits) {
        while (slotCount() * kMostFullOf < entries * kMostFullPart) {
            --shift_;
        }
        slots_.fill(kNone, static_cast<int>(slotCount()));
    }

    // How many entries fit.
    std::size_t room() const { return slotCount() * kMostFullOf / kMostFullPart; }

    // REQUIRES: fewer than room() entries were inserted.
    void insert(quint32 hash, quint32 position) {
        quint32* positions = slots_.data();
        std::size_t slot = firstSlot(hash);
        while (positions[slot] != kNone) {
            slot = nextSlot(slot);
        }
        positions[slot] = position;
    }

    // The earliest inserted of the positions with that hash for which `matches(position)` is true, or kNone. Also asks
    // about positions of other hashes.
    template <typename Matches>
    quint32 find(quint32 hash, const Matches& matches) const {
        const quint32* positions = slots_.constData();
        std::size_t slot = firstSlot(hash);
        while (positions[slot] != kNone && !matches(positions[slot])) {
            slot = nextSlot(slot);
        }
        return positions[slot];
    }

    enum : quint32 { kNone = 0xFFFFFFFFU };

private:
    enum { kHashBits = 32, kFewestBits = 4, kMostFullOf = 3, kMostFullPart = 4 };

    std::size_t slotCount() const { return static_cast<std::size_t>(1) << (kHashBits - shift_); }

    // Spreads the hash over the high bits and takes those: the hashes of texts that end alike differ in few low bits.
    std::size_t firstSlot(quint32 hash) const { return static_cast<quint32>(hash * 2654435769U) >> shift_; }

    std::size_t nextSlot(std::size_t slot) const { return (slot + 1) & (slotCount() - 1); }

    int shift_;
    QVector<quint32> slots_;
};

}  // namespace ac500

#endif
