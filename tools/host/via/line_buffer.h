// LineBuffer cuts a stream of bytes into lines, and takes no line that is longer than its bound. Not thread-safe.
#ifndef AC500_TOOLS_HOST_VIA_LINE_BUFFER_H
#define AC500_TOOLS_HOST_VIA_LINE_BUFFER_H

#include <cstddef>
#include <optional>
#include <string>

namespace ac500::via {

class LineBuffer {
public:
    explicit LineBuffer(std::size_t longestLine) : longestLine_(longestLine) {}

    // False: a line is longer than the bound. Nothing is taken any more then.
    bool add(const char* bytes, std::size_t count);
    // The next whole line, without its end; nothing as long as there is none.
    std::optional<std::string> next();

private:
    bool endsInTime() const;

    std::size_t longestLine_;
    std::string bytes_;
    std::size_t begin_ = 0;  // of the first line that was not taken
    bool isBroken_ = false;
};

}  // namespace ac500::via

#endif
