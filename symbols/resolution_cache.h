// ResolutionCache keeps what name resolution has worked out about the table of scopes: a tag that was resolved once is
// found by one look-up, a variable among thousands by another.
//
// Why. A panel reads hundreds of tags by name, several times a second. Taking a name to pieces and asking each of a
// scope's variables takes 0.6 us with 100 variables and 50 us with 10,000; finding the variable by an index 0.3 to 0.5
// us; finding the whole name here 25 to 45 ns with 100 names, 90 to 125 ns with 10,000, whose memory is far away
// (x86-64, a processor that others used, too). A name that came behind the last one last time is found without its hash:
// 80 instructions of the 540 of a read by name are spared, and a way into memory far away.
//
// What invalidates it. The cache holds a copy of the table that it learnt from. The copy shares the table's data, so
// whoever changes the table through the driver object, in whatever expression, makes the object take data of its own
// first: every use compares the two and starts again when they differ. A reference or an iterator into the table that
// is older than the copy changes both, and is not noticed then: core/communication_protocol.h tells hosts. When such a
// change moved a scope's list of variables, that is noticed by the next name of the scope that is not kept.
//
// What it may cost. At most 16 MiB, all counted: 11 MiB of answers with their names (some 100,000 to 180,000 ordinary
// ones), 3 MiB of slots to find them by, 2 MiB of indexes of variables. See AnswerStore for what goes when that is
// full. A scope whose index does not fit is searched variable by variable. 10,000 names of 16 characters and the index
// of their variables take 0.7 MiB.
//
// Threads. Any number resolve at once, and nobody waits for the cache: a use takes a seat (ReaderSeats); a thread that
// finds none, or that would insert while another does, or that finds the table changed while others are seated,
// resolves from the table alone, which gives the same answer. The table itself must not change while any thread
// resolves (docs/threads.md).
//
// What was dropped. Keys that share the host's strings: the host may edit its text in place. One flag for all threads:
// four threads on two processors read 10,000 names three to twelve times as fast now. Forgetting all when full: 100,000
// names were resolved anew in every pass; 300,000 still are, if read in turn, as they do not fit. What was not built:
// readers that check a sequence number after they have read instead of taking a seat; each word of an answer would have
// to be an atomic one, a barrier each on ARM, and no thread checker could tell whether the order is right. Noticing
// changes without a copy of the table: nothing but a second reference makes Qt's containers tell.
#ifndef AC500_SYMBOLS_RESOLUTION_CACHE_H
#define AC500_SYMBOLS_RESOLUTION_CACHE_H

#include <atomic>
#include <memory>

#include <QtCore/QHash>
#include <QtCore/QString>

#include "symbols/answer_store.h"
#include "symbols/label_type_info.h"

namespace ac500 {

typedef QHash<QString, Label_Type_Info> LabelTable;

// The scopes of a table, and the variables of those that have many, by name.
class ScopeIndex;
struct IndexedScope;

struct FoundScope {
    const Label_Type_Info* record;  // null: no such scope. Points into the table
    IndexedScope* indexed;          // null: there is no index
};

class ResolutionCache {
public:
    enum : std::size_t { kMostIndexBytes = 2 * 1024 * 1024 };

    // Keeps a reference to `table`.
    explicit ResolutionCache(const LabelTable& table);
    ~ResolutionCache();

    // Drops everything, the copy of the table included. REQUIRES: no thread resolves.
    void clear();

    // What is held on the heap, beside what the copy shares with the table. REQUIRES: as above.
    std::size_t bytes() const { return answers_.bytes() + indexBytes_; }

    // One resolution's use of the cache. Without a seat nothing is found in the cache and nothing is kept.
    class Use {
    public:
        explicit Use(ResolutionCache& cache);
        ~Use();

        // For a further resolution: tries for a seat when there is none, and looks at the table again.
        void goOn();

        // See AnswerStore.
        bool findNext(const TextSpan& name, ControlInformationM& info) const;
        bool find(const HashedName& name, ControlInformationM& info) const;
        void insert(const HashedName& name, const ControlInformationM& info);

        FoundScope findScope(const TextSpan& name);

        // The first of the scope's searched variables with that name, or null. Points into the table.
        // REQUIRES: the scope was found and has an element type.
        const Label_Type_Info* findVariable(const FoundScope& scope, const TextSpan& name);

    private:
        Q_DISABLE_COPY(Use)

        void sitDown();
        void getUp();

        ResolutionCache& cache_;
        int seat_;
    };

private:
    Q_DISABLE_COPY(ResolutionCache)

    bool isOfTheTable() const { return copy_.isSharedWith(table_) && !hasListMoved_.load(std::memory_order_relaxed); }
    bool learnAnew();
    void forget();
    ScopeIndex* scopeIndex();
    void indexVariables(IndexedScope& scope);

    ReaderSeats seats_;
    const LabelTable& table_;
    LabelTable copy_;                 // changed with all seats taken
    std::atomic<bool> hasListMoved_;  // a list of variables is no longer the one that was indexed

    AnswerStore answers_;
    std::atomic<ScopeIndex*> scopes_;  // null: not made yet

    std::atomic_flag isInserting_;  // by who inserts an answer or makes an index
    std::size_t indexBytes_;
};

// The cache of the driver object's table.
extern ResolutionCache resolutionCache;

}  // namespace ac500

#endif
