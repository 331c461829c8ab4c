// The settings file: JSON with the names of the long options as keys, {"symbols": "plant.json", "plc": "10.0.0.5:1201"}.
#ifndef AC500_TOOLS_SETTINGS_SETTINGS_FILE_H
#define AC500_TOOLS_SETTINGS_SETTINGS_FILE_H

#include <optional>
#include <string>
#include <vector>

#include "tools/settings/settings.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::settings {

// What a settings file holds, of whichever program. Nothing when it cannot be read or is too large: the reason is then added to
// *problems, at line 0.
std::optional<std::string> readSettingsFile(const std::string& fileName, std::vector<symbol_file::Problem>* problems);

struct LoadedSettings {
    Settings settings;                           // usable exactly when `problems` is empty
    std::vector<symbol_file::Problem> problems;  // in line order; all that were found
};

// Paths in the file are relative to the folder that it is in. An unreadable file is a problem at line 0.
LoadedSettings loadSettings(const std::string& fileName);
// The same for a text that is already in memory.
LoadedSettings parseSettings(const std::string& text, const std::string& folder);

}  // namespace ac500::settings

#endif
