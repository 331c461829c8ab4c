// SymbolMemory keeps what name resolution has worked out about the table of symbols: a tag that was resolved once is
// found by one look-up, a variable among thousands by another.
//
// An answer is never stale. The memory keeps a copy of the table it learnt from. The copy shares the table's data, so
// whoever changes the table through the driver object, in whatever expression, makes the object take data of its own
// first: every use compares the two and forgets all when they differ. Only a reference or an iterator into the table
// that is older than the copy would change both; docs/threads.md tells hosts to take a new one.
//
// Nobody waits for the memory: a thread that finds it in use resolves from the table alone, which gives the same answer.
// The table itself must not change while any thread resolves (docs/threads.md).
#ifndef AC500_SYMBOLS_SYMBOL_MEMORY_H
#define AC500_SYMBOLS_SYMBOL_MEMORY_H

#include <atomic>

#include <QtCore/QHash>
#include <QtCore/QString>

#include "symbols/label_type_info.h"
#include "symbols/member_index.h"
#include "symbols/name_memory.h"

namespace ac500 {

typedef QHash<QString, Label_Type_Info> LabelTable;

class SymbolMemory {
public:
    // Keeps a reference to `table`.
    explicit SymbolMemory(const LabelTable& table) : table_(table) { inUse_.clear(); }

    // One resolution's use of the memory, when no other thread is using it.
    class Use {
    public:
        explicit Use(SymbolMemory& memory);
        ~Use();

        // See NameMemory. Without the memory nothing is known and nothing is kept.
        bool recall(const HashedTag& tag, ControlInformationM& info) const;
        void remember(const HashedTag& tag, const ControlInformationM& info);

        // See findMember in symbols/symbol_lookup.h.
        const Label_Type_Info* findMember(const Label_Type_Info& record, const QString& name);

        void forget();

    private:
        Q_DISABLE_COPY(Use)

        SymbolMemory* memory_;  // null: another thread has it
    };

private:
    Q_DISABLE_COPY(SymbolMemory)

    void forgetWhatHasChanged();
    void forget();

    std::atomic_flag inUse_;
    const LabelTable& table_;
    LabelTable learntFrom_;
    NameMemory names_;
    MemberIndexes members_;
};

// The memory of the driver object's table.
extern SymbolMemory symbolMemory;

}  // namespace ac500

#endif
