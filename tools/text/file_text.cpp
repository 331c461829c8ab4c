#include "tools/text/file_text.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <vector>

namespace ac500::text {

bool readUpTo(const std::string& fileName, std::size_t limit, std::string* text) {
    errno = 0;
    std::ifstream stream(fileName, std::ios::binary);
    return readUpTo(stream, limit, text) && stream.is_open();
}

bool readUpTo(std::istream& stream, std::size_t limit, std::string* text) {
    std::vector<char> block(64 * 1024);
    while (stream && text->size() < limit) {
        stream.read(block.data(), static_cast<std::streamsize>(std::min(block.size(), limit - text->size())));
        text->append(block.data(), static_cast<std::size_t>(stream.gcount()));
    }
    return !stream.bad();
}

}  // namespace ac500::text
