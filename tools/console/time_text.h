// The time as both programs write it.
#ifndef AC500_TOOLS_CONSOLE_TIME_TEXT_H
#define AC500_TOOLS_CONSOLE_TIME_TEXT_H

#include <chrono>
#include <string>

namespace ac500::console {

using WallTime = std::chrono::system_clock::time_point;

// "2026-11-22 07:45:12.345", in the time zone of the process.
std::string timeText(WallTime time = std::chrono::system_clock::now());
// "2026-11-22T07:45:12.345Z", for programs.
std::string utcText(WallTime time = std::chrono::system_clock::now());

}  // namespace ac500::console

#endif
