#include "tests/soak/report_book.h"

#include <atomic>

#include <fmt/format.h>

#include "tools/host/driver_reports.h"

namespace ac500::soak {

namespace {

using host::DriverFunctions;

// The driver's functions and callbacks carry no user pointer. Set before the session starts, so they need no lock.
std::atomic<ReportBook*> watchingBook{nullptr};
DriverFunctions realDriver;

VarDoneCallback hostVariableDone = nullptr;

quint32 onVariableDone(quint32 station, quint32 hostId, quint32 hostSubId, quint32 outcome) {
    if (static_cast<std::int32_t>(hostId) == host::kWriteHostId) {
        watchingBook.load()->reported(static_cast<std::int32_t>(hostSubId), outcome == 1);
    }
    return hostVariableDone(station, hostId, hostSubId, outcome);
}

// What DataCom answers besides giving up: send again, accepted, accepted too, handshake rejected.
bool isGivenUp(int status) {
    return status != 0 && status != 1 && status != 100 && status != 201;
}

}  // namespace

const char* fateName(Fate fate) {
    switch (fate) {
        case Fate::Unknown:
            return "never handed over";
        case Fate::Open:
            return "not reported yet";
        case Fate::Done:
            return "done";
        case Fate::Failed:
            return "failed";
        case Fate::Dropped:
            return "dropped";
    }
    return "?";
}

ReportBook::~ReportBook() {
    ReportBook* self = this;
    watchingBook.compare_exchange_strong(self, nullptr);
}

DriverFunctions ReportBook::watch(const DriverFunctions& driver) {
    watchingBook = this;
    realDriver = driver;
    DriverFunctions watched = driver;
    watched.registerCallbacks = [](VarDoneCallback variableDone, CommFailCallback communicationFailed) noexcept {
        hostVariableDone = variableDone;
        return realDriver.registerCallbacks(&onVariableDone, communicationFailed);
    };
    watched.setValue = [](QString* label, qint32 a, QString* argument, qint32 b, QByteArray* bytes, qint32 count,
                          qint32 hostId, qint32 hostSubId) noexcept {
        watchingBook.load()->handedOver(hostSubId);
        return realDriver.setValue(label, a, argument, b, bytes, count, hostId, hostSubId);
    };
    watched.addWrite = [](RW_VAR* var) noexcept {
        watchingBook.load()->handedOver(var->hostSubId);
        return realDriver.addWrite(var);
    };
    watched.takeReply = [](QByteArray* reply, int received) noexcept {
        RW_VAR* result = realDriver.takeReply(reply, received);
        if (isGivenUp(result->status) && result->writeFlag != 0) {
            watchingBook.load()->allDropped();
        }
        return result;
    };
    return watched;
}

void ReportBook::handedOver(std::int32_t serial) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto [entry, isNew] = fates_.emplace(serial, Fate::Open);
    if (isNew) {
        ++counts_.handedOver;
    } else if (entry->second != Fate::Open) {
        complaints_.push_back(
            fmt::format("write {} was handed over again after it was {}", serial, fateName(entry->second)));
    }
}

void ReportBook::reported(std::int32_t serial, bool success) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = fates_.find(serial);
    const Fate before = entry == fates_.end() ? Fate::Unknown : entry->second;
    if (before != Fate::Open) {
        complaints_.push_back(fmt::format("write {} is reported {}, but it was {} already", serial,
                                          success ? "done" : "failed", fateName(before)));
        return;
    }
    ++(success ? counts_.done : counts_.failed);
    end(serial, success ? Fate::Done : Fate::Failed);
}

void ReportBook::allDropped() {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::int32_t> open;
    for (const auto& [serial, fate] : fates_) {
        if (fate == Fate::Open) {
            open.push_back(serial);
        }
    }
    for (const std::int32_t serial : open) {
        ++counts_.dropped;
        end(serial, Fate::Dropped);
    }
}

void ReportBook::end(std::int32_t serial, Fate fate) {
    fates_[serial] = fate;
    ended_.push_back(serial);
    if (ended_.size() > kKeptEnded) {
        fates_.erase(ended_.front());
        ended_.pop_front();
    }
}

Fate ReportBook::fateOf(std::int32_t serial) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = fates_.find(serial);
    return entry == fates_.end() ? Fate::Unknown : entry->second;
}

ReportBook::Counts ReportBook::counts() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return counts_;
}

std::vector<std::string> ReportBook::takeComplaints() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(complaints_, {});
}

}  // namespace ac500::soak
