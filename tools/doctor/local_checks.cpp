#include "tools/doctor/local_checks.h"

#include <fmt/format.h>
#include <langinfo.h>
#include <locale.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>

#include "tools/console/time_text.h"
#include "tools/text/shell_word.h"

namespace ac500::doctor {

namespace {

// No clock that was ever set is before the first, 2025-01-01, or as late as the second, 2101-01-01, UTC. Seconds since 1970 and
// no calendar of the system's: that ends with 2038 on 32-bit ARM.
constexpr std::chrono::seconds kEarliestTime{1735689600};
constexpr std::chrono::seconds kTooLate{4133980800};

// A record of some minutes and a capture fit into it many times.
constexpr std::uint64_t kEnoughBytes = 64ULL << 20;

constexpr double kMiB = 1 << 20;

CheckLine line(Subject subject, Grade grade, std::string text, std::string meaning = "", std::string next = "") {
    return {subject, grade, std::move(text), std::move(meaning), std::move(next)};
}

}  // namespace

CheckLine checkDriverFile(const std::string& path, const ElfIdentity& identity, int qtVersion, int ownQtVersion,
                          const NextCommand& call) {
    const std::string otherDriver = call.with("--driver", "PATH").doctor();
    if (!identity.isReadable) {
        return line(Subject::Driver, Grade::Fail, path + ": cannot be read",
                    "without the driver nothing can be asked of a PLC", "ls -l " + text::shellWord(path));
    }
    if (!identity.isElf) {
        return line(Subject::Driver, Grade::Fail, path + ": no shared library",
                    "the file is damaged, or is something else; copies through a text mode damage libraries",
                    "file " + text::shellWord(path));
    }
    if (!identity.isOfThisMachine) {
        return line(Subject::Driver, Grade::Fail,
                    fmt::format("{}: {}, and this program is {}", path, identity.text, thisMachine()),
                    "the driver was built for another machine",
                    otherDriver + "  # PATH: the driver of this machine's package");
    }
    if (qtVersion != 0 && qtVersion != ownQtVersion) {
        return line(Subject::Driver, Grade::Fail,
                    fmt::format("{}: needs Qt {}, and this program runs with Qt {}", path, qtVersion, ownQtVersion),
                    "one process cannot have both",
                    fmt::format("{}  # PATH: a driver built for Qt {}", otherDriver, ownQtVersion));
    }
    return line(Subject::Driver, Grade::Pass,
                fmt::format("{}: {}{}", path, identity.text, qtVersion == 0 ? "" : fmt::format(", Qt {}", qtVersion)));
}

CheckLine checkClock(std::chrono::system_clock::time_point now, bool wentBack) {
    if (wentBack) {
        return line(Subject::Clock, Grade::Fail, "the clock that must never go back did",
                    "ages, timeouts and backing off cannot be right on this machine", "uname -a");
    }
    const auto sinceEpoch = now.time_since_epoch();
    if (sinceEpoch < kEarliestTime || sinceEpoch >= kTooLate) {
        return line(
            Subject::Clock, Grade::Warn, "it is " + console::utcText(now) + " here",
            "the clock is not set: logs and records carry wrong times; values are read and written all the same",
            "date -u -s 'YYYY-MM-DD hh:mm'");
    }
    return line(Subject::Clock, Grade::Pass, console::utcText(now));
}

std::optional<DiskSpace> diskSpace(const std::string& folder) {
    struct statvfs state {};
    if (::statvfs(folder.c_str(), &state) != 0) {
        return std::nullopt;
    }
    return DiskSpace{std::uint64_t{state.f_bavail} * state.f_frsize, ::access(folder.c_str(), W_OK) == 0};
}

CheckLine checkDisk(const std::string& folder, const std::optional<DiskSpace>& space) {
    if (!space) {
        return line(Subject::Disk, Grade::Warn, folder + ": is not there",
                    "records and bundles cannot be written there", "mkdir -p " + text::shellWord(folder));
    }
    const std::string room = fmt::format("{}: {:.0f} MiB free", folder, static_cast<double>(space->freeBytes) / kMiB);
    if (!space->isWritable) {
        return line(Subject::Disk, Grade::Warn, folder + ": may not be written",
                    "records and bundles cannot be written there", "ls -ld " + text::shellWord(folder));
    }
    if (space->freeBytes <= kEnoughBytes) {
        return line(Subject::Disk, Grade::Warn, room, "records and logs may not fit",
                    "df -h " + text::shellWord(folder));
    }
    return line(Subject::Disk, Grade::Pass, fmt::format("{}: more than {:.0f} MiB free", folder, kEnoughBytes / kMiB));
}

LocaleState localeState() {
    LocaleState state;
    for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            state.name = value;
            break;
        }
    }
    const locale_t locale = ::newlocale(LC_CTYPE_MASK, "", nullptr);
    state.exists = locale != nullptr;
    if (state.exists) {
        state.codeset = ::nl_langinfo_l(CODESET, locale);
        ::freelocale(locale);
    }
    return state;
}

CheckLine checkLocale(const LocaleState& locale) {
    const std::string name = locale.name.empty() ? "none set" : locale.name;
    if (!locale.exists) {
        return line(Subject::Locale, Grade::Warn, name + ": is not installed",
                    "letters beyond ASCII may be shown wrong", "locale -a");
    }
    if (locale.codeset != "UTF-8") {
        return line(Subject::Locale, Grade::Warn, fmt::format("{}: {}", name, locale.codeset),
                    "units and texts beyond ASCII, as °C, may be shown wrong; they are written as UTF-8",
                    "export LC_ALL=C.UTF-8");
    }
    return line(Subject::Locale, Grade::Pass, fmt::format("{}: {}", name, locale.codeset));
}

}  // namespace ac500::doctor
