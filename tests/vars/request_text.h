// Planned requests as one line of text: "1@0+200, 1@200+50" is area 1 from byte 0, 200 bytes, then 50 bytes from 200.
#ifndef AC500_TESTS_VARS_REQUEST_TEXT_H
#define AC500_TESTS_VARS_REQUEST_TEXT_H

#include <QtCore/QList>

#include <string>

#include "vars/rw_var.h"

namespace ac500::test {

inline std::string requestText(const RW_VAR& var) {
    return std::to_string(var.area) + "@" + std::to_string(var.offset) + "+" + std::to_string(var.size);
}

inline std::string requestText(const QList<RW_VAR>& list) {
    std::string text;
    for (const RW_VAR& var : list) {
        text += (text.empty() ? "" : ", ") + requestText(var);
    }
    return text;
}

}  // namespace ac500::test

#endif
