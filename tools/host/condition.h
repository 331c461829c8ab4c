// Condition is what `watch --when` and `--record-when` wait for: "Main.fault == 1", a tag, an operator and a value. Immutable.
#ifndef AC500_TOOLS_HOST_CONDITION_H
#define AC500_TOOLS_HOST_CONDITION_H

#include <optional>
#include <string>

#include "tools/host/failure.h"
#include "tools/host/tag.h"

namespace ac500::host {

class Condition {
public:
    // Understands TAG, one of == != < <= > >=, and a value as `write` takes it; blanks around the operator are free.
    // `option` is where the text was given, for what is told.
    // Truth values and strings know == and != only. Nothing on failure: a name that does not resolve, or a usage.
    static std::optional<Condition> parse(const TagTable& tags, const std::string& text, Failure* failure,
                                          const char* option = "--when");

    const Tag& tag() const { return tag_; }
    // Scaled tags are compared as people see them. No comparison but != holds for nan. REQUIRES: the values are of the tag.
    bool holds(const HostValues& inPlc) const;

private:
    enum class Relation { Equal, NotEqual, Less, LessOrEqual, Greater, GreaterOrEqual };

    struct Operator {
        const char* text;
        Relation relation;
    };
    static const Operator kOperators[];

    template <typename Value>
    bool compare(const Value& left, const Value& right) const;
    bool isOrdering() const { return relation_ != Relation::Equal && relation_ != Relation::NotEqual; }

    Tag tag_;
    Relation relation_ = Relation::Equal;
    HostValue value_;  // as plantValues() gives them
};

}  // namespace ac500::host

#endif
