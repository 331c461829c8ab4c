// Declarations are the variables of a scope and the members of a structure as the file writes them, before the names of
// structure types are resolved.
#ifndef AC500_TOOLS_SYMBOL_FILE_DECLARATIONS_H
#define AC500_TOOLS_SYMBOL_FILE_DECLARATIONS_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/symbol_file/json_reader.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

struct Declaration {
    Variable variable;          // `structure` is not yet set
    JsonNode node;              // the whole declaration
    JsonNode type;              // its "type", set when `complete`
    JsonNode area;              // its "area", set when `complete`; variables of a scope only
    JsonNode place;             // its "offset" or "bit", set when `complete`
    std::string structureName;  // empty for the built-in types
    bool complete = false;      // name, type, place and dimensions could be read
};

enum class DeclaredIn { Scope, Structure };

// Reads an array of declarations and checks everything that needs no other part of the file.
std::vector<Declaration> readDeclarations(const std::optional<JsonNode>& list, DeclaredIn where, ProblemList* problems);

// Names and numbers of one level, which must differ.
class UniqueNames {
public:
    // Reports a name that was there before.
    void add(const std::string& name, const JsonNode& node, ProblemList* problems);

private:
    std::map<std::string, int> lines_;
};

// A name that tags can be made of; reports others. The node may be absent.
std::optional<std::string> readName(const std::optional<JsonNode>& node, ProblemList* problems);
bool isName(const std::string& text);

// What isName asks for, as a remedy.
constexpr const char* kNameRule = "use letters, digits and underscores, and no digit in front";

}  // namespace ac500::symbol_file

#endif
