// Between tags and addresses, in both directions: resolving one tag, and listing all.
#include <charconv>
#include <utility>

#include "tools/symbol_file/json_reader.h"
#include "tools/symbol_file/layout.h"
#include "tools/symbol_file/name_index.h"
#include "tools/symbol_file/symbol_file.h"
#include "tools/text/text.h"

namespace ac500::symbol_file {
namespace {

constexpr char kWhereToLook[] = "list the tags to see what there is";

std::string bounds(const ArrayDimension& dimension) {
    return std::to_string(dimension.lower) + ".." + std::to_string(dimension.upper);
}

std::string bounds(const std::vector<ArrayDimension>& dimensions) {
    std::string text;
    for (const ArrayDimension& dimension : dimensions) {
        text += (text.empty() ? "" : ",") + bounds(dimension);
    }
    return "[" + text + "]";
}

bool parseIndex(const std::string& text, int* index) {
    const char* end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, *index);
    return result.ec == std::errc() && result.ptr == end;
}

// "grid[2,3]" taken apart.
struct Component {
    std::string text;
    std::string name;
    bool indexed = false;
    std::vector<std::string> indices;
};

Component parseComponent(const std::string& text) {
    Component component;
    component.text = text;
    const std::size_t bracket = text.find('[');
    component.indexed = bracket != std::string::npos && text.find(']') == text.size() - 1;
    component.name = component.indexed ? text.substr(0, bracket) : text;
    if (component.indexed) {
        component.indices = text::split(text.substr(bracket + 1, text.size() - bracket - 2), ',');
    }
    return component;
}

template <typename Named>
const Named* findByName(const std::vector<Named>& list, const std::string& name) {
    for (const Named& candidate : list) {
        if (candidate.name == name) {
            return &candidate;
        }
    }
    return nullptr;
}

template <typename Named>
std::string closeTo(const std::string& name, const std::vector<Named>& list) {
    std::vector<std::string> names;
    names.reserve(list.size());
    for (const Named& candidate : list) {
        names.push_back(candidate.name);
    }
    return suggestion(name, names, kWhereToLook);
}

// Walks down a tag, component by component, and keeps the first reason to stop.
class TagWalk {
public:
    // With an index the walk is quick, and no remedy names what is near, which no index makes quick.
    TagWalk(const SymbolFile& file, const NameIndex* index, const std::string& tag)
        : file_(file), index_(index), tag_(tag) {}

    bool run() {
        for (const std::string& part : text::split(tag_, '.')) {
            components_.push_back(parseComponent(part));
            if (part.find_first_of("[]") != std::string::npos && !components_.back().indexed) {
                return fail(inQuotes(part) + " has half an index; write it as in NAME[1] or NAME[1,2]");
            }
        }
        if (components_.size() < 2) {
            return fail("a tag needs a scope and a variable: write SCOPE.VARIABLE");
        }
        const Component& first = components_.front();
        const Scope* scope = index_ ? index_->scope(first.text) : findByName(file_.scopes, first.text);
        if (!scope) {
            return failUnknown("there is no scope " + inQuotes(first.text), first.name, file_.scopes);
        }
        return enterScope(*scope);
    }

    const Element& element() const { return element_; }
    TagProblem problem() const { return {inQuotes(tag_) + ": " + reason_, remedy_, isOutOfBounds_}; }

private:
    bool fail(std::string reason) {
        reason_ = std::move(reason);
        return false;
    }

    bool failOutside(std::string reason) {
        isOutOfBounds_ = true;
        return fail(std::move(reason));
    }

    template <typename Named>
    bool failUnknown(std::string reason, const std::string& name, const std::vector<Named>& list) {
        remedy_ = index_ ? std::string("; ") + kWhereToLook : closeTo(name, list);
        return fail(std::move(reason));
    }

    bool enterScope(const Scope& scope) {
        const std::string& name = components_[1].name;
        const Variable* variable = index_ ? index_->variable(scope, name) : findByName(scope.variables, name);
        if (!variable) {
            return failUnknown("scope " + inQuotes(scope.name) + " has no variable " + inQuotes(name), name,
                               scope.variables);
        }
        element_.area = variable->area;
        return descend(*variable);
    }

    bool descend(const Variable& outermost) {
        const Variable* variable = &outermost;
        std::size_t depth = 1;
        if (!addElement(*variable, components_[depth])) {
            return false;
        }
        element_.isReadOnly = variable->isReadOnly;
        element_.isOnlyWrittenHere = variable->isOnlyWrittenHere;
        while (variable->structure) {
            if (++depth == components_.size()) {
                return fail(inQuotes(variable->name) + " is a structure of type " +
                            inQuotes(variable->structure->name) + "; add \".\" and the name of a member");
            }
            const StructType& type = *variable->structure;
            const std::string& name = components_[depth].name;
            variable = index_ ? index_->member(type, name) : findByName(type.members, name);
            if (!variable) {
                return failUnknown("structure type " + inQuotes(type.name) + " has no member " + inQuotes(name), name,
                                   type.members);
            }
            if (!addElement(*variable, components_[depth])) {
                return false;
            }
            element_.isReadOnly = element_.isReadOnly || variable->isReadOnly;
            element_.isOnlyWrittenHere = element_.isOnlyWrittenHere || variable->isOnlyWrittenHere;
        }
        element_.code = variable->code;
        element_.bitAddressable = variable->bitAddressable;
        element_.stringCharacters = variable->stringCharacters;
        element_.notes = variable->notes;
        return finish(*variable, depth + 1);
    }

    // Adds what the variable and its indices contribute to the address.
    bool addElement(const Variable& variable, const Component& component) {
        if (!checkIndexCount(variable, component)) {
            return false;
        }
        element_.elementsToRowEnd = 1;
        std::int64_t linear = 0;
        for (std::size_t d = 0; d < variable.dimensions.size(); ++d) {
            if (!addIndex(component.indices[d], variable.dimensions[d], &linear)) {
                return false;
            }
        }
        element_.address += variable.offset + linear * elementStep(variable);
        return true;
    }

    bool checkIndexCount(const Variable& variable, const Component& component) {
        const bool isArray = !variable.dimensions.empty();
        if (!isArray) {
            return component.indexed ? fail(inQuotes(variable.name) + " is no array; remove the index") : true;
        }
        const std::string array = inQuotes(variable.name) + " is the array " + bounds(variable.dimensions);
        if (!component.indexed) {
            return fail(array + "; add an index");
        }
        if (component.indices.size() != variable.dimensions.size()) {
            return fail(array + "; give one index per dimension");
        }
        return true;
    }

    bool addIndex(const std::string& text, const ArrayDimension& dimension, std::int64_t* linear) {
        int index = 0;
        if (!parseIndex(text, &index)) {
            return fail("index " + inQuotes(text) + " is no whole number");
        }
        if (index < dimension.lower || index > dimension.upper) {
            return failOutside("index " + text + " lies outside " + bounds(dimension));
        }
        *linear = *linear * dimension.count() + (index - dimension.lower);
        element_.elementsToRowEnd = dimension.upper - index + 1;
        return true;
    }

    // Behind the last variable nothing may follow but a bit: "b[3]", or "3" as in IEC programs. What stands before the
    // bracket is free.
    bool finish(const Variable& variable, std::size_t depth) {
        if (depth == components_.size()) {
            return true;
        }
        const Component& last = components_[depth];
        if (!variable.bitAddressable || depth + 1 != components_.size()) {
            return fail(inQuotes(variable.name) + " is a " + typeTraits(variable.code)->name +
                        "; nothing can follow it, found " + inQuotes(last.text));
        }
        const bool isOneIndex = last.indexed && !last.name.empty() && last.indices.size() == 1;
        const std::string number = isOneIndex ? last.indices[0] : last.name;
        int bit = 0;
        if ((last.indexed && !isOneIndex) || !parseIndex(number, &bit)) {
            return fail(inQuotes(last.text) + " names no bit of " + inQuotes(variable.name) +
                        "; write b[0], b[1] and so on");
        }
        const ArrayDimension bits = {0, typeTraits(variable.code)->widthBytes * 8 - 1};
        if (bit < bits.lower || bit > bits.upper) {
            return failOutside("bit " + number + " lies outside " + bounds(bits));
        }
        element_.bit = bit;
        element_.notes.reset();
        return true;
    }

    const SymbolFile& file_;
    const NameIndex* index_;  // may be null
    const std::string& tag_;
    std::vector<Component> components_;
    Element element_;
    std::string reason_;
    std::string remedy_;
    bool isOutOfBounds_ = false;
};

// Where a variable lies in the whole of its area.
struct Place {
    std::string tag;  // up to and including the variable's name
    int area;
    std::int64_t address;
    bool isReadOnly;         // so is a structure around it
    bool isOnlyWrittenHere;  // likewise
};

// Calls visit(indices, linearIndex) for every element in row-major order; once, with "", without dimensions.
template <typename Visitor>
void forEachElement(const std::vector<ArrayDimension>& dimensions, Visitor visit) {
    std::vector<int> index;
    index.reserve(dimensions.size());
    for (const ArrayDimension& dimension : dimensions) {
        index.push_back(dimension.lower);
    }
    const std::int64_t count = countElements(dimensions);
    for (std::int64_t linear = 0; linear < count; ++linear) {
        std::string text;
        for (int i : index) {
            text += (text.empty() ? "[" : ",") + std::to_string(i);
        }
        visit(text.empty() ? text : text + "]", linear);
        for (std::size_t d = dimensions.size(); d-- > 0;) {
            if (++index[d] <= dimensions[d].upper) {
                break;
            }
            index[d] = dimensions[d].lower;
        }
    }
}

void appendLeaves(const Variable& variable, const Place& place, std::vector<Leaf>* leaves) {
    const bool isReadOnly = place.isReadOnly || variable.isReadOnly;
    const bool isOnlyWrittenHere = place.isOnlyWrittenHere || variable.isOnlyWrittenHere;
    if (!variable.structure) {
        leaves->push_back({place.tag, variable.code, place.area, place.address, variable.dimensions,
                           variable.bitAddressable, variable.comment, variable.stringCharacters, isReadOnly,
                           variable.notes, isOnlyWrittenHere});
        return;
    }
    forEachElement(variable.dimensions, [&](const std::string& indices, std::int64_t linear) {
        const std::int64_t start = place.address + linear * elementStep(variable);
        for (const Variable& member : variable.structure->members) {
            appendLeaves(member,
                         {place.tag + indices + "." + member.name, place.area, start + member.offset, isReadOnly,
                          isOnlyWrittenHere},
                         leaves);
        }
    });
}

}  // namespace

int Leaf::elementCount() const {
    return static_cast<int>(countElements(dimensions));
}

std::vector<Leaf> listLeaves(const SymbolFile& file) {
    std::vector<Leaf> leaves;
    for (const Scope& scope : file.scopes) {
        for (const Variable& variable : scope.variables) {
            appendLeaves(variable, {scope.name + "." + variable.name, variable.area, variable.offset, false, false},
                         &leaves);
        }
    }
    return leaves;
}

std::optional<Element> findElement(const SymbolFile& file, const std::string& tag, TagProblem* problem) {
    TagWalk walk(file, nullptr, tag);
    if (!walk.run()) {
        *problem = walk.problem();
        return std::nullopt;
    }
    return walk.element();
}

std::optional<Element> findElement(const SymbolFile& file, const std::string& tag, std::string* error) {
    TagProblem problem;
    const std::optional<Element> element = findElement(file, tag, &problem);
    if (!element) {
        *error = problem.reason + problem.remedy;
    }
    return element;
}

std::optional<Element> findElement(const SymbolFile& file, const NameIndex& index, const std::string& tag,
                                   TagProblem* problem) {
    TagWalk walk(file, &index, tag);
    if (!walk.run()) {
        *problem = walk.problem();
        return std::nullopt;
    }
    return walk.element();
}

}  // namespace ac500::symbol_file
