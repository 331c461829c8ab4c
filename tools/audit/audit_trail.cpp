#include "tools/audit/audit_trail.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <unordered_map>

#include "tools/audit/audit_file.h"

namespace ac500::audit {

namespace {

class Reader {
public:
    bool read(const std::string& file, std::string* error) {
        std::ifstream in(file, std::ios::binary);
        std::string text;
        std::size_t line = 0;
        while (std::getline(in, text)) {
            take(file, ++line, text, in.eof());
        }
        if (!in.is_open() || in.bad()) {
            *error = file + " cannot be read: " + std::strerror(errno);
            return false;
        }
        return true;
    }

    Trail takeTrail() { return std::move(trail_); }

private:
    // `isTorn`: it has no end.
    void take(const std::string& file, std::size_t line, const std::string& text, bool isTorn) {
        std::string error;
        const std::optional<Line> parsed = parseLine(text, &error);
        if (!parsed) {
            trail_.unreadable.push_back({file, line, isTorn ? "it is torn: " + error : error,
                                         isTorn ? UnreadableLine::Kind::Torn : UnreadableLine::Kind::Foreign});
        } else if (const Intent* intent = std::get_if<Intent>(&*parsed)) {
            positions_[intent->id] = trail_.entries.size();
            trail_.entries.push_back({*intent, std::nullopt});
        } else {
            end(file, line, std::get<Ending>(*parsed));
        }
    }

    void end(const std::string& file, std::size_t line, const Ending& ending) {
        const auto position = positions_.find(ending.of);
        if (position == positions_.end()) {
            trail_.unreadable.push_back(
                {file, line, "it ends a write that no line before it tells of", UnreadableLine::Kind::WithoutWrite});
            return;
        }
        Entry& entry = trail_.entries[position->second];
        entry.ending = ending;
        const auto undone = positions_.find(entry.intent.undoes);
        if (undone != positions_.end() && ending.outcome == "done") {
            trail_.entries[undone->second].isUndone = true;
        }
    }

    Trail trail_;
    std::unordered_map<std::string, std::size_t> positions_;  // of the entries, by the id
};

}  // namespace

std::optional<Trail> readTrail(const std::string& path, std::string* error) {
    const std::optional<std::vector<std::string>> files = auditFiles(path, error);
    if (!files) {
        return std::nullopt;
    }
    Reader reader;
    for (const std::string& file : *files) {
        if (!reader.read(file, error)) {
            return std::nullopt;
        }
    }
    Trail trail = reader.takeTrail();
    // The last line of a foreign file may have no end, as a torn one has none.
    std::size_t foreign = 0;
    std::size_t torn = 0;
    for (const UnreadableLine& line : trail.unreadable) {
        foreign += line.kind == UnreadableLine::Kind::Foreign ? 1 : 0;
        torn += line.kind == UnreadableLine::Kind::Torn ? 1 : 0;
    }
    const bool isForeign = foreign > 0 && foreign + torn == trail.unreadable.size();
    if (trail.entries.empty() && isForeign) {
        *error = path + " is no audit: none of its lines tells of a write";
        return std::nullopt;
    }
    return trail;
}

}  // namespace ac500::audit
