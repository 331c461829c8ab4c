#include "tools/gateway/page_json.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/console/time_text.h"
#include "tools/gateway/page/assets.h"
#include "tools/http/message.h"

namespace ac500::gateway {

using http::jsonText;

namespace {

constexpr int kInterfaceVersion = 1;

template <typename Items, typename Text>
std::string listJson(const Items& items, Text text) {
    std::string json = "[";
    for (const auto& item : items) {
        json += (json.size() > 1 ? "," : "") + text(item);
    }
    return json + "]";
}

std::string namesJson(const host::Tag& tag) {
    std::string json = "{";
    if (tag.notes != nullptr) {
        for (const symbol_file::NamedValue& named : tag.notes->names) {
            json += (json.size() > 1 ? "," : "") + jsonText(text::toText(named.value)) + ":" + jsonText(named.name);
        }
    }
    return json + "}";
}

std::string limitJson(const std::optional<symbol_file::Limit>& limit) {
    return limit ? jsonText(limit->number.text) : "null";
}

std::string tagJson(const PlantTag& tag) {
    const symbol_file::ValueNotes none;
    const symbol_file::ValueNotes& notes = tag.tag.notes == nullptr ? none : *tag.tag.notes;
    return fmt::format(
        R"({{"name":{},"scope":{},"type":{},"unit":{},"description":{},"least":{},"largest":{},"names":{},"elements":{},"writable":{},"kept":{}}})",
        jsonText(tag.name), jsonText(tag.scope), jsonText(tag.type), jsonText(tag.unit), jsonText(tag.description),
        limitJson(notes.minimum), limitJson(notes.maximum), namesJson(tag.tag), tag.tag.elements, tag.isWritable,
        tag.isKept);
}

std::string viewerJson(const std::optional<PageViewer>& viewer) {
    return viewer ? fmt::format(R"({{"name":{},"right":"{}"}})", jsonText(viewer->name),
                                viewer->mayWrite ? "write" : "view")
                  : "null";
}

std::string timeOrNull(const std::optional<host::Time>& time) {
    return time ? std::to_string(pageClock(*time)) : "null";
}

std::string valueJson(const Plant& plant, const BoardEntry& entry) {
    const host::TagValue& value = entry.second.value;
    const std::string& problem = value.failure.occurred() ? value.failure.text : value.suspicion.text;
    return fmt::format(R"({{"tag":{},"state":"{}","texts":{},"received":{},"failure":{}}})", entry.first,
                       host::valueStateName(value.state),
                       textsJson(textsWithoutUnit(plant, entry.first, entry.second.texts)), timeOrNull(value.received),
                       problem.empty() ? "null" : jsonText(problem));
}

std::string eventJson(const host::SessionEvent& event) {
    const events::EventRow& row = events::rowOf(event.event);
    return fmt::format(R"({{"number":{},"utc":"{}","clock":{},"level":"{}","event":"{}","text":{}}})", event.number,
                       console::utcText(event.wallTime), pageClock(event.time), events::levelName(row.level), row.id,
                       jsonText(event.message()));
}

std::string spanJson(const TimeSpan& span) {
    return fmt::format(R"({{"from":{},"to":{},"state":"{}","text":{}}})", pageClock(span.from), timeOrNull(span.to),
                       connectionStateName(span.connection.state), jsonText(span.connection.text));
}

// Upper ends at which the histogram's counts are exact: one less than 16, 20, 24 and 28 times powers of two. Those between
// which nothing was counted are left out.
std::string bucketsJson(const metrics::Histogram& histogram) {
    std::string json = "[";
    std::int64_t before = 0;
    for (std::int64_t unit = 1; unit <= metrics::Histogram::kLimit.count() / 32; unit *= 2) {
        for (const int steps : {20, 24, 28, 32}) {
            const std::int64_t upper = steps * unit - 1;
            const std::int64_t count = histogram.countUpTo(metrics::Duration(upper));
            if (count > before) {
                json += fmt::format("{}[{},{}]", json.size() > 1 ? "," : "", upper, count - before);
                before = count;
            }
        }
    }
    if (histogram.count() > before) {
        json += fmt::format("{}[{},{}]", json.size() > 1 ? "," : "", histogram.longest().count(),
                            histogram.count() - before);
    }
    return json + "]";
}

std::string columnJson(const TrendColumn& column) {
    if (!column.least || !column.largest) {
        return fmt::format("[{},null,null]", column.at.count());
    }
    return fmt::format("[{},{},{}]", column.at.count(), *column.least, *column.largest);
}

}  // namespace

std::int64_t pageClock(host::Time time) {
    return std::chrono::duration_cast<host::Milliseconds>(time).count();
}

std::string utcAt(const Plant& plant, host::Time time) {
    return console::utcText(std::chrono::system_clock::now() - (plant.now() - time));
}

std::string textsJson(const std::vector<std::string>& texts) {
    return listJson(texts, [](const std::string& text) { return jsonText(text); });
}

std::vector<std::string> textsWithoutUnit(const Plant& plant, std::size_t tag, const std::vector<std::string>& texts) {
    const std::string& unit = plant.tags()[tag].unit;
    std::vector<std::string> bare = texts;
    const std::string end = " " + unit;
    for (std::string& text : bare) {
        if (!unit.empty() && text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0) {
            text.erase(text.size() - end.size());
        }
    }
    return bare;
}

std::string plantJson(const Plant& plant, const PlantIntroduction& introduction) {
    std::string json = fmt::format(
        R"({{"version":{},"build":{},"plc":{},"name":{},"symbols":{},"signIn":"{}","viewer":{},"tags":)",
        kInterfaceVersion, jsonText(std::string(pageBuild())), jsonText(introduction.showsTags ? introduction.plc : ""),
        jsonText(introduction.showsTags ? plant.settings().name : ""),
        jsonText(introduction.showsTags ? plant.fingerprint() : ""), introduction.signIn,
        viewerJson(introduction.viewer));
    json += introduction.showsTags ? listJson(plant.tags(), tagJson) : "[]";
    return json + "}\n";
}

std::string sessionJson(const Plant& plant) {
    const std::optional<TimeSpan> span = plant.timeLine().current();
    const Connection connection = span ? span->connection : Connection();
    return fmt::format(R"({{"state":"{}","since":{},"text":{},"cycle_us":{}}})", connectionStateName(connection.state),
                       pageClock(span ? span->from : host::Time(0)), jsonText(connection.text),
                       plant.latencies().of(host::LatencyKind::Pass).last().count());
}

std::string beatJson(const Plant& plant, const std::vector<std::size_t>& tags) {
    return fmt::format(R"({{"clock":{},"session":{},"received":{}}})", pageClock(plant.now()), sessionJson(plant),
                       listJson(plant.received(tags), timeOrNull));
}

std::string valuesJson(const Plant& plant, const std::vector<BoardEntry>& entries) {
    return fmt::format(R"({{"clock":{},"values":{}}})", pageClock(plant.now()),
                       listJson(entries, [&](const BoardEntry& entry) { return valueJson(plant, entry); }));
}

std::string eventsJson(const std::vector<host::SessionEvent>& events) {
    return "{\"events\":" + listJson(events, eventJson) + "}";
}

std::string writeJson(const Plant& plant, std::size_t tag, const std::string& number, const host::WriteReport& report) {
    std::vector<std::string> before;
    if (!report.before.empty()) {
        before = textsWithoutUnit(plant, tag, plant.textsOf(tag, report.before));
    }
    return fmt::format(R"({{"number":{},"outcome":"{}","text":{},"before":{}}})", jsonText(number),
                       host::writeOutcomeName(report.outcome), jsonText(report.failure.text), textsJson(before));
}

std::string timeLineJson(const Plant& plant) {
    const host::Time now = plant.now();
    return fmt::format("{{\"clock\":{},\"utc\":\"{}\",\"spans\":{}}}\n", pageClock(now), utcAt(plant, now),
                       listJson(plant.timeLine().spans(), spanJson));
}

std::string latencyJson(const Plant& plant) {
    const host::Latencies latencies = plant.latencies();
    return "{\"kinds\":" +
           listJson(host::kLatencyKinds,
                    [&](host::LatencyKind kind) {
                        const metrics::Histogram& histogram = latencies.of(kind);
                        return fmt::format(
                            R"({{"name":"{}","count":{},"p50_us":{},"p99_us":{},"longest_us":{},"buckets":{}}})",
                            host::latencyName(kind), histogram.count(), histogram.p50().count(),
                            histogram.p99().count(), histogram.longest().count(), bucketsJson(histogram));
                    }) +
           "}\n";
}

std::string trendJson(const Plant& plant, const TrendQuestion& question) {
    const host::Time now = plant.now();
    const std::optional<host::Milliseconds> oldest = plant.trend().oldest();
    return fmt::format("{{\"clock\":{},\"utc\":\"{}\",\"oldest\":{},\"series\":{}}}\n", pageClock(now),
                       utcAt(plant, now), oldest ? std::to_string(oldest->count()) : "null",
                       listJson(question.tags, [&](std::size_t tag) {
                           const std::vector<TrendColumn> columns =
                               plant.trend().columns(plant.tags()[tag].series, question.range, question.columns);
                           return fmt::format(R"({{"tag":{},"columns":{}}})", tag, listJson(columns, columnJson));
                       }));
}

}  // namespace ac500::gateway
