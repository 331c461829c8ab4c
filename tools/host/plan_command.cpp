#include "tools/host/commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>

#include "tools/desk/plan_growth.h"
#include "tools/desk/plan_picture.h"
#include "tools/desk/read_plan.h"
#include "tools/desk/what_if.h"
#include "tools/host/exit_codes.h"
#include "tools/host/print.h"
#include "tools/host/terminal.h"
#include "tools/text/file_text.h"

namespace ac500::host {

using desk::FigureChange;
using desk::Gap;
using desk::ObservedPass;
using desk::ReadPlan;
using desk::RequestFigures;
using desk::RequestTime;
using desk::SizeRange;
using desk::TriedSize;
using desk::WantedTag;

namespace {

constexpr std::size_t kMaxPlanBytes = 64u * 1024 * 1024;
constexpr std::size_t kShownRequests = 20;
constexpr std::size_t kShownGaps = 10;
constexpr std::size_t kShownSizes = 12;

// All that a plan shows, whatever it is shown in.
struct PlanReport {
    int maxRequestWords = 0;
    RequestTime time;
    ReadPlan plan;
    int whatIfWords = 0;           // --what-if, the largest size to be tried
    std::vector<TriedSize> sizes;  // those that were, ascending
    desk::PlanBasis basis;
    std::optional<std::vector<FigureChange>> changes;  // --expect
    std::vector<desk::BasisChange> basisChanges;       // likewise
};

struct EarlierPlan {
    std::map<std::string, std::int64_t> costs;
    desk::PlanBasis basis;
};

// ---------------------------------------------------------------------------------------------------------------------
// An earlier plan
// ---------------------------------------------------------------------------------------------------------------------

std::optional<std::int64_t> wholeNumber(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_number_integer() ? std::optional(found->get<std::int64_t>())
                                                               : std::nullopt;
}

std::string textOf(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

// Costs and basis of a plan as --json printed it. Plans of earlier versions tell less of the basis.
std::optional<EarlierPlan> earlierPlan(const std::string& fileName, Failure* failure) {
    std::string content;
    if (!text::readUpTo(fileName, kMaxPlanBytes, &content)) {
        *failure = {FailureKind::File, fileName + ": cannot be read: " + std::strerror(errno)};
        return std::nullopt;
    }
    const Json document = Json::parse(content, nullptr, false);
    if (document.is_discarded()) {
        *failure = {FailureKind::File, fileName + ": is no JSON; name a file that plan --json has written"};
        return std::nullopt;
    }
    const bool isPlan = document.is_object() && document.contains("plan") && document["plan"].is_object();
    std::map<std::string, std::int64_t> costs;
    for (const desk::PlanFigure& figure : desk::costsOf(ReadPlan())) {
        if (!isPlan || !document["plan"].contains(figure.key) || !document["plan"][figure.key].is_number_integer()) {
            *failure = {FailureKind::File,
                        fmt::format("{}: is no plan, \"plan\" with a whole number \"{}\" is missing; "
                                    "name a file that plan --json has written",
                                    fileName, figure.key)};
            return std::nullopt;
        }
        costs[figure.key] = document["plan"][figure.key].get<std::int64_t>();
    }
    const Json& plan = document["plan"];
    return EarlierPlan{costs,
                       {wholeNumber(plan, "tags"), textOf(plan, "tags_fingerprint"), textOf(plan, "places_fingerprint"),
                        wholeNumber(plan, "max_request_words")}};
}

// ---------------------------------------------------------------------------------------------------------------------
// Making it
// ---------------------------------------------------------------------------------------------------------------------

// The tags without those that are wrong; *failure says so when none is left.
bool chooseRightTags(CommandContext& context, std::vector<Tag>* tags, Failure* failure) {
    const selection::Catalog& catalog = context.tags().catalog();
    selection::EntryList list = selection::entriesOf(context.options().arguments, std::cin);
    const std::size_t named = list.entries.size();
    const auto isWrong = [&catalog](const selection::Entry& entry) {
        std::string reason;
        const bool isPattern = entry.text.find_first_of("*?") != std::string::npos;
        return isPattern
                   ? !selection::choose(catalog, {entry}, {std::numeric_limits<std::size_t>::max()}).problems.empty()
                   : !catalog.isTag(entry.text, &reason);
    };
    list.entries.erase(std::remove_if(list.entries.begin(), list.entries.end(), isWrong), list.entries.end());
    std::size_t leftOut = named - list.entries.size();
    std::vector<selection::ChosenTag> chosen;
    std::vector<Tag> found;
    if (!context.chooseTags(list, selection::Expansion::Allowed, &chosen, failure) ||
        !context.findTags(chosen, &found, failure)) {
        return false;
    }
    for (Tag& tag : found) {
        Failure unknown;
        if (context.driverKnows({tag}, &unknown)) {
            tags->push_back(std::move(tag));
        } else {
            ++leftOut;
        }
    }
    if (leftOut > 0) {
        note(fmt::format("{} of {} tags are left out; ac500-host check tells why", leftOut, leftOut + tags->size()));
    }
    if (tags->empty()) {
        *failure = {FailureKind::Name, "no tag is left to plan; ac500-host check tells why"};
    }
    return !tags->empty();
}

bool chooseTags(CommandContext& context, std::vector<Tag>* tags, Failure* failure) {
    if (context.options().plan.skipWrong) {
        return context.openOfflineDriver(failure) && chooseRightTags(context, tags, failure);
    }
    return context.chooseTags(tags, failure) && context.openOfflineDriver(failure) &&
           context.driverKnows(*tags, failure);
}

// The size in use is among them, also when it lies outside of what is to be tried.
bool trySizes(CommandContext& context, const std::vector<Tag>& tags, const TriedSize& inUse,
              std::vector<TriedSize>* sizes, Failure* failure) {
    const int largest = context.options().plan.whatIfWords;
    if (largest > 0 && inUse.maxRequestWords < desk::kSmallestTriedWords) {
        sizes->push_back(inUse);
    }
    for (int words = desk::kSmallestTriedWords; words <= largest; ++words) {
        if (wasInterrupted()) {
            return true;
        }
        std::string error;
        const std::optional<ObservedPass> pass = context.offlineDriver().observePass(tags, words, &error);
        if (!pass) {
            *failure = {FailureKind::Request, error};
            return false;
        }
        sizes->push_back(desk::triedSize(words, *pass));
    }
    if (largest > 0 && inUse.maxRequestWords > largest) {
        sizes->push_back(inUse);
    }
    return true;
}

// ---------------------------------------------------------------------------------------------------------------------
// Text
// ---------------------------------------------------------------------------------------------------------------------

std::string percent(std::int64_t part, std::int64_t whole) {
    return whole == 0 ? "-" : fmt::format("{:.0f} %", 100.0 * static_cast<double>(part) / static_cast<double>(whole));
}

void printMore(std::size_t all, std::size_t shown, const char* what) {
    if (all > shown) {
        printLine(fmt::format("{} more {}; --json lists all", all - shown, what));
    }
}

void printFigures(const PlanReport& report) {
    const ReadPlan& plan = report.plan;
    const RequestTime& time = report.time;
    const std::size_t requests = plan.requests.size();
    printTable({
        {"Tags", fmt::format("{}", plan.tags)},
        {"Largest item", fmt::format("{} words", report.maxRequestWords)},
        {"Requests in a pass", fmt::format("{}", requests)},
        {"Items", fmt::format("{}", plan.items)},
        {"Bytes asked for", fmt::format("{}", plan.bytesAsked)},
        {"Bytes wanted",
         fmt::format("{}, {} of those asked for", plan.bytesWanted, percent(plan.bytesWanted, plan.bytesAsked))},
        {"Bytes read along",
         fmt::format("{}, in {} gap{}", plan.bytesReadAlong, plan.gaps.size(), plan.gaps.size() == 1 ? "" : "s")},
        {"Bytes on the wire", fmt::format("{} sent, {} received", plan.bytesSent, plan.bytesReceived)},
        {"Time of a pass", fmt::format("{:.1f} ms, with a round trip of {} ms and {} ms in the PLC for each request",
                                       passMs(requests, time), time.roundTripMs, time.plcMs)},
        {"Of ac500-host",
         fmt::format("{:.1f} ms, with its quiet look behind the last reply", passWithLookMs(requests, time))},
    });
}

void printRequests(const std::vector<RequestFigures>& requests) {
    std::vector<std::vector<std::string>> rows{{"REQUEST", "ITEMS", "ASKED FOR", "WANTED", "FILL", "SENT", "RECEIVED"}};
    for (std::size_t i = 0; i < std::min(requests.size(), kShownRequests); ++i) {
        const RequestFigures& request = requests[i];
        const std::string again = request.itemsAgain == 0 ? "" : fmt::format(" ({} again)", request.itemsAgain);
        rows.push_back({std::to_string(i + 1), std::to_string(request.items) + again,
                        std::to_string(request.bytesAsked), std::to_string(request.bytesWanted),
                        percent(request.bytesWanted, request.bytesAsked), std::to_string(request.requestBytes),
                        std::to_string(request.replyBytes)});
    }
    printLine("");
    printTable(rows);
    printMore(requests.size(), kShownRequests, "requests");
}

void printGaps(std::vector<Gap> gaps) {
    if (gaps.empty()) {
        return;
    }
    std::stable_sort(gaps.begin(), gaps.end(), [](const Gap& a, const Gap& b) { return a.bytes.size > b.bytes.size; });
    std::vector<std::vector<std::string>> rows{{"READ ALONG", "AREA", "ADDRESS", "BETWEEN", "AND"}};
    for (std::size_t i = 0; i < std::min(gaps.size(), kShownGaps); ++i) {
        const Gap& gap = gaps[i];
        rows.push_back({std::to_string(gap.bytes.size), std::to_string(gap.bytes.area),
                        std::to_string(gap.bytes.address), gap.tagBefore, gap.tagBehind});
    }
    printLine("");
    printTable(rows);
    printMore(gaps.size(), kShownGaps, "gaps");
}

template <typename Number>
std::string rangeText(Number least, Number most) {
    return least == most ? std::to_string(least) : fmt::format("{}..{}", least, most);
}

// The size in use and the largest are always shown, each with its own figures.
void printSizes(const PlanReport& report) {
    if (report.sizes.empty()) {
        return;
    }
    const std::vector<SizeRange> ranges =
        desk::rangesByTime(report.sizes, {report.maxRequestWords, report.whatIfWords});
    std::vector<std::vector<std::string>> rows{
        {"WORDS", "REQUESTS", "TIME OF A PASS", "ITEMS", "SENT", "RECEIVED", ""}};
    std::size_t shown = 0;
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        const auto& [least, most] = ranges[i];
        const bool isInUse = least.maxRequestWords == report.maxRequestWords;
        const bool isLargest = least.maxRequestWords == report.whatIfWords;
        if (i >= kShownSizes && !isInUse && !isLargest) {
            continue;
        }
        ++shown;
        rows.push_back({rangeText(least.maxRequestWords, most.maxRequestWords), std::to_string(least.requests),
                        fmt::format("{:.1f} ms", passMs(static_cast<std::size_t>(least.requests), report.time)),
                        rangeText(least.items, most.items), rangeText(least.bytesSent, most.bytesSent),
                        rangeText(least.bytesReceived, most.bytesReceived), isInUse ? "now" : ""});
    }
    printLine("");
    printLine("What if --max-request-words were another, the best first; only the PLC can tell what it accepts.");
    printTable(rows);
    printMore(ranges.size(), shown, "ranges of sizes");
}

void printChanges(const PlanReport& report, const std::string& fileName) {
    if (!report.changes) {
        return;
    }
    printLine("");
    for (const desk::BasisChange& change : report.basisChanges) {
        printLine(fmt::format("Not what {} was made of: {}.", fileName, change.text));
    }
    if (report.changes->empty()) {
        printLine(fmt::format("It costs what {} says.", fileName));
        return;
    }
    std::vector<std::vector<std::string>> rows{{"AGAINST " + fileName, "BEFORE", "NOW", ""}};
    for (const FigureChange& change : *report.changes) {
        rows.push_back({change.name, std::to_string(change.before), std::to_string(change.now),
                        change.isGrowth() ? "grew" : "less"});
    }
    printTable(rows);
}

// ---------------------------------------------------------------------------------------------------------------------
// JSON
// ---------------------------------------------------------------------------------------------------------------------

Json figuresJson(const PlanReport& report) {
    const ReadPlan& plan = report.plan;
    Json json{{"max_request_words", report.maxRequestWords}, {"tags", plan.tags}};
    json["tags_fingerprint"] = report.basis.tagsFingerprint;
    json["places_fingerprint"] = report.basis.placesFingerprint;
    for (const desk::PlanFigure& figure : desk::costsOf(plan)) {
        json[figure.key] = figure.value;
    }
    json["bytes_wanted"] = plan.bytesWanted;
    json["bytes_read_along"] = plan.bytesReadAlong;
    json["fill"] = plan.fill();
    json["round_trip_ms"] = report.time.roundTripMs;
    json["plc_ms"] = report.time.plcMs;
    json["pass_ms"] = passMs(plan.requests.size(), report.time);
    json["pass_with_look_ms"] = passWithLookMs(plan.requests.size(), report.time);
    return json;
}

Json requestsJson(const std::vector<RequestFigures>& requests) {
    Json list = Json::array();
    for (const RequestFigures& request : requests) {
        list.push_back({{"items", request.items},
                        {"items_again", request.itemsAgain},
                        {"bytes_asked", request.bytesAsked},
                        {"bytes_wanted", request.bytesWanted},
                        {"bytes_sent", request.requestBytes},
                        {"bytes_received", request.replyBytes}});
    }
    return list;
}

Json gapsJson(const std::vector<Gap>& gaps) {
    Json list = Json::array();
    for (const Gap& gap : gaps) {
        list.push_back({{"area", gap.bytes.area},
                        {"address", gap.bytes.address},
                        {"bytes", gap.bytes.size},
                        {"before", gap.tagBefore},
                        {"behind", gap.tagBehind}});
    }
    return list;
}

Json sizesJson(const PlanReport& report) {
    std::vector<TriedSize> sizes = report.sizes;
    desk::sortByTime(sizes);
    Json list = Json::array();
    for (const TriedSize& size : sizes) {
        list.push_back({{"max_request_words", size.maxRequestWords},
                        {"requests", size.requests},
                        {"items", size.items},
                        {"bytes_asked", size.bytesAsked},
                        {"bytes_sent", size.bytesSent},
                        {"bytes_received", size.bytesReceived},
                        {"pass_ms", passMs(static_cast<std::size_t>(size.requests), report.time)}});
    }
    return list;
}

Json changesJson(const std::vector<FigureChange>& changes, const std::vector<desk::BasisChange>& basisChanges) {
    Json list = Json::array();
    for (const FigureChange& change : changes) {
        list.push_back({{"figure", change.name}, {"before", change.before}, {"now", change.now}});
    }
    Json unlike = Json::array();
    for (const desk::BasisChange& change : basisChanges) {
        unlike.push_back({{"what", change.key}, {"text", change.text}});
    }
    return {{"grew", desk::anyGrowth(changes)}, {"changes", list}, {"not_the_same", unlike}};
}

Json reportJson(const PlanReport& report) {
    Json json = newDocument();
    json["plan"] = figuresJson(report);
    json["per_request"] = requestsJson(report.plan.requests);
    json["gaps"] = gapsJson(report.plan.gaps);
    if (!report.sizes.empty()) {
        json["what_if"] = sizesJson(report);
        json["what_if_note"] = "only the PLC can tell what it accepts";
    }
    if (report.changes) {
        json["expect"] = changesJson(*report.changes, report.basisChanges);
    }
    return json;
}

// ---------------------------------------------------------------------------------------------------------------------
// Pictures
// ---------------------------------------------------------------------------------------------------------------------

void printMap(const ObservedPass& pass, const std::vector<WantedTag>& wanted) {
    printLine("");
    for (const std::string& line : desk::characterMapOf(pass, wanted)) {
        printLine(line);
    }
}

bool writePicture(const std::string& fileName, const PlanReport& report, const ObservedPass& pass,
                  const std::vector<WantedTag>& wanted, Failure* failure) {
    const ReadPlan& plan = report.plan;
    const std::string summary = fmt::format(
        "{} requests and {} items a pass at {} words; {} bytes asked for, {} wanted ({}), {} read along; on the wire "
        "{} "
        "bytes sent, {} received",
        plan.requests.size(), plan.items, report.maxRequestWords, plan.bytesAsked, plan.bytesWanted,
        percent(plan.bytesWanted, plan.bytesAsked), plan.bytesReadAlong, plan.bytesSent, plan.bytesReceived);
    const std::string title = fmt::format("What is read of the PLC's memory for {} tags", plan.tags);
    errno = 0;
    std::ofstream file(fileName, std::ios::binary | std::ios::trunc);
    file << desk::svgOf({title, summary, pass, wanted, plan});
    file.close();
    if (!file) {
        *failure = {FailureKind::Output, fileName + ": the picture cannot be written: " + std::strerror(errno)};
        return false;
    }
    return true;
}

}  // namespace

int runPlan(CommandContext& context) {
    const Options& options = context.options();
    Failure failure;
    std::optional<EarlierPlan> earlier;
    if (!options.plan.expect.empty() && !(earlier = earlierPlan(options.plan.expect, &failure))) {
        return context.cannotBegin(failure);
    }
    std::vector<Tag> tags;
    if (!chooseTags(context, &tags, &failure)) {
        return context.cannotBegin(failure);
    }
    std::vector<Tag> all = tags;
    all.insert(all.end(), context.offlineDriver().guards().begin(), context.offlineDriver().guards().end());
    const std::vector<WantedTag> wanted = wantedBytes(all);
    PlanReport report;
    report.maxRequestWords = options.maxRequestWords;
    report.whatIfWords = options.plan.whatIfWords;
    report.time = {options.plan.roundTripMs, options.plan.plcMs};
    std::string error;
    const std::optional<ObservedPass> pass = context.offlineDriver().observePass(tags, options.maxRequestWords, &error);
    if (!pass) {
        return context.cannotBegin({FailureKind::Request, error});
    }
    report.plan = desk::makeReadPlan(*pass, wanted);
    report.basis = desk::basisOf(wanted, options.maxRequestWords);
    if (!trySizes(context, tags, desk::triedSize(options.maxRequestWords, *pass), &report.sizes, &failure)) {
        return context.cannotBegin(failure);
    }
    if (wasInterrupted()) {
        return kExitInterrupted;
    }
    if (earlier) {
        report.changes = desk::changesSince(earlier->costs, report.plan);
        report.basisChanges = desk::basisChanges(earlier->basis, report.basis);
    }
    if (!options.plan.svg.empty() && !writePicture(options.plan.svg, report, *pass, wanted, &failure)) {
        return context.cannotBegin(failure);
    }
    if (options.json) {
        printJson(reportJson(report));
    } else {
        printFigures(report);
        printRequests(report.plan.requests);
        printGaps(report.plan.gaps);
        if (options.plan.map) {
            printMap(*pass, wanted);
        }
        printSizes(report);
        printChanges(report, options.plan.expect);
    }
    return report.changes && desk::anyGrowth(*report.changes) ? exitCodeOfFindings() : 0;
}

}  // namespace ac500::host
