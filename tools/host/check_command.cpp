#include "tools/host/commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <utility>

#include "tools/desk/tag_check.h"
#include "tools/host/print.h"
#include "tools/host/tag_inquiry.h"
#include "tools/host/terminal.h"

namespace ac500::host {

using desk::Finding;
using desk::NamedTag;
using desk::Severity;
using desk::Tally;
using desk::WrittenTag;
using selection::Entry;
using selection::EntryList;

namespace {

// What one panel does with tags.
struct PanelList {
    std::string panel;
    bool isWritten = false;
    bool isOwn = true;  // false: another panel's
    std::vector<Entry> entries;
};

struct CheckReport {
    int tags = 0;
    int writes = 0;
    std::vector<Finding> findings;
};

// ---------------------------------------------------------------------------------------------------------------------
// Lists
// ---------------------------------------------------------------------------------------------------------------------

// A word of the command line may have its value behind a "=", as with write.
void splitValues(std::vector<Entry>& entries) {
    for (Entry& entry : entries) {
        const std::string::size_type equals = entry.text.find('=');
        if (entry.origin.list.empty() && equals != std::string::npos) {
            entry.value = entry.text.substr(equals + 1);
            entry.text.resize(equals);
        }
    }
}

bool addList(PanelList list, const std::vector<std::string>& words, std::vector<PanelList>* lists, Failure* failure) {
    EntryList read = selection::entriesOf(words, std::cin);
    if (!read.problems.empty()) {
        std::string text;
        for (const selection::SelectionProblem& problem : read.problems) {
            text += (text.empty() ? "" : "\n") + problem.text;
        }
        *failure = {FailureKind::File, text};
        return false;
    }
    list.entries = std::move(read.entries);
    if (list.isWritten) {
        splitValues(list.entries);
    }
    lists->push_back(std::move(list));
    return true;
}

bool readLists(const Options& options, std::vector<PanelList>* lists, Failure* failure) {
    if (!addList({"this panel", false, true, {}}, options.arguments, lists, failure) ||
        !addList({"this panel", true, true, {}}, options.check.writes, lists, failure)) {
        return false;
    }
    for (const std::string& file : options.check.also) {
        const std::string word = selection::namesList(file) ? file : "@" + file;
        if (!addList({"another panel", true, false, {}}, {word}, lists, failure)) {
            return false;
        }
    }
    const bool hasAny =
        std::any_of(lists->begin(), lists->end(), [](const PanelList& list) { return !list.entries.empty(); });
    if (!hasAny) {
        *failure = {FailureKind::Usage, "there is nothing to check; name tags, or lists of them as @FILE"};
    }
    return hasAny;
}

// ---------------------------------------------------------------------------------------------------------------------
// Checking
// ---------------------------------------------------------------------------------------------------------------------

void append(std::vector<Finding> more, std::vector<Finding>* findings) {
    findings->insert(findings->end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

std::vector<NamedTag> namesOf(const std::vector<GoodTag>& tags) {
    std::vector<NamedTag> names;
    for (const GoodTag& good : tags) {
        if (good.isNamed) {
            names.push_back({good.tag.text, good.place});
        }
    }
    return names;
}

void addWrites(const std::vector<GoodTag>& tags, std::size_t panel, std::vector<WrittenTag>* writes) {
    for (const GoodTag& good : tags) {
        for (const ByteRun& run : good.tag.byteRuns()) {
            if (good.tag.form.code != TypeCode::Bit) {
                writes->push_back({{good.tag.text, good.place}, panel, run, good.tag.form.isBit});
            }
        }
    }
}

// By file, in the order in which the entries name them, then by row.
void sortByPlace(const std::vector<Entry>& entries, std::vector<Finding>* findings) {
    std::map<std::string, std::size_t> order;
    for (const Entry& entry : entries) {
        order.emplace(entry.origin.list, order.size());
    }
    std::stable_sort(findings->begin(), findings->end(), [&order](const Finding& a, const Finding& b) {
        return std::make_pair(order[a.place.list], a.place.row) < std::make_pair(order[b.place.list], b.place.row);
    });
}

// In the order of the lists and their rows, then what several lists make wrong. False: a list has more than mostTags.
bool checkLists(const std::vector<PanelList>& lists, int mostTags, TagInquiry& inquiry, CheckReport* report,
                Failure* failure) {
    std::vector<WrittenTag> writes;
    std::vector<std::string> panels;
    std::vector<Finding> shared;
    for (const PanelList& list : lists) {
        std::vector<GoodTag> good;
        std::vector<Finding> findings;
        int tags = 0;
        for (const Entry& entry : list.entries) {
            tags += inquiry.ask(entry, list.isWritten ? TagUse::Write : TagUse::Read, &good, &findings);
            if (tags > mostTags) {
                *failure = {FailureKind::Usage,
                            fmt::format("what {} {} are more tags than the {} allowed; narrow it, or raise the limit "
                                        "with --max",
                                        list.panel, list.isWritten ? "writes" : "reads", mostTags)};
                return false;
            }
        }
        (list.isWritten ? report->writes : report->tags) += list.isOwn ? tags : 0;
        append(desk::givenTwice(namesOf(good)), &findings);
        sortByPlace(list.entries, &findings);
        append(std::move(findings), &report->findings);
        if (list.isWritten) {
            addWrites(good, panels.size(), &writes);
            panels.push_back(list.panel);
        }
    }
    append(desk::sharedWords(writes, panels), &report->findings);
    return true;
}

// ---------------------------------------------------------------------------------------------------------------------
// Output
// ---------------------------------------------------------------------------------------------------------------------

std::string tallyText(const Tally& tally) {
    const auto counted = [](int count, const char* what) {
        return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
    };
    return counted(tally.errors, "error") + ", " + counted(tally.warnings, "warning");
}

void printReport(const CheckReport& report, const Tally& tally) {
    std::vector<std::vector<std::string>> rows{{"", "WHERE", "TAG", "WHAT"}};
    for (const Finding& finding : report.findings) {
        rows.push_back({severityName(finding.severity), placeText(finding.place), finding.tag, finding.text});
    }
    if (rows.size() > 1) {
        printTable(rows);
    }
    printLine(fmt::format("{} read, {} written: {}", report.tags, report.writes, tallyText(tally)));
}

Json findingJson(const Finding& finding) {
    Json json;
    json["severity"] = severityName(finding.severity);
    json["kind"] = kindName(finding.kind);
    json["list"] = finding.place.list;
    json["row"] = finding.place.row;
    json["tag"] = finding.tag;
    json["code"] = finding.driverCode ? Json(*finding.driverCode) : Json();
    json["text"] = finding.text;
    return json;
}

Json reportJson(const CheckReport& report, const Tally& tally) {
    Json json = newDocument();
    json["check"] = {
        {"reads", report.tags}, {"writes", report.writes}, {"errors", tally.errors}, {"warnings", tally.warnings}};
    json["findings"] = Json::array();
    for (const Finding& finding : report.findings) {
        json["findings"].push_back(findingJson(finding));
    }
    return json;
}

}  // namespace

int runCheck(CommandContext& context) {
    const Options& options = context.options();
    Failure failure;
    std::vector<PanelList> lists;
    if (!readLists(options, &lists, &failure) || !context.openOfflineDriver(&failure)) {
        return context.cannotBegin(failure);
    }
    TagInquiry inquiry(context.tags(), context.offlineDriver(), options.mostTags);
    CheckReport report;
    if (!checkLists(lists, options.mostTags, inquiry, &report, &failure)) {
        return context.cannotBegin(failure);
    }
    const Tally tally = countFindings(report.findings);
    if (options.json) {
        printJson(reportJson(report, tally));
    } else {
        printReport(report, tally);
    }
    const bool isWrong = tally.errors > 0 || (options.check.isStrict && tally.warnings > 0);
    return isWrong ? exitCodeOfFindings() : 0;
}

}  // namespace ac500::host
