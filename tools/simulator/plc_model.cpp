#include "tools/simulator/plc_model.h"

#include <algorithm>
#include <utility>

#include "tools/simulator/reserved_variables.h"

namespace ac500::sim {

namespace {

// Streams of one seed, so that more signals do not change the session bytes and so on.
constexpr std::uint64_t kSessionStream = 0x5E55;
constexpr std::uint64_t kSignalStream = 0x516A;
constexpr std::uint64_t kFaultStream = 0xFA17;

SessionBytes drawSession(Random& random) {
    const std::uint64_t drawn = random.next();
    SessionBytes session;
    for (std::size_t i = 0; i < session.size(); ++i) {
        session[i] = static_cast<std::uint8_t>(drawn >> (8 * i));
    }
    return session;
}

// Session bytes that read the same backwards would hide a client that forgets to reverse them.
bool isPalindrome(const SessionBytes& session) {
    return session[0] == session[3] && session[1] == session[2];
}

SessionBytes nextSession(Random& random, const SessionBytes& old) {
    SessionBytes session = drawSession(random);
    while (isPalindrome(session) || session == old) {
        session = drawSession(random);
    }
    return session;
}

std::uint64_t* counterOf(Counters& counters, std::uint8_t serviceCode) {
    switch (Service{serviceCode}) {
        case Service::Hello:
            return &counters.hello;
        case Service::Symbols:
            return &counters.symbols;
        case Service::Read:
            return &counters.reads;
        case Service::Write:
            return &counters.writes;
    }
    return &counters.others;
}

std::uint8_t serviceCodeOf(const Bytes& request) {
    return request.size() > wire::kServiceAt ? wire::byteAt(request.data(), wire::kServiceAt) : 0;
}

}  // namespace

PlcModel::PlcModel(const SymbolFile& file, PlcSettings settings)
    : signalSeed_(settings.seed ^ kSignalStream),
      tellsValues_(settings.tellsValues),
      sessionRandom_(settings.seed ^ kSessionStream),
      faults_(std::move(settings.faults), settings.seed ^ kFaultStream),
      signals_({}, 0),
      server_(memory_) {
    server_.setMostReplyBytes(settings.mostReplyBytes);
    programs_.emplace_back(file);
    identity_.session = nextSession(sessionRandom_, SessionBytes{});
    load(1);
}

int PlcModel::addProgram(const SymbolFile& file, std::vector<Problem>* problems) {
    PlcProgram program(file);
    *problems = program.problems();
    if (!problems->empty()) {
        return 0;
    }
    programs_.push_back(std::move(program));
    server_.setPrograms(static_cast<int>(programs_.size()));
    return static_cast<int>(programs_.size());
}

// The simulator's own area is no part of any program.
void PlcModel::load(int number) {
    const ByteRun ownArea{kReservedArea, 0, reserved::kAreaBytes};
    const Bytes own = memory_.contains(ownArea) ? memory_.read(ownArea) : Bytes();
    loaded_ = number;
    memory_ = program().initialMemory();
    memory_.write(kReservedArea, 0, own);
    Bytes shownNumber(2, '\0');
    wire::putU16(shownNumber.data(), static_cast<std::uint16_t>(number));
    memory_.write(kReservedArea, reserved::kProgram, shownNumber);
    text_ = tellsValues_ ? std::make_unique<const MemoryText>(program().leaves()) : nullptr;
    signals_ = SignalGenerator(program().signalList(), signalSeed_);
    server_.setBits(program().bits());
    identity_.program = program().fingerprint();
    advance(nowMs_);
}

void PlcModel::advance(std::int64_t nowMs) {
    nowMs_ = nowMs;
    signals_.advance(nowMs, memory_);
    updateReservedVariables();
}

Bytes PlcModel::answer(const Bytes& request) {
    return answerAndCount(request).bytes;
}

Exchange PlcModel::serve(const Bytes& request) {
    Reply reply = answerAndCount(request);
    Exchange exchange;
    exchange.serviceCode = serviceCodeOf(request);
    exchange.status = reply.status;
    exchange.items = static_cast<std::uint32_t>(reply.touched.size());
    if (text_ != nullptr) {
        exchange.values = text_->describe(memory_, reply.touched);
    }
    exchange.replyBytes = reply.bytes.size();
    if (reply.status == Status::Good && !reply.armed) {
        exchange.fault = faults_.next(Service{exchange.serviceCode});
    }
    if (reply.armed) {
        faults_.arm(*reply.armed);
    }
    if (exchange.fault.kind != FaultKind::None) {
        ++counters_.faults;
        ++counters_.faultsByKind[static_cast<std::size_t>(exchange.fault.kind)];
    }
    if (exchange.fault.kind == FaultKind::Restart) {
        restart();
    }
    exchange.delivery = planDelivery(exchange.fault, reply.bytes);
    if (reply.program) {
        load(*reply.program);
        exchange.program = *reply.program;
    }
    updateReservedVariables();
    return exchange;
}

Exchange PlcModel::refuse(Status status) {
    ++counters_.others;
    ++counters_.refused;
    updateReservedVariables();
    Exchange exchange;
    exchange.status = status;
    exchange.delivery.steps.push_back({0, makeRefusal(status), After::Close});
    return exchange;
}

void PlcModel::arm(const FaultSchedule::Armed& armed) {
    faults_.arm(armed);
    updateReservedVariables();
}

void PlcModel::restart() {
    identity_.session = nextSession(sessionRandom_, identity_.session);
    ++identity_.bootCount;
    updateReservedVariables();
}

void PlcModel::connectionOpened() {
    ++counters_.connections;
    updateReservedVariables();
}

// The counters count the request before it is answered, so that a read of Sim.requests sees itself.
Reply PlcModel::answerAndCount(const Bytes& request) {
    ++*counterOf(counters_, serviceCodeOf(request));
    updateReservedVariables();
    Reply reply = server_.answer(request, identity_);
    if (reply.status != Status::Good) {
        ++counters_.refused;
    }
    return reply;
}

// Counters show their low 32 bits.
void PlcModel::updateReservedVariables() {
    Bytes block(reserved::kAreaBytes - reserved::kFirstReadOnly, '\0');
    const auto at = [&block](std::uint32_t offset) { return &block[offset - reserved::kFirstReadOnly]; };
    wire::putU16(at(reserved::kFaultsLeft), static_cast<std::uint16_t>(faults_.armedLeft()));
    wire::putU32(at(reserved::kFaultsDone), static_cast<std::uint32_t>(counters_.faults));
    wire::putU32(at(reserved::kBootCount), identity_.bootCount);
    wire::putU32(at(reserved::kRequests), static_cast<std::uint32_t>(counters_.requests()));
    wire::putU32(at(reserved::kRefused), static_cast<std::uint32_t>(counters_.refused));
    wire::putU32(at(reserved::kConnections), static_cast<std::uint32_t>(counters_.connections));
    wire::putU32(at(reserved::kUptimeMs), static_cast<std::uint32_t>(nowMs_));
    memory_.write(kReservedArea, reserved::kFirstReadOnly, block);
}

}  // namespace ac500::sim
