// AnswerStore keeps the answers of name resolution: what a concrete tag name resolved to. Any number of threads search
// it while one inserts, and none waits.
//
// An answer is 16 bytes, 4 or 8 more for a bit or an array position, 4 for an unusual area, and a copy of the name: the
// host may edit the text of its own string in place, or let the string point at a buffer that it uses for another name.
// Answers are written once, into pages, and found through a SlotTable. Pages are filled in turn; when all of them are,
// the oldest is emptied: answers that were asked for since they were written move on to the page that is being filled,
// the others go. So what a host reads stays, and what it has turned away from makes room, whatever the length of the
// names.
//
// Hosts read the same tags in the same order again and again. Each answer therefore keeps which one was asked for behind
// it last, and that one is tried first: no hash of the name, no way through the table. An answer that has gone since is
// told by the generation of its page. Generations are counted modulo 128, which is enough: pages are emptied in turn, so
// while an answer stays where it is every other page is emptied twice at most.
//
// A searching thread may still look at a page that was emptied, or at a table that was replaced by a larger one. Each
// search therefore takes a seat, and such memory is used again only when every seat was seen empty since: nothing is
// inserted as long as one was not.
#ifndef AC500_SYMBOLS_ANSWER_STORE_H
#define AC500_SYMBOLS_ANSWER_STORE_H

#include <atomic>
#include <cstddef>
#include <memory>

#include "symbols/control_information.h"
#include "symbols/slot_table.h"
#include "symbols/tag_path.h"

namespace ac500 {

// Where threads say that they are searching: each takes a seat of its own, so that they do not get into each other's
// way.
class ReaderSeats {
public:
    enum { kSeats = 16, kNoSeat = -1 };
    enum : quint32 { kAllSeats = (1U << kSeats) - 1 };  // as a set: bit n is seat n

    // The number of a seat that was empty; kNoSeat when all are taken. What was done by those who left is visible.
    int take();

    void leave(int seat) { seats_[seat].taken.clear(std::memory_order_release); }

    // All of them or none: true when nobody else sits, nor can sit until leaveAll.
    bool takeAll();
    void leaveAll();

    // Of the seats in the set `asked` (bit n: seat n), those that are taken. The others forget what was found there.
    quint32 takenAmong(quint32 asked);

    // The answer that was found last from a seat, kNothingFound at first. REQUIRES: the thread has the seat.
    enum : quint32 { kNothingFound = 0xFFFFFFFFU };
    quint32& lastFound(int seat) { return seats_[seat].lastFound; }

    static quint32 allBut(int seat) { return kAllSeats & ~(1U << seat); }

private:
    bool takeSeat(int seat) { return !seats_[seat].taken.test_and_set(std::memory_order_acquire); }

    struct alignas(64) Seat {  // a cache line each
        Seat() : lastFound(kNothingFound) { taken.clear(); }

        std::atomic_flag taken;
        quint32 lastFound;
    };

    Seat seats_[kSeats];
};

// A name with its hash, which is computed once. Valid as long as the text is neither changed nor gone.
struct HashedName {
    explicit HashedName(const TextSpan& name) : text(name), hash(hashText(name.data(), name.length())) {}

    TextSpan text;
    quint32 hash;
};

class AnswerStore {
public:
    enum : std::size_t {
        kPageBytes = 32 * 1024,
        kMostPages = 352,  // 11 MiB
        kMostSlots =
            512 * 1024,  // of 4 bytes, for as many answers as fit into the pages; while growing half as much more
        kLeastAnswerBytes = 32
    };
    enum { kLongestName = 255 };  // in UTF-16 units; longer names are not kept

    AnswerStore();
    ~AnswerStore();

    // Fill `info`, all ten words, with what was inserted for `name`; false and untouched when nothing is kept.
    // `lastFound` is that of the thread's seat. findNext knows one name, that which came behind the last one last time.
    bool findNext(const TextSpan& name, quint32& lastFound, ControlInformationM& info) const;
    bool find(const HashedName& name, quint32& lastFound, ControlInformationM& info) const;

    // Keeps the answer, or does not: when the name is too long or known, or when memory that is to be used again may
    // still be looked at. REQUIRES: resolving `name` into a cleared record gave `info`; the thread has `seat`; no other
    // inserts.
    void insert(const HashedName& name, const ControlInformationM& info, ReaderSeats& seats, int seat);

    // Frees everything. REQUIRES: the thread has all seats.
    void clear();

    // What is held on the heap.
    std::size_t bytes() const;

private:
    Q_DISABLE_COPY(AnswerStore)

    struct Answer;

    char* placeOf(quint32 position) const;
    const Answer* answerAt(quint32 position) const;
    quint32 positionOf(const HashedName& name) const;
    void comesNext(quint32 position, quint32& lastFound) const;
    Answer* newAnswerAt(quint32 position, const Answer& head);
    quint32 positionFor(std::size_t bytes);
    void write(quint32 position, const HashedName& name, const ControlInformationM& info);
    bool hasRoom(std::size_t bytes) const;
    bool makeRoom(std::size_t bytes);
    void growSlots();
    void startNextPage();
    void emptyPage(std::size_t page);
    bool isSearchedStill(ReaderSeats& seats, int seat);

    // For searching threads, too.
    std::atomic<const SlotTable*> searched_;  // slots_, once there is one
    char* pages_[kMostPages];                 // null: not needed yet
    std::atomic<quint8> generations_[kMostPages];

    // For the inserting thread alone.
    std::unique_ptr<SlotTable> slots_;
    std::unique_ptr<SlotTable> oldSlots_;  // replaced, perhaps still searched
    std::size_t filledBytes_[kMostPages];
    std::size_t page_;      // that is being filled
    std::size_t answers_;   // in slots_
    bool hasRetired_;       // memory was given up since the seats were asked last
    quint32 mayStillLook_;  // seats not seen empty since then
};

}  // namespace ac500

#endif
