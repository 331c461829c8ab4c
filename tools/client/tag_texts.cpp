#include "tools/client/tag_texts.h"

#include <fmt/format.h>

#include <utility>

#include "tools/client/conversion.h"

namespace ac500::client {

using symbol_file::ValueNotes;

TagTexts::TagTexts(const host::Tag& tag, std::string comment)
    : name_(tag.text),
      type_(tag.form.isBit ? "BOOL" : symbol_file::typeName(tag.form.code, tag.form.stringCharacters)),
      comment_(std::move(comment)) {
    numbers_.kind = kindOfTag(tag);
    numbers_.elements = tag.elements;
    numbers_.is_list = tag.isList ? 1 : 0;
    numbers_.is_readonly = tag.isReadOnly ? 1 : 0;
    if (tag.notes == nullptr) {
        return;
    }
    const ValueNotes& notes = *tag.notes;
    unit_ = notes.unit;
    numbers_.has_minimum = notes.minimum ? 1 : 0;
    numbers_.has_maximum = notes.maximum ? 1 : 0;
    numbers_.minimum = notes.minimum ? notes.minimum->number.value : 0;
    numbers_.maximum = notes.maximum ? notes.maximum->number.value : 0;
    for (const symbol_file::NamedValue& named : notes.names) {
        valueNames_ += fmt::format("{}{}={}", valueNames_.empty() ? "" : ", ", text::toText(named.value), named.name);
    }
}

ac500_tag_info TagTexts::info() const {
    ac500_tag_info info = numbers_;
    info.name = name_.c_str();
    info.type = type_.c_str();
    info.unit = unit_.c_str();
    info.comment = comment_.c_str();
    info.value_names = valueNames_.c_str();
    return info;
}

}  // namespace ac500::client
