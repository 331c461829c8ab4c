// Runs of bytes as a test writes them down: "1:0+4 1:8+2", area, address and size.
#ifndef AC500_TESTS_DESK_RUN_TEXT_H
#define AC500_TESTS_DESK_RUN_TEXT_H

#include <string>
#include <vector>

#include "tools/wire/frame.h"

namespace ac500::test {

inline std::string runText(const std::vector<wire::ByteRun>& runs) {
    std::string text;
    for (const wire::ByteRun& run : runs) {
        text += (text.empty() ? "" : " ") + std::to_string(run.area) + ":" + std::to_string(run.address) + "+" +
                std::to_string(run.size);
    }
    return text;
}

}  // namespace ac500::test

#endif
