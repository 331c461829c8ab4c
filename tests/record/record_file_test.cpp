#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "tools/record/record_reader.h"
#include "tools/record/record_writer.h"

namespace {

using namespace ac500::record;

RunInfo someRun() {
    RunInfo run;
    run.runId = 0x0102030405060708;
    run.program = "ac500-host 1.0";
    run.driver = "lib/libac500driver.so";
    run.driverBuild = "abcdef";
    run.architecture = "armv7l";
    run.qtVersion = "4.8.6";
    run.settings = {{"cycle", "100"}, {"plc", "10.0.0.5:1201"}};
    return run;
}

VarRecord someVar() {
    VarRecord var;
    var.hostId = 1;
    var.hostSubId = -1;
    var.writeFlag = 1;
    var.aux3 = 3;
    var.aux4 = -4;
    var.status = 100;
    var.labelName = u"Main.größe";
    var.labelArg = u"7";
    var.dataType = 16;
    var.offset = INT32_MIN;
    var.comWord = INT32_MAX;
    var.size = 4;
    var.resolveResult = 0;
    var.area = 3;
    var.data = std::string("\0\xFF\x80\x01", 4);
    return var;
}

LabelRecord someLabel() {
    LabelRecord member;
    member.name = u"member";
    member.type = 0xFFFF;
    LabelRecord label;
    label.name = u"Main";
    label.type = 0x8000;
    label.offset = -5;
    label.dimensions = 2;
    label.memberCount = 0xFFFFFFFF;
    label.arrayBounds = {10, -1, 4, 0, 9};
    label.members = {member, member};
    label.elementType = {member};
    label.typeName = u"T";
    label.extra1 = 11;
    label.extra2 = -12;
    label.areaList = {3};
    label.textList = {u"a", u""};
    return label;
}

FrameRecord someFrame() {
    FrameRecord frame;
    frame.frame = "\xBB\xBB read";
    frame.frameLength = 7;
    frame.replyLength = -1;
    frame.replyDataOffset = 12;
    frame.minReplyLength = 6;
    frame.var = someVar();
    frame.reserved = {1, -2, 3};
    return frame;
}

GetValue someValue(const Text& label, const Bytes& out) {
    GetValue call;
    call.label = label;
    call.argument = Text();
    call.count = 1;
    call.result = 1;
    call.out = out;
    call.labelAfter = label;
    return call;
}

// One after another, a millisecond apart, from a segment start on.
class Story {
public:
    Story() { tell(SegmentStart{SegmentBegin::Fresh, false, std::nullopt}); }

    Event& tell(What what) {
        Event event;
        event.number = events.empty() || events.size() == 1 ? 0 : events.back().number + 1;
        event.monotonicUs = 5000000 + 1000 * static_cast<std::int64_t>(events.size());
        event.utcUs = event.monotonicUs + 1700000000000000;
        event.what = std::move(what);
        events.push_back(event);
        return events.back();
    }

    std::string written() const {
        RecordWriter writer(someRun());
        for (const Event& event : events) {
            writer.add(event);
        }
        writer.close();
        return writer.bytes();
    }

    std::vector<Event> events;
};

Story storyOfEveryKind() {
    Story story;
    SettingsWords settings{};
    settings[4] = 100;
    settings[18] = -1;
    story.tell(ac500::record::SetComInfo{settings}).settingsAfter = {{10, 0}, {13, INT32_MIN}};
    story.tell(RegisterCallbacks{true, false});
    story.tell(SetLocalRegisters{true, false, true});
    story.tell(PassSymbols{std::vector<LabelRecord>{someLabel(), LabelRecord()}});
    story.tell(PassSymbols{});
    story.tell(RebuildReadList{std::vector<TagRecord>{{1, -2, u"3", u"Main.a[%%]", 4}, {}}, 1});
    story.tell(AddCyclicRead{someVar(), 2});
    VarRecord after = someVar();
    after.offset = 17;
    story.tell(AddOnceRead{someVar(), after, 3});
    story.tell(AddWrite{someVar(), -1});
    story.tell(NextRequest{std::nullopt, 0});
    story.tell(NextRequest{someFrame(), 1});
    story.tell(Connection{ConnectionStep::Sent, someFrame().frame, ""});
    story.tell(Connection{ConnectionStep::Received, "reply number one of some length", ""});
    story.tell(TakeReply{1, "reply number one of some length", 31, someVar()}).callbacks = {
        VarDone{1, 2, 0xFFFFFFFF, 4}, CommFailed{0, 5, 1}};
    story.tell(NextRequest{someFrame(), 2});
    story.tell(Connection{ConnectionStep::Sent, someFrame().frame, ""});
    story.tell(Connection{ConnectionStep::Received, "reply number two of some length", ""});
    story.tell(TakeReply{2, "reply number two of some length", 31, someVar()});
    story.tell(TakeReply{2, "another reply", 13, someVar()});
    story.tell(TakeReply{2, "", 0, someVar()});
    story.tell(someValue(u"Main.a", "12"));
    story.tell(someValue(u"Main.b", "34")).thread = 2;
    story.tell(someValue(u"Main.a", "12"));
    story.tell(someValue(u"Main.b", "34"));
    story.tell(someValue(u"Main.b", "35"));
    GetValue rewritten = someValue(u"Main.c[%%]", "");
    rewritten.argument = u"5";
    rewritten.labelAfter = u"Main.c[5]";
    rewritten.unused1 = -7;
    rewritten.unused2 = 8;
    story.tell(rewritten);
    rewritten.argument.reset();
    story.tell(rewritten).settingsAfter = {{0, 1}};
    SetValue set;
    set.label = u"Main.c[%%]";
    set.unused1 = 1;
    set.argument = u"5";
    set.unused2 = 2;
    set.in = "\x01";
    set.count = 1;
    set.hostId = 1;
    set.hostSubId = -1;
    set.result = 9;
    set.labelAfter = u"Main.c[5]";
    story.tell(set);
    story.tell(ResolveTag{u"Main.a", {1, 2, 3}, {4, 5, 6, 7, 8, 9, 10, 11, 12, -13}, 7});
    story.tell(SettingsChanged{{{16, 2}}});
    story.tell(Connection{ConnectionStep::Ended, "", "connection reset"});
    story.tell(Note{NoteKind::Failure, "tcp", "no connection"}).utcUs += 3600000000;
    return story;
}

// What a test compares: a writer that writes the same bytes has been given the same events.
std::string bytesOf(const std::vector<Event>& events) {
    RecordWriter writer(someRun());
    for (const Event& event : events) {
        writer.add(event);
    }
    writer.close();
    return writer.bytes();
}

std::vector<Event> readAll(const std::string& bytes, RecordEnd* end) {
    std::string error;
    const auto reader = RecordReader::ofBytes(bytes, &error);
    std::vector<Event> events;
    if (reader == nullptr) {
        *end = {EndKind::Damaged, "", 0, error};
        return events;
    }
    while (std::optional<Event> event = reader->next()) {
        events.push_back(*event);
    }
    *end = reader->end();
    return events;
}

TEST(RecordFileTest, GivesBackEveryKindOfEvent) {
    const Story story = storyOfEveryKind();
    RecordEnd end;
    const std::vector<Event> events = readAll(story.written(), &end);

    EXPECT_EQ(end.kind, EndKind::Complete);
    ASSERT_EQ(events.size(), story.events.size());
    EXPECT_EQ(bytesOf(events), story.written());
    for (std::size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(events[i].number, story.events[i].number) << i;
        EXPECT_EQ(events[i].monotonicUs, story.events[i].monotonicUs) << i;
        EXPECT_EQ(events[i].utcUs, story.events[i].utcUs) << i;
        EXPECT_EQ(events[i].thread, story.events[i].thread) << i;
        EXPECT_EQ(events[i].what.index(), story.events[i].what.index()) << i;
        EXPECT_EQ(events[i].callbacks.size(), story.events[i].callbacks.size()) << i;
    }
}

// The story in chunks of one event each.
std::string inSmallChunks(const Story& story) {
    RecordWriter writer(someRun());
    for (const Event& event : story.events) {
        writer.add(event);
        writer.endChunk();
    }
    writer.close();
    return writer.bytes();
}

TEST(RecordFileTest, YieldsAllWholeChunksOfAFileThatWasCutAnywhere) {
    const Story story = storyOfEveryKind();
    const std::string whole = inSmallChunks(story);
    // What has no run yet is no record.
    RecordWriter nothing(someRun());
    const std::size_t beginning = nothing.bytes().size();
    ASSERT_GT(beginning, 0u);
    std::size_t most = 0;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        RecordEnd end;
        const std::vector<Event> events = readAll(whole.substr(0, length), &end);
        EXPECT_EQ(end.kind, length < beginning ? EndKind::Damaged : EndKind::Cut) << length;
        EXPECT_FALSE(end.reason.empty()) << length;
        EXPECT_LE(end.offset, length);
        EXPECT_GE(events.size(), most) << length;
        most = events.size();
    }
    EXPECT_EQ(most, story.events.size());
}

TEST(RecordFileTest, YieldsAllWholeChunksBeforeAnyDamagedByte) {
    const Story story = storyOfEveryKind();
    const std::string whole = inSmallChunks(story);
    std::size_t most = 0;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const char flip : {'\x01', '\x80', '\xFF'}) {
            std::string damaged = whole;
            damaged[at] = static_cast<char>(damaged[at] ^ flip);
            RecordEnd end;
            const std::vector<Event> events = readAll(damaged, &end);
            EXPECT_EQ(end.kind, EndKind::Damaged) << at;
            EXPECT_LE(end.offset, at);
            EXPECT_GE(events.size(), most) << at;
            most = events.size();
        }
    }
    EXPECT_EQ(most, story.events.size());
}

std::string chunkWith(ChunkType type, std::uint64_t number, const std::string& payload) {
    return chunkBytes({type, number, payload});
}

std::string hexOf(const std::string& bytes) {
    static const char* const kDigits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += {kDigits[value >> 4], kDigits[value & 15]};
    }
    return text;
}

// Byte by byte as docs/record-format.md has it: whatever machine writes it, this is what it writes.
// Also from the middle of a segment, and when it ends in damage.
TEST(RecordFileTest, IsReadAgainFromTheBeginning) {
    const std::string whole = inSmallChunks(storyOfEveryKind());
    std::string damaged = whole;
    damaged[whole.size() / 2] = static_cast<char>(damaged[whole.size() / 2] ^ 1);
    for (const std::string& bytes : {whole, damaged}) {
        std::string error;
        const auto reader = RecordReader::ofBytes(bytes, &error);
        ASSERT_NE(reader, nullptr) << error;
        std::vector<Event> first;
        while (std::optional<Event> event = reader->next()) {
            first.push_back(std::move(*event));
        }
        const RecordEnd end = reader->end();
        const bool isDamaged = reader->isDamaged();
        ASSERT_GT(first.size(), 5u);
        reader->rewind();
        EXPECT_FALSE(reader->isDamaged());
        for (int i = 0; i < 5; ++i) {
            EXPECT_TRUE(reader->next());
        }
        reader->rewind();
        std::vector<Event> second;
        while (std::optional<Event> event = reader->next()) {
            second.push_back(std::move(*event));
        }
        EXPECT_EQ(bytesOf(second), bytesOf(first));
        EXPECT_EQ(reader->end().kind, end.kind);
        EXPECT_EQ(reader->end().offset, end.offset);
        EXPECT_EQ(reader->end().reason, end.reason);
        EXPECT_EQ(reader->isDamaged(), isDamaged);
        EXPECT_EQ(isDamaged, bytes != whole);
    }
}

TEST(RecordFileTest, HasTheSameBytesOnEveryMachine) {
    RunInfo run;
    run.runId = 0x0102030405060708;
    run.architecture = "armv7l";
    RecordWriter writer(run);
    Event event;
    event.monotonicUs = 300;
    event.utcUs = 1000300;
    event.what = SegmentStart{SegmentBegin::Fresh, false, std::nullopt};
    writer.add(event);
    event.monotonicUs = 302;
    event.utcUs = 1000302;
    VarRecord var;
    var.hostId = -1;
    var.labelName = u"\u00e9";
    var.offset = 1000;
    var.data = std::string("\x80\x00", 2);
    event.what = AddCyclicRead{var, 3};
    writer.add(event);
    writer.close();
    EXPECT_EQ(hexOf(writer.bytes()),
              "894143355245430a01000000"  // head
              "4352554e140000000000000000000000"
              "a91c4a9e"  // CRUN, 20 bytes
              "0807060504030201"
              "00"
              "00"
              "00"
              "0661726d76376c"
              "00"
              "00"  // run id, texts, settings
              "43534547070000000000000000000000"
              "ce373e68"  // CSEG
              "00"
              "d804"
              "d88d7a"
              "00"  // fresh, 300, 1000300, thread 0
              "43455654190000000000000000000000"
              "d903e242"  // CEVT
              "06"
              "04"
              "00"
              "14"  // op 6, 2 us later, new shared bytes: 20
              "01"
              "00"
              "00"
              "00"
              "00"
              "00"
              "01e901"
              "00"
              "00"
              "d00f"
              "00"
              "00"
              "00"
              "00"
              "028000"
              "06"  // result 3
              "43454e44000000000100000000000000"
              "7995cd29");
}

// A chunk with the right checksum that says there is more than there is.
TEST(RecordFileTest, TakesNoMemoryForWhatIsNotThere) {
    const std::string begin =
        RecordWriter(someRun()).bytes() + chunkWith(ChunkType::Segment, 0, std::string("\0\0\0\0", 4));
    const std::string huge = "\xFF\xFF\xFF\xFF\x0F";  // 4,294,967,295
    const std::vector<std::string> items = {
        "\x04" + std::string("\0\x01\0", 3) + huge,                       // symbols
        "\x05" + std::string("\0\x01", 2) + huge,                         // tags
        "\x06" + std::string("\0", 1) + huge,                             // shared bytes that nobody has defined
        "\x0B" + std::string("\0\0", 2) + huge,                           // a question
        "\x0D" + std::string("\0", 1) + huge,                             // a text
        "\x11" + std::string("\0", 1) + huge + huge,                      // values in a row
        "\x0F" + std::string("\0\x05\0\x03", 4) + huge,                   // changes of a reply
        "\x3E",                                                           // no op
        std::string("\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F", 11),  // more than 64 bits
    };
    for (const std::string& item : items) {
        RecordEnd end;
        const std::vector<Event> events = readAll(begin + chunkWith(ChunkType::Events, 0, item), &end);
        EXPECT_EQ(events.size(), 1u) << hexOf(item);
        EXPECT_EQ(end.kind, EndKind::Damaged) << hexOf(item);
        EXPECT_EQ(end.offset, begin.size()) << hexOf(item);
    }
}

TEST(RecordFileTest, RefusesWhatIsNoRecordOfItsVersion) {
    RecordEnd end;
    EXPECT_TRUE(readAll("", &end).empty());
    EXPECT_EQ(end.reason, "it is no record of this program");
    std::string other = storyOfEveryKind().written();
    other[8] = 2;
    EXPECT_TRUE(readAll(other, &end).empty());
    EXPECT_EQ(end.reason, "it has version 2 of the format; this program reads version 1");
}

}  // namespace
