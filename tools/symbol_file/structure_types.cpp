#include "tools/symbol_file/structure_types.h"

#include <algorithm>
#include <utility>

#include "tools/symbol_file/circles.h"
#include "tools/symbol_file/layout.h"
#include "tools/symbol_file/limits.h"

namespace ac500::symbol_file {
namespace {

void checkFits(const Declaration& member, const StructType& type, ProblemList* problems) {
    if (!member.complete || endByte(member.variable) <= type.sizeBytes) {
        return;
    }
    problems->add(member.place, "the member ends at byte " + std::to_string(endByte(member.variable)) +
                                    ", outside the " + std::to_string(type.sizeBytes) +
                                    " bytes of its structure; correct the offset or the \"size\"");
}

}  // namespace

StructureTypes::StructureTypes(const std::optional<JsonNode>& types, bool isComplete, ProblemList* problems)
    : isComplete_(isComplete) {
    if (!types) {
        return;
    }
    if (types->value->kind != JsonValue::Kind::Object) {
        problems->add(*types, "is no object; write one structure type per key: {\"Motor\": {...}}");
        return;
    }
    for (const JsonMember& member : types->value->members) {
        readEntry(*types, member, problems);
    }
    connect();
    buildAll(problems);
    reportCircles(problems);
}

void StructureTypes::readEntry(const JsonNode& types, const JsonMember& member, ProblemList* problems) {
    if (!isName(member.key)) {
        problems->addAtKey(types, member, inQuotes(member.key) + " is no name; " + kNameRule);
    } else if (typeTraits(member.key)) {
        problems->addAtKey(types, member, inQuotes(member.key) + " is a built-in type; choose another name");
    } else if (!byName_.emplace(member.key, entries_.size()).second) {
        problems->addAtKey(types, member, "the type " + inQuotes(member.key) + " is declared twice; remove one");
        return;
    }
    Entry entry;
    entry.name = member.key;
    entry.node = types.member(member);
    const ObjectReader object(entry.node, {"size", "members"}, problems);
    entry.sizeBytes = readInteger(object.require("size", "give the bytes that one such structure takes"),
                                  {1, kMaxAreaBytes}, problems);
    const auto members = object.require("members", "list the members of the structure");
    entry.members = readDeclarations(members, DeclaredIn::Structure, problems);
    if (members && members->value->kind == JsonValue::Kind::Array && entry.members.empty()) {
        problems->add(*members, "a structure needs at least one member; add it or remove the type");
    }
    entries_.push_back(std::move(entry));
}

// Notes who waits for whom, so that types can be built from the innermost outwards.
void StructureTypes::connect() {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        for (const Declaration& member : entries_[i].members) {
            const auto inner = byName_.find(member.structureName);
            if (inner == byName_.end()) {
                continue;
            }
            entries_[inner->second].users.push_back(i);
            ++entries_[i].waitingFor;
        }
    }
}

void StructureTypes::buildAll(ProblemList* problems) {
    std::vector<std::size_t> ready;
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (entries_[i].waitingFor == 0) {
            ready.push_back(i);
        }
    }
    while (!ready.empty()) {
        Entry& entry = entries_[ready.back()];
        ready.pop_back();
        build(&entry, problems);
        for (std::size_t user : entry.users) {
            if (--entries_[user].waitingFor == 0) {
                ready.push_back(user);
            }
        }
    }
}

void StructureTypes::build(Entry* entry, ProblemList* problems) {
    entry->level = levelOf(*entry);
    if (entry->level == kMaxStructureLevels + 1) {
        problems->add(entry->node, "structures nest deeper than " + std::to_string(kMaxStructureLevels) +
                                       " levels here; flatten some of them");
    }
    const auto type = std::make_shared<StructType>();
    type->name = entry->name;
    type->sizeBytes = static_cast<int>(entry->sizeBytes.value_or(0));
    type->line = entry->node.line();
    buildMembers(entry, type.get(), problems);
    if (entry->sizeBytes && entry->level <= kMaxStructureLevels) {
        entry->built = type;
    }
}

void StructureTypes::buildMembers(Entry* entry, StructType* type, ProblemList* problems) const {
    for (Declaration& member : entry->members) {
        if (!link(&member, problems)) {
            continue;
        }
        if (entry->sizeBytes) {
            checkFits(member, *type, problems);
        }
        entry->leaves = std::min(entry->leaves + countLeaves(member.variable), kMaxLeaves + 1);
        type->members.push_back(member.variable);
    }
}

int StructureTypes::levelOf(const Entry& entry) const {
    int level = 1;
    for (const Declaration& member : entry.members) {
        const auto inner = byName_.find(member.structureName);
        if (inner != byName_.end()) {
            level = std::max(level, entries_[inner->second].level + 1);
        }
    }
    return level;
}

// What is still waiting when everything that can be built is built leads into a circle.
void StructureTypes::reportCircles(ProblemList* problems) const {
    std::vector<std::size_t> next;
    for (const Entry& entry : entries_) {
        next.push_back(waitingMember(entry));
    }
    for (const std::vector<std::size_t>& circle : findCircles(next)) {
        const Entry& first = entries_[circle.front()];
        std::string way = first.name;
        for (std::size_t i = 1; i < circle.size(); ++i) {
            way += " > " + entries_[circle[i]].name;
        }
        problems->add(first.node,
                      "the structure contains itself (" + way + " > " + first.name + "); remove one of these members");
    }
}

std::size_t StructureTypes::waitingMember(const Entry& entry) const {
    if (entry.waitingFor == 0) {
        return kLeadsNowhere;
    }
    for (const Declaration& member : entry.members) {
        const auto inner = byName_.find(member.structureName);
        if (inner != byName_.end() && entries_[inner->second].waitingFor > 0) {
            return inner->second;
        }
    }
    return kLeadsNowhere;
}

bool StructureTypes::link(Declaration* declaration, ProblemList* problems) const {
    if (declaration->structureName.empty()) {
        return declaration->complete;
    }
    const auto found = byName_.find(declaration->structureName);
    if (found != byName_.end()) {
        declaration->variable.structure = entries_[found->second].built;
        return declaration->complete && declaration->variable.structure;
    }
    if (!isComplete_) {
        return false;
    }
    const std::string& name = declaration->structureName;
    std::vector<std::string> known = builtInTypeNames();
    for (const Entry& entry : entries_) {
        known.push_back(entry.name);
    }
    problems->add(declaration->type, "unknown type " + inQuotes(name) +
                                         suggestion(name, known, "use a built-in type or declare it under \"types\""));
    return false;
}

std::int64_t StructureTypes::countLeaves(const Variable& variable) const {
    if (!variable.structure) {
        return 1;
    }
    return entries_[byName_.at(variable.structure->name)].leaves * countElements(variable.dimensions);
}

std::vector<std::shared_ptr<const StructType>> StructureTypes::all() const {
    std::vector<std::shared_ptr<const StructType>> types;
    for (const Entry& entry : entries_) {
        if (entry.built) {
            types.push_back(entry.built);
        }
    }
    return types;
}

}  // namespace ac500::symbol_file
