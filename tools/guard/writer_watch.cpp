#include "tools/guard/writer_watch.h"

#include <fmt/format.h>

#include <algorithm>

namespace ac500::guard {

void WriterWatch::written(const std::string& tag, const std::string& value) {
    known_[tag] = {value, true, 0};
}

void WriterWatch::touched(const std::string& tag) {
    known_.erase(tag);
}

std::optional<ForeignWrite> WriterWatch::received(const std::string& tag, const std::string& value) {
    const auto [known, isNew] = known_.try_emplace(tag, Known{value, false, 0});
    Known& last = known->second;
    last.passes = std::min(last.passes + 1, kPassesTold + 1);
    if (isNew || last.value == value) {
        return std::nullopt;
    }
    const bool isRecent = last.wasWritten && last.passes <= kPassesTold;
    const ForeignWrite foreign{last.value, value, isRecent ? last.passes : 0};
    last = {value, false, 0};
    return foreign;
}

std::string describe(const ForeignWrite& write) {
    return write.passes > 0
               ? fmt::format("we wrote {}, {} pass{} later the PLC has {}, which nobody here wrote", write.expected,
                             write.passes, write.passes == 1 ? "" : "es", write.found)
               : fmt::format("it was {}, now the PLC has {}, which nobody here wrote", write.expected, write.found);
}

}  // namespace ac500::guard
