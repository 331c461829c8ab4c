// ac500-host: reads, writes and watches variables of a PLC from a terminal.
#include <cstdio>

#include "tools/host/command_line.h"
#include "tools/host/commands.h"
#include "tools/host/failure.h"

int main(int argc, char** argv) {
    using namespace ac500::host;
    const ParsedCommandLine parsed = parseCommandLine(argc, argv);
    if (!parsed.options) {
        std::fputs(parsed.text.c_str(), parsed.exitCode == 0 ? stdout : stderr);
        return parsed.exitCode;
    }
    return runCommand(*parsed.options);
}
