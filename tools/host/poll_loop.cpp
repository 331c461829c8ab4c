#include "tools/host/poll_loop.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "core/codes.h"

namespace ac500::host {

using events::EventId;

namespace {

// A driver with writes alone pending has nothing to send on every sixth turn (quirk 6): ask again soon.
constexpr Milliseconds kIdleTurn{5};
constexpr Milliseconds kAtOnce{0};

// A long pass is believed in parts, so that a connection that is lost now and then does not take everything with it.
constexpr Time kLongestWindow = std::chrono::seconds(1);

// So many times the slowest reply: a PLC that is out of step may still be at the request before the last.
constexpr int kRepliesPerLook = 2;

// A driver that gives up nothing in so many turns never will.
constexpr int kMostTurnsToGiveUp = 10000;

Milliseconds roundUp(Time time) {
    return std::chrono::ceil<Milliseconds>(std::max(time, Time(0)));
}

FailureKind kindOfFailure(Service service) {
    return wire::isHandshake(service) ? FailureKind::Handshake : FailureKind::Request;
}

std::string describe(const RequestFrame& request) {
    if (wire::isHandshake(request.service) || request.items.empty()) {
        return fmt::format("{} request", wire::serviceName(request.service));
    }
    const ByteRun& first = request.items.front();
    return fmt::format("{} of {} item(s), the first in area {} at {}, {} bytes", wire::serviceName(request.service),
                       request.items.size(), first.area, first.address, first.size);
}

Failure failureOf(const RequestFrame& request, const std::string& what) {
    return {kindOfFailure(request.service), describe(request) + ": " + what};
}

Failure refusedByDriver(const RequestFrame& request, const QByteArray& reply) {
    return failureOf(request, fmt::format("the driver refused the reply of {} bytes", reply.size()));
}

RequestKind kindOf(const RW_VAR& result) {
    if (result.writeFlag != 0) {
        return RequestKind::Write;
    }
    return VariableId{result.hostId, result.hostSubId} == kCyclicReadId ? RequestKind::CyclicRead
                                                                        : RequestKind::OnceRead;
}

const char* requestKindName(RequestKind kind) {
    switch (kind) {
        case RequestKind::CyclicRead:
            return "cyclic read";
        case RequestKind::OnceRead:
            return "one-shot read";
        case RequestKind::Write:
            return "write";
    }
    return "request";
}

LatencyKind latencyKindOf(const RequestFrame& request, VariableId first) {
    switch (request.service) {
        case Service::Hello:
            return LatencyKind::FirstHandshake;
        case Service::Symbols:
            return LatencyKind::SecondHandshake;
        case Service::Write:
            return LatencyKind::Write;
        case Service::Read:
            break;
    }
    return first == kCyclicReadId ? LatencyKind::CyclicRead : LatencyKind::OnceRead;
}

// What the status of DataCom's result means to the loop.
enum class DriverAnswer {
    Accepted,
    SendAgain,          // it was bad; the same frame will be offered again
    HandshakeRejected,  // too small; the driver will start the handshake again
    GivenUp,            // bad once more than it tolerates: the driver has abandoned the request
};

DriverAnswer answerOf(const RW_VAR& result) {
    if (isAccepted(result.status)) {
        return DriverAnswer::Accepted;
    }
    if (result.status == kStatusPending) {
        return DriverAnswer::SendAgain;
    }
    return result.status == kStatusHandshakeRejected ? DriverAnswer::HandshakeRejected : DriverAnswer::GivenUp;
}

}  // namespace

const char* loopStateName(LoopState state) {
    switch (state) {
        case LoopState::Disconnected:
            return "disconnected";
        case LoopState::Connecting:
            return "connecting";
        case LoopState::Exchanging:
            return "exchanging";
        case LoopState::GivingUp:
            return "giving up";
        case LoopState::BackingOff:
            return "backing off";
    }
    return "?";
}

PollLoop::PollLoop(const Parts& parts, const LoopSettings& settings)
    : driver_(parts.driver),
      reports_(parts.reports),
      transport_(parts.transport),
      clock_(parts.clock),
      listener_(parts.listener),
      settings_(settings),
      pacer_(settings.cycle),
      nextBackOff_(settings.firstBackOff) {}

Milliseconds PollLoop::step() {
    switch (state_) {
        case LoopState::Disconnected:
            return startConnecting();
        case LoopState::Connecting:
            return continueConnecting();
        case LoopState::Exchanging:
            return exchange_ ? receiveReply() : sendNext();
        case LoopState::GivingUp:
            return giveUpOnce();
        case LoopState::BackingOff:
            return waitForBackOff();
    }
    return kAtOnce;
}

bool PollLoop::takesWork() const {
    return state_ == LoopState::Exchanging && (link_ == Link::SessionOpen || head_ == Head::None) && !lookIsDue();
}

// ---------------------------------------------------------------------------------------------------------------------
// Connecting
// ---------------------------------------------------------------------------------------------------------------------

Milliseconds PollLoop::startConnecting() {
    transport_.connect(settings_.plc);
    connectDeadline_ = clock_.now() + settings_.connectTimeout;
    state_ = LoopState::Connecting;
    return kAtOnce;
}

Milliseconds PollLoop::continueConnecting() {
    const ConnectResult result = transport_.waitConnected(settings_.slice);
    if (result.status == ConnectStatus::Connected) {
        assembler_.clear();
        // A session of the last connection, half of one, or one of an earlier user of the library.
        link_ = Link::SessionStale;
        // What the driver had when it was last asked is long ago.
        if (head_ == Head::None) {
            head_ = Head::Unsent;
        }
        ++statistics_.connections;
        state_ = LoopState::Exchanging;
        listener_.happened(EventId::LinkConnected, "connected to " + settings_.plc.text());
    } else if (result.status == ConnectStatus::Failed) {
        notConnected(fmt::format("no connection to {}: {}; is the PLC on, and are address and port right?",
                                 settings_.plc.text(), result.reason));
    } else if (clock_.now() >= connectDeadline_) {
        notConnected(fmt::format("no connection to {} within {} ms; is the PLC on, and is it reachable?",
                                 settings_.plc.text(), settings_.connectTimeout.count()));
    }
    return kAtOnce;
}

void PollLoop::notConnected(const std::string& what) {
    const Failure reason{FailureKind::Tcp, what};
    fail(EventId::LinkUnreachable, reason);
    closeConnection(reason);
    backOff();
}

void PollLoop::backOff() {
    retryAt_ = clock_.now() + nextBackOff_;
    nextBackOff_ = std::min(2 * nextBackOff_, settings_.longestBackOff);
    state_ = LoopState::BackingOff;
}

Milliseconds PollLoop::waitForBackOff() {
    if (clock_.now() < retryAt_) {
        return roundUp(retryAt_ - clock_.now());
    }
    state_ = isConnected() ? LoopState::Exchanging : LoopState::Disconnected;
    return kAtOnce;
}

// ---------------------------------------------------------------------------------------------------------------------
// Sending
// ---------------------------------------------------------------------------------------------------------------------

Milliseconds PollLoop::sendNext() {
    if (lookIsDue()) {
        return look();
    }
    if (mustWaitForPass()) {
        return waitForPass();
    }
    const std::optional<Offer> offer = nextOffer();
    if (!offer) {
        head_ = Head::None;
        return nothingToSend();
    }
    if (head_ == Head::None) {
        head_ = Head::Unsent;
    }
    if (link_ == Link::SessionStale && offer->request.service != Service::Hello) {
        startGivingUp({FailureKind::Request, "the session with the PLC ended with the earlier connection"}, true);
        return kAtOnce;
    }
    if (link_ == Link::SessionStale) {
        link_ = Link::NoSession;
    }
    if (!streamIsQuiet()) {
        return kAtOnce;
    }
    if (offer->request.service == Service::Write) {
        const Failure reason = listener_.whyNotToSend(offer->request, head_ == Head::Failed);
        if (reason.occurred()) {
            startGivingUp(reason);
            isHeldBack_ = true;
            return kAtOnce;
        }
    }
    sendRequest(offer->frame, offer->request);
    return kAtOnce;
}

std::optional<PollLoop::Offer> PollLoop::nextOffer() {
    Protocol* frame = driver_.nextRequest();
    if (frame == nullptr) {
        return std::nullopt;
    }
    Offer offer{frame, parseRequest(frame->frame)};
    if (offer.request.service == Service::Write) {
        listener_.writeOffered(offer.request, {frame->var.hostId, frame->var.hostSubId});
    }
    return offer;
}

Milliseconds PollLoop::nothingToSend() {
    return streamIsQuiet() ? kIdleTurn : kAtOnce;
}

void PollLoop::sendRequest(Protocol* frame, const RequestFrame& request) {
    const Time now = clock_.now();
    const VariableId first{frame->var.hostId, frame->var.hostSubId};
    if (first == kCyclicReadId) {
        pacer_.readSent(now);
    }
    statistics_.retries += head_ == Head::Failed ? 1 : 0;
    refusals_ = head_ == Head::Failed ? refusals_ : 0;
    refusal_.reset();
    head_ = Head::Sent;
    exchange_ = Exchange{frame, request, latencyKindOf(request, first), now, now + settings_.replyTimeout};
    if (!transport_.send(frame->frame)) {
        connectionLost(EventId::LinkLost, failureOf(request, "the connection was lost while it was sent"));
        return;
    }
    lastSent_ = clock_.now();
    ++statistics_.framesSent;
    statistics_.bytesSent += frame->frame.size();
}

// Nothing may arrive while no request is open: whatever it is, the next reply could not be told from it.
bool PollLoop::streamIsQuiet() {
    if (!settings_.guardValues) {
        return true;
    }
    const ReceiveResult result = transport_.receive(kAtOnce);
    if (result.status == ReceiveStatus::TimedOut) {
        return true;
    }
    if (result.status == ReceiveStatus::Data) {
        statistics_.bytesReceived += result.bytes.size();
        ++statistics_.badReplies;
        connectionLost(
            EventId::ReplyUnasked,
            {FailureKind::Request,
             fmt::format("{} bytes arrived that nobody asked for; the connection is dropped", result.bytes.size())});
    } else {
        connectionLost(EventId::LinkLost, connectionEnded(result.reason));
    }
    return false;
}

// A PLC whose connections are all taken may accept one more and close it, before or after the first request came.
Failure PollLoop::connectionEnded(const std::string& reason) const {
    if (link_ == Link::SessionOpen) {
        return {FailureKind::Tcp, "the connection was lost: " + reason};
    }
    return {FailureKind::Handshake,
            fmt::format("the connection was closed before a session was opened: {}; are all connections of {} taken?",
                        reason, settings_.plc.text())};
}

// The driver offers the next cyclic read whenever it is asked, so between two passes it is not asked.
bool PollLoop::mustWaitForPass() const {
    return link_ == Link::SessionOpen && head_ != Head::Failed && pacer_.untilNext(clock_.now()) > Time(0) &&
           !listener_.hasUrgentWork();
}

Milliseconds PollLoop::waitForPass() {
    if (!streamIsQuiet()) {
        return kAtOnce;
    }
    return std::min(roundUp(pacer_.untilNext(clock_.now())), settings_.slice);
}

// ---------------------------------------------------------------------------------------------------------------------
// The quiet look
// ---------------------------------------------------------------------------------------------------------------------

bool PollLoop::lookIsDue() const {
    return windowBegan_ && (!settings_.guardValues || mustLook_ || pacer_.isAnswered() ||
                            clock_.now() >= *windowBegan_ + kLongestWindow);
}

// Begins when the last reply was accepted, and nothing is sent until it is over. What counts is what had arrived at its
// end or later, so the time is taken first.
Milliseconds PollLoop::look() {
    look_ = std::max(look_, lookLength());
    const Time left = lastSent_ + look_ - clock_.now();
    if (!streamIsQuiet()) {
        return kAtOnce;
    }
    if (left > Time(0)) {
        return std::min(roundUp(left), settings_.slice);
    }
    lineFoundQuiet();
    return kAtOnce;
}

// From the last request on.
Time PollLoop::lookLength() const {
    if (!settings_.guardValues) {
        return Time(0);
    }
    const Time wanted = std::max<Time>(kRepliesPerLook * replyTimes_.slowest(clock_.now()), settings_.shortestLook);
    return std::min<Time>(wanted, settings_.replyTimeout);
}

void PollLoop::lineFoundQuiet() {
    windowBegan_.reset();
    mustLook_ = false;
    look_ = Time(0);
    if (const std::optional<Time> duration = pacer_.lineQuiet(clock_.now())) {
        statistics_.addCycle(*duration);
        listener_.measured(LatencyKind::Pass, *duration);
    }
    if (interrupted_) {
        const double seconds = static_cast<double>((clock_.now() - *interrupted_).count()) / 1e6;
        listener_.happened(EventId::LinkRestored, fmt::format("values come in again, after {:.1f} s", seconds));
        interrupted_.reset();
    }
    wasInStep_ = true;
    listener_.lineInStep();
}

// ---------------------------------------------------------------------------------------------------------------------
// Receiving
// ---------------------------------------------------------------------------------------------------------------------

Milliseconds PollLoop::receiveReply() {
    if (assembler_.isComplete()) {
        replyArrived();
        return kAtOnce;
    }
    const Milliseconds left = roundUp(exchange_->deadline - clock_.now());
    const ReceiveResult result = transport_.receive(std::min(left, settings_.slice));
    if (result.status == ReceiveStatus::Closed) {
        connectionLost(EventId::LinkLost,
                       failureOf(exchange_->request, "the connection was lost before the reply: " + result.reason));
        return kAtOnce;
    }
    assembler_.append(result.bytes);
    statistics_.bytesReceived += result.bytes.size();
    if (assembler_.isComplete()) {
        replyArrived();
    } else if (!assembler_.mayBeReply()) {
        ++statistics_.badReplies;
        replyUnusable(EventId::ReplyBad,
                      failureOf(exchange_->request,
                                fmt::format("the reply begins with {} instead of bbbb; is {} a PLC?",
                                            assembler_.reply().left(2).toHex().constData(), settings_.plc.text())),
                      false);
    } else if (clock_.now() >= exchange_->deadline) {
        replyTimedOut();
    }
    return kAtOnce;
}

void PollLoop::replyArrived() {
    const Time now = clock_.now();
    replyTimes_.add(now, now - exchange_->sent);
    const RequestFrame request = exchange_->request;
    const int surplus = assembler_.surplus();
    const QByteArray reply = assembler_.takeReply();
    if (settings_.guardValues && surplus > 0) {
        ++statistics_.badReplies;
        replyUnusable(EventId::ReplyBad, failureOf(request, fmt::format("{} bytes more than a reply arrived", surplus)),
                      false);
        return;
    }
    const ReplyVerdict verdict = judgeReply(request, reply);
    if (verdict.verdict == Verdict::Good || verdict.verdict == Verdict::Refused) {
        listener_.measured(exchange_->kind, now - exchange_->sent);
    }
    if (verdict.verdict == Verdict::Good) {
        handOver(request, reply);
        return;
    }
    const Failure reason = failureOf(request, verdict.text);
    if (verdict.verdict == Verdict::Refused) {
        replyRefuses(reason, verdict, reply);
        return;
    }
    ++statistics_.badReplies;
    replyUnusable(EventId::ReplyBad, reason, keepsConnection(verdict.verdict));
}

// A refusal that may pass counts as no reply, once: that leaves the frame unmeasured for the next one. Any other, and
// the second, is the end of the request.
void PollLoop::replyRefuses(const Failure& reason, const ReplyVerdict& verdict, const QByteArray& reply) {
    ++statistics_.refusals;
    ++refusals_;
    refusal_ = reason;
    isRefusalInDoubt_ = mayPass(verdict.statusWord);
    if (mayPass(verdict.statusWord) && refusals_ == 1) {
        replyUnusable(EventId::ReplyRefused, reason, true);
    } else {
        fail(EventId::ReplyRefused, reason);
        giveUpRefused(reason, reply);
        exchange_.reset();
        backOff();
    }
}

void PollLoop::replyTimedOut() {
    ++statistics_.timeouts;
    const std::string came = assembler_.received() == 0 ? "no reply"
                             : assembler_.announced() < 0
                                 ? fmt::format("{} bytes of a reply", assembler_.received())
                                 : fmt::format("{} of {} bytes", assembler_.received(), assembler_.announced());
    replyUnusable(EventId::ReplyTimeout,
                  failureOf(exchange_->request, fmt::format("{} within {} ms", came, settings_.replyTimeout.count())),
                  false);
}

// An empty reply counts as a failure and leaves the frame unmeasured, so that a good reply to the next attempt is taken
// whatever its length (quirk 9).
void PollLoop::replyUnusable(EventId event, const Failure& reason, bool keepConnection) {
    if (settings_.guardValues && !keepConnection) {
        connectionLost(event, {reason.kind, reason.text + "; the connection is dropped"});
        return;
    }
    fail(event, reason);
    exchange_.reset();
    if (feedEmptyReply(reason)) {
        backOff();
    }
}

void PollLoop::handOver(const RequestFrame& request, QByteArray reply) {
    if (exchange_->frame->replyLength == kNotMeasured) {
        driver_.takeReply(&reply, reply.size());
    }
    exchange_.reset();
    const RW_VAR& result = *driver_.takeReply(&reply, reply.size());
    switch (answerOf(result)) {
        case DriverAnswer::Accepted:
            return accepted(request, reply);
        case DriverAnswer::HandshakeRejected:
            return handshakeRejected(request, reply);
        case DriverAnswer::SendAgain:
            head_ = Head::Failed;
            return fail(EventId::ReplyRejected, refusedByDriver(request, reply));
        case DriverAnswer::GivenUp:
            fail(EventId::ReplyRejected, refusedByDriver(request, reply));
            abandoned(result, refusedByDriver(request, reply));
            return backOff();
    }
}

void PollLoop::accepted(const RequestFrame& request, const QByteArray& reply) {
    head_ = Head::Unsent;
    ++statistics_.framesAccepted;
    if (request.service == Service::Symbols) {
        link_ = Link::SessionOpen;
        ++statistics_.handshakes;
        listener_.happened(EventId::SessionOpened, "session opened");
    }
    if (wire::isHandshake(request.service)) {
        listener_.handshakeAnswered(request, reply);
        return;
    }
    nextBackOff_ = settings_.firstBackOff;
    windowBegan_ = windowBegan_.value_or(clock_.now());
    listener_.replyAccepted(request, reply);
    const std::vector<VariableReport> reports = reports_.take();
    for (const VariableReport& report : reports) {
        listener_.variableReported(report);
    }
    // Whoever gave the orders is not to wait for the end of a long pass.
    mustLook_ = mustLook_ || (!reports.empty() && !listener_.hasUrgentWork());
    if (request.service == Service::Read) {
        pacer_.readsAnswered(static_cast<int>(request.items.size()));
    }
}

void PollLoop::handshakeRejected(const RequestFrame& request, const QByteArray& reply) {
    head_ = Head::Unsent;
    ++statistics_.badReplies;
    const int least = request.service == Service::Hello ? wire::kHelloReplyBytes : wire::kSymbolsReplyBytes;
    const Failure reason =
        failureOf(request, fmt::format("the reply has {} bytes, at least {} were expected; is {} a PLC of this kind?",
                                       reply.size(), least, settings_.plc.text()));
    fail(EventId::SessionRejected, reason);
    closeConnection(reason);
    backOff();
}

// ---------------------------------------------------------------------------------------------------------------------
// Losing the connection, giving up
// ---------------------------------------------------------------------------------------------------------------------

void PollLoop::connectionLost(EventId event, const Failure& reason) {
    fail(event, reason);
    const bool mayHaveSession = link_ == Link::SessionOpen || link_ == Link::SessionStale;
    closeConnection(reason);
    if (exchange_ || mayHaveSession) {
        startGivingUp(reason);
    } else {
        backOff();
    }
}

// The next connection begins empty, and with that in step.
void PollLoop::closeConnection(const Failure& reason) {
    transport_.close();
    if (isConnected()) {
        listener_.happened(EventId::LinkClosed, fmt::format("the connection to {} is closed", settings_.plc.text()));
    }
    link_ = Link::Down;
    valuesInterrupted();
    pacer_.passAbandoned();
    mustLook_ = false;
    look_ = Time(0);
    if (windowBegan_) {
        windowBegan_.reset();
        listener_.lineOutOfStep(reason);
    }
}

void PollLoop::valuesInterrupted() {
    if (wasInStep_) {
        interrupted_ = clock_.now();
        wasInStep_ = false;
    }
}

void PollLoop::startGivingUp(const Failure& reason, bool isForNewSession) {
    giveUpReason_ = reason;
    isGivingUpForNewSession_ = isForNewSession;
    isHeldBack_ = false;
    state_ = LoopState::GivingUp;
}

// Ends when the driver has abandoned a request, wants to open a session anyway, or has nothing to send. In the last
// case it goes on believing in its session, and the first frame on the next connection shows that (sendNext).
Milliseconds PollLoop::giveUpOnce() {
    const std::optional<Offer> offer = nextOffer();
    const bool opensSession = offer && offer->request.service == Service::Hello;
    // The request in flight failed: that counts, whatever the driver offers.
    const bool wasInFlight = exchange_.has_value();
    exchange_.reset();
    if (offer && (wasInFlight || !opensSession)) {
        if (!feedEmptyReply(giveUpReason_)) {
            return kAtOnce;
        }
    } else if (opensSession && isConnected()) {
        link_ = Link::NoSession;
    }
    if (isConnected()) {
        state_ = LoopState::Exchanging;
    } else {
        backOff();
    }
    return kAtOnce;
}

// True when the driver has abandoned the request.
bool PollLoop::feedEmptyReply(const Failure& reason) {
    QByteArray nothing;
    const RW_VAR& result = *driver_.takeReply(&nothing, 0);
    const DriverAnswer answer = answerOf(result);
    if (answer == DriverAnswer::GivenUp) {
        abandoned(result, reason);
    } else if (answer == DriverAnswer::SendAgain && head_ == Head::Sent) {
        head_ = Head::Failed;
    }
    return answer == DriverAnswer::GivenUp;
}

// The driver retries whatever it is told is bad, until it has had enough: so it is told again, and nothing is sent. It
// then says itself that the request was refused (status 11 to 22), which "no reply" would not let it do.
void PollLoop::giveUpRefused(const Failure& reason, QByteArray reply) {
    if (exchange_->frame->replyLength == kNotMeasured) {
        driver_.takeReply(&reply, reply.size());
    }
    for (int turn = 0; turn < kMostTurnsToGiveUp; ++turn) {
        const RW_VAR& result = *driver_.takeReply(&reply, reply.size());
        if (answerOf(result) == DriverAnswer::GivenUp) {
            abandoned(result, reason);
            return;
        }
    }
}

void PollLoop::abandoned(const RW_VAR& result, const Failure& reason) {
    ++statistics_.abandoned;
    link_ = isConnected() ? Link::NoSession : Link::Down;
    pacer_.passAbandoned();
    // A PLC that refuses one request for ever must not keep all others from being believed.
    mustLook_ = isConnected() && windowBegan_.has_value();
    const bool wasSent = head_ == Head::Sent || head_ == Head::Failed;
    head_ = Head::Unsent;
    const AbandonedRequest request{kindOf(result),
                                   result.status,
                                   wasSent,
                                   refusal_.has_value(),
                                   refusal_.has_value() && isRefusalInDoubt_,
                                   refusal_.value_or(reason),
                                   reports_.take(),
                                   state_ == LoopState::GivingUp && isGivingUpForNewSession_ && !wasSent,
                                   state_ == LoopState::GivingUp && isHeldBack_ && !wasSent};
    refusal_.reset();
    valuesInterrupted();
    listener_.happened(EventId::RequestGivenUp, fmt::format("the driver gave up a {} (status {})",
                                                            requestKindName(request.kind), request.status));
    listener_.requestAbandoned(request);
}

void PollLoop::giveUpUrgentWork(const Failure& reason) {
    for (int turn = 0; listener_.hasUrgentWork() && turn < kMostTurnsToGiveUp; ++turn) {
        if (nextOffer()) {
            feedEmptyReply(reason);
        }
    }
}

void PollLoop::shutDown() {
    const Failure reason{FailureKind::Request, "the session was ended"};
    listener_.happened(EventId::SessionEnded, reason.text);
    closeConnection(reason);
    exchange_.reset();
    state_ = LoopState::Disconnected;
    giveUpUrgentWork(reason);
}

void PollLoop::fail(EventId event, const Failure& failure) {
    listener_.failed(event, failure);
}

}  // namespace ac500::host
