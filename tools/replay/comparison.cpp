#include "tools/replay/comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <variant>

#include "tools/replay/event_text.h"

namespace ac500::replay {

namespace {

using namespace record;

constexpr std::size_t kBytesBefore = 4;
constexpr std::size_t kShownAround = 24;

// Looks at field after field until one differs.
class FieldComparison {
public:
    std::optional<Difference> result;

    void number(const char* name, std::int64_t expected, std::int64_t actual) {
        if (expected != actual) {
            differs(name, std::to_string(expected), std::to_string(actual));
        }
    }

    void text(const char* name, const Text& expected, const Text& actual) {
        if (expected != actual) {
            differs(name, '"' + utf8Of(expected) + '"', '"' + utf8Of(actual) + '"');
        }
    }

    // Around the first byte that differs.
    void bytes(const char* name, const Bytes& expected, const Bytes& actual) {
        if (expected == actual) {
            return;
        }
        const auto at = static_cast<std::size_t>(
            std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end()).first - expected.begin());
        const std::size_t first = at > kBytesBefore ? at - kBytesBefore : 0;
        const auto shown = [first](const Bytes& of) {
            return fmt::format("{} bytes: {}", of.size(), hexText(of, first, kShownAround));
        };
        differs(fmt::format("{}, byte {}", name, at), shown(expected), shown(actual));
    }

    void differs(const std::string& field, const std::string& expected, const std::string& actual) {
        if (!result) {
            result = Difference{field, expected, actual};
        }
    }

    void var(const std::string& of, const VarRecord& expected, const VarRecord& actual) {
        const auto named = [&of](const char* field) { return of + "." + field; };
        if (expected.status != actual.status) {
            differs(named("status"), statusText(expected.status), statusText(actual.status));
        }
        number(named("hostId").c_str(), expected.hostId, actual.hostId);
        number(named("hostSubId").c_str(), expected.hostSubId, actual.hostSubId);
        number(named("writeFlag").c_str(), expected.writeFlag, actual.writeFlag);
        number(named("aux3").c_str(), expected.aux3, actual.aux3);
        number(named("aux4").c_str(), expected.aux4, actual.aux4);
        text(named("labelName").c_str(), expected.labelName, actual.labelName);
        text(named("labelArg").c_str(), expected.labelArg, actual.labelArg);
        number(named("dataType").c_str(), expected.dataType, actual.dataType);
        number(named("offset").c_str(), expected.offset, actual.offset);
        number(named("comWord").c_str(), expected.comWord, actual.comWord);
        number(named("size").c_str(), expected.size, actual.size);
        number(named("resolveResult").c_str(), expected.resolveResult, actual.resolveResult);
        number(named("area").c_str(), expected.area, actual.area);
        bytes(named("data").c_str(), expected.data, actual.data);
    }

    void frame(const std::optional<FrameRecord>& expected, const std::optional<FrameRecord>& actual) {
        if (!expected || !actual) {
            const auto shown = [](const std::optional<FrameRecord>& frame) {
                return frame ? requestText(frame->frame) : std::string("nothing to send");
            };
            if (expected.has_value() != actual.has_value()) {
                differs("request", shown(expected), shown(actual));
            }
            return;
        }
        if (expected->frame != actual->frame && requestText(expected->frame) != requestText(actual->frame)) {
            differs("request", requestText(expected->frame), requestText(actual->frame));
        }
        bytes("frame", expected->frame, actual->frame);
        number("frameLength", expected->frameLength, actual->frameLength);
        number("replyLength", expected->replyLength, actual->replyLength);
        number("replyDataOffset", expected->replyDataOffset, actual->replyDataOffset);
        number("minReplyLength", expected->minReplyLength, actual->minReplyLength);
        var("var", expected->var, actual->var);
        for (std::size_t i = 0; i < expected->reserved.size(); ++i) {
            number("reserved word", expected->reserved[i], actual->reserved[i]);
        }
    }

    void callbacks(const std::vector<Callback>& expected, const std::vector<Callback>& actual) {
        const auto shown = [](const std::vector<Callback>& all) {
            std::string text;
            for (const Callback& callback : all) {
                text += (text.empty() ? "" : ", ") + callbackText(callback);
            }
            return all.empty() ? std::string("none") : text;
        };
        const std::string before = shown(expected);
        const std::string after = shown(actual);
        if (before != after) {
            differs("callbacks", before, after);
        }
    }

    void settings(const std::vector<SettingsWord>& expected, const std::vector<SettingsWord>& actual) {
        for (std::size_t i = 0; i < kSettingsWords; ++i) {
            const auto shown = [i](const std::vector<SettingsWord>& words) {
                const auto found =
                    std::find_if(words.begin(), words.end(), [i](const SettingsWord& word) { return word.index == i; });
                return found == words.end() ? std::string("not changed") : fmt::format("set to {}", found->value);
            };
            if (shown(expected) != shown(actual)) {
                differs("settings record, " + settingName(i), shown(expected), shown(actual));
            }
        }
    }
};

struct AnswerComparison {
    FieldComparison& fields;

    void operator()(const RebuildReadList& expected, const RebuildReadList& actual) const {
        fields.number("result", expected.result, actual.result);
    }
    void operator()(const AddCyclicRead& expected, const AddCyclicRead& actual) const {
        fields.number("result", expected.result, actual.result);
    }
    void operator()(const AddOnceRead& expected, const AddOnceRead& actual) const {
        fields.number("result", expected.result, actual.result);
        fields.var("var", expected.varAfter, actual.varAfter);
    }
    void operator()(const AddWrite& expected, const AddWrite& actual) const {
        fields.number("result", expected.result, actual.result);
    }
    void operator()(const NextRequest& expected, const NextRequest& actual) const {
        fields.frame(expected.frame, actual.frame);
    }
    void operator()(const TakeReply& expected, const TakeReply& actual) const {
        fields.var("result", expected.result, actual.result);
    }
    void operator()(const GetValue& expected, const GetValue& actual) const {
        fields.number("result", expected.result, actual.result);
        fields.bytes("value", expected.out, actual.out);
        fields.text("name", expected.labelAfter, actual.labelAfter);
    }
    void operator()(const SetValue& expected, const SetValue& actual) const {
        fields.number("result", expected.result, actual.result);
        fields.text("name", expected.labelAfter, actual.labelAfter);
    }
    void operator()(const ResolveTag& expected, const ResolveTag& actual) const {
        fields.number("result", expected.result, actual.result);
        for (std::size_t i = 0; i < expected.after.size(); ++i) {
            fields.number(fmt::format("word {} of the answer", i).c_str(), expected.after[i], actual.after[i]);
        }
    }
    // Calls that answer nothing, and events that are no calls.
    template <typename Expected, typename Actual>
    void operator()(const Expected&, const Actual&) const {}
};

}  // namespace

std::optional<Difference> firstDifference(const Event& expected, const Event& actual) {
    FieldComparison fields;
    std::visit(AnswerComparison{fields}, expected.what, actual.what);
    fields.callbacks(expected.callbacks, actual.callbacks);
    fields.settings(expected.settingsAfter, actual.settingsAfter);
    return fields.result;
}

}  // namespace ac500::replay
