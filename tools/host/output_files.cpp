#include "tools/host/output_files.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <filesystem>
#include <system_error>
#include <vector>

#include "tools/host/driver_library.h"
#include "tools/record/record_sink.h"

namespace ac500::host {

namespace {

constexpr char kRecordSave[] = "--record-save";

struct NamedFile {
    std::string name;  // what it is, or the option that says it
    std::string path;  // empty: none
};

std::vector<NamedFile> filesRead(const Options& options, const std::string& configFile) {
    std::vector<NamedFile> files{{"symbol file", options.symbols},
                                 {"settings file", configFile},
                                 {"driver", options.driver},
                                 {"earlier plan", options.plan.expect},
                                 {"file of --handshake", options.handshake}};
    if (options.driver.empty()) {
        for (const std::string& path : defaultDriverPaths()) {
            files.push_back({"driver", path});
        }
    }
    if (options.command == Command::Replay) {
        files.push_back({"record", options.replay.file});
        for (int part = 1; part < record::kMostRingFiles; ++part) {
            files.push_back({"record", options.replay.file + "." + std::to_string(part)});
        }
    }
    for (const std::string& argument : options.arguments) {
        if (argument.size() > 1 && argument.front() == '@') {
            files.push_back({"list of tags", argument.substr(1)});
        }
    }
    return files;
}

std::vector<NamedFile> filesWritten(const Options& options) {
    std::vector<NamedFile> files{{"--audit", options.write.audit},
                                 {"--bundle", options.doctor.bundle},
                                 {"--svg", options.plan.svg},
                                 {"--pcap", options.replay.pcap},
                                 {"--shrink", options.replay.shrink}};
    if (options.doctor.withoutNames && !options.doctor.bundle.empty()) {
        files.push_back({"--bundle", options.doctor.bundle + ".map.json"});
    }
    if (options.command == Command::Undo) {
        files.push_back({"undo", options.audit.file});
    }
    if (options.command == Command::Guard && options.guard.action == GuardAction::Learn) {
        files.push_back({"guard learn", options.guard.file});
    }
    if (options.command == Command::Replay) {
        return files;
    }
    const RecordOptions& record = options.record;
    files.push_back({"--record", record.file});
    files.push_back({"--record-ring", record.ringFile});
    for (int part = 1; part < record::kMostRingFiles && !record.ringFile.empty(); ++part) {
        files.push_back({"--record-ring", record.ringFile + "." + std::to_string(part)});
    }
    files.push_back({kRecordSave, record.saveFile});
    return files;
}

// A device may be read and written at once.
bool isSameFile(const std::string& left, const std::string& right) {
    struct stat a {};
    struct stat b {};
    return !left.empty() && !right.empty() && ::stat(left.c_str(), &a) == 0 && ::stat(right.c_str(), &b) == 0 &&
           S_ISREG(a.st_mode) && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool isThere(const std::string& path) {
    struct stat about {};
    return ::stat(path.c_str(), &about) == 0;
}

std::string placeOf(const std::string& path) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    const std::filesystem::path place = std::filesystem::weakly_canonical(absolute, error);
    return error ? absolute.lexically_normal().string() : place.string();
}

// Would both be written to one file, be it there by now or not?
bool wouldMeet(const std::string& left, const std::string& right) {
    if (left.empty() || right.empty()) {
        return false;
    }
    return isThere(left) || isThere(right) ? isSameFile(left, right) : placeOf(left) == placeOf(right);
}

// Minutes are saved under a name that is free, so the name that nobody chose is in nobody's way.
bool isChosen(const NamedFile& file) {
    return file.name != kRecordSave || file.path != RecordOptions().saveFile;
}

}  // namespace

std::string outputProblem(const Options& options, const std::string& configFile) {
    const std::vector<NamedFile> inputs = filesRead(options, configFile);
    const std::vector<NamedFile> outputs = filesWritten(options);
    for (auto output = outputs.begin(); output != outputs.end(); ++output) {
        for (const NamedFile& input : inputs) {
            if (isSameFile(output->path, input.path)) {
                return fmt::format("{} {} would write over the {}; name another file", output->name, output->path,
                                   input.name);
            }
        }
        for (auto other = outputs.begin(); other != output; ++other) {
            if (isChosen(*output) && isChosen(*other) && wouldMeet(output->path, other->path)) {
                return fmt::format("{} {} and {} would write over each other; name another file", output->name,
                                   output->path, other->name);
            }
        }
    }
    return std::string();
}

}  // namespace ac500::host
