// The whole driver: random calls of a host and random replies of a PLC; all that can be seen is compared after each.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/reference/comparison.h"
#include "tests/reference/edited_labels.h"
#include "tests/reference/random_plant.h"
#include "tests/reference/run.h"

namespace ac500::test {

namespace {

using reference::Frame;
using reference::Machine;
using reference::Settings;
using reference::Symbol;
using reference::Tag;
using reference::Variable;

const std::vector<int> kTypeCodes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 14, 15, 16, 17, 18, 21, 19, 12};

Symbol plantVariable(const std::string& name, int type, std::int32_t area, std::int32_t offset) {
    Symbol symbol;
    symbol.name = name;
    symbol.type = static_cast<std::uint16_t>(type);
    symbol.areaList = {area};
    symbol.offset = offset;
    return symbol;
}

Symbol array(Symbol symbol, const std::vector<std::int32_t>& bounds) {
    symbol.type |= 0x100;
    symbol.dimensions = static_cast<std::int32_t>(bounds.size() / 2);
    symbol.arrayBounds = bounds;
    return symbol;
}

// Of every type a scalar s, an array a, a matrix m, a word with bits f and a member of a structure; and one big array.
// Their places depend on `shift`, so that the plant can change while it runs.
std::vector<Symbol> plant(int shift) {
    std::vector<Symbol> variables;
    std::vector<Symbol> members;
    for (const int code : kTypeCodes) {
        if (code == 12) {
            continue;
        }
        const std::string number = std::to_string(code);
        const std::int32_t area = (code + shift) % 3;
        variables.push_back(plantVariable("s" + number, code, area, (8 * code + shift) % 200));
        variables.push_back(array(plantVariable("a" + number, code, area, 100 + 4 * code + shift), {10, 0, 30}));
        variables.push_back(array(plantVariable("m" + number, code, area, 40 * code + shift), {10, 1, 4, 0, 8}));
        Symbol flags = plantVariable("f" + number, code | 0x400, area, (6 * code + shift) % 90);
        flags.elementType = {array(plantVariable("bits", 13, 0, 0), {10, 0, 16})};
        variables.push_back(flags);
        members.push_back(plantVariable("x" + number, code, 0, 2 * code));
    }
    Symbol structure = array(plantVariable("st", 12, 1, 300 + shift), {10, 0, 5});
    structure.elementType = scopeOf("", members).elementType;
    structure.elementType[0].offset = 48;
    variables.push_back(structure);
    variables.push_back(array(plantVariable("big", 3, 2, 2000), {10, 0, 3000}));
    return variables;
}

// Neighbours by name, 10 to 3F in hexadecimal: a weak hash takes many of them for each other.
constexpr int kFirstChannel = 0x10;
constexpr int kChannels = 0x30;

std::string channelName(int channel) {
    const char* const digits = "0123456789ABCDEF";
    return std::string("ch") + digits[channel / 16] + digits[channel % 16];
}

std::vector<Symbol> channels(int shift) {
    std::vector<Symbol> variables;
    for (int channel = kFirstChannel; channel < kFirstChannel + kChannels; ++channel) {
        variables.push_back(plantVariable(channelName(channel), 3, (channel + shift) % 3, 500 + 2 * channel + shift));
    }
    return variables;
}

// A tag of the plant's variable.
std::string tagOf(const std::string& scope, const Symbol& variable) {
    const std::string index = variable.dimensions == 0 ? "" : variable.dimensions == 1 ? "[1]" : "[1,1]";
    return scope + "." + variable.name + index + ((variable.type & 0xFF) == 12 ? ".x3" : "");
}

// More numbers than a step has, drawn from one of them.
Step moreNumbers(std::uint32_t seed, int count) {
    Step more;
    const std::string bytes = noise(seed, 4 * count);
    for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
        more.push_back(static_cast<unsigned char>(bytes[i]) * 65536u + static_cast<unsigned char>(bytes[i + 1]) * 256u +
                       static_cast<unsigned char>(bytes[i + 2]));
    }
    return more;
}

// The two loaded with the same things: how a PLC would answer is decided here, from the reference's pending frame.
class Plc {
public:
    enum Damage {
        kGood,
        kEmpty,
        kShort,
        kLong,
        kCut,
        kTrailing,
        kBadStatus,
        kTiny,
        kSeven,
        kOld,
        kNoise,
        kOddEnvelope
    };

    // The answer to a request, in good shape.
    static std::string answer(const Frame& request, Choices& choices, std::uint32_t seed) {
        const std::string& frame = request.bytes;
        const char service = frame[6];
        std::string payload(2, '\0');
        if (service == 0x01) {
            payload = noise(seed, choices.oneIn(12) ? choices.between(190, 201) : choices.between(200, 230));
        } else if (service == 0x31) {
            payload = noise(seed, choices.oneIn(12) ? choices.between(20, 31) : choices.between(30, 60));
        } else if (service == 0x2E) {
            payload += noise(seed, 4 + dataBytes(frame));
        }
        return envelope(payload);
    }

    static std::string damaged(std::string reply, Damage damage, const std::string& old, Choices& choices) {
        switch (damage) {
            case kGood:
                return reply;
            case kEmpty:
                return "";
            case kShort:
                return envelope(reply.substr(
                    6, reply.size() - 6 - std::min<std::size_t>(reply.size() - 6, 1u + choices.number() % 20)));
            case kLong:
                return envelope(reply.substr(6) + noise(choices.number(), choices.between(1, 20)));
            case kCut:
                return reply.substr(0, choices.number() % reply.size());
            case kTrailing:
                return reply + "x";
            case kBadStatus:
                reply[choices.oneIn(2) ? 6 : 7] = static_cast<char>(choices.between(1, 255));
                return reply;
            case kTiny:
                return envelope("");
            case kSeven:
                return envelope(std::string(1, '\0'));
            case kOld:
                return old;
            case kNoise:
                return noise(choices.number(), choices.below(40));
            case kOddEnvelope:
                reply.replace(0, 4, noise(choices.number(), 4));
                return reply;
        }
        return reply;
    }

private:
    static std::string envelope(const std::string& payload) {
        std::string reply("\xBB\xBB\0\0", 4);
        reply += static_cast<char>((payload.size() >> 8) & 0xFF);
        reply += static_cast<char>(payload.size() & 0xFF);
        return reply + payload;
    }

    static std::uint32_t number(const std::string& bytes, std::size_t at, int count) {
        std::uint32_t value = 0;
        for (int i = 0; i < count; ++i) {
            value = value * 256 + static_cast<unsigned char>(bytes[at + static_cast<std::size_t>(i)]);
        }
        return value;
    }

    // One lead byte and the data of each item of a read request.
    static int dataBytes(const std::string& frame) {
        int sum = 0;
        const std::uint32_t items = number(frame, 8, 4);
        for (std::uint32_t i = 0; i < items; ++i) {
            const auto size = static_cast<std::int32_t>(number(frame, 12 + 10 * i + 6, 4));
            sum += 1 + std::max(size, 0);
        }
        return sum;
    }
};

class MachineRun {
public:
    explicit MachineRun(Figures& figures) : figures_(figures) {
        restartDriver();
        for (int i = 0; i < 2; ++i) {
            driverSettings_[i] = ComInfo();
        }
        useSettings(0);
        for (const int offset : {0, 4, 8, 12, 20, 36}) {
            setWord(offset, 1000 + offset);
        }
        setWord(16, 100);
        setWord(24, 2424);
        setWord(28, 2);
        setWord(56, 5656);
        setWord(60, 6060);
        setWord(64, 2);
        setWord(72, 7);
        loadPlant(0);
    }

    void run(const Step& step) {
        Choices choices(step);
        seed_ = step.back();
        try {
            perform(choices);
        } catch (const Difference& difference) {
            throw Difference(log_ + difference.what());
        }
    }

private:
    // ---- one call of the host each, made on both, and compared ----

    void compared(const char* state = nullptr) {
        compareAll(machine_);
        figures_.countStep();
        if (state != nullptr) {
            figures_.reached(state);
        }
    }

    void say(const std::string& text) { log_ += text + "\n"; }

    void setWord(int byteOffset, std::int32_t value) {
        reinterpret_cast<qint32*>(&driverSettings_[used_])[byteOffset / 4] = value;
        settings_[used_].at(byteOffset) = value;
    }

    void useSettings(int which) {
        used_ = which;
        SetComInfo(&driverSettings_[which]);
        machine_.useSettings(&settings_[which]);
    }

    void loadPlant(int shift) {
        say("load plant, shift " + std::to_string(shift));
        scopes_ = {{"Main", plant(shift)}, {"Aux", channels(shift)}};
        std::vector<Symbol> list;
        for (const auto& [name, variables] : scopes_) {
            list.push_back(scopeOf(name, variables));
        }
        QList<Label_Type_Info> driverList = toDriver(list);
        PassVarName_2(&driverList);
        machine_.loadSymbols(list);
        compared();
    }

    // ---- a host that changes the table of scopes itself, and asks by name before and after ----

    void changeTable(Choices& choices) {
        const std::string scope = choices.below(3) == 1 ? "Aux" : "Main";
        const Step numbers = moreNumbers(choices.number(), 40);
        Choices drawn(numbers);
        std::vector<std::string> names{"Aux." + channelName(kFirstChannel + drawn.below(kChannels))};
        const bool isThere = scopes_.count(scope) != 0;
        for (int i = 0; isThere && i < 2; ++i) {
            names.push_back(tagOf(scope, drawn.of(scopes_[scope])));
        }
        for (const std::string& name : names) {
            ask(name, drawn);
        }
        if (!isThere) {
            addScope(scope, drawn);
        } else if (choices.oneIn(2)) {
            names.push_back(changeVariable(scope, choices, drawn));
        } else {
            changeScopes(scope, choices, drawn);
        }
        for (const std::string& name : names) {
            ask(name, drawn);
        }
    }

    void addScope(const std::string& scope, Choices& drawn) {
        say("the host adds scope " + scope);
        scopes_[scope] = scope == "Main" ? plant(drawn.below(9)) : channels(drawn.below(9));
        const Symbol record = scopeOf(scope, scopes_[scope]);
        PLC_driver.labelTable.insert(toDriver(scope), toDriver(record));
        machine_.loadSymbols({record});
        compared("scope added to the table");
    }

    // Returns a name that the change concerns.
    std::string changeVariable(const std::string& scope, Choices& choices, Choices& drawn) {
        std::vector<Symbol>& variables = scopes_[scope];
        const std::size_t at = drawn.number() % variables.size();
        Symbol& variable = variables[at];
        std::string concerned = tagOf(scope, variable);
        Label_Type_Info& contents = PLC_driver.labelTable[toDriver(scope)].elementType[0];
        Label_Type_Info& member = contents.members[static_cast<int>(at)];
        const int change = choices.below(6);
        say("the host changes " + concerned + " in the table, way " + std::to_string(change));
        switch (change) {
            default:
                variable.offset += 2;
                member.offset = variable.offset;
                break;
            case 1:
                variable.areaList = {(variable.areaList[0] + 1) % 3};
                PLC_driver.labelTable.find(toDriver(scope))->elementType[0].members[static_cast<int>(at)].areaList[0] =
                    variable.areaList[0];
                break;
            case 2:
                variable.name = variable.name == "renamed" ? "s2" : "renamed";
                member.name = toDriver(variable.name);
                concerned = tagOf(scope, variable);
                break;
            case 3:
                std::swap(variable, variables.front());
                std::swap(member, contents.members.first());
                break;
            case 4:
                variables.push_back(variables.front());
                variables.back().name = "added";
                concerned = tagOf(scope, variables.back());
                PLC_driver.labelTable[toDriver(scope)] = toDriver(scopeOf(scope, variables));
                break;
            case 5:
                if (variables.size() > 1) {
                    variables.erase(variables.begin() + static_cast<std::ptrdiff_t>(at));
                    contents.members.removeAt(static_cast<int>(at));
                    contents.memberCount -= 1;
                    figures_.reached("variable removed in the table");
                }
                break;
        }
        machine_.loadSymbols({scopeOf(scope, variables)});
        compared("variable changed in the table");
        return concerned;
    }

    // REQUIRES: the scope is in the table.
    void changeScopes(const std::string& scope, Choices& choices, Choices& drawn) {
        const QString name = toDriver(scope);
        switch (choices.below(6)) {
            default:
                say("the host removes scope " + scope);
                PLC_driver.labelTable.remove(name);
                scopes_.erase(scope);
                machine_.symbols.remove(scope);
                return compared("scope removed from the table");
            case 1: {
                say("the host replaces scope " + scope);
                scopes_[scope] = scope == "Main" ? plant(drawn.below(9)) : channels(drawn.below(9));
                const Symbol record = scopeOf(scope, scopes_[scope]);
                for (auto entry = PLC_driver.labelTable.begin(); entry != PLC_driver.labelTable.end(); ++entry) {
                    if (entry.key() == name) {
                        entry.value() = toDriver(record);
                    }
                }
                machine_.loadSymbols({record});
                return compared("scope replaced in the table");
            }
            case 2:
                say("the host looks a scope up that is not there, with the non-const operator");
                PLC_driver.labelTable[QLatin1String("Empty")].type = 12;
                PLC_driver.labelTable[QLatin1String("Empty")].offset = 0;
                machine_.loadSymbols({emptyScope()});
                ask("Empty.ch1A", drawn);
                PLC_driver.labelTable.remove(QLatin1String("Empty"));
                machine_.symbols.remove("Empty");
                return compared("empty scope in the table for a while");
            case 3:
                say("the host detaches the table");
                if (drawn.oneIn(2)) {
                    PLC_driver.labelTable.detach();
                } else {
                    PLC_driver.labelTable[name].elementType[0].members.begin();
                }
                return compared("table detached");
            case 4:
                say("the host keeps a copy of the table");
                earlier_ = {PLC_driver.labelTable, machine_.symbols, scopes_};
                return compared("copy of the table kept");
            case 5:
                if (earlier_.scopes.empty()) {
                    return;
                }
                say("the host puts the earlier copy of the table back");
                PLC_driver.labelTable = earlier_.driver;
                machine_.symbols = earlier_.symbols;
                scopes_ = earlier_.scopes;
                return compared("earlier table put back");
        }
    }

    static Symbol emptyScope() {
        Symbol scope;
        scope.name = "Empty";
        scope.type = 12;
        return scope;
    }

    // One use of a name, which the host hands over in a string of its own or in one that it edits in place.
    void ask(const std::string& name, Choices& drawn) {
        const bool edited = drawn.oneIn(2);
        QString own = toDriver(name);
        QString& label = edited ? labels_.holding(name) : own;
        switch (drawn.below(5)) {
            default:
                readValue(name, "", randomCount(drawn), label);
                break;
            case 3:
                writeValue(name, "", label, drawn);
                break;
            case 4: {
                Variable variable;
                variable.hostId = drawn.below(14);
                variable.labelName = name;
                variable.size = randomCount(drawn);
                readOnce(variable, label);
                break;
            }
        }
        if (edited) {
            figures_.reached("label edited in place");
        }
    }

    void askInPlace(Choices& choices) {
        const Step numbers = moreNumbers(choices.number(), 160);
        Choices drawn(numbers);
        for (int i = 0; i < 16; ++i) {
            ask(tagName(drawn, "smaccc"), drawn);
        }
    }

    // The driver's lists share the text of a label with the host, as Qt's strings do: give them one of their own before
    // the host edits it.
    static void takeOwnNames(QList<RW_VAR>& list) {
        for (RW_VAR& variable : list) {
            variable.labelName.detach();
        }
    }

    // Whether there is a request.
    bool poll() {
        say("ComCommunication");
        const bool wasIdle = machine_.frames.empty();
        const std::size_t writes = machine_.writeList.size();
        const std::size_t calls = machine_.callbacks.size();
        const Protocol* driver = ComCommunication();
        const Frame* expected = machine_.nextRequest();
        compareNumbers("a request is returned", driver != nullptr ? 1 : 0, expected != nullptr ? 1 : 0);
        if (driver != nullptr && driver != &PLC_driver.frameList.constFirst()) {
            throw Difference("ComCommunication does not return the head of the queue");
        }
        compared(driver == nullptr ? "nothing to send" : "request offered");
        if (!wasIdle) {
            figures_.reached("unanswered request offered again");
        } else if (machine_.callbacks.size() > calls) {
            figures_.reached("write too large for a frame given up");
        } else if (driver == nullptr) {
            if (writes > 0) {
                figures_.reached("idle turn with writes pending");
            }
        } else {
            countBatch();
        }
        return driver != nullptr;
    }

    void countBatch() {
        const bool reads = machine_.batchKind != 1;
        const auto& list = machine_.batchKind == 1   ? machine_.writeList
                           : machine_.batchKind == 2 ? machine_.onceReadList
                                                     : machine_.readList;
        if (machine_.batchKind == 2 && !machine_.writeList.empty()) {
            figures_.reached("one-shot reads sent after five batches of writes");
        }
        if (machine_.batchKind == 0 && !machine_.onceReadList.empty()) {
            figures_.reached("cyclic reads sent after five batches of one-shot reads");
        }
        if (machine_.batch.size() >= 79) {
            figures_.reached("batch of 79");
        } else if (machine_.batch.size() < list.size()) {
            figures_.reached(machine_.batchKind == 1            ? "writes left over by the budget"
                             : reads && machine_.batchKind == 2 ? "one-shot reads left over by the budget"
                                                                : "cyclic reads left over by the budget");
        }
        if (machine_.batch.size() > 1 && machine_.batchKind == 1) {
            figures_.reached("batch of several writes");
        }
        if (machine_.batchKind == 1 && machine_.batch.front().size < 0) {
            figures_.reached("write of negative size sent");
        }
        if (machine_.commFailed && machine_.batchKind == 1) {
            figures_.reached("write sent while communication has failed");
        }
    }

    std::int32_t dataCom(const std::string& reply, std::int32_t received) {
        say("DataCom " + std::to_string(received) + ": " + hexText(reply));
        const std::size_t calls = machine_.callbacks.size();
        const bool wasConnected = machine_.connected;
        const bool unmeasured = !machine_.frames.empty() && machine_.frames.front().replyLength == -1;
        const bool idle = machine_.frames.empty();
        const std::size_t pendingWrites = machine_.writeList.size();
        const std::size_t pendingReads = machine_.onceReadList.size();
        const std::int32_t failures = machine_.settings->at(32);
        const std::int32_t kind = machine_.batchKind;
        const std::size_t batch = machine_.batch.size();
        const std::int32_t passDone = machine_.settings->at(68);

        QByteArray driverReply = bytesToDriver(reply);
        const RW_VAR* result = DataCom(&driverReply, received);
        const std::int32_t expected = machine_.takeReply(reply, received);
        if (result != &PLC_driver.resultVar) {
            throw Difference("DataCom does not return resultVar");
        }
        compareNumbers("status", result->status, expected);
        compareBytes("the reply", driverReply, reply);
        compared(idle ? "reply without a request" : nullptr);
        if (idle) {
            return expected;
        }
        if (expected == 0) {
            figures_.reached(machine_.settings->at(32) > failures ? "bad reply, request to be sent again"
                                                                  : "incomplete reply");
        } else if (expected == 1) {
            figures_.reached(unmeasured     ? "reply measured"
                             : wasConnected ? "data reply accepted"
                                            : "handshake reply accepted");
        } else {
            figures_.reached(expected == 201  ? "handshake reply rejected"
                             : expected == 11 ? "abandoned: bad status"
                             : expected < 41  ? "abandoned: bad status, with the host's number"
                             : expected == 41 ? "abandoned: empty reply"
                             : expected < 71  ? "abandoned: empty reply, with the host's number"
                             : expected == 71 ? "abandoned: wrong length"
                                              : "abandoned: wrong length, with the host's number");
        }
        if (!wasConnected && machine_.connected) {
            figures_.reached(everFailed_ ? "connected again after a failure" : "connected");
        }
        everFailed_ = everFailed_ || machine_.commFailed;
        if (passDone == 0 && machine_.settings->at(68) == 1) {
            figures_.reached("first pass completed by replies");
        }
        for (std::size_t i = calls; i < machine_.callbacks.size(); ++i) {
            const std::string& call = machine_.callbacks[i];
            figures_.reached(call.find("commFail") == 0               ? "failure reported"
                             : call.find(", 1)") != std::string::npos ? "variable reported, outcome 1"
                                                                      : "variable reported, outcome 2");
        }
        if (kind == 1 && expected == 1 && !unmeasured && wasConnected && machine_.callbacks.size() == calls) {
            figures_.reached("report kept back, a newer write is pending");
        }
        if (kind == 1 && machine_.commFailed && machine_.writeList.empty() && pendingWrites > batch) {
            figures_.reached("pending writes dropped after a failure");
        }
        if (kind == 2 && machine_.commFailed && machine_.onceReadList.empty() && pendingReads > batch) {
            figures_.reached("pending one-shot reads dropped after a failure");
        }
        return expected;
    }

    void changeWord(Choices& choices) {
        struct Word {
            int offset;
            std::vector<std::int32_t> values;
        };
        const std::vector<Word> words{{16, {100, 1, 2, 8, 50, 120, 400, 600}},
                                      {24, {2424, 1, 2}},
                                      {28, {2, 0, 1, 5}},
                                      {56, {5656, 1}},
                                      {60, {6060, 2}},
                                      {64, {2, 2, 0, 1}},
                                      {72, {7, -1, 9}},
                                      {36, {1, 2}},
                                      {28, {2, 0, 1}}};
        const Word& word = choices.of(words);
        const std::int32_t value = choices.of(word.values);
        say("ComInfo word at " + std::to_string(word.offset) + " = " + std::to_string(value));
        setWord(word.offset, value);
        compared("settings changed");
    }

    // Only between requests: the record counts the frames of the one that is pending.
    void changeRecord() {
        if (!machine_.frames.empty()) {
            return;
        }
        say("SetComInfo with the other record");
        const Settings old = settings_[used_];
        for (const int offset : {16, 24, 28, 56, 60, 64, 72}) {
            used_ ^= 1;
            setWord(offset, old.at(offset));
            used_ ^= 1;
        }
        used_ ^= 1;
        setWord(40, 77);
        setWord(52, 78);
        useSettings(used_);
        compared("settings record replaced");
    }

    static std::string tagName(Choices& choices, const char* kinds = "samfxbpc") {
        const int length = static_cast<int>(std::string(kinds).size());
        const std::string code = std::to_string(choices.of(kTypeCodes));
        switch (kinds[choices.below(length)]) {
            default:
                return "Main.s" + code;
            case 'a':
                return "Main.a" + code + "[" + std::to_string(choices.below(31)) + "]";
            case 'm':
                return "Main.m" + code + "[" + std::to_string(choices.below(5)) + "," +
                       std::to_string(choices.below(9)) + "]";
            case 'f':
                return "Main.f" + code + ".b[" + std::to_string(choices.below(20)) + "]";
            case 'x':
                return "Main.st[" + std::to_string(choices.below(6)) + "].x" + code;
            case 'b':
                return choices.oneIn(3) ? "Main.nothing" : "Main.big[" + std::to_string(choices.below(20)) + "]";
            case 'c':
                return "Aux." + channelName(kFirstChannel + choices.below(kChannels));
            case 'p':
                switch (choices.below(4)) {
                    case 0:
                        return "Main.a" + code + "[%%]";
                    case 1:
                        return "Main.m" + code + "[%%,1]";
                    case 2:
                        return "Main.m" + code + "[1,%%+1]";
                    default:
                        return "Main.f" + code + ".b[%%]";
                }
        }
    }

    static std::int32_t randomCount(Choices& choices) {
        return choices.of<std::int32_t>({1, 1, 2, 3, 4, 5, 8, 12, 20, 31, 60, 120});
    }

    // Bit numbers below 0 are nobody's promise.
    static std::string argument(Choices& choices, const std::string& name) {
        const std::string least = reference::contains(name, ".b[") ? "0" : "-1";
        return choices.of<std::string>({"1", "0", "", "2", "3", "7", "29", "x", least});
    }

    void rebuild(Choices& choices) {
        std::vector<Tag> tags;
        const int count = choices.oneIn(15) ? 0 : choices.oneIn(5) ? choices.below(120) : choices.below(12);
        const Step more = moreNumbers(choices.number(), 8 * count);
        Choices drawn(more);
        std::string text = "ReCreatReadVarList";
        for (int i = 0; i < count; ++i) {
            Tag tag;
            tag.name = tagName(drawn);
            tag.argument = argument(drawn, tag.name);
            tag.count = drawn.oneIn(4) ? randomCount(drawn) : 1;
            text += " " + tag.name + "(" + tag.argument + ")x" + std::to_string(tag.count);
            tags.push_back(tag);
        }
        say(text);
        const bool pending = !machine_.frames.empty();
        QList<HostTag> driverTags = toDriver(tags);
        if (!tags.empty()) {
            driverTags[0].tagName = labels_.holding(tags[0].name);
        }
        const int result = ReCreatReadVarList(&driverTags);
        takeOwnNames(PLC_driver.readList);
        compareNumbers("requests", result, machine_.rebuildReadList(tags));
        compared(count == 0                               ? "cyclic list emptied"
                 : result < static_cast<int>(tags.size()) ? "cyclic list with fewer requests than tags"
                                                          : "cyclic list with as many requests as tags");
        if (pending && machine_.batchKind == 0) {
            figures_.reached("cyclic list replaced while a read is pending");
        }
    }

    void readOnce(Choices& choices) {
        Variable variable;
        variable.hostId = choices.below(14);
        variable.hostSubId = choices.below(3);
        variable.writeFlag = choices.oneIn(25) ? 1 : 0;
        variable.aux3 = choices.below(3);
        variable.aux4 = choices.below(2);
        variable.labelName = choices.oneIn(30) ? "Main.big[0]" : tagName(choices);
        variable.labelArg = argument(choices, variable.labelName);
        variable.size = variable.labelName == "Main.big[0]" ? 500 : randomCount(choices);
        readOnce(variable, toDriver(variable.labelName));
    }

    // `label` is the variable's name.
    void readOnce(Variable variable, const QString& label) {
        say("AddListOnceReadVar " + toText(variable));
        const std::size_t before = machine_.onceReadList.size();
        RW_VAR driver = toDriver(variable);
        driver.labelName = label;
        const int result = AddListOnceReadVar(&driver);
        takeOwnNames(PLC_driver.onceReadList);
        compareNumbers("one-shot reads", result, machine_.addOnceRead(&variable));
        compareVariables("the host's record", driver, variable);
        const std::size_t after = machine_.onceReadList.size();
        compared(result == 0           ? "one-shot read refused"
                 : after == before     ? "one-shot read queued already"
                 : after == before + 1 ? "one-shot read queued"
                                       : "one-shot read cut into pieces");
    }

    Variable planned(Choices& choices) {
        Variable variable;
        variable.hostId = choices.below(14);
        variable.hostSubId = choices.below(3);
        variable.aux3 = choices.below(2);
        variable.status = choices.below(3);
        variable.labelName = "planned";
        variable.dataType = choices.below(22);
        variable.area = choices.oneIn(30) ? choices.of<std::int32_t>({-1, 65536 + 2, 300}) : choices.below(3);
        variable.offset = choices.below(200);
        variable.size =
            choices.oneIn(12) ? choices.of<std::int32_t>({800, 799, 798, 789, 790, 1200}) : choices.below(40);
        return variable;
    }

    void addRead(Choices& choices) {
        Variable variable = planned(choices);
        variable.data = noise(choices.number(), choices.below(4));
        say("AddListReadVar " + toText(variable));
        RW_VAR driver = toDriver(variable);
        compareNumbers("cyclic reads", AddListReadVar(&driver), machine_.addRead(variable));
        compared("planned read added");
    }

    void addWrite(Choices& choices) {
        Variable variable = planned(choices);
        variable.writeFlag = choices.oneIn(25) ? 0 : 1;
        variable.data = noise(choices.number(), choices.oneIn(4) ? choices.below(60) : variable.size);
        say("AddListWriteVar " + toText(variable));
        RW_VAR driver = toDriver(variable);
        compareNumbers("writes", AddListWriteVar(&driver), machine_.addWrite(variable));
        compared("planned write added");
        if (static_cast<int>(variable.data.size()) < variable.size) {
            figures_.reached("write with too few bytes");
        }
    }

    void writeValue(Choices& choices) {
        const std::string name = tagName(choices);
        const std::string arg = argument(choices, name);
        QString label = toDriver(name);
        writeValue(name, arg, label, choices);
    }

    // `label` is the name.
    void writeValue(const std::string& name, const std::string& arg, QString& label, Choices& choices) {
        const std::int32_t count = randomCount(choices);
        const std::string in = noise(choices.number(), choices.oneIn(5) ? choices.below(20) : 2 * count);
        const std::int32_t hostId = choices.below(14);
        const std::int32_t hostSubId = choices.below(3);
        say("SetRegisterData " + name + " (" + arg + ") count " + std::to_string(count) + " id " +
            std::to_string(hostId) + "/" + std::to_string(hostSubId) + " " + hexText(in));
        const std::size_t before = machine_.writeList.size();
        QString driverArgument = toDriver(arg);
        QByteArray driverIn = bytesToDriver(in);
        const quint32 result = SetRegisterData(&label, 1, &driverArgument, 2, &driverIn, count, hostId, hostSubId);
        takeOwnNames(PLC_driver.writeList);
        std::string expectedName = name;
        compareNumbers("writes", result, machine_.writeValue(&expectedName, arg, in, count, hostId, hostSubId));
        compareTexts("name", label, expectedName);
        compareTexts("argument", driverArgument, arg);
        compareBytes("value", driverIn, in);
        const std::size_t after = machine_.writeList.size();
        compared(after == before + 1 ? "value queued" : after > before ? "value queued in pieces" : "value not queued");
        if (after > before && machine_.commFailed) {
            figures_.reached("value queued and mirrored while communication has failed");
        }
        if (expectedName != name) {
            figures_.reached("name rewritten");
        }
    }

    void readValue(Choices& choices) {
        const std::string name = tagName(choices);
        const std::string arg = argument(choices, name);
        QString label = toDriver(name);
        readValue(name, arg, randomCount(choices), label);
    }

    // `label` is the name.
    void readValue(const std::string& name, const std::string& arg, std::int32_t count, QString& label) {
        say("GetRegisterData " + name + " (" + arg + ") count " + std::to_string(count));
        QString driverArgument = toDriver(arg);
        QByteArray out("old");
        const quint32 result = GetRegisterData(&label, 1, &driverArgument, 2, &out, count);
        std::string expectedName = name;
        std::string expected;
        compareNumbers("result", result, machine_.readValue(&expectedName, arg, count, &expected));
        compareTexts("name", label, expectedName);
        compareBytes("value", out, expected);
        const bool zero = expected.find_first_not_of('\0') == std::string::npos;
        compared(result == 0 ? "value not resolved" : zero ? "value of zero read" : "value read");
    }

    void station(Choices& choices) {
        const std::int32_t number = choices.between(-1, 4);
        const std::int32_t enable = choices.below(3);
        say("EnableEthernet " + std::to_string(number) + " " + std::to_string(enable));
        if (choices.oneIn(2)) {
            EnableEthernet(number, enable);
        } else {
            EnCommStation(number, enable);
        }
        machine_.switchStation(number, enable);
        for (std::int32_t asked = -1; asked < 5; ++asked) {
            compareNumbers("station is off", Ethernetcontains(asked), machine_.stationIsOff(asked) ? 1 : 0);
        }
        compared("station switched");
    }

    // ---- conversations made of them ----

    // One turn of the host's loop, in which the PLC answers as told.
    void turn(Choices& choices, Plc::Damage measured, Plc::Damage processed, bool lengthLost = false) {
        if (!poll()) {
            return;
        }
        const std::string good = Plc::answer(machine_.frames.front(), choices, seed_ == 0 ? 0 : seed_ + ++answers_);
        const std::string first = Plc::damaged(good, measured, lastReply_, choices);
        std::int32_t status = dataCom(first, static_cast<std::int32_t>(first.size()));
        if (status != 1 || machine_.frames.empty() || machine_.frames.front().replyLength < 0) {
            return;
        }
        std::string second = first;
        if (processed != Plc::kGood) {
            second = Plc::damaged(good, processed, lastReply_, choices);
        }
        auto received = static_cast<std::int32_t>(second.size());
        if (lengthLost) {
            received = 0;
        } else if (choices.oneIn(40)) {
            received = choices.of<std::int32_t>({0, -1, received + 1, received - 1});
        }
        const bool connected = machine_.connected;
        const bool read = machine_.frames.front().bytes[6] == 0x2E;
        status = dataCom(second, received);
        lastReply_ = second;
        if (connected && read && status == 1 && second.size() != good.size()) {
            figures_.reached(second.size() < good.size() ? "read reply with too few bytes accepted"
                                                         : "read reply with too many bytes accepted");
        }
        if (connected && status == 1 && (measured == Plc::kOld || processed == Plc::kOld)) {
            figures_.reached("reply to an earlier request taken");
        }
    }

    void goodTurns(Choices& choices) {
        const int count = choices.oneIn(4) ? choices.below(30) : choices.below(8);
        for (int i = 0; i <= count; ++i) {
            turn(choices, Plc::kGood, Plc::kGood);
        }
    }

    // The PLC is silent, or talks nonsense, until the driver gives up.
    void failingTurns(Choices& choices) {
        const int kind = choices.below(4);
        if (choices.oneIn(2)) {
            burst(choices);
        }
        const int limit = machine_.settings->at(28) + 2;
        for (int i = 0; i < limit && i < 8; ++i) {
            switch (kind) {
                default:
                    turn(choices, Plc::kEmpty, Plc::kGood);
                    break;
                case 1:
                    turn(choices, Plc::kBadStatus, Plc::kGood);
                    break;
                case 2:
                    turn(choices, Plc::kGood, Plc::kShort);
                    break;
                case 3:
                    turn(choices, Plc::kGood, Plc::kGood, true);
                    break;
            }
        }
    }

    void badTurn(Choices& choices) {
        const auto measured = static_cast<Plc::Damage>(choices.oneIn(2) ? 0 : choices.below(12));
        const auto processed = static_cast<Plc::Damage>(choices.oneIn(2) ? 0 : choices.below(12));
        turn(choices, measured, processed);
    }

    void strayReply(Choices& choices) {
        const std::string reply = choices.oneIn(2) ? lastReply_ : noise(choices.number(), choices.below(12));
        dataCom(reply, choices.oneIn(4) ? choices.below(20) : static_cast<std::int32_t>(reply.size()));
    }

    void burst(Choices& choices) {
        const int count = choices.oneIn(4) ? choices.below(120) : choices.below(10);
        const int kind = choices.below(3);
        const std::uint32_t seed = choices.number();
        for (int i = 0; i < count; ++i) {
            const Step numbers{seed + static_cast<std::uint32_t>(i) * 2654435761u,
                               seed / 3 + static_cast<std::uint32_t>(i),
                               seed / 5,
                               seed / 7 + static_cast<std::uint32_t>(i) * 40503u,
                               seed / 11,
                               seed / 13,
                               seed / 17};
            Choices drawn(numbers);
            if (kind == 0) {
                writeValue(drawn);
            } else if (kind == 1) {
                readOnce(drawn);
            } else {
                smallWrite(drawn);
            }
        }
        if (count > 0) {
            figures_.reached("burst");
        }
    }

    // So small that the number of writes in a batch, not their bytes, is what counts.
    void smallWrite(Choices& choices) {
        Variable variable;
        variable.hostId = choices.below(5);
        variable.writeFlag = 1;
        variable.dataType = choices.oneIn(4) ? 13 : 2;
        variable.offset = choices.below(100);
        variable.size = choices.below(2);
        variable.data = noise(choices.number(), variable.size);
        say("AddListWriteVar " + toText(variable));
        RW_VAR driver = toDriver(variable);
        compareNumbers("writes", AddListWriteVar(&driver), machine_.addWrite(variable));
        compared();
    }

    // More than the list of one-shot reads takes: pieces of two bytes of the big array.
    void fillOnceReads(Choices& choices) {
        const std::int32_t words = machine_.settings->at(16);
        setWord(16, 1);
        Variable variable;
        variable.hostId = choices.below(14);
        variable.labelName = "Main.big[0]";
        variable.size = choices.between(900, 3000);
        say("with 1 word per request: AddListOnceReadVar " + toText(variable));
        RW_VAR driver = toDriver(variable);
        const int result = AddListOnceReadVar(&driver);
        compareNumbers("one-shot reads", result, machine_.addOnceRead(&variable));
        compareVariables("the host's record", driver, variable);
        compared(result == 1024 ? "1024 one-shot reads queued" : nullptr);
        setWord(16, words);
        for (int i = choices.below(20); i > 0; --i) {
            turn(choices, Plc::kGood, Plc::kGood);
        }
    }

    // Writes and nothing else, or next to nothing, for more than five requests.
    void writesAlone(Choices& choices) {
        if (choices.below(3) != 2) {
            QList<HostTag> none;
            compareNumbers("requests", ReCreatReadVarList(&none), machine_.rebuildReadList({}));
        }
        for (int i = choices.between(6, 14); i > 0; --i) {
            Variable variable;
            variable.hostId = i;
            variable.writeFlag = 1;
            variable.offset = i;
            variable.size = choices.between(300, 800);
            variable.data = noise(choices.number(), variable.size);
            say("AddListWriteVar " + std::to_string(variable.size) + " bytes");
            RW_VAR driver = toDriver(variable);
            compareNumbers("writes", AddListWriteVar(&driver), machine_.addWrite(variable));
        }
        compared("many large writes added");
        for (int i = 0; i < 14; ++i) {
            turn(choices, Plc::kGood, Plc::kGood);
        }
    }

    // So many writes that the driver counts those of each variable. The host renames one in place, under the lock.
    void writesByTheThousand(Choices& choices) {
        const Step numbers = moreNumbers(choices.number(), 60);
        Choices drawn(numbers);
        const int variables = drawn.between(300, 3000);
        std::uint32_t number = static_cast<std::uint32_t>(drawn.number());
        for (int i = drawn.between(1050, 1300); i > 0; --i) {
            number = number * 1664525U + 1013904223U;
            Variable variable;
            variable.hostId = static_cast<std::int32_t>(number >> 8) % variables;
            variable.hostSubId = 3;
            variable.writeFlag = 1;
            variable.offset = i;
            RW_VAR driver = toDriver(variable);
            compareNumbers("writes", AddListWriteVar(&driver), machine_.addWrite(variable));
        }
        say("AddListWriteVar, " + std::to_string(machine_.writeList.size()) + " pending");
        for (int i = drawn.between(1, 4); i > 0; --i) {
            turn(choices, Plc::kGood, Plc::kGood);
            if (drawn.oneIn(3) && machine_.writeList.size() > 1000) {
                const int renamed = drawn.below(1000);
                say("host renames write " + std::to_string(renamed));
                PLC_driver.writeList[renamed].hostId = machine_.writeList[static_cast<std::size_t>(renamed)].hostId = i;
            }
        }
        compared(machine_.writeList.size() > 1024 ? "more than 1024 writes pending" : nullptr);
        const std::size_t few = drawn.oneIn(8) ? 40 : 950;
        while (machine_.writeList.size() > few && machine_.commFailed == 0) {
            turn(choices, Plc::kGood, Plc::kGood);
        }
    }

    // Writes of sizes that no frame takes or that are below 0, among others, and some turns in which they come to be
    // sent.
    void writesWithoutSense(Choices& choices) {
        const Step numbers = moreNumbers(choices.number(), 40);
        Choices drawn(numbers);
        for (int i = drawn.between(1, 5); i > 0; --i) {
            Variable variable;
            variable.hostId = drawn.below(14);
            variable.hostSubId = drawn.below(2);
            variable.writeFlag = 1;
            variable.offset = drawn.below(100);
            variable.size = drawn.of<std::int32_t>({0x40000000, 0x7FFFFFFF, 0x3FFFFFE6, -1, -3, 0, 5});
            variable.data = noise(drawn.number(), drawn.below(8));
            say("AddListWriteVar " + toText(variable));
            RW_VAR driver = toDriver(variable);
            compareNumbers("writes", AddListWriteVar(&driver), machine_.addWrite(variable));
            compared();
        }
        for (int i = drawn.below(10); i > 0; --i) {
            turn(choices, Plc::kGood, Plc::kGood);
        }
    }

    // Cyclic reads of 0 to 8 bytes, enough of them to fill a batch by number.
    void manySmallReads(Choices& choices) {
        const int count = choices.between(60, 100);
        const int size = choices.below(10);
        const std::uint32_t seed = choices.number();
        for (int i = 0; i < count; ++i) {
            Variable variable;
            variable.offset = static_cast<std::int32_t>((seed + static_cast<std::uint32_t>(i) * 7u) % 300);
            variable.size = i == 0 ? size : std::max(size + static_cast<int>(seed % 3) - 1, 0);
            RW_VAR driver = toDriver(variable);
            compareNumbers("cyclic reads", AddListReadVar(&driver), machine_.addRead(variable));
        }
        say("AddListReadVar, " + std::to_string(count) + " of about " + std::to_string(size) + " bytes");
        compared("many small reads added");
    }

    void perform(Choices& choices) {
        switch (choices.below(46)) {
            default:
                return goodTurns(choices);
            case 39:
                return writesWithoutSense(choices);
            case 40:
            case 41:
            case 42:
                return changeTable(choices);
            case 43:
            case 44:
                return askInPlace(choices);
            case 8:
            case 9:
            case 10:
            case 11:
            case 12:
                return badTurn(choices);
            case 13:
            case 14:
                return failingTurns(choices);
            case 15:
            case 16:
                return readOnce(choices);
            case 17:
            case 18:
            case 19:
            case 20:
                return writeValue(choices);
            case 21:
            case 22:
            case 23:
            case 24:
                return readValue(choices);
            case 25:
            case 26:
                return rebuild(choices);
            case 27:
                return addRead(choices);
            case 28:
            case 29:
                return addWrite(choices);
            case 30:
            case 31:
                return changeWord(choices);
            case 32:
                return choices.oneIn(2) ? changeRecord() : loadPlant(choices.below(9));
            case 33:
                return station(choices);
            case 34:
                return strayReply(choices);
            case 35:
            case 36:
                return burst(choices);
            case 37:
                poll();
                return;
            case 38:
                switch (choices.below(12)) {
                    default:
                        return manySmallReads(choices);
                    case 6:
                        return writesByTheThousand(choices);
                    case 1:
                        return fillOnceReads(choices);
                    case 2:
                    case 3:
                    case 4:
                        return writesAlone(choices);
                }
        }
    }

    Figures& figures_;
    ComInfo driverSettings_[2];
    Settings settings_[2];
    int used_ = 0;
    Machine machine_;
    std::map<std::string, std::vector<Symbol>> scopes_;  // with their variables
    struct {
        QHash<QString, Label_Type_Info> driver;
        reference::SymbolTable symbols;
        std::map<std::string, std::vector<Symbol>> scopes;
    } earlier_;  // the table, when the host kept a copy
    EditedLabels labels_;
    std::string lastReply_;
    bool everFailed_ = false;
    std::uint32_t seed_ = 0;  // of the data in the PLC's answers
    std::uint32_t answers_ = 0;
    std::string log_;
};

TEST(Reference, Machine) {
    RandomTest test;
    test.name = "Machine";
    test.percent = 45;
    test.numbers = 14;
    test.longest = 60;
    test.run = [](const Sequence& sequence, Figures& figures) {
        MachineRun run(figures);
        for (const Step& step : sequence) {
            run.run(step);
        }
    };
    test.states = {"1024 one-shot reads queued",
                   "abandoned: bad status",
                   "abandoned: bad status, with the host's number",
                   "abandoned: empty reply",
                   "abandoned: empty reply, with the host's number",
                   "abandoned: wrong length",
                   "abandoned: wrong length, with the host's number",
                   "bad reply, request to be sent again",
                   "batch of 79",
                   "batch of several writes",
                   "burst",
                   "connected",
                   "connected again after a failure",
                   "copy of the table kept",
                   "cyclic list emptied",
                   "cyclic list replaced while a read is pending",
                   "cyclic list with as many requests as tags",
                   "cyclic list with fewer requests than tags",
                   "cyclic reads left over by the budget",
                   "cyclic reads sent after five batches of one-shot reads",
                   "data reply accepted",
                   "earlier table put back",
                   "empty scope in the table for a while",
                   "failure reported",
                   "first pass completed by replies",
                   "handshake reply accepted",
                   "handshake reply rejected",
                   "idle turn with writes pending",
                   "incomplete reply",
                   "label edited in place",
                   "many large writes added",
                   "many small reads added",
                   "more than 1024 writes pending",
                   "name rewritten",
                   "nothing to send",
                   "one-shot read cut into pieces",
                   "one-shot read queued",
                   "one-shot read queued already",
                   "one-shot read refused",
                   "one-shot reads left over by the budget",
                   "one-shot reads sent after five batches of writes",
                   "pending one-shot reads dropped after a failure",
                   "pending writes dropped after a failure",
                   "planned read added",
                   "planned write added",
                   "read reply with too few bytes accepted",
                   "read reply with too many bytes accepted",
                   "reply measured",
                   "reply to an earlier request taken",
                   "reply without a request",
                   "report kept back, a newer write is pending",
                   "request offered",
                   "scope added to the table",
                   "scope removed from the table",
                   "scope replaced in the table",
                   "settings changed",
                   "settings record replaced",
                   "station switched",
                   "table detached",
                   "unanswered request offered again",
                   "value not queued",
                   "value not resolved",
                   "value of zero read",
                   "value queued",
                   "value queued and mirrored while communication has failed",
                   "value queued in pieces",
                   "value read",
                   "variable changed in the table",
                   "variable removed in the table",
                   "variable reported, outcome 1",
                   "variable reported, outcome 2",
                   "write sent while communication has failed",
                   "write of negative size sent",
                   "write too large for a frame given up",
                   "write with too few bytes",
                   "writes left over by the budget"};
    check(test);
}

}  // namespace

}  // namespace ac500::test
