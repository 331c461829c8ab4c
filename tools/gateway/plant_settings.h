// PlantSettings is what a settings file of the gateway says of the PLC and its tags. Plain values.
#ifndef AC500_TOOLS_GATEWAY_PLANT_SETTINGS_H
#define AC500_TOOLS_GATEWAY_PLANT_SETTINGS_H

#include <cstddef>
#include <string>
#include <vector>

#include "tools/host/session_types.h"
#include "tools/record/flight_recorder.h"

namespace ac500::gateway {

struct PlantSettings {
    std::string name;     // of the PLC, for people; empty: its address
    std::string symbols;  // path of the symbol file
    std::string driver;   // path of the driver library; empty: where programs look for it
    host::SessionSettings session;

    std::vector<std::string> tags;  // patterns, as `ac500-host read` takes them; those of the next two are read, too
    std::vector<std::string> keptTags;  // for the trend
    std::size_t trendBytes = 16777216;
    std::vector<std::string> writableTags;  // empty: nothing can be written
    host::Milliseconds writeExpires{5000};
    // What is recorded of the session; no memory and no files: nothing. The minutes are saved by SIGUSR1.
    record::RecorderSettings record;
    bool savesAtFailure = false;  // the minutes, too, at the first failure
    std::string audit;            // path of the file that writes are kept in; empty: none
    std::string handshake;        // path of what was learned of the PLC's handshake; empty: nothing was
};

}  // namespace ac500::gateway

#endif
