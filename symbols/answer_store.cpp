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

static_assert(AnswerStore::kMostPages * kPositionsPerPage <= SlotTable::kMostPositions, "every answer has a position");
static_assert(AnswerStore::kMostPages * AnswerStore::kPageBytes / AnswerStore::kLeastAnswerBytes <=
                  AnswerStore::kMostSlots / 4 * 3,
              "every answer has a slot");

enum Kind : quint8 { kTypeMask = 0x1F, kBit = 0x20, kElement = 0x40 };

quint8 kindOf(const ControlInformationM& info) {
    const int kind = info.dataType | (info.isBit != 0 ? kBit : 0) | (info.isArray != 0 ? kElement : 0);
    return static_cast<quint8>(kind);
}

int detailWords(quint8 kind) {
    return ((kind & kBit) != 0 ? 1 : 0) + ((kind & kElement) != 0 ? 2 : 0);
}

}  // namespace

// Followed by bitIndex when it is a bit's, arrayIndex and arrayCount when it is an element's, and by the name.
struct AnswerStore::Answer {
    quint32 hash;
    qint32 address;
    qint32 area;
    quint16 nameLength;
    quint8 kind;
    mutable std::atomic<quint8> isUsed;  // asked for since it was written

    Answer(quint32 h, qint32 addressOfIt, qint32 areaOfIt, quint16 length, quint8 kindOfIt)
        : hash(h), address(addressOfIt), area(areaOfIt), nameLength(length), kind(kindOfIt), isUsed(0) {}

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

    bool isFor(const HashedName& other) const {
        return hash == other.hash && nameLength == other.text.length() &&
               std::memcmp(name(), other.text.data(), sizeof(QChar) * nameLength) == 0;
    }
};

AnswerStore::AnswerStore()
    : searched_(nullptr), pages_(), filledBytes_(), page_(0), answers_(0), hasRetired_(false), mayStillLook_(0) {
    static_assert(sizeof(Answer) == 16, "an answer is 16 bytes beside details and name");
}

AnswerStore::~AnswerStore() {
    clear();
}

const AnswerStore::Answer* AnswerStore::answerAt(quint32 position) const {
    const void* place = pages_[position / kPositionsPerPage] + position % kPositionsPerPage * kPositionUnit;
    return static_cast<const Answer*>(place);
}

// The head alone.
AnswerStore::Answer* AnswerStore::newAnswerAt(quint32 position, const Answer& head) {
    char* place = pages_[position / kPositionsPerPage] + position % kPositionsPerPage * kPositionUnit;
    return new (place) Answer(head.hash, head.address, head.area, head.nameLength, head.kind);
}

bool AnswerStore::find(const HashedName& name, ControlInformationM& info) const {
    const SlotTable* searched = searched_.load(std::memory_order_acquire);
    if (searched == nullptr) {
        return false;
    }
    const quint32 position = searched->find(name.hash, [&](quint32 p) { return answerAt(p)->isFor(name); });
    if (position == SlotTable::kNone) {
        return false;
    }

    const Answer& answer = *answerAt(position);
    if (answer.isUsed.load(std::memory_order_relaxed) == 0) {
        answer.isUsed.store(1, std::memory_order_relaxed);
    }
    info = ControlInformationM();
    info.dataType = answer.kind & kTypeMask;
    info.address = answer.address;
    info.area = answer.area;
    const qint32* detail = answer.details();
    if ((answer.kind & kBit) != 0) {
        info.isBit = 1;
        info.bitIndex = *detail++;
    }
    if ((answer.kind & kElement) != 0) {
        info.isArray = 1;
        info.arrayIndex = *detail++;
        info.arrayCount = *detail;
    }
    return true;
}

void AnswerStore::insert(const HashedName& name, const ControlInformationM& info, ReaderSeats& seats, int seat) {
    if (name.text.length() > kLongestName || isSearchedStill(seats, seat)) {
        return;
    }
    ControlInformationM known;
    if (find(name, known) || !makeRoom(Answer::bytesFor(kindOf(info), name.text.length()))) {
        return;
    }
    const quint32 position = positionFor(Answer::bytesFor(kindOf(info), name.text.length()));
    write(position, name, info);
    slots_->insert(name.hash, position);
    ++answers_;
}

void AnswerStore::write(quint32 position, const HashedName& name, const ControlInformationM& info) {
    const Answer head(name.hash, info.address, info.area, static_cast<quint16>(name.text.length()), kindOf(info));
    Answer* answer = newAnswerAt(position, head);
    qint32* detail = answer->details();
    if (info.isBit != 0) {
        *detail++ = info.bitIndex;
    }
    if (info.isArray != 0) {
        *detail++ = info.arrayIndex;
        *detail = info.arrayCount;
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
        if (answer->isUsed.load(std::memory_order_relaxed) != 0) {
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
    hasRetired_ = true;
}

// Whether memory that was given up may still be looked at; when not, it is free.
bool AnswerStore::isSearchedStill(ReaderSeats& seats, int seat) {
    if (hasRetired_) {
        mayStillLook_ = ReaderSeats::allBut(seat);
        hasRetired_ = false;
    }
    mayStillLook_ = seats.takenAmong(mayStillLook_);
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
