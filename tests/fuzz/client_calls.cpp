// The C interface of the client: any call in any order, with handles that live, were freed, are of another kind, null, or never
// were any. The PLC cannot be reached, so a call that asks it ends with its time limit; the driver is one that does nothing.
// Each call takes a byte for the function and what it needs behind that.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tools/client/ac500_client.h"

using namespace ac500;
using namespace ac500::fuzz;

namespace {

constexpr int kMostCalls = 40;
constexpr int kMostPlcs = 3;

constexpr char kSymbols[] = R"~({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 64}],
  "scopes": [{"name": "M", "variables": [
    {"name": "i", "type": "INT", "area": 1, "offset": 0, "unit": "m", "max": 9},
    {"name": "a", "type": "REAL", "area": 1, "offset": 0, "array": [[1, 3]]},
    {"name": "s", "type": "STRING(5)", "area": 1, "offset": 0},
    {"name": "t", "type": "TIME", "area": 1, "offset": 0}]}]})~";
constexpr const char* kNames[] = {"M.i", "M.a", "M.a[2]", "M.s", "M.t", "M.nothing", "", nullptr};

const std::string& symbolFile() {
    static const std::string path = [] {
        const std::string name = "/tmp/ac500-fuzz-client-" + std::to_string(getpid()) + ".json";
        std::ofstream(name) << kSymbols;
        std::atexit([] { std::filesystem::remove("/tmp/ac500-fuzz-client-" + std::to_string(getpid()) + ".json"); });
        return name;
    }();
    return path;
}

std::string idleDriver() {
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
    return (program.parent_path().parent_path() / "lib" / "libac500_idle_driver.so").string();
}

void takeEvent(void* user, ac500_subscription*, ac500_values* values) {
    FUZZ_CHECK(user == nullptr);
    FUZZ_CHECK(ac500_values_count(values) > 0);
}

// All calls of one input.
class Caller {
public:
    explicit Caller(FuzzInput& input) : input_(input) {}

    ~Caller() {
        for (void* handle : handles_) {
            ac500_unsubscribe(as<ac500_subscription>(handle));
            ac500_close(as<ac500_plc>(handle));
            ac500_free_tag(as<ac500_tag>(handle));
            ac500_free_tag_list(as<ac500_tag_list>(handle));
            ac500_free_values(as<ac500_values>(handle));
            ac500_free_writes(as<ac500_writes>(handle));
        }
    }

    void call() {
        const int function = input_.below(32);
        if (function < 8) {
            callPlc(function);
        } else if (function < 16) {
            callReading(function);
        } else if (function < 24) {
            callWriting(function);
        } else {
            callEvents(function);
        }
    }

private:
    template <typename Handle>
    static Handle* as(void* handle) {
        return static_cast<Handle*>(handle);
    }

    // Any that was given out, of whatever kind and whether it is freed or not; null; and one that never was any.
    void* anyHandle() {
        const int choice = input_.u8();
        if (choice == 255) {
            return nullptr;
        }
        if (choice == 254 || handles_.empty()) {
            return reinterpret_cast<void*>(~std::uintptr_t{choice == 254 ? 1U : 2U});
        }
        return handles_[static_cast<std::size_t>(choice) % handles_.size()];
    }
    template <typename Handle>
    Handle* handle() {
        return as<Handle>(anyHandle());
    }
    const char* name() { return kNames[input_.below(8)]; }

    void check(ac500_result result) {
        FUZZ_CHECK(result >= AC500_OK && result <= AC500_NOTHING && result != AC500_INTERNAL && result != AC500_OUTPUT);
        FUZZ_CHECK(std::strcmp(ac500_result_name(result), "?") != 0);
        FUZZ_CHECK(result == AC500_OK || *ac500_last_error() != '\0');
    }
    // Something is given out on success; values come with a failure, too.
    template <typename Handle>
    void keep(ac500_result result, Handle* const* given) {
        check(result);
        FUZZ_CHECK(result != AC500_OK || *given != nullptr);
        if (*given != nullptr) {
            handles_.push_back(*given);
        }
    }

    void open() {
        ac500_settings settings{};
        check(ac500_settings_init(&settings, sizeof settings));
        const std::string driver = idleDriver();
        settings.driver = driver.c_str();
        settings.time_limit_ms = 1 + input_.below(2);
        settings.cycle_ms = input_.below(3) - 1;
        // As it is, as a program of the first version has it, and less than that.
        const std::size_t sizes[] = {sizeof settings, offsetof(ac500_settings, handshake),
                                     offsetof(ac500_settings, handshake) - 1};
        const int size = input_.below(3);
        settings.struct_size = sizes[size];
        ac500_plc* plc = nullptr;
        const ac500_result result = ac500_open(symbolFile().c_str(), "127.0.0.1:1", &settings, &plc);
        FUZZ_CHECK((result == AC500_OK) == (settings.cycle_ms >= 0 && size < 2));
        keep(result, &plc);
        plcs_ += result == AC500_OK ? 1 : 0;
    }

    void callPlc(int function) {
        if (function <= 1) {
            if (plcs_ < kMostPlcs) {
                open();
            }
        } else if (function == 2) {
            auto* plc = handle<ac500_plc>();
            check(ac500_close(plc));
            FUZZ_CHECK(ac500_close(plc) == AC500_USAGE);
        } else if (function == 3) {
            check(ac500_wait_online(handle<ac500_plc>(), input_.below(3) - 1));
        } else if (function == 4) {
            ac500_status status{};
            check(
                ac500_get_status(handle<ac500_plc>(), &status, sizeof status - static_cast<unsigned>(input_.below(2))));
        } else if (function == 5) {
            ac500_tag* tag = nullptr;
            auto* plc = handle<ac500_plc>();
            keep(ac500_find_tag(plc, name(), &tag), &tag);
        } else if (function == 6) {
            ac500_tag_list* list = nullptr;
            auto* plc = handle<ac500_plc>();
            const std::string pattern = input_.line();
            keep(ac500_browse(plc, pattern.empty() ? nullptr : pattern.c_str(), &list), &list);
            ac500_tag_info info{};
            const std::size_t count = ac500_tag_list_count(list);
            FUZZ_CHECK((ac500_tag_list_get(list, count, &info, sizeof info)) == AC500_USAGE);
            FUZZ_CHECK(count == 0 || ac500_tag_list_get(list, count - 1, &info, sizeof info) == AC500_OK);
        } else {
            ac500_tag_info info{};
            check(ac500_get_tag_info(handle<ac500_tag>(), &info, sizeof info));
        }
    }

    void callReading(int function) {
        if (function == 8) {
            const char* const names[] = {name(), name()};
            ac500_values* values = nullptr;
            keep(ac500_read(handle<ac500_plc>(), names, static_cast<std::size_t>(input_.below(3)), &values), &values);
        } else if (function <= 10) {
            ac500_tag* const tags[] = {handle<ac500_tag>(), handle<ac500_tag>()};
            ac500_values* values = nullptr;
            const auto count = static_cast<std::size_t>(input_.below(3));
            auto* plc = handle<ac500_plc>();
            keep(function == 9 ? ac500_read_tags(plc, tags, count, &values) : ac500_latest(plc, tags, count, &values),
                 &values);
        } else if (function == 11) {
            double number = 7;
            const ac500_result result = ac500_read_double(handle<ac500_plc>(), name(), &number);
            check(result);
            FUZZ_CHECK(result != AC500_OK && number == 7);  // there is no PLC
        } else if (function == 12) {
            double numbers[3] = {};
            std::int64_t whole[3] = {};
            const char* texts[3] = {};
            auto* values = handle<ac500_values>();
            const auto index = static_cast<std::size_t>(input_.below(3));
            const auto count = static_cast<std::size_t>(input_.below(4));
            check(ac500_get_doubles(values, index, numbers, count));
            check(ac500_get_int64s(values, index, whole, count));
            check(ac500_get_nanoseconds(values, index, whole, count));
            check(ac500_get_strings(values, index, texts, count));
            check(ac500_get_text(values, index, texts));
        } else if (function == 13) {
            ac500_value_info info{};
            auto* values = handle<ac500_values>();
            const auto index = static_cast<std::size_t>(input_.below(3));
            const ac500_result result = ac500_get_value_info(values, index, &info, sizeof info);
            check(result);
            FUZZ_CHECK((result == AC500_OK) == (index < ac500_values_count(values)));
            FUZZ_CHECK(info.is_known == 0);
        } else if (function == 14) {
            check(ac500_accept_stale(handle<ac500_values>()));
        } else {
            auto* values = handle<ac500_values>();
            check(ac500_free_values(values));
            FUZZ_CHECK(ac500_values_count(values) == 0);
        }
    }

    void callWriting(int function) {
        auto* writes = function == 16 ? nullptr : handle<ac500_writes>();
        if (function == 16) {
            ac500_writes* made = nullptr;
            keep(ac500_new_writes(handle<ac500_plc>(), &made), &made);
        } else if (function == 17) {
            const double numbers[] = {input_.i32() / 3.0, 1, 2};
            check(ac500_add_doubles(writes, handle<ac500_tag>(), numbers, static_cast<std::size_t>(input_.below(4))));
        } else if (function == 18) {
            const std::int64_t numbers[] = {input_.i32() * std::int64_t{1000003}, INT64_MIN, INT64_MAX};
            auto* tag = handle<ac500_tag>();
            const auto count = static_cast<std::size_t>(input_.below(4));
            check(ac500_add_int64s(writes, tag, numbers, count));
            check(ac500_add_nanoseconds(writes, tag, numbers, count));
        } else if (function == 19) {
            auto* tag = handle<ac500_tag>();
            const std::string text = input_.line();
            const char* const texts[] = {text.c_str(), nullptr, ""};
            check(ac500_add_text(writes, tag, text.c_str()));
            check(ac500_add_strings(writes, tag, texts, static_cast<std::size_t>(input_.below(4))));
        } else if (function == 20) {
            const auto index = static_cast<std::size_t>(input_.below(4));
            check(ac500_expect_text(writes, index, input_.line().c_str()));
        } else if (function == 21) {
            check(ac500_send_writes(writes, input_.below(5)));
        } else if (function == 22) {
            ac500_write_outcome outcome{};
            check(ac500_get_outcome(writes, static_cast<std::size_t>(input_.below(4)), &outcome, sizeof outcome));
            FUZZ_CHECK(outcome.outcome != AC500_DONE);  // there is no PLC
        } else {
            auto* plc = as<ac500_plc>(static_cast<void*>(writes));
            const char* tag = name();
            FUZZ_CHECK(ac500_write_text(plc, tag, input_.line().c_str()) != AC500_OK);
            FUZZ_CHECK(ac500_write_double(plc, tag, input_.i32()) != AC500_OK);
        }
    }

    void callEvents(int function) {
        if (function <= 26) {
            const char* const names[] = {name(), name()};
            ac500_subscription* subscription = nullptr;
            auto* plc = handle<ac500_plc>();
            const auto count = static_cast<std::size_t>(input_.below(3));
            keep(ac500_subscribe(plc, names, count, input_.below(3), function == 24 ? takeEvent : nullptr, nullptr,
                                 &subscription),
                 &subscription);
        } else if (function == 27) {
            auto* subscription = handle<ac500_subscription>();
            check(ac500_unsubscribe(subscription));
            FUZZ_CHECK(ac500_unsubscribe(subscription) == AC500_USAGE);
        } else if (function == 28) {
            ac500_values* values = nullptr;
            keep(ac500_next_event(handle<ac500_subscription>(), input_.below(3) - 1, &values), &values);
        } else if (function == 29) {
            int descriptor = -1;
            const ac500_result result = ac500_event_fd(handle<ac500_subscription>(), &descriptor);
            check(result);
            FUZZ_CHECK((result == AC500_OK) == (descriptor >= 0));
        } else if (function == 30) {
            check(ac500_free_tag(handle<ac500_tag>()));
        } else {
            check(ac500_free_writes(handle<ac500_writes>()));
        }
    }

    FuzzInput& input_;
    std::vector<void*> handles_;
    int plcs_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    Caller caller(input);
    for (int calls = 0; calls < kMostCalls && !input.empty(); ++calls) {
        caller.call();
    }
    return 0;
}
