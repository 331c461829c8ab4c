// Writes a file whole or not at all: whoever opens it finds all of the old content or all of the new, also after a loss of power.
#ifndef AC500_TOOLS_TEXT_WHOLE_FILE_H
#define AC500_TOOLS_TEXT_WHOLE_FILE_H

#include <optional>
#include <string>
#include <string_view>

namespace ac500::text {

enum class Readers {
    OwnerAlone,  // mode 0600
    AsBefore,    // the mode of the file that is replaced; of a new one what the user's mask leaves of 0666
};

// Writes a file of another name beside it, and gives it the name when all of it is on the disk. What was there by that name is
// replaced; of a symbolic link the file that it leads to. A device, or a pipe that somebody reads, is written to and stays what
// it is; a link that leads nowhere is an error. False: *error says why, in the system's words, and nothing is left behind.
bool writeWholeFile(const std::string& path, std::string_view content, Readers readers, std::string* error);

// The file that is replaced when this name is written: of a link the one that it leads to. Nothing for what is not replaced.
std::optional<std::string> replacedFile(const std::string& path);

}  // namespace ac500::text

#endif
