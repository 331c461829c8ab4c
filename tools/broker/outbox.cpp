#include "tools/broker/outbox.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "tools/text/utc.h"

namespace ac500::broker {

namespace {

using host::Time;

// So many numbers are reserved at a time, each time with one wait for the disk; so many go on when that failed.
constexpr std::int64_t kReservedAtOnce = 1024;
constexpr std::int64_t kTriedAgainAfter = 64;
constexpr std::uint64_t kBytesPerCommit = 512 * 1024;
constexpr std::uint64_t kBytesPerRead = 256 * 1024;
constexpr Time kRetryPause = std::chrono::seconds(10);
constexpr Time kPressedPause = std::chrono::seconds(1);  // while messages are lost meanwhile
// What is told once a connection stands is told at once; what is dropped later is put together for so long.
constexpr Time kGapPause = std::chrono::seconds(10);
constexpr Time kAcknowledgedPause = std::chrono::seconds(1);
constexpr Time kAgePause = std::chrono::minutes(1);
// The backlog catches up so much time in which nobody asked.
constexpr Time kBurst = std::chrono::milliseconds(100);

// Numbers of a store that is made anew begin where none that was lost before can have come to: there would have to have been
// more than a thousand messages a second, always.
std::int64_t firstNumber(std::int64_t wallMs) {
    return text::isOfSetClock(wallMs) ? wallMs : 1;
}

std::uint64_t costOf(const Message& message) {
    return message.topic.size() + message.payload.size() + kMessageOverhead;
}

void takeEarlier(std::optional<Time>* earliest, Time time) {
    *earliest = *earliest ? std::min(**earliest, time) : time;
}

}  // namespace

Outbox::Outbox(OutboxSettings settings, GapMessage gapMessage, Tell tell)
    : settings_(std::move(settings)), gapMessage_(std::move(gapMessage)), tell_(std::move(tell)) {}

std::unique_ptr<Outbox> Outbox::open(const OutboxSettings& settings, Time now, std::int64_t wallMs,
                                     GapMessage gapMessage, Tell tell, host::Failure* failure) {
    std::unique_ptr<Outbox> outbox(new Outbox(settings, std::move(gapMessage), std::move(tell)));
    outbox->now_ = now;
    outbox->openedAt_ = now;
    outbox->openedWallMs_ = wallMs;
    outbox->latestMs_ = wallMs;
    return outbox->begin(failure) ? std::move(outbox) : nullptr;
}

void Outbox::setLimits(const OutboxSettings& settings) {
    std::string file = std::move(settings_.file);
    settings_ = settings;
    settings_.file = std::move(file);
}

// ---- opening the store

bool Outbox::begin(host::Failure* failure) {
    if (settings_.file.empty()) {
        beginNumbers(firstNumber(openedWallMs_));
        return true;
    }
    OpenedStore opened = openStore();
    if (opened.result == StoreLock::Result::Taken) {
        *failure = {host::FailureKind::File, "the store " + settings_.file + ": " + opened.problem};
        return false;
    }
    // Without what the lock's file says nobody knows what was sent since the store was written last: numbers that were used
    // live are below the time then, when the clock is set.
    const std::int64_t used = usedBelow();
    beginNumbers(before_ && used > 0 ? used : std::max(used, firstNumber(openedWallMs_)));
    if (store_ == nullptr) {
        haveTrouble(opened.problem);
        return true;
    }
    adoptStore();
    return true;
}

void Outbox::beginNumbers(std::int64_t number) {
    begunWith_ = number;
    next_ = number;
    reservedEnd_ = number;
    lastAdded_ = number - 1;
}

// Numbers below may have been used before this process; 0: there were none.
std::int64_t Outbox::usedBelow() const {
    std::int64_t used = before_ ? before_->end : 0;
    if (store_ != nullptr) {
        const std::int64_t last = store_->contents().lastSequence;
        used = std::max({used, store_->contents().settled, last > 0 ? last + 1 : 0});
    }
    return used;
}

Outbox::OpenedStore Outbox::openStore() {
    OpenedStore opened;
    if (!lock_.isHeld()) {
        opened.result = lock_.hold(settings_.file + ".lock", &opened.problem);
        before_ = lock_.reservation();
        if (opened.result != StoreLock::Result::Held) {
            return opened;
        }
    }
    StoreResult result;
    store_ = Store::open(settings_.file, &result);
    if (result.kind == StoreResult::Kind::Damaged && putAside(result.text)) {
        isDamageUntold_ = true;
        store_ = Store::open(settings_.file, &result);
    }
    opened.problem = result.text;
    return opened;
}

// False: it is still there.
bool Outbox::putAside(const std::string& why) {
    std::string problem;
    const std::string name = setAside(settings_.file, &problem);
    tell_(name.empty() ? "the store is damaged (" + why + "), and " + problem
                       : "the store " + settings_.file + " is damaged (" + why + "); it was set aside as " + name +
                             ", and a new one begun");
    return !name.empty();
}

// What the store has joins what is in memory, and numbers that nobody has accounted for become a gap.
void Outbox::adoptStore() {
    const StoreContents& contents = store_->contents();
    const std::int64_t end = before_ ? std::min(usedBelow(), begunWith_) : begunWith_;
    const std::int64_t settled = std::max(contents.settled, before_ ? before_->settled : 0);
    GapList gaps = contents.gaps;
    if (std::exchange(isDamageUntold_, false) && end > 0) {
        gaps.add({1, end - 1, 0, openedWallMs_, kGapStoreDamaged}, 0);
    } else if (settled > 0 && settled < end) {
        const std::int64_t since = std::max(contents.writtenMs, before_ ? before_->writtenMs : 0);
        gaps.add({settled, end - 1, since, openedWallMs_, kGapNotStored}, settled - 1);
    }
    for (const GapRecord& record : gaps_.records()) {
        gaps.add(record);
    }
    gaps_ = std::move(gaps);
    areGapsStored_ = false;
    for (Held& held : memory_) {
        held.stored.bornMs += contents.ageClockMs - ageClockBefore_;
    }
    ageClockBefore_ = contents.ageClockMs;
    reservedEnd_ = next_;
    isStoreRead_ = false;
    writeAll();
}

void Outbox::openStoreAgain() {
    OpenedStore opened = openStore();
    if (store_ != nullptr && usedBelow() > begunWith_) {
        // Only with a clock that was not set. What it has would come between.
        store_.reset();
        opened.problem = "its numbers are higher than those used since the start; it is used after the next start";
    }
    if (store_ == nullptr) {
        haveTrouble(opened.problem);
        return;
    }
    adoptStore();
}

// Found while it is in use. What is in memory, too, is not lost.
void Outbox::replaceDamaged(const std::string& why) {
    const StoreContents contents = store_->contents();
    const std::size_t copies = firstUnstored();
    const std::int64_t lastLost = copies > 0 ? memory_.front().stored.message.sequence - 1 : contents.lastSequence;
    const std::size_t lost = contents.messages - std::min(contents.messages, copies + acknowledged_.size());
    store_.reset();
    acknowledged_.clear();
    window_.clear();
    for (Held& held : memory_) {
        held.isStored = false;
    }
    areGapsStored_ = false;
    if (lost > 0) {
        gaps_.add({1, lastLost, contents.oldestMs.value_or(0), latestMs_, kGapStoreDamaged}, 0);
        dropped_ += lost;
    }
    StoreResult result{StoreResult::Kind::Damaged, why};
    if (putAside(why)) {
        store_ = Store::open(settings_.file, &result);
    }
    if (store_ == nullptr) {
        haveTrouble(result.text);
    }
}

// ---- numbers, and what is added

std::int64_t Outbox::takeSequence() {
    if (next_ >= reservedEnd_ && lock_.isHeld()) {
        const bool isReserved = lock_.write({next_ + kReservedAtOnce, settled(), latestMs_});
        const int error = errno;
        reservedEnd_ = next_ + (isReserved ? kReservedAtOnce : kTriedAgainAfter);
        if (std::exchange(areNumbersReserved_, isReserved) != isReserved) {
            tell_(isReserved ? "numbers of messages are reserved in " + settings_.file + ".lock again"
                             : "numbers of messages cannot be reserved in " + settings_.file +
                                   ".lock: " + std::strerror(error) + "; after a kill some may come a second time");
        }
    }
    taken_.insert(next_);
    return next_++;
}

// Of numbers below it will be known after a kill what has become of them.
std::int64_t Outbox::settled() const {
    if (store_ == nullptr) {
        return before_ ? before_->settled : begunWith_;
    }
    if (!areGapsStored_) {
        return store_->contents().settled;
    }
    const std::size_t unstored = firstUnstored();
    return settledBefore(unstored < memory_.size() ? memory_[unstored].stored.message.sequence : lastAdded_ + 1);
}

// The same, where all messages with lower numbers than `unstored` are stored.
std::int64_t Outbox::settledBefore(std::int64_t unstored) const {
    return taken_.empty() ? unstored : std::min(unstored, *taken_.begin());
}

void Outbox::add(Message message, Time now) {
    lookAt(now);
    taken_.erase(message.sequence);
    lastAdded_ = std::max(lastAdded_, message.sequence);
    latestMs_ = message.atMs;
    memoryBytes_ += costOf(message);
    memory_.push_back({{std::move(message), ageClockMs()}, now_, false});
    if (memoryBytes_ > settings_.memoryBytes) {
        makeRoom();
    }
}

void Outbox::addGap(const Gap& gap) {
    taken_.erase(taken_.lower_bound(gap.first), taken_.upper_bound(gap.last));
    lastAdded_ = std::max(lastAdded_, gap.last);
    putOffGaps();
    gaps_.add(gap, gap.first - 1);
    dropped_ += static_cast<std::uint64_t>(gap.last - gap.first + 1);
    areGapsStored_ = false;
}

// Before the first of several is added: what is dropped soon after it makes one record with it. Those that wait already are
// not put off again, however long it goes on.
void Outbox::putOffGaps() {
    if (gaps_.firstUntold(gapsBarred_) == nullptr) {
        gapsDue_ = std::max(gapsDue_, now_ + kGapPause);
    }
}

void Outbox::lookAt(Time now) {
    now_ = std::max(now_, now);
}

std::int64_t Outbox::ageClockMs() const {
    return ageClockBefore_ + std::chrono::duration_cast<host::Milliseconds>(now_ - openedAt_).count();
}

// Messages in memory are those with the highest numbers; the stored ones among them come first.
std::size_t Outbox::firstUnstored() const {
    const auto found =
        std::partition_point(memory_.begin(), memory_.end(), [](const Held& held) { return held.isStored; });
    return static_cast<std::size_t>(found - memory_.begin());
}

// ---- writing

bool Outbox::mayWrite() const {
    return store_ != nullptr && (trouble_.empty() || now_ >= retryAt_);
}

bool Outbox::writeAll() {
    std::size_t unstored = 0;
    do {
        if (store_ == nullptr || !writeSome(firstUnstored())) {
            return false;
        }
        unstored = memory_.size() - firstUnstored();
    } while (unstored > 0);
    if (!isConnected_) {
        evict(0);
    }
    return true;
}

// One commit.
bool Outbox::writeSome(std::size_t first) {
    StoreChanges changes;
    std::uint64_t bytes = 0;
    std::size_t end = first;
    for (; end < memory_.size() && bytes < kBytesPerCommit; ++end) {
        bytes += costOf(memory_[end].stored.message);
        changes.added.push_back(&memory_[end].stored);
    }
    changes.acknowledged = &acknowledged_;
    changes.bornBefore = bornBefore();
    changes.largestBytes = settings_.storeBytes;
    changes.settled = settledBefore(end < memory_.size() ? memory_[end].stored.message.sequence : lastAdded_ + 1);
    changes.ageClockMs = ageClockMs();
    changes.writtenMs = latestMs_;
    changes.gaps = gaps_;
    StoreDropped dropped;
    const StoreResult result = store_->write(changes, &dropped);
    if (result.kind == StoreResult::Kind::Damaged) {
        replaceDamaged(result.text);
        return false;
    }
    if (!result.isGood()) {
        haveTrouble(result.text);
        return false;
    }
    for (std::size_t place = first; place < end; ++place) {
        memory_[place].isStored = true;
    }
    acknowledged_.clear();
    if (dropped.count > 0) {
        putOffGaps();
    }
    gaps_ = store_->contents().gaps;
    areGapsStored_ = true;
    writtenAt_ = now_;
    haveNoTrouble();
    forget(dropped);
    return true;
}

// What the store has dropped goes from memory, too.
void Outbox::forget(const StoreDropped& dropped) {
    if (dropped.count == 0) {
        return;
    }
    dropped_ += dropped.count;
    while (!memory_.empty() && memory_.front().stored.message.sequence <= dropped.last) {
        popMemory();
    }
    while (!window_.empty() && window_.front().sequence <= dropped.last) {
        window_.pop_front();
    }
}

std::int64_t Outbox::bornBefore() const {
    return ageClockMs() - settings_.largestAge.count();
}

void Outbox::haveTrouble(const std::string& text) {
    if (trouble_.empty()) {
        tell_("the store " + settings_.file + " cannot be written: " + text +
              "; messages are kept in memory as far as they fit, and it is tried again");
    }
    trouble_ = text;
    retryAt_ = now_ + kRetryPause;
}

void Outbox::haveNoTrouble() {
    if (!trouble_.empty()) {
        tell_("the store " + settings_.file + " is written again");
        trouble_.clear();
        isStoreRead_ = false;
    }
}

void Outbox::popMemory() {
    memoryBytes_ -= costOf(memory_.front().stored.message);
    memory_.pop_front();
}

// Messages that the store has leave memory, the oldest first, until `bytes` are left. They are backlog then.
void Outbox::evict(std::uint64_t bytes) {
    while (memoryBytes_ > bytes && !memory_.empty() && memory_.front().isStored) {
        liveFrom_ = std::max(liveFrom_, memory_.front().stored.message.sequence + 1);
        isStoreRead_ = false;
        popMemory();
    }
}

// Half of the bound becomes free, so that not each message costs a commit. Where nothing can be stored, the oldest goes.
void Outbox::makeRoom() {
    const bool isPressed = store_ != nullptr && now_ >= retryAt_ - kRetryPause + kPressedPause;
    if (mayWrite() || isPressed) {
        writeAll();
    }
    if (memoryBytes_ > settings_.memoryBytes) {
        evict(settings_.memoryBytes / 2);
    }
    while (memoryBytes_ > settings_.memoryBytes && !memory_.empty()) {
        dropOldestOfMemory(kGapMemoryFull);
    }
}

// One that is in the store as well is not lost.
void Outbox::dropOldestOfMemory(const char* reason) {
    if (memory_.front().isStored) {
        evict(memoryBytes_ - 1);
        return;
    }
    const Message& oldest = memory_.front().stored.message;
    putOffGaps();
    gaps_.add({oldest.sequence, oldest.sequence, oldest.atMs, oldest.atMs, reason},
              store_ == nullptr ? 0 : store_->contents().lastSequence);
    areGapsStored_ = false;
    ++dropped_;
    popMemory();
}

bool Outbox::flush(Time now, bool isLast) {
    lookAt(now);
    const bool isWritten = settings_.file.empty() ? memory_.empty() && gaps_.records().empty() : writeAll();
    if (isWritten && isLast && lock_.isHeld()) {
        return lock_.write({next_, settledBefore(next_), latestMs_});
    }
    return isWritten;
}

void Outbox::tick(Time now) {
    lookAt(now);
    if (store_ == nullptr && !settings_.file.empty() && now_ >= retryAt_) {
        openStoreAgain();
    }
    while (!memory_.empty() && !memory_.front().isStored && memory_.front().stored.bornMs < bornBefore()) {
        dropOldestOfMemory(kGapTooOld);
    }
    const std::optional<Time> due = whenWriting();
    if (due && *due <= now_) {
        writeAll();
    }
}

// When something is to be written; nothing also when that cannot be.
std::optional<Time> Outbox::whenWriting() const {
    if (store_ == nullptr) {
        return std::nullopt;
    }
    if (!trouble_.empty()) {
        return retryAt_;
    }
    std::optional<Time> earliest;
    const std::size_t unstored = firstUnstored();
    if (unstored < memory_.size()) {
        takeEarlier(&earliest, memory_[unstored].addedAt +
                                   (isConnected_ ? settings_.flushAfterConnected : settings_.flushAfterApart));
    }
    if (!acknowledged_.empty()) {
        takeEarlier(&earliest, acknowledgedAt_ + kAcknowledgedPause);
    }
    if (!areGapsStored_) {
        takeEarlier(&earliest, writtenAt_ + settings_.flushAfterApart);
    }
    if (store_->contents().messages > 0) {
        takeEarlier(&earliest, writtenAt_ + kAgePause);
    }
    return earliest;
}

// ---- sending

void Outbox::setConnected(bool isConnected, Time now) {
    lookAt(now);
    isConnected_ = isConnected;
    inFlight_.clear();
    gapsSent_.clear();
    gapsBarred_.clear();
    window_.clear();
    isStoreRead_ = false;
    liveFrom_ = next_;
    liveSent_ = next_ - 1;
    backlogSent_ = 0;
    backlogDue_ = now_;
    gapsDue_ = now_;
}

// The place in memory of the first number above.
std::size_t Outbox::placeAfter(std::int64_t sequence) const {
    const auto found =
        std::upper_bound(memory_.begin(), memory_.end(), sequence,
                         [](std::int64_t number, const Held& held) { return number < held.stored.message.sequence; });
    return static_cast<std::size_t>(found - memory_.begin());
}

const Message* Outbox::liveToSend() const {
    const std::size_t place = placeAfter(std::max(liveSent_, liveFrom_ - 1));
    return place < memory_.size() ? &memory_[place].stored.message : nullptr;
}

const Message* Outbox::toldGapToSend() const {
    for (const GapRecord& record : gaps_.records()) {
        if (record.message && gapsSent_.count(record.message->sequence) == 0) {
            return &*record.message;
        }
    }
    return nullptr;
}

const Message* Outbox::backlogOfMemory() const {
    const std::size_t place = placeAfter(backlogSent_);
    const bool isBacklog = place < memory_.size() && memory_[place].stored.message.sequence < liveFrom_;
    return isBacklog ? &memory_[place].stored.message : nullptr;
}

std::optional<Message> Outbox::next(Time now) {
    lookAt(now);
    if (!isConnected_) {
        return std::nullopt;
    }
    std::optional<Message> message = takeLive();
    if (!message) {
        message = takeGap();
    }
    if (!message) {
        message = takeBacklog();
    }
    if (message) {
        inFlight_.insert(message->sequence);
    }
    return message;
}

std::optional<Message> Outbox::takeLive() {
    const Message* live = liveToSend();
    if (live == nullptr) {
        return std::nullopt;
    }
    liveSent_ = live->sequence;
    return *live;
}

// A gap gets its message when it can be told, and that is stored at once, so that it is the same ever after.
std::optional<Message> Outbox::takeGap() {
    GapRecord* untold = now_ >= gapsDue_ ? gaps_.firstUntold(gapsBarred_) : nullptr;
    if (toldGapToSend() == nullptr && untold != nullptr) {
        const std::int64_t sequence = takeSequence();
        untold->message = gapMessage_(untold->gap, sequence);
        untold->message->sequence = sequence;
        taken_.erase(sequence);
        lastAdded_ = std::max(lastAdded_, sequence);
        areGapsStored_ = false;
        if (mayWrite()) {
            writeAll();
        }
    }
    const Message* told = toldGapToSend();
    if (told == nullptr) {
        return std::nullopt;
    }
    gapsSent_.insert(told->sequence);
    return *told;
}

std::optional<Message> Outbox::takeBacklog() {
    if (now_ < backlogDue_) {
        return std::nullopt;
    }
    std::optional<Message> message;
    if (fillWindow()) {
        message = std::move(window_.front());
        window_.pop_front();
    } else if (const Message* held = backlogOfMemory()) {
        message = *held;
    }
    if (message) {
        backlogSent_ = message->sequence;
        backlogDue_ =
            std::max(backlogDue_, now_ - kBurst) + Time(std::chrono::seconds(1)) / std::max(settings_.backlogRate, 1);
    }
    return message;
}

// Is there a message to send in the window, which has what comes next of the store? Such as were live when they came, and are
// in flight, are not sent twice.
bool Outbox::fillWindow() {
    for (;;) {
        while (!window_.empty() &&
               (inFlight_.count(window_.front().sequence) > 0 || acknowledged_.count(window_.front().sequence) > 0)) {
            backlogSent_ = window_.front().sequence;
            window_.pop_front();
        }
        if (!window_.empty()) {
            return true;
        }
        if (store_ == nullptr || isStoreRead_) {
            return false;
        }
        const std::int64_t before = memory_.empty() ? INT64_MAX : memory_.front().stored.message.sequence;
        const StoreResult result = store_->read(backlogSent_, before, kBytesPerRead, &window_);
        if (result.kind == StoreResult::Kind::Damaged) {
            replaceDamaged(result.text);
            return false;
        }
        if (!result.isGood()) {
            haveTrouble(result.text);
        }
        isStoreRead_ = window_.empty() || !result.isGood();
    }
}

void Outbox::acknowledged(std::int64_t sequence) {
    if (inFlight_.erase(sequence) == 0) {
        return;
    }
    if (gaps_.remove(sequence)) {
        gapsSent_.erase(sequence);
        areGapsStored_ = false;
        return;
    }
    const std::size_t place = placeAfter(sequence - 1);
    const bool isInMemory = place < memory_.size() && memory_[place].stored.message.sequence == sequence;
    if (store_ != nullptr && (!isInMemory || memory_[place].isStored)) {
        acknowledgedAt_ = acknowledged_.empty() ? now_ : acknowledgedAt_;
        acknowledged_.insert(sequence);
    }
    if (isInMemory) {
        memoryBytes_ -= costOf(memory_[place].stored.message);
        memory_.erase(memory_.begin() + static_cast<std::ptrdiff_t>(place));
    }
}

void Outbox::drop(std::int64_t sequence, std::int64_t atMs, const std::string& reason) {
    if (const GapRecord* record = gaps_.untell(sequence)) {
        gapsBarred_.insert(record->gap.first);
        gapsSent_.erase(sequence);
        inFlight_.erase(sequence);
        areGapsStored_ = false;
        return;
    }
    addGap({sequence, sequence, atMs, atMs, reason});
    acknowledged(sequence);
}

std::optional<Time> Outbox::whenSending() const {
    if (!isConnected_) {
        return std::nullopt;
    }
    if (liveToSend() != nullptr || toldGapToSend() != nullptr) {
        return now_;
    }
    std::optional<Time> earliest;
    const bool isStoreToRead = store_ != nullptr && !isStoreRead_ && store_->contents().messages > 0;
    if (!window_.empty() || isStoreToRead || backlogOfMemory() != nullptr) {
        takeEarlier(&earliest, backlogDue_);
    }
    const bool hasUntold = std::any_of(gaps_.records().begin(), gaps_.records().end(), [this](const GapRecord& record) {
        return !record.message && gapsBarred_.count(record.gap.first) == 0;
    });
    if (hasUntold) {
        takeEarlier(&earliest, gapsDue_);
    }
    return earliest;
}

std::optional<Time> Outbox::whenNext(Time now, bool canSend) const {
    std::optional<Time> earliest = whenWriting();
    if (canSend) {
        if (const std::optional<Time> sending = whenSending()) {
            takeEarlier(&earliest, *sending);
        }
    }
    if (store_ == nullptr && !settings_.file.empty()) {
        takeEarlier(&earliest, retryAt_);
    }
    if (!memory_.empty() && !memory_.front().isStored) {
        const std::int64_t leftMs = memory_.front().stored.bornMs + settings_.largestAge.count() - ageClockMs();
        takeEarlier(&earliest, now_ + host::Milliseconds(leftMs + 1));
    }
    return earliest ? std::optional<Time>(std::max(*earliest, std::min(now, now_))) : std::nullopt;
}

OutboxStatus Outbox::status() const {
    OutboxStatus status;
    const std::size_t copies = firstUnstored();
    const std::size_t storeMessages = store_ == nullptr ? 0 : store_->contents().messages;
    status.memoryMessages = memory_.size();
    status.memoryBytes = memoryBytes_;
    status.storeMessages = storeMessages;
    status.storeBytes = store_ == nullptr ? 0 : store_->contents().bytes;
    status.inFlight = inFlight_.size();
    const std::size_t inStoreAlone = storeMessages - std::min(storeMessages, copies + acknowledged_.size());
    status.backlog = inStoreAlone + (isConnected_ ? placeAfter(liveFrom_ - 1) : memory_.size());
    status.gapRecords = gaps_.records().size();
    status.dropped = dropped_;
    if (inStoreAlone > 0) {
        status.oldestMs = store_->contents().oldestMs;
    } else if (!memory_.empty()) {
        status.oldestMs = memory_.front().stored.message.atMs;
    }
    status.trouble = trouble_;
    return status;
}

}  // namespace ac500::broker
