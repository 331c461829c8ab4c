#include "tools/gateway/broker_door.h"

#include <fmt/format.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <thread>
#include <utility>
#include <variant>

#include "tools/broker/command_desk.h"
#include "tools/broker/message_format.h"
#include "tools/broker/mqtt_client.h"
#include "tools/broker/outbox.h"
#include "tools/broker/reason_text.h"
#include "tools/broker/report_filter.h"
#include "tools/gateway/broker_tags.h"
#include "tools/text/utc.h"

namespace ac500::gateway {

using broker::BrokerSettings;
using broker::DoorState;
using broker::MqttEvent;
using events::EventId;
using host::Failure;
using host::FailureKind;
using host::Milliseconds;
using host::Time;

namespace {

// The board is looked at so often when no pass has ended: values grow old, and a PLC goes.
constexpr Milliseconds kLook{250};
// Failures that were told are told again after so long.
constexpr Milliseconds kTellAgain{600000};
constexpr std::size_t kMostCommands = 100;   // underway
constexpr std::size_t kMostOutcomes = 1000;  // that the broker has not acknowledged

// Numbers of what is sent beside the messages of the outbox, whose numbers are not negative.
constexpr std::int64_t kStatusNumber = -1;
constexpr std::int64_t kInfoNumber = -2;
constexpr std::int64_t kFarewellNumber = -3;
constexpr std::int64_t kFirstOutcomeNumber = -4;  // and down

std::int64_t utcNowMs() {
    return std::chrono::duration_cast<Milliseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// Names this run of the gateway.
std::string newSession() {
    std::random_device device;
    return fmt::format("{:08x}{:08x}", device(), device());
}

broker::OutboxSettings outboxSettingsOf(const broker::KeepSettings& keep) {
    broker::OutboxSettings settings;
    settings.file = keep.file;
    settings.storeBytes = static_cast<std::uint64_t>(keep.bytes);
    settings.memoryBytes = static_cast<std::uint64_t>(keep.memoryBytes);
    settings.largestAge = keep.age;
    settings.backlogRate = keep.backlogRate;
    return settings;
}

DoorState doorStateOf(const host::SessionStatus& status) {
    switch (connectionOf(status).state) {
        case ConnectionState::Up:
            return DoorState::Up;
        case ConnectionState::OtherProgram:
            return DoorState::OtherProgram;
        case ConnectionState::Connecting:
        case ConnectionState::Lost:
        case ConnectionState::Retrying:
        case ConnectionState::Refused:
            return DoorState::PlcAway;
    }
    return DoorState::PlcAway;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// The clerk: what the door's thread does
// ---------------------------------------------------------------------------------------------------------------------

class BrokerDoor::Clerk {
public:
    explicit Clerk(Parts parts)
        : parts_(std::move(parts)),
          plant_(parts_.plant),
          session_(newSession()),
          startedAt_(plant_.now()),
          startedUtcMs_(utcNowMs()) {}
    ~Clerk() { end(); }

    bool open(Failure* failure);
    void end();
    bool reload(const BrokerSettings& settings, const std::string& settingsHash, Failure* failure);
    BrokerFigures figures() const;

private:
    struct Change {
        BrokerSettings settings;
        std::string settingsHash;
        BrokerTags tags;
        bool needsNewConnection = false;
    };
    struct Outcome {
        std::string payload;
        bool isSent = false;
    };
    struct Command {
        std::string id;
        host::WriteTicket ticket;
    };

    void wake() const;
    void work();
    void waitUntil(Time when, std::vector<pollfd>* waits);
    Time whenNext(Time now);

    void takeOver(Change change);
    void subscribe();
    void prepareFormat();
    void prepareFilter();
    void prepareDesk();
    std::string topic(const char* below) const { return settings_.topic + "/" + below; }
    broker::MqttClient::Settings clientSettings() const;

    bool isLookDue(Time now) const;
    void lookAtPlant(Time now);
    void lookAtState(const host::SessionStatus& status);
    void tellValues(std::uint64_t pass, Time now);
    void lookAtCommands();
    void take(const MqttEvent& event, Time now);
    void takeConnected(Time now);
    void takeEnd(const std::string& text, Time now);
    void takeAcknowledged(std::int64_t number);
    void takeRefused(const MqttEvent& event, Time now);
    void takeCommand(const broker::ArrivedMessage& message);
    void addOutcome(std::string payload);

    void send(Time now);
    bool sendNotices(Time now);
    bool sendNotice(const broker::Publication& notice, Time now);
    void dropUnsendable(std::int64_t number, const std::string& reason, Time now);
    std::uint32_t expirySeconds() const;
    std::string statusText(DoorState state, std::optional<std::int64_t> sinceUtcMs) const;
    std::string infoText() const;
    void sayFarewell();
    bool isFarewellTaken();
    void publishFigures();
    void tellOnce(EventId event, const std::string& text, Time now);

    // Constant after open()
    const Parts parts_;
    Plant& plant_;
    const std::string session_;
    const Time startedAt_;
    const std::int64_t startedUtcMs_;
    int wakeUp_ = -1;  // an eventfd
    int listener_ = 0;
    std::thread thread_;

    // Of the owner
    BrokerSettings known_;  // what was taken over last

    // Of the thread, once it runs
    BrokerSettings settings_;
    std::string settingsHash_;
    BrokerTags tags_;
    std::map<std::size_t, std::size_t> places_;  // number of a tag to its place in tags_.numbers
    bool repeats_ = false;                       // a tag has a largest interval
    std::optional<broker::ReportFilter> filter_;
    std::optional<broker::MessageFormat> format_;
    std::optional<broker::CommandDesk> desk_;
    std::unique_ptr<broker::Outbox> outbox_;
    std::optional<broker::MqttClient> client_;
    std::optional<std::uint32_t> largestPacket_;
    std::uint64_t revision_ = 0;
    std::uint64_t pass_ = 0;
    std::optional<Time> lookedAt_;
    DoorState state_ = DoorState::PlcAway;
    std::int64_t stateSinceUtcMs_ = 0;
    std::string stateText_;
    bool mustTellStatus_ = true;
    bool mustTellInfo_ = true;
    std::optional<broker::ReconnectPause> refusalPause_;        // before what was refused of these is told again
    Time noticesDue_{0};                                        // when it is; until then neither is told
    std::map<std::int64_t, Outcome, std::greater<>> outcomes_;  // by their numbers, the oldest first
    std::int64_t nextOutcome_ = kFirstOutcomeNumber;
    std::deque<Command> commands_;
    std::set<std::string> told_;
    Time toldAt_{0};
    std::map<std::int64_t, std::int64_t> givenAtMs_;  // Message::atMs of the numbers that are in flight
    std::uint64_t published_ = 0;
    std::uint64_t acknowledged_ = 0;

    mutable std::mutex mutex_;
    bool isWoken_ = true;           // mutex_
    bool isEnding_ = false;         // mutex_
    std::optional<Change> change_;  // mutex_
    BrokerFigures figures_;         // mutex_
};

// ---- Beginning and end

bool BrokerDoor::Clerk::open(Failure* failure) {
    known_ = settings_ = parts_.settings;
    settingsHash_ = parts_.settingsHash;
    std::optional<BrokerTags> tags = brokerTags(plant_, settings_, failure);
    if (!tags) {
        return false;
    }
    tags_ = std::move(*tags);
    prepareFilter();
    prepareDesk();
    prepareFormat();
    outbox_ = broker::Outbox::open(
        outboxSettingsOf(settings_.keep), plant_.now(), utcNowMs(),
        [this](const broker::Gap& gap, std::int64_t sequence) { return format_->gap(gap, sequence, utcNowMs()); },
        [this](const std::string& text) { parts_.tell(EventId::BrokerStore, text); }, failure);
    if (outbox_ == nullptr) {
        return false;
    }
    wakeUp_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeUp_ < 0) {
        *failure = {FailureKind::Tcp, "the broker: there is no descriptor left"};
        return false;
    }
    stateSinceUtcMs_ = startedUtcMs_;
    client_.emplace(clientSettings());
    listener_ = plant_.addListener([this] {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            isWoken_ = true;
        }
        wake();
    });
    thread_ = std::thread([this] { work(); });
    return true;
}

void BrokerDoor::Clerk::end() {
    if (listener_ != 0) {
        plant_.removeListener(listener_);
        listener_ = 0;
    }
    if (thread_.joinable()) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            isEnding_ = true;
        }
        wake();
        thread_.join();
    }
    if (wakeUp_ >= 0) {
        ::close(wakeUp_);
        wakeUp_ = -1;
    }
}

void BrokerDoor::Clerk::wake() const {
    const std::uint64_t one = 1;
    (void)!::write(wakeUp_, &one, sizeof one);
}

broker::MqttClient::Settings BrokerDoor::Clerk::clientSettings() const {
    broker::MqttClient::Settings settings = broker::MqttClient::settingsOf(settings_);
    settings.willTopic = topic("status");
    settings.will = statusText(DoorState::Gone, std::nullopt);
    settings.pause = parts_.pause;
    settings.silence = parts_.silence;
    return settings;
}

// ---- What settings say

// All that was received is told, as at the beginning.
void BrokerDoor::Clerk::prepareFilter() {
    places_.clear();
    for (std::size_t place = 0; place < tags_.numbers.size(); ++place) {
        places_[tags_.numbers[place]] = place;
    }
    filter_.emplace(filteredTags(plant_, tags_));
    revision_ = 0;
}

void BrokerDoor::Clerk::prepareDesk() {
    desk_.emplace(deskTags(plant_, tags_), startedUtcMs_);
}

void BrokerDoor::Clerk::prepareFormat() {
    broker::MessageFormat::Settings settings;
    settings.topic = settings_.topic;
    settings.plc = plant_.name();
    settings.format = settings_.format;
    settings.batch = settings_.batch;
    settings.largestMessage = settings_.largestMessage;
    if (largestPacket_ && *largestPacket_ > broker::kPacketOverheadBytes) {
        settings.largestMessage =
            std::min<std::size_t>(settings.largestMessage, *largestPacket_ - broker::kPacketOverheadBytes);
    }
    format_.emplace(std::move(settings), formattedTags(plant_, tags_));
    repeats_ = std::any_of(tags_.terms.begin(), tags_.terms.end(),
                           [](const broker::ReportTerms& terms) { return terms.largestInterval > Milliseconds(0); });
}

bool BrokerDoor::Clerk::reload(const BrokerSettings& settings, const std::string& settingsHash, Failure* failure) {
    Change change;
    change.settings = broker::takenOver(known_, settings);
    change.settingsHash = settingsHash;
    change.needsNewConnection = broker::compare(known_, settings).needsNewConnection;
    std::optional<BrokerTags> tags = brokerTags(plant_, change.settings, failure);
    if (!tags) {
        return false;
    }
    change.tags = std::move(*tags);
    known_ = change.settings;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        change.needsNewConnection = change.needsNewConnection || (change_ && change_->needsNewConnection);
        change_ = std::move(change);
    }
    wake();
    return true;
}

void BrokerDoor::Clerk::takeOver(Change change) {
    const BrokerSettings before = std::exchange(settings_, std::move(change.settings));
    settingsHash_ = change.settingsHash;
    const bool isSameList = change.tags.numbers == tags_.numbers;
    const bool isSameForm = before.format == settings_.format && before.batch == settings_.batch;
    const bool mayWriteTheSame = change.tags.writable == tags_.writable;
    tags_ = std::move(change.tags);
    if (isSameList && isSameForm) {
        filter_->setTerms(tags_.terms);
    } else {
        prepareFilter();
    }
    if (!mayWriteTheSame) {
        prepareDesk();
    }
    prepareFormat();
    outbox_->setLimits(outboxSettingsOf(settings_.keep));
    mustTellInfo_ = true;
    client_->setSettings(clientSettings());
    if (change.needsNewConnection) {
        takeEnd("", plant_.now());
        client_->reconnect(plant_.now());
    } else if (before.commandTags.empty()) {
        subscribe();
    }
}

// Commands that are not allowed any more are refused, should some come until the next connection.
void BrokerDoor::Clerk::subscribe() {
    if (client_->isConnected() && !settings_.commandTags.empty()) {
        client_->connection()->subscribe(topic("command"));
    }
}

// ---- The thread

void BrokerDoor::Clerk::work() {
    ::pthread_setname_np(::pthread_self(), "broker");
    sigset_t all;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
    std::vector<pollfd> waits;
    for (bool isEnding = false; !isEnding;) {
        waitUntil(whenNext(plant_.now()), &waits);
        const Time now = plant_.now();
        std::optional<Change> change;
        bool isWoken = false;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            change = std::exchange(change_, std::nullopt);
            isWoken = std::exchange(isWoken_, false);
            isEnding = isEnding_;
        }
        if (change) {
            takeOver(std::move(*change));
        }
        client_->work(waits, now);
        for (const MqttEvent& event : client_->takeEvents()) {
            take(event, now);
        }
        if (isWoken || isLookDue(now)) {
            lookAtPlant(now);
            lookAtCommands();
        }
        outbox_->tick(now);
        send(now);
        publishFigures();
    }
    sayFarewell();
}

Time BrokerDoor::Clerk::whenNext(Time now) {
    Time when = now + kLook;
    broker::MqttConnection* const connection = client_->connection();
    const bool canSend = connection != nullptr && connection->hasRoom();
    for (const std::optional<Time>& each :
         {client_->whenNext(), outbox_->whenNext(now, canSend), filter_->whenNext()}) {
        when = std::min(when, each.value_or(when));
    }
    return when;
}

void BrokerDoor::Clerk::waitUntil(Time when, std::vector<pollfd>* waits) {
    waits->assign(1, {wakeUp_, POLLIN, 0});
    client_->addWaits(waits);
    const Time left = std::max(when - plant_.now(), Time(0));
    ::poll(waits->data(), waits->size(), static_cast<int>(std::chrono::ceil<Milliseconds>(left).count()));
    std::uint64_t ignored = 0;
    (void)!::read(wakeUp_, &ignored, sizeof ignored);
}

// ---- What the plant has

bool BrokerDoor::Clerk::isLookDue(Time now) const {
    const std::optional<Time> filterIsDue = filter_->whenNext();
    return !lookedAt_ || now - *lookedAt_ >= kLook || (filterIsDue && *filterIsDue <= now);
}

void BrokerDoor::Clerk::lookAtPlant(Time now) {
    lookAtState(plant_.status());
    const std::uint64_t pass = plant_.pass();
    if (pass != pass_ || isLookDue(now)) {
        pass_ = pass;
        lookedAt_ = now;
        tellValues(pass, now);
    }
}

void BrokerDoor::Clerk::lookAtState(const host::SessionStatus& status) {
    const DoorState state = doorStateOf(status);
    const std::string text = state == DoorState::Up ? "" : connectionOf(status).text;
    if (state != state_) {
        state_ = state;
        stateSinceUtcMs_ = utcNowMs();
        mustTellStatus_ = true;
    }
    // Why it is so may be known later, and change.
    if (text != stateText_) {
        stateText_ = text;
        mustTellStatus_ = true;
    }
}

void BrokerDoor::Clerk::tellValues(std::uint64_t pass, Time now) {
    const std::int64_t utcMs = utcNowMs();
    const std::uint64_t revision = plant_.revision();
    if (revision != revision_ || revision == 0) {
        for (const BoardEntry& entry : plant_.changedSince(revision_, tags_.numbers)) {
            filter_->see(places_.at(entry.first), entry.second.value, now, utcMs);
        }
        revision_ = revision;
    }
    if (repeats_) {
        const std::vector<std::optional<Time>> received = plant_.received(tags_.numbers);
        for (std::size_t place = 0; place < received.size(); ++place) {
            filter_->seeReception(place, received[place], now, utcMs);
        }
    }
    const std::vector<broker::Report> reports = filter_->take(now);
    if (reports.empty()) {
        return;
    }
    const broker::MessageFormat::Pass of{pass, text::isOfSetClock(utcMs), utcMs, now, startedAt_};
    broker::MessageFormat::Formatted formatted =
        format_->values(reports, of, [this] { return outbox_->takeSequence(); });
    for (broker::Message& message : formatted.messages) {
        outbox_->add(std::move(message), now);
    }
    for (const broker::Gap& gap : formatted.gaps) {
        outbox_->addGap(gap);
    }
    plant_.countPublished(reports.size());
}

// ---- Commands

void BrokerDoor::Clerk::takeCommand(const broker::ArrivedMessage& message) {
    broker::CommandDesk::Arrival arrival;
    arrival.payload = message.payload;
    arrival.isRetained = message.isRetained;
    arrival.utcMs = utcNowMs();
    arrival.isClockSet = text::isOfSetClock(arrival.utcMs);
    arrival.isOtherProgram = plant_.status().program.doubt.occurred();
    const std::variant<broker::CommandOrder, broker::CommandRefusal> judged = desk_->judge(arrival);
    if (const auto* refusal = std::get_if<broker::CommandRefusal>(&judged)) {
        parts_.tell(EventId::BrokerCommand, fmt::format("command {} is refused: {}", refusal->id, refusal->reason));
        addOutcome(broker::outcomeJson(*refusal));
        return;
    }
    const auto& order = std::get<broker::CommandOrder>(judged);
    const auto refuse = [&](const std::string& reason) {
        parts_.tell(EventId::BrokerCommand, fmt::format("command {} is refused: {}", order.id, reason));
        addOutcome(broker::outcomeJson(broker::CommandRefusal{order.id, reason}));
    };
    if (commands_.size() >= kMostCommands) {
        refuse("too many commands are underway; wait for their outcomes");
        return;
    }
    PlantWrite write;
    write.tag = order.tag;
    write.values = order.values;
    write.replaces = order.replaces;
    write.expires = order.expires;
    if (message.expirySeconds) {
        write.expires = std::min(order.expires, Milliseconds(std::int64_t{1000} * *message.expirySeconds));
    }
    write.number = order.id;
    write.who = "broker";
    Failure failure;
    const std::optional<host::WriteTicket> ticket = plant_.write(write, &failure);
    if (!ticket) {
        refuse(failure.text);
    } else if (ticket->isRepeat) {
        refuse("this id was used before; each command has one of its own");
    } else {
        commands_.push_back({order.id, *ticket});
        lookAtCommands();
    }
}

void BrokerDoor::Clerk::lookAtCommands() {
    std::deque<Command> pending;
    for (Command& command : commands_) {
        const std::optional<host::WriteReport> report = plant_.report(command.ticket);
        if (report && report->outcome == host::WriteOutcome::Pending) {
            pending.push_back(std::move(command));
            continue;
        }
        const host::WriteOutcome outcome = report ? report->outcome : host::WriteOutcome::Unknown;
        const std::string text = report ? report->failure.text : "what became of it was forgotten";
        parts_.tell(EventId::BrokerCommand,
                    fmt::format("command {}: {}{}{}", command.id, host::writeOutcomeName(outcome),
                                text.empty() ? "" : ": ", text));
        addOutcome(broker::outcomeJson(command.id, outcome, text));
    }
    commands_ = std::move(pending);
}

void BrokerDoor::Clerk::addOutcome(std::string payload) {
    if (outcomes_.size() >= kMostOutcomes) {
        outcomes_.erase(outcomes_.begin());
    }
    outcomes_[nextOutcome_--] = {std::move(payload), false};
}

// ---- What the broker tells

void BrokerDoor::Clerk::take(const MqttEvent& event, Time now) {
    switch (event.kind) {
        case MqttEvent::Kind::Connected:
            takeConnected(now);
            return;
        case MqttEvent::Kind::Acknowledged:
            if (event.number >= 0) {
                ++acknowledged_;
                told_.clear();  // all is well again: the next trouble is a new one
            }
            takeAcknowledged(event.number);
            return;
        case MqttEvent::Kind::Refused:
            takeRefused(event, now);
            return;
        case MqttEvent::Kind::Subscribed:
            return;
        case MqttEvent::Kind::SubscriptionRefused:
            tellOnce(EventId::BrokerRefused,
                     fmt::format("{}: no commands come: the broker refuses the subscription of {}: {}",
                                 client_->server().text(), topic("command"), event.text),
                     now);
            return;
        case MqttEvent::Kind::Arrived:
            takeCommand(event.message);
            return;
        case MqttEvent::Kind::Ended:
            takeEnd(event.text, now);
            return;
    }
}

void BrokerDoor::Clerk::takeConnected(Time now) {
    broker::MqttConnection* connection = client_->connection();
    if (connection == nullptr) {
        return;  // it has ended already, which the next event tells
    }
    parts_.tell(EventId::BrokerConnected,
                fmt::format("connected to {} as {}", client_->server().text(), settings_.client));
    if (connection->largestPacket() != largestPacket_) {
        largestPacket_ = connection->largestPacket();
        prepareFormat();
    }
    mustTellStatus_ = true;
    mustTellInfo_ = true;
    refusalPause_.emplace(parts_.pause);
    noticesDue_ = now;
    for (auto& [number, outcome] : outcomes_) {
        outcome.isSent = false;
    }
    subscribe();
    outbox_->setConnected(true, now);
}

void BrokerDoor::Clerk::takeEnd(const std::string& text, Time now) {
    outbox_->setConnected(false, now);
    givenAtMs_.clear();
    if (!text.empty()) {
        tellOnce(EventId::BrokerLost, text, now);
    }
}

void BrokerDoor::Clerk::takeAcknowledged(std::int64_t number) {
    if (number >= 0) {
        givenAtMs_.erase(number);
        outbox_->acknowledged(number);
    } else {
        outcomes_.erase(number);
    }
}

// Values that are refused are kept, and sent again by the next connection, which comes later and later: somebody may put
// right what is wrong. Those that the broker can never take are dropped.
void BrokerDoor::Clerk::takeRefused(const MqttEvent& event, Time now) {
    if (event.number >= 0 && givenAtMs_.count(event.number) != 0 && broker::isForEver(event.code)) {
        dropUnsendable(event.number, event.text, now);
        return;
    }
    const char* what = event.number >= 0               ? "values"
                       : event.number == kStatusNumber ? "status"
                       : event.number == kInfoNumber   ? "info"
                                                       : "outcome";
    tellOnce(EventId::BrokerRefused,
             fmt::format("{}: the broker refuses what is published on {}: {}", client_->server().text(), topic(what),
                         event.text),
             now);
    if (event.number >= 0) {
        takeEnd("", now);
        client_->giveUp(now);
    } else if (event.number == kStatusNumber || event.number == kInfoNumber) {
        // Who subscribes would be told an old one for ever.
        (event.number == kStatusNumber ? mustTellStatus_ : mustTellInfo_) = true;
        noticesDue_ = now + refusalPause_->next();
    } else {
        outcomes_.erase(event.number);
    }
}

void BrokerDoor::Clerk::tellOnce(EventId event, const std::string& text, Time now) {
    if (now - toldAt_ >= kTellAgain) {
        told_.clear();
        toldAt_ = now;
    }
    if (told_.insert(text).second) {
        parts_.tell(event, text);
    }
}

// ---- What the broker is told

void BrokerDoor::Clerk::send(Time now) {
    if (!sendNotices(now)) {
        return;
    }
    for (broker::MqttConnection* to = client_->connection(); to != nullptr && to->hasRoom();
         to = client_->connection()) {
        const std::optional<broker::Message> message = outbox_->next(now);
        if (!message) {
            return;
        }
        broker::Publication publication;
        publication.topic = message->topic;
        publication.payload = message->payload;
        publication.isRetained = settings_.isRetained && !outbox_->isGapRecord(message->sequence);
        publication.expirySeconds = expirySeconds();
        publication.number = message->sequence;
        givenAtMs_[message->sequence] = message->atMs;
        std::string problem;
        if (to->publish(publication, now, &problem)) {
            ++published_;
        } else if (!problem.empty()) {
            dropUnsendable(message->sequence, problem, now);
        }
    }
}

// False: there is no room, or no connection.
bool BrokerDoor::Clerk::sendNotices(Time now) {
    const bool areDue = now >= noticesDue_;
    if (mustTellStatus_ && areDue) {
        if (!sendNotice({topic("status"), statusText(state_, stateSinceUtcMs_), true, std::nullopt, kStatusNumber},
                        now)) {
            return false;
        }
        mustTellStatus_ = false;
    }
    if (mustTellInfo_ && areDue) {
        if (!sendNotice({topic("info"), infoText(), true, std::nullopt, kInfoNumber}, now)) {
            return false;
        }
        mustTellInfo_ = false;
    }
    for (auto& [number, outcome] : outcomes_) {
        if (!outcome.isSent) {
            if (!sendNotice({topic("outcome"), outcome.payload, false, std::nullopt, number}, now)) {
                return false;
            }
            outcome.isSent = true;
        }
    }
    return true;
}

// True also for what can never be sent, which is told.
bool BrokerDoor::Clerk::sendNotice(const broker::Publication& notice, Time now) {
    broker::MqttConnection* to = client_->connection();
    if (to == nullptr || !to->hasRoom()) {
        return false;
    }
    std::string problem;
    if (to->publish(notice, now, &problem)) {
        return true;
    }
    if (!problem.empty()) {
        tellOnce(EventId::BrokerRefused, fmt::format("{} cannot be published: {}", notice.topic, problem), now);
    }
    return !problem.empty();
}

// A broker that will never take it is not offered it again.
void BrokerDoor::Clerk::dropUnsendable(std::int64_t number, const std::string& reason, Time now) {
    const char* what =
        outbox_->isGapRecord(number) ? "a gap record waits for another connection" : "a message of values is dropped";
    tellOnce(EventId::BrokerRefused, fmt::format("{}: {}: {}", client_->server().text(), what, reason), now);
    outbox_->drop(number, givenAtMs_.at(number), reason.substr(0, reason.find(';')));
    givenAtMs_.erase(number);
}

// As long as the store would keep it, counted from when it is sent: the broker may hold it for somebody who is away, and how
// old it is by the clock of the wall says little, which may have been set since.
std::uint32_t BrokerDoor::Clerk::expirySeconds() const {
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(settings_.keep.age.count() / 1000, 1, UINT32_MAX));
}

std::string BrokerDoor::Clerk::statusText(DoorState state, std::optional<std::int64_t> sinceUtcMs) const {
    const bool isOfPlc = state == DoorState::PlcAway || state == DoorState::OtherProgram;
    return broker::statusJson({plant_.name(), state, sinceUtcMs, session_, isOfPlc ? stateText_ : ""});
}

std::string BrokerDoor::Clerk::infoText() const {
    return broker::infoJson({plant_.name(), parts_.build, plant_.fingerprint(), settingsHash_, tags_.numbers.size(),
                             settings_.format, settings_.batch, startedUtcMs_, session_});
}

// What is held goes to the disk first: whoever has no patience takes nothing away. A broker that has not taken the last status
// is left as by a kill: it tells the will then, and whoever listens is not left with a status from before.
void BrokerDoor::Clerk::sayFarewell() {
    outbox_->flush(plant_.now());
    if (client_->isConnected() && !isFarewellTaken()) {
        client_->giveUp(plant_.now());
    }
    client_->disconnect();
    outbox_->setConnected(false, plant_.now());
    outbox_->flush(plant_.now(), true);
    publishFigures();
}

// Waits for acknowledgements, of the farewell and of what is on its way before it. REQUIRES: there is a connection
bool BrokerDoor::Clerk::isFarewellTaken() {
    std::string problem;
    client_->connection()->publish(
        {topic("status"), statusText(DoorState::Ended, utcNowMs()), true, std::nullopt, kFarewellNumber}, plant_.now(),
        &problem);
    bool isTaken = false;
    const Time patience = plant_.now() + parts_.farewell;
    std::vector<pollfd> waits;
    while (client_->isConnected() && client_->connection()->inFlight() > 0 && plant_.now() < patience) {
        waitUntil(std::min(patience, plant_.now() + kLook), &waits);
        client_->work(waits, plant_.now());
        for (const MqttEvent& event : client_->takeEvents()) {
            if (event.kind == MqttEvent::Kind::Acknowledged) {
                isTaken = isTaken || event.number == kFarewellNumber;
                take(event, plant_.now());
            }
        }
    }
    return isTaken;
}

void BrokerDoor::Clerk::publishFigures() {
    const broker::OutboxStatus held = outbox_->status();
    const std::lock_guard<std::mutex> lock(mutex_);
    figures_.isConnected = client_->isConnected();
    figures_.published = published_;
    figures_.acknowledged = acknowledged_;
    figures_.dropped = held.dropped;
    figures_.reconnects = client_->reconnects();
    figures_.backlogMessages = held.backlog;
    figures_.backlogBytes = held.memoryBytes + held.storeBytes;
}

BrokerFigures BrokerDoor::Clerk::figures() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return figures_;
}

// ---- BrokerDoor

std::unique_ptr<BrokerDoor> BrokerDoor::open(Parts parts, Failure* failure) {
    auto clerk = std::make_unique<Clerk>(std::move(parts));
    if (!clerk->open(failure)) {
        return nullptr;
    }
    return std::unique_ptr<BrokerDoor>(new BrokerDoor(std::move(clerk)));
}

BrokerDoor::BrokerDoor(std::unique_ptr<Clerk> clerk) : clerk_(std::move(clerk)) {}

BrokerDoor::~BrokerDoor() = default;

void BrokerDoor::end() {
    clerk_->end();
}

bool BrokerDoor::reload(const BrokerSettings& settings, const std::string& settingsHash, Failure* failure) {
    return clerk_->reload(settings, settingsHash, failure);
}

BrokerFigures BrokerDoor::figures() const {
    return clerk_->figures();
}

}  // namespace ac500::gateway
