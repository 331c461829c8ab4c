// The result of a resolution as one line of text, so that a test compares two strings instead of eleven words:
//
//     0: type 3, area 1, address 124, element 12 of 5
//     0: type 3, area 1, address 500, bit 3
//     3: type 0, area 1, address 200          (a failure, and what it left behind)
#ifndef AC500_TESTS_SYMBOLS_RESOLVED_TEXT_H
#define AC500_TESTS_SYMBOLS_RESOLVED_TEXT_H

#include <string>

#include "core/host_interface.h"

namespace ac500::test {

// Words that no resolution may write like this: they are 0 or 1, or 0 unless the word before them is 1.
inline bool hasStrayWords(const ControlInformationM& info) {
    const bool flagsAreBinary = (info.isArray | 1) == 1 && (info.isBit | 1) == 1;
    const bool strayArrayWords = info.isArray == 0 && (info.arrayIndex != 0 || info.arrayCount != 0);
    const bool strayBit = info.isBit == 0 && info.bitIndex != 0;
    return !flagsAreBinary || strayArrayWords || strayBit || info.reserved != 0 || info.arrayReserved != 0;
}

inline std::string resolvedText(int result, const ControlInformationM& info) {
    std::string text = std::to_string(result) + ": type " + std::to_string(info.dataType) + ", area " +
                       std::to_string(info.area) + ", address " + std::to_string(info.address);
    if (info.isArray != 0) {
        text += ", element " + std::to_string(info.arrayIndex) + " of " + std::to_string(info.arrayCount);
    }
    if (info.isBit != 0) {
        text += ", bit " + std::to_string(info.bitIndex);
    }
    return text + (hasStrayWords(info) ? ", stray words" : "");
}

inline std::string resolve(const QString& tag) {
    ControlInformationM info = ControlInformationM();
    const int result = get_label_address_info(tag, info);
    return resolvedText(result, info);
}

}  // namespace ac500::test

#endif
