// StructureTypes holds the structure types of a file: it reads their declarations, resolves the types of their members
// in whatever order they are declared, and gives every later declaration its type.
#ifndef AC500_TOOLS_SYMBOL_FILE_STRUCTURE_TYPES_H
#define AC500_TOOLS_SYMBOL_FILE_STRUCTURE_TYPES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/symbol_file/declarations.h"
#include "tools/symbol_file/json_reader.h"
#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

class StructureTypes {
public:
    // Reads the "types" object; an absent one declares nothing. `isComplete`: a type that it lacks does not exist; else there
    // may be more that cannot be read, and that has been reported.
    StructureTypes(const std::optional<JsonNode>& types, bool isComplete, ProblemList* problems);

    // Gives a declaration its structure type, and reports a type that does not exist. True when the variable's size is
    // known.
    bool link(Declaration* declaration, ProblemList* problems) const;

    // Leaves that a linked variable stands for (see Leaf); right up to kMaxLeaves, beyond it just larger.
    std::int64_t countLeaves(const Variable& variable) const;

    // The types that could be built, in file order.
    std::vector<std::shared_ptr<const StructType>> all() const;

private:
    struct Entry {
        std::string name;
        JsonNode node;
        std::optional<std::int64_t> sizeBytes;
        std::vector<Declaration> members;
        std::size_t waitingFor = 0;      // members whose structure type is not resolved yet
        std::vector<std::size_t> users;  // entries with a member of this type, once per member
        int level = 1;                   // 1: no structure inside
        std::int64_t leaves = 0;         // no further than one beyond kMaxLeaves
        std::shared_ptr<const StructType> built;
    };

    void readEntry(const JsonNode& types, const JsonMember& member, ProblemList* problems);
    void connect();
    void buildAll(ProblemList* problems);
    void build(Entry* entry, ProblemList* problems);
    void buildMembers(Entry* entry, StructType* type, ProblemList* problems) const;
    int levelOf(const Entry& entry) const;
    void reportCircles(ProblemList* problems) const;
    std::size_t waitingMember(const Entry& entry) const;

    const bool isComplete_;
    std::vector<Entry> entries_;
    std::map<std::string, std::size_t> byName_;
};

}  // namespace ac500::symbol_file

#endif
