// NextCommand makes the commands that the doctor advises: they ask the same plant in the same way as the call that was
// made, but for what they are to change, and can be copied into a shell. A plain value.
#ifndef AC500_TOOLS_DOCTOR_NEXT_COMMAND_H
#define AC500_TOOLS_DOCTOR_NEXT_COMMAND_H

#include <string>
#include <utility>
#include <vector>

namespace ac500::doctor {

class NextCommand {
public:
    // The tags of the call, as they were typed.
    explicit NextCommand(std::vector<std::string> tags = {}) : tags_(std::move(tags)) {}

    // An option of the call, as "--timeout"; `value` is empty for a flag. In place of what it was, if it was anything.
    NextCommand with(const std::string& option, const std::string& value = "") const;

    // "ac500-host --symbols plant.json --plc 10.0.0.5:1201 doctor --within 60 Main.counter"
    std::string doctor() const;
    // Other commands with what they need of the call: those that ask the PLC, and those that need driver and symbols alone.
    // `words`: the command, quoted already.
    std::string ofPlc(const std::string& words) const;
    std::string ofSymbols(const std::string& words) const;

private:
    using Options = std::vector<std::pair<std::string, std::string>>;

    std::string line(const std::vector<std::string>& leftOut, const std::string& words) const;

    std::vector<std::string> tags_;
    Options options_;
};

}  // namespace ac500::doctor

#endif
