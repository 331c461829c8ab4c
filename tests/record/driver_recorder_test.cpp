// The driver as it is shipped, called by several threads and interrupted, recorded, and made to do the same again from
// every place at which a segment begins.
#include "tools/host/driver_recorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "tests/replay/scripted_record.h"
#include "tools/driver/recorded_values.h"
#include "tools/record/record_reader.h"
#include "tools/replay/event_text.h"

namespace {

using namespace ac500;
using namespace ac500::test;
using host::DriverFunctions;
using host::DriverRecorder;
using record::FlightRecorder;
using testing::Contains;
using testing::SizeIs;

constexpr int kTags = 40;

// Main.v0 to Main.v39, DINTs, with gaps between them that no request bridges.
record::LabelRecord manyScope() {
    record::LabelRecord scope;
    scope.name = u"Main";
    scope.type = 12;
    scope.memberCount = kTags;
    for (int i = 0; i < kTags; ++i) {
        record::LabelRecord member;
        member.name = u"v" + QString::number(i).toStdU16String();
        member.type = 5;
        member.offset = 300 * i;
        member.areaList = {1};
        scope.members.push_back(member);
    }
    scope.elementType = {scope};
    return scope;
}

quint32 hostVarDone(quint32, quint32, quint32, quint32) {
    return 0;
}
quint32 hostCommFailed(QList<RW_VAR>*, quint32, quint32) {
    return 0;
}

int itemsOf(const QByteArray& frame) {
    return static_cast<unsigned char>(frame[11]);
}

// A host and its PLC at once: values move, and now and then no reply comes.
class Exchanges {
public:
    explicit Exchanges(const DriverFunctions& driver) : driver_(driver) {}

    void setUp(ComInfo* info) {
        info->maxRequestWords = 100;
        info->retryLimit = 1;
        info->accessMode = 2;
        driver_.setComInfo(info);
        driver_.registerCallbacks(&hostVarDone, &hostCommFailed);
        driver_.setLocalRegisters(nullptr, nullptr, nullptr);
        QList<Label_Type_Info> labels{host::fromRecord(manyScope())};
        driver_.passSymbols(&labels);
        QList<HostTag> tags;
        for (int i = 0; i < kTags; ++i) {
            tags.append({0, 0, QString(), tagName(i), 1});
        }
        EXPECT_EQ(driver_.rebuildReadList(&tags), kTags);
        RW_VAR more{};
        more.hostSubId = -1;
        more.area = 2;
        more.offset = 7;
        more.size = 5;
        driver_.addCyclicRead(&more);
    }

    void exchange(bool isSilent) {
        Protocol* const frame = driver_.nextRequest();
        if (frame == nullptr) {
            return;
        }
        QByteArray reply = isSilent ? QByteArray() : replyTo(frame->frame);
        if (!isSilent && frame->replyLength == -1) {
            driver_.takeReply(&reply, reply.size());
        }
        driver_.takeReply(&reply, reply.size());
    }

    void readAll() {
        for (int i = 0; i < kTags; ++i) {
            QString name = tagName(i);
            QString argument;
            QByteArray out;
            driver_.getValue(&name, 0, &argument, 0, &out, 2);
        }
    }

    void write(int serial) {
        QString name = tagName(serial % kTags);
        QByteArray in(4, static_cast<char>(serial));
        QString argument;
        driver_.setValue(&name, 0, &argument, 0, &in, 2, 1, serial);
    }

    void readOnce(int serial) {
        RW_VAR var{};
        var.hostId = 2;
        var.hostSubId = serial;
        var.labelName = tagName(serial % kTags);
        var.size = 1;
        driver_.addOnceRead(&var);
    }

    static QString tagName(int i) { return QStringLiteral("Main.v%1").arg(i); }

private:
    QByteArray replyTo(const QByteArray& frame) {
        switch (frame[6]) {
            case 0x01:
                return QByteArray::fromStdString(helloReply());
            case 0x31:
                return QByteArray::fromStdString(symbolsReply());
            case 0x3C:
                return QByteArray::fromStdString(shortReply());
            default:
                break;
        }
        QByteArray reply = QByteArray::fromHex("BBBB 0000 0000 0000 00000000");
        for (int item = 0; item < itemsOf(frame); ++item) {
            const int size = static_cast<unsigned char>(frame[12 + 10 * item + 9]);
            reply += QByteArray(1, '\0') + QByteArray(size, static_cast<char>(++generation_));
        }
        reply[4] = static_cast<char>((reply.size() - 6) >> 8);
        reply[5] = static_cast<char>(reply.size() - 6);
        return reply;
    }

    const DriverFunctions& driver_;
    int generation_ = 0;
};

class DriverRecorderTest : public testing::Test {
protected:
    // What `work` does with a driver that was just loaded, as a record.
    std::vector<record::Event> recorded(std::size_t memoryBytes, const std::function<void(Exchanges&)>& work) {
        std::string error;
        const std::unique_ptr<host::DriverLibrary> library = host::DriverLibrary::load(kDriver, &error);
        EXPECT_NE(library, nullptr) << error;
        EXPECT_NE(library->state(), nullptr);
        record::RecorderSettings settings;
        settings.memoryBytes = memoryBytes;
        FlightRecorder recorder(settings, record::RunInfo(), [](bool, const std::string&) {});
        ComInfo info{};
        {
            const DriverRecorder driver(library->functions(), library->state(), recorder);
            Exchanges run(driver.functions());
            run.setUp(&info);
            work(run);
        }
        const auto reader = record::RecordReader::ofBytes(recorder.minutes(), &error);
        EXPECT_NE(reader, nullptr) << error;
        std::vector<record::Event> events;
        while (std::optional<record::Event> event = reader->next()) {
            events.push_back(*event);
        }
        return events;
    }

    // From `first` on, as if nothing before it were there.
    void expectExact(const std::vector<record::Event>& all, std::size_t first) {
        std::vector<record::Event> events(all.begin() + static_cast<std::ptrdiff_t>(first), all.end());
        std::get<record::SegmentStart>(events.front().what).isContinuation = false;
        replay::ReplayRun run(events, driver_.fresh());
        while (run.step()) {
        }
        EXPECT_EQ(run.problem(), "");
        EXPECT_EQ(run.skipped(), 0u);
        EXPECT_FALSE(run.firstDivergence())
            << "from event " << all[first].number << ": " << replay::eventText(events[run.firstDivergence()->position])
            << ": " << run.firstDivergence()->difference.field;
    }

    ShippedDriver driver_;
};

TEST_F(DriverRecorderTest, RecordsWhatADriverDoesAgainFromTheStart) {
    const std::vector<record::Event> events = recorded(std::size_t{8} << 20, [](Exchanges& run) {
        for (int turn = 0; turn < 100; ++turn) {
            run.exchange(turn % 17 == 5 || turn % 17 == 6);
            run.readAll();
        }
    });
    EXPECT_GT(events.size(), 4000u);
    expectExact(events, 0);
}

TEST_F(DriverRecorderTest, CanBeReplayedFromEveryCheckpoint) {
    const std::vector<record::Event> events = recorded(std::size_t{64} << 10, [](Exchanges& run) {
        for (int turn = 0; turn < 1500; ++turn) {
            run.exchange(turn % 97 == 5 || turn % 97 == 6);
            if (turn % 3 == 0) {
                run.readAll();
            }
            if (turn % 11 == 0) {
                run.write(turn);
            }
            if (turn % 13 == 0) {
                run.readOnce(turn);
            }
        }
    });
    EXPECT_GT(events.front().number, 1000u);
    int checkpoints = 0;
    for (std::size_t i = 0; i < events.size(); ++i) {
        const auto* start = std::get_if<record::SegmentStart>(&events[i].what);
        if (start != nullptr && start->begin == record::SegmentBegin::Checkpoint) {
            ++checkpoints;
            expectExact(events, i);
        }
    }
    EXPECT_GE(checkpoints, 3);
}

TEST_F(DriverRecorderTest, KeepsTheOrderOfCallsOfManyThreads) {
    const std::vector<record::Event> events = recorded(std::size_t{8} << 20, [](Exchanges& run) {
        std::atomic<int> begun{0};
        std::atomic<bool> isOver{false};
        std::vector<std::thread> others;
        for (int i = 0; i < 3; ++i) {
            others.emplace_back([&run, &begun, &isOver, i] {
                for (int turn = 0; turn < 200 && !isOver; ++turn) {
                    run.readAll();
                    run.write(1000 * i + turn);
                    begun += turn == 0 ? 1 : 0;
                }
            });
        }
        while (begun < 3) {
            std::this_thread::yield();  // a busy machine would be done before the last of them had its first turn
        }
        for (int turn = 0; turn < 400; ++turn) {
            run.exchange(turn % 50 == 20);
        }
        isOver = true;
        for (std::thread& other : others) {
            other.join();
        }
    });
    std::vector<std::uint32_t> threads;
    for (const record::Event& event : events) {
        threads.push_back(event.thread);
    }
    EXPECT_THAT(threads, Contains(3u));
    expectExact(events, 0);
}

TEST_F(DriverRecorderTest, TellsWhatTheHostChangesInItsSettings) {
    ComInfo* shared = nullptr;
    std::string error;
    const std::unique_ptr<host::DriverLibrary> library = host::DriverLibrary::load(kDriver, &error);
    FlightRecorder recorder(record::RecorderSettings(), record::RunInfo(), [](bool, const std::string&) {});
    DriverRecorder driver(library->functions(), library->state(), recorder);
    Exchanges run(driver.functions());
    ComInfo info{};
    run.setUp(&info);
    shared = &info;
    shared->accessMode = 0;
    run.write(1);

    const auto reader = record::RecordReader::ofBytes(recorder.minutes(), &error);
    std::vector<record::SettingsWord> words;
    while (std::optional<record::Event> event = reader->next()) {
        if (const auto* change = std::get_if<record::SettingsChanged>(&event->what)) {
            words.insert(words.end(), change->words.begin(), change->words.end());
        }
    }
    ASSERT_THAT(words, SizeIs(1));
    EXPECT_EQ(words[0].index, 16);
    EXPECT_EQ(words[0].value, 0);
}

// A driver that does what no driver should, so that a record must show it: it answers with a word of its settings, and
// writes into the label that it is handed.
class OddDriver {
public:
    OddDriver() : recorder_(record::RecorderSettings(), record::RunInfo(), [](bool, const std::string&) {}) {
        functions_.setComInfo = [](ComInfo*) {};
        functions_.getValue = [this](QString* label, qint32, QString*, qint32, QByteArray* out, qint32) -> quint32 {
            (*label)[0] = QLatin1Char('X');
            *out = QByteArray(2, static_cast<char>(info.accessMode));
            return 1;
        };
        driver_ = std::make_unique<DriverRecorder>(functions_, nullptr, recorder_);
        driver_->functions().setComInfo(&info);
    }

    void ask() {
        QString label = QStringLiteral("M") + QStringLiteral("ain.v");
        QByteArray out;
        driver_->functions().getValue(&label, 0, nullptr, 0, &out, 1);
        EXPECT_EQ(label, QStringLiteral("Xain.v"));
    }

    // What was recorded, a letter for each event: C settings handed over, S changed, and of values the first byte.
    std::string recordedEvents() {
        std::string error;
        std::string letters;
        const auto reader = record::RecordReader::ofBytes(recorder_.minutes(), &error);
        while (std::optional<record::Event> event = reader->next()) {
            if (std::holds_alternative<record::SetComInfo>(event->what)) {
                letters += 'C';
            } else if (std::holds_alternative<record::SettingsChanged>(event->what)) {
                letters += 'S';
            } else if (const auto* value = std::get_if<record::GetValue>(&event->what)) {
                letters += static_cast<char>('0' + value->out[0]);
                EXPECT_EQ(value->label, u"Main.v");
                EXPECT_EQ(value->labelAfter, u"Xain.v");
            }
        }
        return letters;
    }

    ComInfo info{};

private:
    FlightRecorder recorder_;
    DriverFunctions functions_;
    std::unique_ptr<DriverRecorder> driver_;
};

TEST_F(DriverRecorderTest, TellsChangedSettingsBeforeTheFirstAnswerThatDiffers) {
    OddDriver driver;
    driver.ask();
    driver.ask();
    driver.info.accessMode = 2;
    driver.ask();
    driver.ask();

    EXPECT_EQ(driver.recordedEvents(), "C00S22");
}

TEST_F(DriverRecorderTest, ShowsALabelThatWasWrittenInto) {
    OddDriver driver;
    for (int i = 0; i < 50; ++i) {
        driver.ask();
    }

    EXPECT_EQ(driver.recordedEvents(), "C" + std::string(50, '0'));
}

}  // namespace
