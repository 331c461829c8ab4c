// Reads a file into memory, with a bound.
#ifndef AC500_TOOLS_TEXT_FILE_TEXT_H
#define AC500_TOOLS_TEXT_FILE_TEXT_H

#include <cstddef>
#include <istream>
#include <string>

namespace ac500::text {

// At most `limit` bytes, so that a file without end (a device) does no harm. False: errno says why.
bool readUpTo(const std::string& fileName, std::size_t limit, std::string* text);
// The same of a stream that is open. False: it broke.
bool readUpTo(std::istream& stream, std::size_t limit, std::string* text);

}  // namespace ac500::text

#endif
