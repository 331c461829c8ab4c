// NameIndex finds scopes, variables and members of a symbol file by their names at once, where the file itself would have
// to be searched: for programs that look up many tags. Immutable; safe to share between threads.
#ifndef AC500_TOOLS_SYMBOL_FILE_NAME_INDEX_H
#define AC500_TOOLS_SYMBOL_FILE_NAME_INDEX_H

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/symbol_file/symbol_file.h"

namespace ac500::symbol_file {

class NameIndex {
public:
    // Names and variables stay where they are in `file`, which outlives the index and may be moved, but not copied.
    explicit NameIndex(const SymbolFile& file);

    // Null when there is none of this name.
    const Scope* scope(const std::string& name) const;
    const Variable* variable(const Scope& scope, const std::string& name) const;
    const Variable* member(const StructType& type, const std::string& name) const;

private:
    using Variables = std::unordered_map<std::string_view, const Variable*>;

    static Variables byName(const std::vector<Variable>& variables);
    const Variable* find(const void* owner, const std::string& name) const;

    std::unordered_map<std::string_view, const Scope*> scopes_;
    std::unordered_map<const void*, Variables> variables_;  // of a scope or a structure type
};

// Resolves a concrete tag as the other findElement does, quickly; no remedy says which name is near. REQUIRES: the index is
// that of the file.
std::optional<Element> findElement(const SymbolFile& file, const NameIndex& index, const std::string& tag,
                                   TagProblem* problem);

}  // namespace ac500::symbol_file

#endif
