#include "tools/symbol_file/name_index.h"

namespace ac500::symbol_file {

NameIndex::NameIndex(const SymbolFile& file) {
    for (const Scope& scope : file.scopes) {
        scopes_.emplace(scope.name, &scope);
        variables_.emplace(&scope, byName(scope.variables));
    }
    for (const std::shared_ptr<const StructType>& type : file.types) {
        variables_.emplace(type.get(), byName(type->members));
    }
}

const Scope* NameIndex::scope(const std::string& name) const {
    const auto found = scopes_.find(name);
    return found == scopes_.end() ? nullptr : found->second;
}

const Variable* NameIndex::variable(const Scope& scope, const std::string& name) const {
    return find(&scope, name);
}

const Variable* NameIndex::member(const StructType& type, const std::string& name) const {
    return find(&type, name);
}

NameIndex::Variables NameIndex::byName(const std::vector<Variable>& variables) {
    Variables index;
    index.reserve(variables.size());
    for (const Variable& variable : variables) {
        index.emplace(variable.name, &variable);
    }
    return index;
}

const Variable* NameIndex::find(const void* owner, const std::string& name) const {
    const auto variables = variables_.find(owner);
    if (variables == variables_.end()) {
        return nullptr;
    }
    const auto found = variables->second.find(name);
    return found == variables->second.end() ? nullptr : found->second;
}

}  // namespace ac500::symbol_file
