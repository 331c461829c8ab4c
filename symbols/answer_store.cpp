#include "symbols/answer_store.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace ac500 {

int ReaderSeats::take() {
    // Threads have stacks of their own: where this one's is says which seat is tried first. The factor spreads stacks
    // that lie at equal distances.
    const char onStack = 0;
    const quint32 stack = static_cast<quint32>(reinterpret_cast<quintptr>(&onStack) >> 16);
    const int first = static_cast<int>((stack * 2654435769U) >> 28);
    for (int i = 0; i < kSeats; ++i) {
        const int seat = (first + i) % kSeats;
        if (takeSeat(seat)) {
            return seat;
        }
    }
    return kNoSeat;
}

bool ReaderSeats::takeAll() {
    for (int seat = 0; seat < kSeats; ++seat) {
        if (!takeSeat(seat)) {
            while (--seat >= 0) {
                leave(seat);
            }
            return false;
        }
    }
    return true;
}

void ReaderSeats::leaveAll() {
    for (int seat = 0; seat < kSeats; ++seat) {
        lastFound(seat) = kNothingFound;
        leave(seat);
    }
}

// By sitting down in each: who takes the seat afterwards sees all that was done before.
quint32 ReaderSeats::takenAmong(quint32 asked) {
    quint32 taken = 0;
    for (int seat = 0; seat < kSeats; ++seat) {
        const quint32 bit = 1U << seat;
        if ((asked & bit) == 0) {
            continue;
        }
        if (takeSeat(seat)) {
            lastFound(seat) = kNothingFound;
            leave(seat);
        } else {
            taken |= bit;
        }
    }
    return taken;
}

namespace {

const quint32 kPositionUnit = 8;  // bytes; answers begin at its multiples
const quint32 kPositionsPerPage = AnswerStore::kPageBytes / kPositionUnit;
const int kGenerationShift = SlotTable::kPositionBits;

static_assert(AnswerStore::kMostPages * kPositionsPerPage <= SlotTable::kMostPositions, "every answer has a position");
static_assert(AnswerStore::kMostPages * AnswerStore::kPageBytes / AnswerStore::kLeastAnswerBytes <=
                  AnswerStore::kMostSlots / 4 * 3,
              "every answer has a slot");

const qint32 kUsualAreas = 256;

// What an answer holds: a type code and what follows its head.
enum Kind : quint8 { kTypeMask = 0x1F, kBit = 0x20, kElement = 0x40, kUnusualArea = 0x80 };

quint8 kindOf(const ControlInformationM& info) {
    const bool isUsual = info.area >= 0 && info.area < kUsualAreas;
    const int kind = info.dataType | (info.isBit != 0 ? kBit : 0) | (info.isArray != 0 ? kElement : 0) |
                     (isUsual ? 0 : kUnusualArea);
    return static_cast<quint8>(kind);
}

int detailWords(quint8 kind) {
    return ((kind & kBit) != 0 ? 1 : 0) + ((kind & kElement) != 0 ? 2 : 0) + ((kind & kUnusualArea) != 0 ? 1 : 0);
}

}  // namespace

// Followed by bitIndex when it is a bit's, arrayIndex and arrayCount when it is an element's, the area when it is an
// unusual one, and by the name.
struct AnswerStore::Answer {
    enum : quint8 { kIsUsed = 1, kOneGeneration = 2 };  // of `state`: asked for since it was written; that of the page
    enum : quint32 { kNone = 0xFFFFFFFFU };             // of `next`

    quint32 hash;
    qint32 address;
    mutable std::atomic<quint32> next;  // what was asked for behind it last
    quint8 area;
    quint8 nameLength;
    quint8 kind;
    mutable std::atomic<quint8> state;

    Answer(quint32 hashOfIt, qint32 addressOfIt, quint8 areaOfIt, quint8 length, quint8 kindOfIt, quint8 generation)
        : hash(hashOfIt),
          address(addressOfIt),
          next(kNone),
          area(areaOfIt),
          nameLength(length),
          kind(kindOfIt),
          state(generation) {}

    static std::size_t bytesFor(quint8 kind, int nameLength) {
        const std::size_t bytes = sizeof(Answer) + sizeof(qint32) * static_cast<std::size_t>(detailWords(kind)) +
                                  sizeof(QChar) * static_cast<std::size_t>(nameLength);
        return qMax((bytes + kPositionUnit - 1) / kPositionUnit * kPositionUnit, +kLeastAnswerBytes);
    }

    std::size_t bytes() const { return bytesFor(kind, nameLength); }

    const qint32* details() const { return reinterpret_cast<const qint32*>(this + 1); }
    qint32* details() { return reinterpret_cast<qint32*>(this + 1); }
    const QChar* name() const { return reinterpret_cast<const QChar*>(details() + detailWords(kind)); }
    QChar* name() { return reinterpret_cast<QChar*>(details() + detailWords(kind)); }

    bool isFor(const TextSpan& other) const {
        return nameLength == other.length() && std::memcmp(name(), other.data(), sizeof(QChar) * nameLength) == 0;
    }

    bool isUsed() const { return (state.load(std::memory_order_relaxed) & kIsUsed) != 0; }

    void use() const {
        const quint8 now = state.load(std::memory_order_relaxed);
        if ((now & kIsUsed) == 0) {
            state.store(now | kIsUsed, std::memory_order_relaxed);
        }
    }

    quint8 generation() const { return static_cast<quint8>(state.load(std::memory_order_relaxed) & ~kIsUsed); }

    void copyTo(ControlInformationM& info) const {
        info = ControlInformationM();
        info.dataType = kind & kTypeMask;
        info.address = address;
        info.area = area;
        if (kind <= kTypeMask) {
            return;
        }
        const qint32* detail = details();
        if ((kind & kBit) != 0) {
            info.isBit = 1;
            info.bitIndex = *detail++;
        }
        if ((kind & kElement) != 0) {
            info.isArray = 1;
            info.arrayIndex = *detail++;
            info.arrayCount = *detail++;
        }
        if ((kind & kUnusualArea) != 0) {
            info.area = *detail;
        }
    }
};

AnswerStore::AnswerStore()
    : searched_(nullptr),
      pages_(),
      generations_(),
      filledBytes_(),
      page_(0),
      answers_(0),
      hasRetired_(false),
      mayStillLook_(0) {
    static_assert(sizeof(Answer) == 16, "an answer is 16 bytes beside details and name");
}

AnswerStore::~AnswerStore() {
    clear();
}

char* AnswerStore::placeOf(quint32 position) const {
    return pages_[position / kPositionsPerPage] + position % kPositionsPerPage * kPositionUnit;
}

const AnswerStore::Answer* AnswerStore::answerAt(quint32 position) const {
    const void* place = placeOf(position);
    return static_cast<const Answer*>(place);
}

// The head alone.
AnswerStore::Answer* AnswerStore::newAnswerAt(quint32 position, const Answer& head) {
    const quint8 generation = generations_[position / kPositionsPerPage].load(std::memory_order_relaxed);
    return new (placeOf(position)) Answer(head.hash, head.address, head.area, head.nameLength, head.kind, generation);
}

quint32 AnswerStore::positionOf(const HashedName& name) const {
    const SlotTable* searched = searched_.load(std::memory_order_acquire);
    if (searched == nullptr) {
        return SlotTable::kNone;
    }
    return searched->find(name.hash, [&](quint32 position) {
        const Answer& answer = *answerAt(position);
        return answer.hash == name.hash && answer.isFor(name.text);
    });
}

// A position with the generation of its page, in bits that no position needs. That of the answer itself: the page may
// have been emptied since it was found.
void AnswerStore::comesNext(quint32 position, quint32& lastFound) const {
    if (lastFound != ReaderSeats::kNothingFound) {
        const quint32 generation = answerAt(position)->generation();
        answerAt(lastFound)->next.store(position | generation << kGenerationShift, std::memory_order_release);
    }
    lastFound = position;
}

bool AnswerStore::findNext(const TextSpan& name, quint32& lastFound, ControlInformationM& info) const {
    if (lastFound == ReaderSeats::kNothingFound) {
        return false;
    }
    const quint32 next = answerAt(lastFound)->next.load(std::memory_order_acquire);
    if (next == Answer::kNone) {
        return false;
    }
    const quint32 position = next & SlotTable::kPositionMask;
    const quint8 generation = generations_[position / kPositionsPerPage].load(std::memory_order_relaxed);
    if (next >> kGenerationShift != generation || !answerAt(position)->isFor(name)) {
        return false;
    }
    const Answer& answer = *answerAt(position);
    answer.use();
    answer.copyTo(info);
    lastFound = position;
    return true;
}

bool AnswerStore::find(const HashedName& name, quint32& lastFound, ControlInformationM& info) const {
    const quint32 position = positionOf(name);
    if (position == SlotTable::kNone) {
        return false;
    }
    const Answer& answer = *answerAt(position);
    answer.use();
    answer.copyTo(info);
    comesNext(position, lastFound);
    return true;
}

void AnswerStore::insert(const HashedName& name, const ControlInformationM& info, ReaderSeats& seats, int seat) {
    if (name.text.length() > kLongestName || isSearchedStill(seats, seat)) {
        return;
    }
    const std::size_t bytes = Answer::bytesFor(kindOf(info), name.text.length());
    if (positionOf(name) != SlotTable::kNone || !makeRoom(bytes)) {
        return;
    }
    const quint32 position = positionFor(bytes);
    write(position, name, info);
    slots_->insert(name.hash, position);
    ++answers_;
    comesNext(position, seats.lastFound(seat));
}

void AnswerStore::write(quint32 position, const HashedName& name, const ControlInformationM& info) {
    const quint8 kind = kindOf(info);
    const Answer head(name.hash, info.address, static_cast<quint8>(info.area), static_cast<quint8>(name.text.length()),
                      kind, 0);
    Answer* answer = newAnswerAt(position, head);
    qint32* detail = answer->details();
    if (info.isBit != 0) {
        *detail++ = info.bitIndex;
    }
    if (info.isArray != 0) {
        *detail++ = info.arrayIndex;
        *detail++ = info.arrayCount;
    }
    if ((kind & kUnusualArea) != 0) {
        *detail = info.area;
    }
    std::copy(name.text.data(), name.text.data() + name.text.length(), answer->name());
}

// The place for so many bytes in the page that is being filled, which has room for them.
quint32 AnswerStore::positionFor(std::size_t bytes) {
    const std::size_t offset = filledBytes_[page_];
    filledBytes_[page_] += bytes;
    return static_cast<quint32>(page_ * kPositionsPerPage + offset / kPositionUnit);
}

bool AnswerStore::hasRoom(std::size_t bytes) const {
    return pages_[page_] != nullptr && filledBytes_[page_] + bytes <= kPageBytes;
}

// False when the page that comes next was filled by answers that are in use.
bool AnswerStore::makeRoom(std::size_t bytes) {
    if (slots_ == nullptr || answers_ == slots_->room()) {
        growSlots();
    }
    if (!hasRoom(bytes)) {
        startNextPage();
    }
    return hasRoom(bytes);
}

void AnswerStore::growSlots() {
    std::unique_ptr<SlotTable> larger(new SlotTable(slots_ == nullptr ? 0 : 2 * slots_->room()));
    if (slots_ != nullptr) {
        slots_->forEach([&](quint32 position) { larger->insert(answerAt(position)->hash, position); });
        hasRetired_ = true;
    }
    oldSlots_ = std::move(slots_);
    slots_ = std::move(larger);
    searched_.store(slots_.get(), std::memory_order_release);
}

// The page behind the one that is being filled is kept empty: it is the oldest when all are in use.
void AnswerStore::startNextPage() {
    if (pages_[page_] != nullptr) {
        page_ = (page_ + 1) % kMostPages;
    }
    if (pages_[page_] == nullptr) {
        pages_[page_] = new char[kPageBytes];
    }
    const std::size_t oldest = (page_ + 1) % kMostPages;
    if (pages_[oldest] != nullptr) {
        emptyPage(oldest);
    }
}

void AnswerStore::emptyPage(std::size_t page) {
    const quint32 start = static_cast<quint32>(page * kPositionsPerPage);
    for (std::size_t offset = 0; offset < filledBytes_[page];) {
        const quint32 position = start + static_cast<quint32>(offset / kPositionUnit);
        const Answer* answer = answerAt(position);
        const std::size_t bytes = answer->bytes();
        if (answer->isUsed()) {
            const quint32 newPosition = positionFor(bytes);
            std::memcpy(newAnswerAt(newPosition, *answer)->details(), answer->details(), bytes - sizeof(Answer));
            slots_->replace(answer->hash, position, newPosition);
        } else {
            slots_->remove(answer->hash, position, [this](quint32 p) { return answerAt(p)->hash; });
            --answers_;
        }
        offset += bytes;
    }
    filledBytes_[page] = 0;
    const int generation = generations_[page].load(std::memory_order_relaxed) + Answer::kOneGeneration;
    generations_[page].store(static_cast<quint8>(generation), std::memory_order_relaxed);
    hasRetired_ = true;
}

// Whether memory that was given up may still be looked at; when not, it is free.
bool AnswerStore::isSearchedStill(ReaderSeats& seats, int seat) {
    if (hasRetired_) {
        mayStillLook_ = ReaderSeats::kAllSeats;
        hasRetired_ = false;
    }
    const quint32 others = ReaderSeats::allBut(seat);
    if ((mayStillLook_ & ~others) != 0) {  // who inserts looks at nothing else just now
        seats.lastFound(seat) = ReaderSeats::kNothingFound;
        mayStillLook_ &= others;
    }
    if (mayStillLook_ != 0) {
        mayStillLook_ = seats.takenAmong(mayStillLook_);
    }
    if (mayStillLook_ != 0) {
        return true;
    }
    oldSlots_.reset();
    return false;
}

void AnswerStore::clear() {
    searched_.store(nullptr, std::memory_order_relaxed);
    slots_.reset();
    oldSlots_.reset();
    for (std::size_t page = 0; page < kMostPages; ++page) {
        delete[] pages_[page];
        pages_[page] = nullptr;
        filledBytes_[page] = 0;
    }
    page_ = 0;
    answers_ = 0;
    hasRetired_ = false;
    mayStillLook_ = 0;
}

std::size_t AnswerStore::bytes() const {
    const std::size_t pages = static_cast<std::size_t>(kMostPages - std::count(pages_, pages_ + kMostPages, nullptr));
    return pages * kPageBytes + (slots_ == nullptr ? 0 : slots_->bytes()) +
           (oldSlots_ == nullptr ? 0 : oldSlots_->bytes());
}

}  // namespace ac500
