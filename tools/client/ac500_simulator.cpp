// The C interface of the simulator, made as that of the client is.
#include "tools/client/ac500_simulator.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <pthread.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tools/client/border.h"
#include "tools/client/exit_guard.h"
#include "tools/client/handle_table.h"
#include "tools/simulator/embedded_simulator.h"
#include "tools/simulator/reserved_variables.h"

namespace ac500::client {
namespace {

using sim::EmbeddedSimulator;
using sim::Fault;
using sim::FaultKind;
using sim::FaultRule;
using symbol_file::Element;
using symbol_file::SymbolFile;

constexpr char kNoFault[] = "none";

// A simulator, and the names of its variables.
class RunningSimulator {
public:
    RunningSimulator(const SymbolFile& file, const sim::PlcSettings& settings)
        : file_(sim::withReservedVariables(file)),
          simulator_(file, settings),
          address_("127.0.0.1:" + std::to_string(simulator_.port())) {}

    // In a child of a fork() the thread that is the PLC is not there.
    bool isOfThisProcess() const { return process_ == ::getpid(); }
    EmbeddedSimulator& simulator() { return simulator_; }
    const std::string& address() const { return address_; }

    std::optional<Element> find(const std::string& name, Result* failure) const {
        std::string error;
        std::optional<Element> element = symbol_file::findElement(file_, name, &error);
        if (!element) {
            *failure = {AC500_NAME, error};
        }
        return element;
    }

    std::unique_ptr<ExitGuard> exitGuard;

private:
    const pid_t process_ = ::getpid();
    const SymbolFile file_;
    EmbeddedSimulator simulator_;
    const std::string address_;
};

using Simulators = HandleTable<ac500_simulator, RunningSimulator>;

Simulators& simulators();

// A child that is forked gets a table that nobody is at work in.
Simulators* makeSimulators() {
    auto made = std::make_unique<Simulators>();
    const auto lock = [] { simulators().lock(); };
    const auto unlock = [] { simulators().unlock(); };
    if (::pthread_atfork(lock, unlock, unlock) != 0) {
        throw std::bad_alloc();
    }
    return made.release();
}

// Never destroyed: threads of the program may be calling while it ends.
Simulators& simulators() {
    static Simulators* const all = makeSimulators();
    return *all;
}

Result startedBeforeFork() {
    return usage("this simulator was started before a fork(): the child cannot use it, but by its address");
}

template <typename Work>
ac500_result withSimulator(ac500_simulator* handle, Work work) {
    return guarded([&]() -> Result {
        const std::shared_ptr<RunningSimulator> running = simulators().find(handle);
        return running == nullptr           ? wrongHandle("simulator")
               : running->isOfThisProcess() ? work(*running)
                                            : startedBeforeFork();
    });
}

// `to`: whatever else may not be null.
template <typename Work>
ac500_result withElement(ac500_simulator* handle, const char* name, const void* to, Work work) {
    return withSimulator(handle, [&](RunningSimulator& running) -> Result {
        if (name == nullptr || to == nullptr) {
            return nullPointer("the name and the value");
        }
        Result failure;
        const std::optional<Element> element = running.find(name, &failure);
        return element ? work(running.simulator(), *element) : failure;
    });
}

Result parseFaults(const ac500_simulator_settings& settings, std::vector<FaultRule>* rules) {
    if (settings.faults == nullptr && settings.fault_count > 0) {
        return nullPointer("the list of faults");
    }
    for (std::size_t i = 0; i < settings.fault_count; ++i) {
        if (settings.faults[i] == nullptr) {
            return nullPointer("a fault");
        }
        std::string error;
        const std::optional<FaultRule> rule = sim::parseFaultRule(settings.faults[i], &error);
        if (!rule) {
            return usage(error);
        }
        rules->push_back(*rule);
    }
    return {};
}

ac500_simulator_settings defaultSimulatorSettings() {
    ac500_simulator_settings settings{};
    settings.struct_size = sizeof settings;
    settings.seed = 1;
    return settings;
}

Result start(const char* symbols, const ac500_simulator_settings* given, ac500_simulator** to) {
    if (symbols == nullptr || to == nullptr) {
        return nullPointer("the symbol file and where the simulator is to go");
    }
    ac500_simulator_settings known = defaultSimulatorSettings();
    if (given != nullptr) {
        if (given->struct_size < sizeof known) {
            return usage("the settings are not filled in: ac500_simulator_settings_init does it");
        }
        std::memcpy(&known, given, sizeof known);
    }
    sim::PlcSettings settings;
    settings.seed = known.seed;
    if (Result result = parseFaults(known, &settings.faults); !result.isOk()) {
        return result;
    }
    symbol_file::LoadedSymbolFile loaded = symbol_file::loadSymbolFile(symbols);
    if (!loaded.problems.empty()) {
        std::vector<std::string> texts;
        for (const symbol_file::Problem& problem : loaded.problems) {
            texts.push_back(describe(symbols, problem));
        }
        return {AC500_FILE, fmt::format("{}", fmt::join(texts, "\n"))};
    }
    std::shared_ptr<RunningSimulator> running;
    try {
        running = std::make_shared<RunningSimulator>(loaded.file, settings);
    } catch (const std::runtime_error& error) {
        return {AC500_FILE, error.what()};
    }
    running->exitGuard = std::make_unique<ExitGuard>([weak = std::weak_ptr<RunningSimulator>(running)] {
        const std::shared_ptr<RunningSimulator> left = weak.lock();
        if (left != nullptr && left->isOfThisProcess()) {
            left->simulator().stop();
        }
    });
    *to = simulators().add(std::move(running));
    return {};
}

Result inject(EmbeddedSimulator& simulator, const std::string& text) {
    if (text == kNoFault) {
        simulator.inject({FaultKind::None}, 0);
        return {};
    }
    std::string error;
    const std::optional<FaultRule> rule = sim::parseFaultRule(text, &error);
    if (!rule) {
        return usage(error);
    }
    if (rule->trigger != FaultRule::Trigger::Always) {
        return usage(text + ": the next replies are meant; at, every and rate go with ac500_simulator_settings");
    }
    simulator.inject(rule->fault, rule->count == 0 ? 1 : rule->count, rule->service);
    return {};
}

}  // namespace
}  // namespace ac500::client

using namespace ac500::client;
using ac500::sim::EmbeddedSimulator;
using ac500::symbol_file::Element;

extern "C" {

const char* ac500_simulator_last_error(void) {
    return lastError();
}

ac500_result ac500_simulator_settings_init(ac500_simulator_settings* settings, size_t size) {
    return guarded([&] { return giveRecord(defaultSimulatorSettings(), settings, size); });
}

ac500_result ac500_simulator_start(const char* symbols, const ac500_simulator_settings* settings,
                                   ac500_simulator** simulator) {
    return guarded([&] { return start(symbols, settings, simulator); });
}

ac500_result ac500_simulator_stop(ac500_simulator* simulator) {
    return guarded([&]() -> Result {
        std::shared_ptr<RunningSimulator> running = simulators().find(simulator);
        if (running != nullptr && !running->isOfThisProcess()) {
            return startedBeforeFork();
        }
        running = simulators().remove(simulator);
        if (running == nullptr) {
            return wrongHandle("simulator");
        }
        running->simulator().stop();
        return {};
    });
}

const char* ac500_simulator_address(ac500_simulator* simulator) {
    const std::shared_ptr<RunningSimulator> running = simulators().find(simulator);
    return running == nullptr ? nullptr : running->address().c_str();
}

ac500_result ac500_simulator_set_number(ac500_simulator* simulator, const char* name, double number) {
    return withElement(simulator, name, name, [&](EmbeddedSimulator& plc, const Element& element) {
        plc.writeNumber(element, number);
        return Result();
    });
}

ac500_result ac500_simulator_get_number(ac500_simulator* simulator, const char* name, double* number) {
    return withElement(simulator, name, number, [&](EmbeddedSimulator& plc, const Element& element) {
        *number = plc.readNumber(element);
        return Result();
    });
}

ac500_result ac500_simulator_set_text(ac500_simulator* simulator, const char* name, const char* text) {
    return withElement(simulator, name, text, [&](EmbeddedSimulator& plc, const Element& element) {
        return plc.writeText(element, text) ? Result()
                                            : usage(fmt::format("{}: \"{}\" is no value of its type", name, text));
    });
}

ac500_result ac500_simulator_get_text(ac500_simulator* simulator, const char* name, char* buffer, size_t size) {
    return withElement(simulator, name, buffer, [&](EmbeddedSimulator& plc, const Element& element) {
        return copyText(plc.readText(element).c_str(), buffer, size);
    });
}

ac500_result ac500_simulator_inject(ac500_simulator* simulator, const char* fault) {
    return withSimulator(simulator, [&](RunningSimulator& running) {
        return fault == nullptr ? nullPointer("the fault") : inject(running.simulator(), fault);
    });
}

ac500_result ac500_simulator_restart(ac500_simulator* simulator) {
    return withSimulator(simulator, [&](RunningSimulator& running) {
        running.simulator().restart();
        return Result();
    });
}

ac500_result ac500_simulator_drop_connections(ac500_simulator* simulator) {
    return withSimulator(simulator, [&](RunningSimulator& running) {
        running.simulator().dropConnections();
        return Result();
    });
}

ac500_result ac500_simulator_get_counters(ac500_simulator* simulator, ac500_simulator_counters* counters, size_t size) {
    return withSimulator(simulator, [&](RunningSimulator& running) {
        const ac500::sim::Counters counted = running.simulator().counters();
        ac500_simulator_counters record{};
        record.connections = counted.connections;
        record.requests = counted.requests();
        record.reads = counted.reads;
        record.writes = counted.writes;
        record.refused = counted.refused;
        record.faults = counted.faults;
        return giveRecord(record, counters, size);
    });
}

}  // extern "C"
