#include "tools/host/handshake_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tools/symbol_file/fingerprint.h"
#include "tools/symbol_file/symbol_file.h"
#include "tools/text/file_text.h"
#include "tools/text/whole_file.h"

namespace ac500::host {

using guard::HandshakeOrigin;
using guard::HandshakePattern;

namespace {

constexpr std::size_t kMostHandshakeBytes = std::size_t{1} << 20;

std::string otherSymbols(const HandshakePattern& learned) {
    return fmt::format("was learned with {} as it was then, which describes another program than these symbols",
                       learned.origin().symbols);
}

std::string otherPlc(const HandshakePattern& learned) {
    return fmt::format("was learned of {}, which may be another PLC", learned.origin().plc);
}

Failure cannotBeWritten(const std::string& fileName, const std::string& why) {
    return {FailureKind::Output, fmt::format("{}: cannot be written: {}; choose another file", fileName, why)};
}

}  // namespace

const char kOneRunOnly[] =
    "all of it was seen in one run of the PLC, where bytes are the same that change with each start, so nothing is "
    "compared "
    "yet; restart the PLC with the same program, and learn again";

bool loadHandshake(const std::string& fileName, std::optional<HandshakePattern>* pattern, Failure* failure) {
    std::string content;
    if (!text::readUpTo(fileName, kMostHandshakeBytes + 1, &content)) {
        *failure = {FailureKind::File, fmt::format("{}: cannot be read: {}; check the path and its permissions",
                                                   fileName, std::strerror(errno))};
        return false;
    }
    std::string error = "is larger than 1 MiB, so it is no file of handshake replies";
    *pattern = content.size() > kMostHandshakeBytes ? std::nullopt : HandshakePattern::fromJson(content, &error);
    if (!*pattern) {
        *failure = {FailureKind::File, fileName + ": " + error};
    }
    return pattern->has_value();
}

bool loadHandshakeIfThere(const std::string& fileName, std::optional<HandshakePattern>* pattern, Failure* failure) {
    std::error_code ignored;
    if (std::filesystem::status(fileName, ignored).type() == std::filesystem::file_type::not_found) {
        pattern->reset();
        return true;
    }
    return loadHandshake(fileName, pattern, failure);
}

bool saveHandshake(const std::string& fileName, const HandshakePattern& pattern, Failure* failure) {
    std::string error;
    const bool isWritten = text::writeWholeFile(fileName, pattern.toJson(), text::Readers::AsBefore, &error);
    if (!isWritten) {
        *failure = cannotBeWritten(fileName, error);
    }
    return isWritten;
}

HandshakeLock::HandshakeLock(const std::string& fileName) {
    const std::optional<std::string> target = text::replacedFile(fileName);
    if (!target) {
        return;
    }
    const std::string folder = std::filesystem::path(*target).parent_path().string();
    folder_ = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    int locked = -1;
    while (folder_ >= 0 && (locked = ::flock(folder_, LOCK_EX)) != 0 && errno == EINTR) {
    }
    if (locked != 0) {
        failure_ = cannotBeWritten(fileName, std::strerror(errno));
    }
}

HandshakeLock::~HandshakeLock() {
    if (folder_ >= 0) {
        ::close(folder_);
    }
}

// Read again for its own sake: the table of tags may have more than the file, the simulator's variables.
HandshakeOrigin handshakeOrigin(const Endpoint& plc, const std::string& symbols) {
    return {plc.text(), symbols,
            fmt::format("{:016x}", symbol_file::fingerprint(symbol_file::loadSymbolFile(symbols).file))};
}

std::string whyNotToAdd(const HandshakePattern& learned, const HandshakeOrigin& here) {
    const bool isSameProgram = learned.origin().program == here.program;
    if (isSameProgram && learned.origin().plc == here.plc) {
        return std::string();
    }
    return (isSameProgram ? otherPlc(learned) : otherSymbols(learned)) +
           "; learn into another file, or remove this one";
}

std::vector<std::string> doubtsOf(const HandshakePattern& learned, const HandshakeOrigin& here) {
    std::vector<std::string> doubts;
    if (!learned.isUsable()) {
        doubts.emplace_back(kOneRunOnly);
    }
    if (learned.origin().program != here.program) {
        doubts.push_back(otherSymbols(learned));
    }
    if (learned.origin().plc != here.plc) {
        doubts.push_back(otherPlc(learned));
    }
    return doubts;
}

}  // namespace ac500::host
