// ac500-host: reads, writes and watches variables of a PLC from a terminal.
#include "tools/console/standard_streams.h"
#include "tools/host/command_line.h"
#include "tools/host/commands.h"
#include "tools/host/print.h"

namespace {

using namespace ac500;
using namespace ac500::host;

int tellUsage(const ParsedCommandLine& parsed) {
    if (parsed.exitCode == 0) {
        print(parsed.text);
    } else {
        console::tell(parsed.text);
    }
    return parsed.exitCode;
}

}  // namespace

int main(int argc, char** argv) {
    console::prepareStandardStreams();
    const ParsedCommandLine parsed = parseCommandLine(argc, argv);
    return closeOutput(parsed.options ? runCommand(*parsed.options) : tellUsage(parsed));
}
