// Layer names the part of the way between a terminal and a PLC that failed. Every message begins with its name, and
// every program that uses the library ends with its number.
#ifndef AC500_TOOLS_HOST_LAYER_H
#define AC500_TOOLS_HOST_LAYER_H

#include <string>

namespace ac500::host {

// The numbers are exit codes of ac500-host, listed in docs/host-guide.md.
enum class Layer {
    None = 0,
    Usage = 1,      // the command line: an option, a value that does not fit its type
    File = 2,       // the driver library or the symbol file
    Name = 3,       // a tag that does not resolve
    Tcp = 4,        // the connection to the PLC
    Handshake = 5,  // the two requests that open a session
    Request = 6,    // reading and writing
};

// "usage", "file", "name", "tcp", "handshake", "request"; "ok" for None.
const char* layerName(Layer layer);

// What failed, and what to do about it. Layer::None: nothing failed.
struct Failure {
    Layer layer = Layer::None;
    std::string text;
};

}  // namespace ac500::host

#endif
