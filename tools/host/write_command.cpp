#include "tools/host/commands.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/host/exit_codes.h"
#include "tools/host/print.h"
#include "tools/host/terminal.h"

namespace ac500::host {

namespace {

// One TAG=VALUE, from the command line to what the PLC has afterwards.
struct TagWrite {
    Tag tag;
    HostValues values;
    std::int32_t serial = 0;
    std::int32_t readBack = 0;  // serial of its reading back
    std::string readBackFailure = "no answer in time";
    Failure failure;
    std::optional<TagValue> inPlc;  // as it was read back
};

bool parseWrites(const CommandContext& context, std::vector<TagWrite>* writes, Failure* failure) {
    const std::vector<std::string>& arguments = context.options().arguments;
    std::vector<std::string> names;
    for (const std::string& text : arguments) {
        if (text.find('=') == std::string::npos) {
            *failure = {FailureKind::Usage, fmt::format("{}: there is no value; write TAG=VALUE", text)};
            return false;
        }
        names.push_back(text.substr(0, text.find('=')));
    }
    std::vector<Tag> tags;
    if (!context.findTags(names, &tags, failure)) {
        return false;
    }
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        TagWrite write;
        write.tag = tags[i];
        std::string error;
        const std::optional<HostValues> values =
            parseValues(write.tag.form, write.tag.elements, arguments[i].substr(names[i].size() + 1), &error);
        if (!values) {
            *failure = {FailureKind::Usage, write.tag.text + ": " + error};
            return false;
        }
        write.values = *values;
        writes->push_back(write);
    }
    return true;
}

bool isOver(HostSession& session, const TagWrite& write) {
    const std::optional<Order> record = session.order(write.serial);
    return !record || hasEnded(record->step);
}

// A reading that failed is ordered again: the link may have been lost after the write.
bool wasReadBack(HostSession& session, TagWrite& write) {
    const std::optional<Order> record = session.order(write.readBack);
    if (record && record->step == OrderStep::Failed) {
        write.readBackFailure = record->failure.text;
        write.readBack = session.readOnce(write.tag);
    }
    return record && record->step == OrderStep::Succeeded;
}

void collectOutcomes(HostSession& session, std::vector<TagWrite>* writes) {
    for (TagWrite& write : *writes) {
        const std::optional<Order> record = session.order(write.serial);
        if (record && record->step == OrderStep::Failed) {
            write.failure = {record->failure.kind, write.tag.text + ": " + record->failure.text};
        }
    }
}

void compareWithPlc(HostSession& session, TagWrite* write) {
    if (!wasReadBack(session, *write)) {
        write->failure = {FailureKind::Request, fmt::format("{}: written, but it could not be read back: {}",
                                                            write->tag.text, write->readBackFailure)};
        return;
    }
    write->inPlc = session.value(write->tag);
    if (!sameValues(write->inPlc->values, write->values)) {
        write->failure = {FailureKind::Request,
                          fmt::format("{}: {} was written, but the PLC has {}; its program may have changed it",
                                      write->tag.text, formatValues(write->tag.form, write->values),
                                      formatValues(write->tag.form, write->inPlc->values))};
    }
}

// Twice the waiting time: for a write that is with the driver when the link goes, the driver has to give up first.
void writeAll(CommandContext& context, std::vector<TagWrite>* writes) {
    HostSession& session = context.session();
    const Milliseconds wait(context.options().waitMs);
    for (TagWrite& write : *writes) {
        write.serial = session.write(write.tag, write.values);
    }
    const auto allEnded = [&] {
        return std::all_of(writes->begin(), writes->end(),
                           [&](const TagWrite& write) { return isOver(session, write); });
    };
    if (!context.waitUntil(2 * wait, allEnded)) {
        session.stop();
    }
    collectOutcomes(session, writes);
}

void readBackAll(CommandContext& context, std::vector<TagWrite>* writes) {
    HostSession& session = context.session();
    std::vector<TagWrite*> written;
    for (TagWrite& write : *writes) {
        if (!write.failure.occurred()) {
            write.readBack = session.readOnce(write.tag);
            written.push_back(&write);
        }
    }
    context.waitUntil(Milliseconds(context.options().waitMs), [&] {
        return std::all_of(written.begin(), written.end(),
                           [&](TagWrite* write) { return wasReadBack(session, *write); });
    });
    for (TagWrite* write : written) {
        compareWithPlc(session, write);
    }
}

Json writeJson(const TagWrite& write) {
    Json json;
    json["tag"] = write.tag.text;
    json["written"] = valueJson(write.tag, write.values);
    json["ok"] = !write.failure.occurred();
    json["read_back"] = write.inPlc ? valueJson(write.tag, write.inPlc->values) : Json();
    if (write.failure.occurred()) {
        json["error"] = failureJson(write.failure);
    }
    return json;
}

void printWrites(const std::vector<TagWrite>& writes) {
    std::vector<std::vector<std::string>> rows;
    for (const TagWrite& write : writes) {
        if (write.inPlc) {
            rows.push_back({write.tag.text, formatValues(write.tag.form, write.inPlc->values)});
        }
    }
    printTable(rows);
}

std::vector<Tag> tagsOf(const std::vector<TagWrite>& writes) {
    std::vector<Tag> tags;
    for (const TagWrite& write : writes) {
        tags.push_back(write.tag);
    }
    return tags;
}

}  // namespace

int runWrite(CommandContext& context) {
    std::vector<TagWrite> writes;
    Failure failure;
    if (!parseWrites(context, &writes, &failure) || !context.startSession(tagsOf(writes), &failure)) {
        return context.cannotBegin(failure);
    }
    writeAll(context, &writes);
    readBackAll(context, &writes);
    FailureKind kind = FailureKind::None;
    Json json;
    json["writes"] = Json::array();
    for (const TagWrite& write : writes) {
        json["writes"].push_back(writeJson(write));
        if (write.failure.occurred()) {
            complain(write.failure);
            kind = write.failure.kind;
        }
    }
    if (context.options().json) {
        printJson(json);
    } else {
        printWrites(writes);
    }
    return kind != FailureKind::None && wasInterrupted() ? kExitInterrupted : exitCodeOf(kind);
}

}  // namespace ac500::host
