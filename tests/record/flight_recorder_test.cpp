#include "tools/record/flight_recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <set>
#include <thread>

#include "tests/support/pace.h"
#include "tools/record/record_reader.h"
#include "tools/record/record_sink.h"
#include "tools/record/save_signal.h"

namespace {

using namespace ac500::record;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
namespace fs = std::filesystem;

class FlightRecorderTest : public testing::Test {
protected:
    FlightRecorderTest() {
        std::string name = (fs::temp_directory_path() / "ac500-recorder-XXXXXX").string();
        folder_ = mkdtemp(name.data());
        settings_.saveFile = file("saved.record");
    }
    ~FlightRecorderTest() override { fs::remove_all(folder_); }

    std::string file(const std::string& name) const { return (fs::path(folder_) / name).string(); }

    std::string read(const std::string& name) const {
        std::ifstream from(file(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(from), {}};
    }

    void write(const std::string& name, const std::string& content) const {
        std::ofstream(file(name), std::ios::binary) << content;
    }

    void useRing() {
        settings_.ringFile = file("ring.record");
        settings_.ringBytes = std::size_t{1} << 20;
    }

    std::size_t filesOfRing() const {
        return static_cast<std::size_t>(std::count_if(
            fs::directory_iterator(folder_), fs::directory_iterator(),
            [](const auto& entry) { return entry.path().stem() == "ring" || entry.path().stem() == "ring.record"; }));
    }

    std::unique_ptr<FlightRecorder> recorder(std::uint64_t runId = 0) {
        RunInfo run;
        run.runId = runId;
        return std::make_unique<FlightRecorder>(settings_, run, [this](bool isProblem, const std::string& text) {
            const std::lock_guard<std::mutex> lock(mutex_);
            (isProblem ? problems_ : notes_).push_back(text);
        });
    }

    std::vector<std::string> problems() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return problems_;
    }

    static bool waitUntil(const std::function<bool()>& isDone) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20 * AC500_TEST_PACE);
        while (!isDone() && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return isDone();
    }

    std::string folder_;
    RecorderSettings settings_;
    std::uint64_t runId_ = 0;
    mutable std::mutex mutex_;
    std::vector<std::string> problems_;
    std::vector<std::string> notes_;
};

std::vector<std::string> notesOf(const std::vector<Event>& events) {
    std::vector<std::string> texts;
    for (const Event& event : events) {
        if (const auto* note = std::get_if<Note>(&event.what)) {
            texts.push_back(note->text);
        }
    }
    return texts;
}

LoadedRecord loaded(const std::string& path) {
    std::string error;
    std::optional<LoadedRecord> record = loadRecord(path, &error);
    EXPECT_TRUE(record) << error;
    return record.value_or(LoadedRecord());
}

std::vector<Event> eventsOf(const std::string& bytes) {
    std::string error;
    const auto reader = RecordReader::ofBytes(bytes, &error);
    EXPECT_NE(reader, nullptr) << error;
    std::vector<Event> events;
    while (std::optional<Event> event = reader->next()) {
        events.push_back(*event);
    }
    EXPECT_EQ(reader->end().kind, EndKind::Complete) << reader->end().reason;
    return events;
}

// So many that segments end: a kilobyte that is never the same.
void addMany(FlightRecorder& recorder, int count) {
    for (int i = 0; i < count; ++i) {
        recorder.note(NoteKind::Event, "test", std::to_string(i) + std::string(1000, static_cast<char>('a' + i % 26)));
        if (recorder.wantsSegment()) {
            recorder.beginSegment(Checkpoint());
        }
    }
}

// Nothing may be missing between two events.
void expectGapless(const std::vector<Event>& events) {
    for (std::size_t i = 1; i < events.size(); ++i) {
        const auto* start = std::get_if<SegmentStart>(&events[i].what);
        const bool followsStart = std::holds_alternative<SegmentStart>(events[i - 1].what);
        ASSERT_EQ(events[i].number, events[i - 1].number + (followsStart ? 0 : 1)) << i;
        ASSERT_TRUE(start == nullptr || start->isContinuation) << i;
    }
}

TEST_F(FlightRecorderTest, KeepsTheWholeRunInAFile) {
    settings_.wholeFile = file("whole.record");
    const auto writing = recorder();
    addMany(*writing, 3000);
    writing->finish();
    writing->note(NoteKind::Event, "test", "too late");

    const LoadedRecord record = loaded(settings_.wholeFile);
    EXPECT_EQ(record.end.kind, EndKind::Complete);
    EXPECT_THAT(notesOf(record.events), SizeIs(3000));
    expectGapless(record.events);
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(FlightRecorderTest, KeepsTheLastMinutesInMemoryWithinTheirSize) {
    settings_.memoryBytes = std::size_t{256} << 10;
    const auto writing = recorder();
    addMany(*writing, 2000);

    const std::string minutes = writing->minutes();
    EXPECT_LT(minutes.size(), std::size_t{300} << 10);
    EXPECT_GT(minutes.size(), std::size_t{200} << 10);
    const std::vector<Event> events = eventsOf(minutes);
    ASSERT_FALSE(events.empty());
    const auto* start = std::get_if<SegmentStart>(&events.front().what);
    ASSERT_NE(start, nullptr);
    EXPECT_EQ(start->begin, SegmentBegin::Checkpoint);
    EXPECT_FALSE(start->isContinuation);
    expectGapless(events);
    EXPECT_EQ(events.back().number, 1999u);
}

TEST_F(FlightRecorderTest, GivesUpOnACheckpointThatDoesNotCome) {
    settings_.memoryBytes = std::size_t{64} << 10;
    const auto writing = recorder();
    for (int i = 0; i < 500; ++i) {
        writing->note(NoteKind::Event, "test", std::string(1000, 'x') + std::to_string(i));
        writing->beginSegment(std::nullopt);
    }
    const std::vector<Event> events = eventsOf(writing->minutes());
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(std::get<SegmentStart>(events.front().what).begin, SegmentBegin::Unknown);
    EXPECT_EQ(events.back().number, 499u);
}

TEST_F(FlightRecorderTest, PutsTheSymbolsBeforeTheCheckpointsThatNeedThem) {
    settings_.memoryBytes = std::size_t{64} << 10;
    const auto writing = recorder();
    LabelRecord first;
    first.name = u"first";
    LabelRecord second;
    second.name = u"second";
    writing->addSymbols({first});
    writing->addSymbols({first});
    writing->addSymbols({second, first});
    addMany(*writing, 500);

    const std::vector<Event> events = eventsOf(writing->minutes());
    ASSERT_FALSE(events.empty());
    const auto& checkpoint = std::get<SegmentStart>(events.front().what).checkpoint;
    ASSERT_TRUE(checkpoint);
    ASSERT_THAT(checkpoint->symbols, SizeIs(2));
    EXPECT_EQ(checkpoint->symbols[0][0].name, u"first");
    EXPECT_EQ(checkpoint->symbols[1][0].name, u"second");
}

TEST_F(FlightRecorderTest, SavesTheMinutesOnEachSignalAlsoOnOneThatCameBefore) {
    catchSaveSignal();
    std::raise(SIGUSR1);
    const auto writing = recorder();
    writing->note(NoteKind::Event, "test", "one");
    ASSERT_TRUE(waitUntil([this] { return fs::exists(file("saved.record")); }));
    writing->note(NoteKind::Event, "test", "two");
    std::raise(SIGUSR1);
    ASSERT_TRUE(waitUntil([this] { return fs::exists(file("saved-2.record")); }));

    const std::vector<std::string> notes = notesOf(loaded(file("saved-2.record")).events);
    ASSERT_THAT(notes, SizeIs(4));
    // The recorder's thread may have served the earlier signal before the first note.
    EXPECT_THAT(std::vector<std::string>(notes.begin(), notes.begin() + 2), UnorderedElementsAre("one", "SIGUSR1"));
    EXPECT_THAT(std::vector<std::string>(notes.begin() + 2, notes.end()), ElementsAre("two", "SIGUSR1"));
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(FlightRecorderTest, ServesASignalThatComesAtTheVeryEnd) {
    catchSaveSignal();
    const auto writing = recorder();
    std::raise(SIGUSR1);
    writing->finish();
    EXPECT_TRUE(fs::exists(file("saved.record")));
}

TEST_F(FlightRecorderTest, SavesOnceWhenTheTriggerHasAReason) {
    const auto writing = recorder();
    writing->saveWhen([] { return std::optional<std::string>("the pump stands still"); });
    ASSERT_TRUE(waitUntil([this] { return fs::exists(file("saved.record")); }));
    writing->finish();
    EXPECT_THAT(notesOf(loaded(file("saved.record")).events), ElementsAre("the pump stands still"));
    EXPECT_FALSE(fs::exists(file("saved-2.record")));
    ASSERT_THAT(notes_, SizeIs(1));
    EXPECT_THAT(notes_[0], HasSubstr("saved.record (the pump stands still)"));
}

TEST_F(FlightRecorderTest, TellsOnceThatADiskIsFullAndGoesOn) {
    settings_.wholeFile = "/dev/full";
    const auto writing = recorder();
    addMany(*writing, 100);
    ASSERT_TRUE(waitUntil([this] { return !problems().empty(); }));
    addMany(*writing, 100);
    writing->finish();
    EXPECT_THAT(
        problems(),
        ElementsAre("the record /dev/full cannot be written: No space left on device; the run goes on without it"));
    EXPECT_THAT(notesOf(eventsOf(writing->minutes())), SizeIs(200));
}

TEST_F(FlightRecorderTest, TellsOnceThatAFileCannotBeMade) {
    settings_.ringFile = file("missing/ring.record");
    settings_.ringBytes = std::size_t{1} << 20;
    const auto writing = recorder();
    addMany(*writing, 10);
    writing->finish();
    ASSERT_THAT(problems(), SizeIs(1));
    EXPECT_THAT(problems()[0], HasSubstr("missing/ring.record cannot be made: No such file or directory"));
}

TEST_F(FlightRecorderTest, LeavesNoHalfRecordWhereMinutesCannotBeSaved) {
    const auto writing = recorder();
    std::string name;
    EXPECT_EQ(writing->saveMinutes(file("missing/saved.record"), &name),
              "the record " + file("missing/saved.record") + " cannot be made: No such file or directory");
    EXPECT_TRUE(fs::is_empty(folder_));
}

TEST_F(FlightRecorderTest, SavesMinutesUnderANameThatNobodyHas) {
    write("saved.record", "the minutes of an earlier failure");
    write("saved-3.record", "others");
    const auto writing = recorder();
    std::string name;
    EXPECT_EQ(writing->saveMinutes(file("saved.record"), &name), "");
    EXPECT_EQ(name, file("saved-2.record"));
    EXPECT_EQ(writing->saveMinutes(file("saved.record"), &name), "");
    EXPECT_EQ(name, file("saved-4.record"));
    EXPECT_EQ(read("saved.record"), "the minutes of an earlier failure");
    EXPECT_EQ(read("saved-3.record"), "others");
    EXPECT_EQ(loaded(file("saved-2.record")).end.kind, EndKind::Complete);
    EXPECT_EQ(fs::status(file("saved-2.record")).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(FlightRecorderTest, FillsNoDiskWithSavedMinutes) {
    write("saved.record", "x");
    for (int number = 2; number <= 100; ++number) {
        write("saved-" + std::to_string(number) + ".record", "x");
    }
    const auto writing = recorder();
    std::string name;
    EXPECT_THAT(writing->saveMinutes(file("saved.record"), &name),
                HasSubstr("saved.record cannot be made: there are 100 of that name by now"));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()), 100);
}

TEST_F(FlightRecorderTest, ManyProgramsSaveMinutesInOneFolderAtOnce) {
    constexpr int kPrograms = 8;
    std::vector<pid_t> children;
    for (int i = 0; i < kPrograms; ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            const auto writing = recorder();
            writing->note(NoteKind::Event, "test", std::to_string(i));
            std::string name;
            const std::string problem = writing->saveMinutes(file("saved.record"), &name);
            _exit(problem.empty() ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    std::set<std::string> notes;
    for (const auto& entry : fs::directory_iterator(folder_)) {
        const std::vector<std::string> its = notesOf(loaded(entry.path().string()).events);
        ASSERT_THAT(its, SizeIs(1)) << entry.path();
        notes.insert(its.front());
    }
    EXPECT_THAT(notes, ElementsAre("0", "1", "2", "3", "4", "5", "6", "7"));
}

// ---- what is there when a run begins

TEST_F(FlightRecorderTest, ReplacesNoFileThatIsNoRecord) {
    write("notes.txt", "important notes of mine");
    settings_.wholeFile = file("notes.txt");
    const auto writing = recorder();
    addMany(*writing, 10);
    writing->finish();
    EXPECT_THAT(problems(), ElementsAre("the record " + file("notes.txt") +
                                        " cannot be made: a file of that name is there, and it is no record; it stays "
                                        "as it is; the run goes on without it"));
    EXPECT_EQ(read("notes.txt"), "important notes of mine");
}

TEST_F(FlightRecorderTest, ReplacesAnEmptyFileAndARecord) {
    write("run.record", "");
    settings_.wholeFile = file("run.record");
    for (const char* run : {"first", "second"}) {
        const auto writing = recorder();
        writing->note(NoteKind::Event, "test", run);
        writing->finish();
        EXPECT_THAT(notesOf(loaded(file("run.record")).events), ElementsAre(run));
    }
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(FlightRecorderTest, ARingLeavesFilesAloneThatAreNoRecords) {
    useRing();
    for (const char* name : {"ring.record", "ring.record.1", "ring.record.3", "ring.record.15"}) {
        write(name, "mine");
        problems_.clear();
        recorder()->finish();
        EXPECT_THAT(problems(), ElementsAre(HasSubstr(std::string(name) + " cannot be made: a file of that name")));
        EXPECT_EQ(read(name), "mine");
        EXPECT_EQ(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()), 1);
        fs::remove(file(name));
    }
}

TEST_F(FlightRecorderTest, ARingGoesOnBehindTheRunsThatWereBefore) {
    useRing();
    for (const std::string run : {"first", "second", "third"}) {
        const auto writing = recorder(++runId_);
        writing->note(NoteKind::Event, "test", run);
        writing->finish();
    }
    EXPECT_THAT(notesOf(loaded(file("ring.record")).events), ElementsAre("third"));
    EXPECT_EQ(loaded(file("ring.record")).earlierRun, file("ring.record.1"));
    EXPECT_THAT(notesOf(loaded(file("ring.record.1")).events), ElementsAre("second"));
    EXPECT_EQ(loaded(file("ring.record.1")).earlierRun, file("ring.record.2"));
    EXPECT_THAT(notesOf(loaded(file("ring.record.2")).events), ElementsAre("first"));
    EXPECT_EQ(loaded(file("ring.record.2")).earlierRun, "");
    EXPECT_FALSE(loaded(file("ring.record")).isDamaged);
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(FlightRecorderTest, AnEarlierRunOfARingIsReadWithAllItsParts) {
    useRing();
    std::size_t parts = 0;
    {
        const auto writing = recorder(++runId_);
        addMany(*writing, 700);
        writing->finish();
        parts = filesOfRing();
    }
    ASSERT_GT(parts, 2u);
    const std::vector<std::string> before = notesOf(loaded(file("ring.record")).events);
    ASSERT_GT(before.size(), 600u);
    recorder(++runId_)->finish();
    EXPECT_EQ(filesOfRing(), parts + 1);
    EXPECT_THAT(notesOf(loaded(file("ring.record")).events), IsEmpty());
    const LoadedRecord earlier = loaded(file("ring.record.1"));
    EXPECT_EQ(notesOf(earlier.events), before);
    EXPECT_EQ(earlier.end.kind, EndKind::Complete);
    expectGapless(earlier.events);
}

TEST_F(FlightRecorderTest, ARingOfManyRunsKeepsItsSizeAndItsNumberOfFiles) {
    useRing();
    for (int run = 1; run <= 20; ++run) {
        const auto writing = recorder(++runId_);
        writing->note(NoteKind::Event, "test", std::to_string(run));
        writing->finish();
    }
    EXPECT_EQ(filesOfRing(), 16u);
    EXPECT_THAT(notesOf(loaded(file("ring.record.15")).events), ElementsAre("5"));
    for (int run = 1; run <= 6; ++run) {
        const auto writing = recorder(++runId_);
        addMany(*writing, 300);
        writing->finish();
    }
    std::uintmax_t bytes = 0;
    for (const auto& entry : fs::directory_iterator(folder_)) {
        bytes += entry.file_size();
    }
    EXPECT_LE(bytes, settings_.ringBytes);
    EXPECT_GT(bytes, settings_.ringBytes / 2);
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(FlightRecorderTest, TwoProgramsDoNotWriteOneRecord) {
    useRing();
    settings_.wholeFile = file("run.record");
    const auto first = recorder(1);
    addMany(*first, 400);
    ASSERT_TRUE(
        waitUntil([this] { return fs::exists(file("ring.record.1")) && fs::file_size(file("run.record")) > 0; }));
    const auto second = recorder(2);
    second->finish();
    EXPECT_THAT(problems(), ElementsAre("the record " + file("run.record") +
                                            " cannot be made: another program writes its record there; the run goes on "
                                            "without it",
                                        "the record " + file("ring.record") +
                                            " cannot be made: another program writes its record there; the run goes on "
                                            "without it"));
    first->finish();
    EXPECT_THAT(notesOf(loaded(file("run.record")).events), SizeIs(400));
    EXPECT_THAT(notesOf(loaded(file("ring.record")).events), SizeIs(400));
}

// Whoever looks whether a file is in use does not keep the one from it that uses it.
TEST_F(FlightRecorderTest, OthersThatTryDoNotDisturbTheOneThatWritesARing) {
    useRing();
    const auto first = recorder(1);
    ASSERT_TRUE(
        waitUntil([this] { return fs::exists(file("ring.record")) && fs::file_size(file("ring.record")) > 0; }));
    std::atomic<bool> isOver{false};
    std::thread others([&] {
        while (!isOver) {
            DiskRing other(settings_.ringFile, settings_.ringBytes);
            EXPECT_NE(other.open(), "");
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    ASSERT_TRUE(waitUntil([&] {
        addMany(*first, 20);
        return fs::exists(file("ring.record.3"));
    }));
    isOver = true;
    others.join();
    first->finish();
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(FlightRecorderTest, ADeviceIsForManyPrograms) {
    settings_.wholeFile = "/dev/null";
    const auto first = recorder();
    const auto second = recorder();
    second->finish();
    first->finish();
    EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(FlightRecorderTest, LeavesAReadableRingWhenItIsKilled) {
    settings_.ringFile = file("ring.record");
    settings_.ringBytes = std::size_t{1} << 20;
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const auto writing = recorder();
        for (;;) {
            addMany(*writing, 100);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    EXPECT_TRUE(waitUntil([this] { return fs::exists(file("ring.record.3")); }));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);

    std::uintmax_t bytes = 0;
    for (const auto& entry : fs::directory_iterator(folder_)) {
        bytes += entry.file_size();
    }
    EXPECT_LE(bytes, settings_.ringBytes);
    const LoadedRecord record = loaded(settings_.ringFile);
    EXPECT_EQ(record.end.kind, EndKind::Cut);
    EXPECT_FALSE(record.end.reason.empty());
    EXPECT_THAT(record.remarks, IsEmpty());
    EXPECT_GT(record.events.size(), 300u);
    expectGapless(record.events);
}

TEST_F(FlightRecorderTest, NumbersEventsOfAllThreadsInOneRow) {
    const auto writing = recorder();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&writing] { addMany(*writing, 500); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::vector<Event> events = eventsOf(writing->minutes());
    EXPECT_THAT(notesOf(events), SizeIs(2000));
    expectGapless(events);
}

}  // namespace
