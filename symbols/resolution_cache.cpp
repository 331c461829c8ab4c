#include "symbols/resolution_cache.h"

#include "core/communication_protocol.h"
#include "symbols/fixed_array.h"
#include "symbols/symbol_table.h"

namespace ac500 {

namespace {

const int kFewMembers = 8;  // asking each is as fast, and an index costs memory

quint32 hashOf(const QString& name) {
    return hashText(name.constData(), name.size());
}

// The flag is taken by one thread at a time, or not at all.
class TriedLock {
public:
    explicit TriedLock(std::atomic_flag& flag) : flag_(flag), isMine_(!flag.test_and_set(std::memory_order_acquire)) {}
    ~TriedLock() {
        if (isMine_) {
            flag_.clear(std::memory_order_release);
        }
    }

    bool isMine() const { return isMine_; }

private:
    Q_DISABLE_COPY(TriedLock)

    std::atomic_flag& flag_;
    const bool isMine_;
};

}  // namespace

// The members of one list by name. Holds a copy of the list, which shares its data: the records stay where they are for
// as long as the index lives, and whoever changes the list gets another one.
class MemberIndex {
public:
    explicit MemberIndex(const QList<Label_Type_Info>& members)
        : members_(members), slots_(static_cast<std::size_t>(members.size())) {
        for (int i = 0; i < members_.size(); ++i) {
            slots_.insert(hashOf(members_.at(i).name), static_cast<quint32>(i));
        }
    }

    bool isOf(const QList<Label_Type_Info>& members) const { return members_.isSharedWith(members); }

    // Position of the first member with that name; SlotTable::kNone when there is none.
    quint32 find(const TextSpan& name) const {
        return slots_.find(hashText(name.data(), name.length()),
                           [&](quint32 i) { return members_.at(static_cast<int>(i)).name == name; });
    }

    static std::size_t bytesFor(int members) {
        return sizeof(MemberIndex) + SlotTable::bytesFor(static_cast<std::size_t>(members));
    }

private:
    const QList<Label_Type_Info> members_;
    SlotTable slots_;
};

struct IndexedScope {
    IndexedScope() : name(nullptr), record(nullptr), variables(nullptr) {}
    ~IndexedScope() { delete variables.load(); }

    const QString* name;
    const Label_Type_Info* record;
    std::atomic<const MemberIndex*> variables;  // null: not made, or not to be made

private:
    Q_DISABLE_COPY(IndexedScope)
};

// Points into the table that it was made of.
class ScopeIndex {
public:
    explicit ScopeIndex(const LabelTable& table)
        : scopes_(static_cast<std::size_t>(table.size())), slots_(static_cast<std::size_t>(table.size())) {
        quint32 count = 0;
        for (LabelTable::const_iterator scope = table.constBegin(); scope != table.constEnd(); ++scope, ++count) {
            scopes_[count].name = &scope.key();
            scopes_[count].record = &scope.value();
            slots_.insert(hashOf(scope.key()), count);
        }
    }

    // Null when there is none of that name.
    IndexedScope* find(const TextSpan& name) {
        const quint32 position = slots_.find(hashText(name.data(), name.length()),
                                             [&](quint32 i) { return TextSpan(*scopes_[i].name) == name; });
        return position == SlotTable::kNone ? nullptr : &scopes_[position];
    }

    static std::size_t bytesFor(int scopes) {
        const std::size_t count = static_cast<std::size_t>(scopes);
        return sizeof(ScopeIndex) + count * sizeof(IndexedScope) + SlotTable::bytesFor(count);
    }

private:
    FixedArray<IndexedScope> scopes_;
    SlotTable slots_;
};

ResolutionCache resolutionCache(PLC_driver.labelTable);

ResolutionCache::ResolutionCache(const LabelTable& table)
    : table_(table), hasListMoved_(false), scopes_(nullptr), indexBytes_(0) {
    isInserting_.clear();
}

ResolutionCache::~ResolutionCache() {
    forget();
}

void ResolutionCache::clear() {
    if (seats_.takeAll()) {
        forget();
        seats_.leaveAll();
    }
}

// With all seats taken nobody inserts either: who does has one.
bool ResolutionCache::learnAnew() {
    if (!seats_.takeAll()) {
        return false;
    }
    forget();
    copy_ = table_;
    seats_.leaveAll();
    return true;
}

void ResolutionCache::forget() {
    answers_.clear();
    delete scopes_.exchange(nullptr);
    indexBytes_ = 0;
    hasListMoved_.store(false, std::memory_order_relaxed);
    copy_ = LabelTable();
}

// Null when it would be too large, or when another thread is at it.
ScopeIndex* ResolutionCache::scopeIndex() {
    ScopeIndex* const made = scopes_.load(std::memory_order_acquire);
    if (made != nullptr || ScopeIndex::bytesFor(table_.size()) > kMostIndexBytes) {
        return made;
    }
    const TriedLock lock(isInserting_);
    if (lock.isMine() && scopes_.load(std::memory_order_relaxed) == nullptr) {
        indexBytes_ += ScopeIndex::bytesFor(table_.size());
        scopes_.store(new ScopeIndex(copy_), std::memory_order_release);
    }
    return scopes_.load(std::memory_order_acquire);
}

void ResolutionCache::indexVariables(IndexedScope& scope) {
    const QList<Label_Type_Info>& variables = scope.record->elementType.first().members;
    const TriedLock lock(isInserting_);
    if (!lock.isMine() || scope.variables.load(std::memory_order_relaxed) != nullptr ||
        indexBytes_ + MemberIndex::bytesFor(variables.size()) > kMostIndexBytes) {
        return;
    }
    indexBytes_ += MemberIndex::bytesFor(variables.size());
    scope.variables.store(new MemberIndex(variables), std::memory_order_release);
}

ResolutionCache::Use::Use(ResolutionCache& cache) : cache_(cache), seat_(ReaderSeats::kNoSeat) {
    sitDown();
}

ResolutionCache::Use::~Use() {
    getUp();
}

void ResolutionCache::Use::sitDown() {
    seat_ = cache_.seats_.take();
    if (seat_ == ReaderSeats::kNoSeat || cache_.isOfTheTable()) {
        return;
    }
    cache_.seats_.leave(seat_);
    seat_ = cache_.learnAnew() ? cache_.seats_.take() : +ReaderSeats::kNoSeat;
}

void ResolutionCache::Use::getUp() {
    if (seat_ != ReaderSeats::kNoSeat) {
        cache_.seats_.leave(seat_);
    }
}

void ResolutionCache::Use::goOn() {
    if (seat_ == ReaderSeats::kNoSeat || !cache_.isOfTheTable()) {
        getUp();
        sitDown();
    }
}

bool ResolutionCache::Use::findNext(const TextSpan& name, ControlInformationM& info) const {
    return seat_ != ReaderSeats::kNoSeat && cache_.answers_.findNext(name, cache_.seats_.lastFound(seat_), info);
}

bool ResolutionCache::Use::find(const HashedName& name, ControlInformationM& info) const {
    return seat_ != ReaderSeats::kNoSeat && cache_.answers_.find(name, cache_.seats_.lastFound(seat_), info);
}

void ResolutionCache::Use::insert(const HashedName& name, const ControlInformationM& info) {
    if (seat_ == ReaderSeats::kNoSeat) {
        return;
    }
    const TriedLock lock(cache_.isInserting_);
    if (lock.isMine()) {
        cache_.answers_.insert(name, info, cache_.seats_, seat_);
    }
}

FoundScope ResolutionCache::Use::findScope(const TextSpan& name) {
    FoundScope found = {nullptr, nullptr};
    ScopeIndex* const scopes = seat_ == ReaderSeats::kNoSeat ? nullptr : cache_.scopeIndex();
    if (scopes != nullptr) {
        found.indexed = scopes->find(name);
        found.record = found.indexed == nullptr ? nullptr : found.indexed->record;
        return found;
    }
    const LabelTable::const_iterator scope = cache_.table_.constFind(name.toString());
    if (scope != cache_.table_.constEnd()) {
        found.record = &scope.value();
    }
    return found;
}

const Label_Type_Info* ResolutionCache::Use::findVariable(const FoundScope& scope, const TextSpan& name) {
    const Label_Type_Info& variables = scope.record->elementType.first();
    if (scope.indexed == nullptr || variables.members.size() <= kFewMembers) {
        return findMember(variables, name);
    }
    if (scope.indexed->variables.load(std::memory_order_acquire) == nullptr) {
        cache_.indexVariables(*scope.indexed);
    }
    const MemberIndex* index = scope.indexed->variables.load(std::memory_order_acquire);
    if (index == nullptr) {
        return findMember(variables, name);
    }
    if (!index->isOf(variables.members)) {
        cache_.hasListMoved_.store(true, std::memory_order_relaxed);
        return findMember(variables, name);
    }
    const quint32 position = index->find(name);
    const bool isSearched = position != SlotTable::kNone && position < variables.memberCount;
    return isSearched ? &variables.members.at(static_cast<int>(position)) : nullptr;
}

}  // namespace ac500
