#include <fmt/format.h>

#include "tools/console/time_text.h"
#include "tools/guard/handshake_pattern.h"
#include "tools/host/commands.h"
#include "tools/host/exit_codes.h"
#include "tools/host/handshake_file.h"
#include "tools/host/print.h"
#include "tools/host/terminal.h"

namespace ac500::host {

using guard::BytePattern;
using guard::HandshakeOrigin;
using guard::HandshakePattern;
using guard::HandshakeReplies;

namespace {

Json replyJson(const char* name, const BytePattern& pattern) {
    Json json;
    json["reply"] = name;
    json["bytes"] = pattern.bytes();
    json["constant"] = pattern.constantBytes();
    json["pattern"] = pattern.text();
    return json;
}

void printPatternJson(const HandshakePattern& pattern) {
    Json json = newDocument();
    json["plc"] = pattern.origin().plc;
    json["symbols"] = pattern.origin().symbols;
    json["program"] = pattern.origin().program;
    json["first"] = pattern.first();
    json["last"] = pattern.last();
    json["connections"] = pattern.connections();
    json["runs"] = pattern.runs();
    json["compared"] = pattern.isUsable();
    json["replies"] = Json::array({replyJson("hello", pattern.hello()), replyJson("symbols", pattern.symbols())});
    printJson(json);
}

std::vector<std::string> replyRow(const char* name, const BytePattern& pattern) {
    return {name, fmt::format("{} of {} bytes were the same each time", pattern.constantBytes(), pattern.bytes())};
}

std::string counted(int count, const char* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

void printPattern(const HandshakePattern& pattern, const Options& options) {
    if (options.json) {
        printPatternJson(pattern);
        return;
    }
    const HandshakeOrigin& origin = pattern.origin();
    printTable({{"PLC", origin.plc},
                {"symbols", fmt::format("{}, program {}", origin.symbols, origin.program)},
                {"first", pattern.first()},
                {"last", pattern.last()},
                {"seen", counted(pattern.connections(), "connection") + " to " + counted(pattern.runs(), "run") +
                             " of the PLC"},
                replyRow("hello", pattern.hello()),
                replyRow("symbols reply", pattern.symbols())});
    if (options.guard.action == GuardAction::Show) {
        printLine("hello: " + pattern.hello().text());
        printLine("symbols: " + pattern.symbols().text());
    }
    if (!pattern.isUsable()) {
        note(kOneRunOnly);
    }
}

// The replies to the handshake of a connection of its own.
bool shakeHands(CommandContext& context, const std::vector<Tag>& tags, HandshakeReplies* replies, Failure* failure) {
    if (!context.startSession(tags, failure)) {
        return false;
    }
    const auto hasReplied = [&context] { return context.ownSession().handshakeReplies().has_value(); };
    const bool isDone = context.waitUntil(Milliseconds(context.options().waitMs), hasReplied);
    if (isDone) {
        *replies = *context.ownSession().handshakeReplies();
    } else {
        const std::optional<SessionEvent> last = context.session().status().lastFailure;
        *failure = last ? last->failure : Failure{FailureKind::Handshake, "the PLC has opened no session in time"};
    }
    context.endSession();
    return isDone;
}

// A driver that has nothing to read opens no session.
std::vector<Tag> anyTag(const TagTable& table) {
    for (const Leaf& leaf : table.leaves()) {
        std::string ignored;
        if (const std::optional<Tag> tag = table.find(leaf.tag, &ignored)) {
            return {*tag};
        }
    }
    return {};
}

bool beginLearning(const CommandContext& context, const HandshakeOrigin& here, HandshakePattern* learned,
                   Failure* failure) {
    const std::string& file = context.options().guard.file;
    std::optional<HandshakePattern> before;
    if (!loadHandshakeIfThere(file, &before, failure)) {
        return false;
    }
    if (!before) {
        return true;
    }
    const std::string problem = whyNotToAdd(*before, here);
    if (!problem.empty()) {
        *failure = {FailureKind::File, file + ": " + problem};
        return false;
    }
    *learned = *before;
    return true;
}

// A connection and what the PLC said on it.
struct SeenHandshake {
    HandshakeReplies replies;
    std::string time;
};

// False when the PLC answered otherwise than was learned.
bool addSeen(const SeenHandshake& seen, const HandshakeOrigin& here, const GuardOptions& guard,
             HandshakePattern* learned, Failure* failure) {
    const std::optional<std::string> difference = learned->difference(seen.replies);
    if (difference && !guard.force) {
        *failure = {
            FailureKind::Program,
            fmt::format("{}: the PLC answers otherwise than was learned: {}; for another program learn into another "
                        "file; if it is the same program, --force takes these bytes out",
                        guard.file, *difference)};
        return false;
    }
    learned->add(seen.replies, here, seen.time);
    return true;
}

// To what the file has by now: others may have learned into it meanwhile.
bool addToFile(const CommandContext& context, const std::vector<SeenHandshake>& all, const HandshakeOrigin& here,
               HandshakePattern* learned, Failure* failure) {
    const GuardOptions& guard = context.options().guard;
    const HandshakeLock lock(guard.file);
    *failure = lock.failure();
    if (failure->occurred() || !beginLearning(context, here, learned, failure)) {
        return false;
    }
    for (const SeenHandshake& seen : all) {
        if (!addSeen(seen, here, guard, learned, failure)) {
            return false;
        }
    }
    return saveHandshake(guard.file, *learned, failure);
}

}  // namespace

int runGuardShow(const CommandContext& context) {
    std::optional<HandshakePattern> pattern;
    Failure failure;
    if (!loadHandshake(context.options().guard.file, &pattern, &failure)) {
        return context.cannotBegin(failure);
    }
    printPattern(*pattern, context.options());
    return 0;
}

int runGuardLearn(CommandContext& context) {
    const Options& options = context.options();
    const GuardOptions& guard = options.guard;
    const std::vector<Tag> tags = anyTag(context.tags());
    const HandshakeOrigin here = handshakeOrigin(options.plc, options.symbols);
    HandshakePattern before;
    Failure failure;
    if (tags.empty()) {
        return context.cannotBegin({FailureKind::File, options.symbols + ": has no variable that can be read"});
    }
    if (!beginLearning(context, here, &before, &failure)) {
        return context.cannotBegin(failure);
    }
    std::vector<SeenHandshake> all;
    for (int i = 0; i < guard.connections; ++i) {
        SeenHandshake seen;
        if (!shakeHands(context, tags, &seen.replies, &failure)) {
            const int code = context.cannotBegin(failure);
            return wasInterrupted() ? kExitInterrupted : code;
        }
        seen.time = console::utcText();
        if (!addSeen(seen, here, guard, &before, &failure)) {
            return context.cannotBegin(failure);
        }
        all.push_back(seen);
    }
    HandshakePattern learned;
    if (!addToFile(context, all, here, &learned, &failure)) {
        return context.cannotBegin(failure);
    }
    printPattern(learned, options);
    return 0;
}

}  // namespace ac500::host
