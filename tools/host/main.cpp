// ac500-host: reads, writes and watches variables of a PLC from a terminal.
#include <string>
#include <vector>

#include "tools/console/standard_streams.h"
#include "tools/host/command_line.h"
#include "tools/host/commands.h"
#include "tools/host/print.h"

namespace {

using namespace ac500;
using namespace ac500::host;

int tell(const ParsedCommandLine& parsed, const std::vector<std::string>& words) {
    if (!parsed.failure.occurred()) {
        print(parsed.text);
        return 0;
    }
    setLogStyle({events::asksForJson(words) ? events::LogFormat::Json : events::LogFormat::Text, false});
    complain(parsed.failure);
    return exitCodeOf(parsed.failure.kind);
}

}  // namespace

int main(int argc, char** argv) {
    console::prepareStandardStreams();
    const ParsedCommandLine parsed = parseCommandLine(argc, argv);
    return closeOutput(parsed.options ? runCommand(*parsed.options) : tell(parsed, {argv, argv + argc}));
}
