#include "tools/host/via/line_buffer.h"

namespace ac500::via {

bool LineBuffer::add(const char* bytes, std::size_t count) {
    if (isBroken_) {
        return false;
    }
    bytes_.erase(0, begin_);
    begin_ = 0;
    bytes_.append(bytes, count);
    isBroken_ = !endsInTime();
    return !isBroken_;
}

bool LineBuffer::endsInTime() const {
    std::size_t begin = 0;
    for (std::size_t end = bytes_.find('\n'); end != std::string::npos; end = bytes_.find('\n', begin)) {
        if (end - begin > longestLine_) {
            return false;
        }
        begin = end + 1;
    }
    return bytes_.size() - begin <= longestLine_;
}

std::optional<std::string> LineBuffer::next() {
    const std::size_t end = bytes_.find('\n', begin_);
    if (isBroken_ || end == std::string::npos) {
        return std::nullopt;
    }
    std::string line = bytes_.substr(begin_, end - begin_);
    begin_ = end + 1;
    return line;
}

}  // namespace ac500::via
