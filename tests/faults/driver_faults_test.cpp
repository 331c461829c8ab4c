// Every fault of the simulated PLC in every state of the driver, in one process: no socket, no thread, no waiting.
//
// The host of these tests is a plain one. It hands over what has come, piece by piece, while the driver measures; it
// collects whole replies for a frame that was measured before; it hands over an empty reply when the time is over or
// the connection is gone. So the driver sees the faults themselves. What a careful host makes of them is
// host_faults_test.cpp.
#include <sstream>

#include "tests/faults/driver_rows.h"
#include "tests/support/driver_test.h"
#include "tools/simulator/plc_model.h"
#include "tools/symbol_file/label_records.h"

namespace ac500::test {

using symbol_file::parseSymbolFile;
using symbol_file::SymbolFile;

void PrintTo(const DriverRow& row, std::ostream* out) {
    *out << nameOf(row.state) << "_" << nameOf(row.fault);
}

namespace {

constexpr char kProgram[] = R"({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 64}, {"number": 2, "bytes": 1024}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "level", "type": "WORD", "area": 1, "offset": 8},
    {"name": "flow", "type": "WORD", "area": 2, "offset": 4},
    {"name": "bulk", "type": "BYTE", "area": 2, "offset": 8, "array": [[1, 796]]},
    {"name": "setpoint", "type": "WORD", "area": 1, "offset": 16},
    {"name": "limit", "type": "WORD", "area": 1, "offset": 20},
    {"name": "valve", "type": "WORD", "area": 1, "offset": 24},
    {"name": "pump", "type": "WORD", "area": 1, "offset": 28}]}]})";

constexpr int kTimeLimitMs = 250;

sim::Fault faultOf(Kind kind) {
    switch (kind) {
        case Kind::Delay:
            return {kind, kTimeLimitMs - 50};
        case Kind::Late:
            return {kind, kTimeLimitMs + 50};
        default:
            return {kind, 0};
    }
}

// "0 0 0 0 0 1 1" as "0x5 1 1"; fewer than six zeros stay.
std::string shorten(const std::vector<int>& statuses) {
    std::size_t zeros = 0;
    while (zeros < statuses.size() && statuses[zeros] == 0) {
        ++zeros;
    }
    std::string text = zeros > 5 ? "0x" + std::to_string(zeros) : "";
    for (std::size_t i = zeros > 5 ? zeros : 0; i < statuses.size(); ++i) {
        text += (text.empty() ? "" : " ") + std::to_string(statuses[i]);
    }
    return text;
}

std::string joined(const std::vector<std::string>& entries) {
    std::string text;
    for (const std::string& entry : entries) {
        text += (text.empty() ? "" : "; ") + entry;
    }
    return text;
}

class DriverFaultsTest : public DriverTest, public ::testing::WithParamInterface<DriverRow> {
protected:
    DriverFaultsTest() {
        settings.retryLimit = 1;
        settings.maxRequestWords = 500;
        QList<Label_Type_Info> symbols = labelRecords(file);
        PassVarName_2(&symbols);
        QList<HostTag> tags = {HostTag{0, 0, "", "Main.level", 1}, HostTag{0, 0, "", "Main.flow", 1}};
        ReCreatReadVarList(&tags);
        setPlc(1, 8, "12 34");
        setPlc(2, 4, "56 78");
        setPlc(1, 16, "9A BC");
        const sim::SessionBytes session = plc.identity().session;
        for (int i = 3; i >= 0; --i) {
            const char byte = static_cast<char>(session[static_cast<std::size_t>(i)]);
            sessionAsSent += " " + hex(QByteArray(1, byte));
        }
    }

    void setPlc(int area, std::uint64_t offset, const char* data) {
        plc.memory().write(area, offset, byteString(data));
    }

    // The frame that ComCommunication offers, by its bytes.
    std::string offered() const {
        const std::string frame = nextFrame();
        if (frame == kFirstHandshakeRequest) {
            return "hello";
        }
        if (frame == kSecondHandshakeRequest) {
            return "symbols";
        }
        if (frame == lines("BB BB 00 00 00 1E 2E 00 00 00 00 02", "00 01 00 00 00 08 00 00 00 02",
                           "00 02 00 00 00 04 00 00 00 02") +
                         sessionAsSent) {
            return "cyclic";
        }
        if (frame == lines("BB BB 00 00 00 1E 2E 00 00 00 00 02", "00 01 00 00 00 10 00 00 00 02",
                           "00 01 00 00 00 14 00 00 00 02") +
                         sessionAsSent) {
            return "once";
        }
        if (frame == lines("BB BB 00 00 00 22 3C 00 00 00 00 02", "00 01 00 00 00 18 00 00 00 02 DE F0",
                           "00 01 00 00 00 1C 00 00 00 02 01 02") +
                         sessionAsSent) {
            return "write";
        }
        if (frame == "BB BB 00 00 00 14 2E 00 00 00 00 01 00 02 00 00 00 08 00 00 03 1C" + sessionAsSent ||
            frame.rfind("BB BB 00 00 03 30 3C 00 00 00 00 01 00 02 00 00 00 08 00 00 03 1C 00", 0) == 0) {
            return "more";
        }
        return frame;
    }

    // One request and what the plain host makes of what comes back. `before`: so many bytes come as a piece of their
    // own before the fault strikes. Returns the statuses of the calls of DataCom.
    std::vector<int> exchange(Kind kind, int before = 0) {
        Protocol* frame = ComCommunication();
        EXPECT_NE(frame, nullptr);
        if (frame == nullptr) {
            return {};
        }
        return handOver(*frame, arriving(frame->frame, kind, before));
    }

    // What arrives within the time limit, piece by piece.
    std::vector<QByteArray> arriving(const QByteArray& request, Kind kind, int before) {
        const QByteArray goodReply =
            before > 0 ? QByteArray::fromStdString(plc.answer(request.toStdString())) : QByteArray();
        plc.arm({faultOf(kind), kind == Kind::None ? 0U : 1U, std::nullopt});
        std::vector<QByteArray> pieces;
        QByteArray all;
        const sim::Delivery delivery = plc.serve(request.toStdString()).delivery;
        for (const std::vector<sim::DeliveryStep>& steps : {delivery.steps, delivery.later}) {
            int timeMs = 0;
            for (const sim::DeliveryStep& step : steps) {
                timeMs += step.delayMs;
                if (timeMs <= kTimeLimitMs && !step.bytes.empty()) {
                    pieces.push_back(QByteArray::fromStdString(step.bytes));
                    all += pieces.back();
                }
            }
        }
        return before > 0 ? splitAt(before, all.isEmpty() ? goodReply.left(before) : all, pieces) : pieces;
    }

    static std::vector<QByteArray> splitAt(int before, const QByteArray& all, const std::vector<QByteArray>& pieces) {
        std::vector<QByteArray> split = {all.left(before)};
        int position = 0;
        for (const QByteArray& piece : pieces) {
            const int end = position + piece.size();
            if (end > before) {
                split.push_back(piece.mid(std::max(0, before - position)));
            }
            position = end;
        }
        return split;
    }

    static std::vector<int> handOver(const Protocol& frame, const std::vector<QByteArray>& pieces) {
        std::vector<int> statuses;
        QByteArray collected;
        for (const QByteArray& piece : pieces) {
            collected += piece;
            const bool measured = frame.replyLength != -1;
            if (measured && !isWhole(collected)) {
                continue;
            }
            statuses.push_back(dataCom(collected));
            if (measured) {
                return statuses;
            }
            if (statuses.back() == 1) {
                statuses.push_back(dataCom(collected));
                return statuses;
            }
        }
        statuses.push_back(answerNothing());
        return statuses;
    }

    static bool isWhole(const QByteArray& reply) {
        return reply.size() >= 6 && reply.size() == 6 + reply.mid(4, 2).toHex().toInt(nullptr, 16);
    }

    void exchangeWell() {
        const std::string statuses = shorten(exchange(Kind::None));
        EXPECT_TRUE(statuses == "1 1" || statuses == "1") << statuses;
    }

    void orderOnceReads() {
        const auto read = [](const char* tag, int count, int subId) {
            RW_VAR var = RW_VAR();
            var.labelName = tag;
            var.size = count;
            var.hostId = 2;
            var.hostSubId = subId;
            AddListOnceReadVar(&var);
        };
        read("Main.setpoint", 1, 21);
        read("Main.limit", 1, 22);
        read("Main.bulk[1]", 796, 23);
    }

    void orderWrites() {
        const auto write = [](const char* tag, const char* value, int count, int subId) {
            QString label = tag;
            QString argument;
            QByteArray in = bytes(value);
            SetRegisterData(&label, 0, &argument, 0, &in, count, 1, subId);
        };
        write("Main.valve", "F0 DE", 1, 11);
        write("Main.pump", "02 01", 1, 12);
        write("Main.bulk[1]", "", 796, 13);
    }

    // Brings driver and PLC to the state in which the fault is to strike.
    void reach(State state) {
        switch (state) {
            case State::BeforeHello:
            case State::WithinHello:
                return;
            case State::BeforeSymbols:
            case State::WithinSymbols:
                return exchangeWell();
            case State::AfterSymbols:
                exchangeWell();
                return exchangeWell();
            case State::CyclicPending:
                reach(State::AfterSymbols);
                exchangeWell();
                return setPlc(1, 8, "43 21");
            case State::OncePending:
                reach(State::AfterSymbols);
                return orderOnceReads();
            case State::WritePending:
                reach(State::AfterSymbols);
                return orderWrites();
            case State::RetryingHello:
                return failOnce(Kind::Silence, "0");
            case State::RetryingSymbols:
                reach(State::BeforeSymbols);
                return failOnce(Kind::Silence, "0");
            case State::RetryingCyclic:
                reach(State::CyclicPending);
                return failOnce(Kind::Status, "1 0");
            case State::RetryingOnce:
                reach(State::OncePending);
                return failOnce(Kind::Status, "1 0");
            case State::RetryingWrite:
                reach(State::WritePending);
                return failOnce(Kind::Status, "1 0");
        }
    }

    void failOnce(Kind kind, const char* statuses) { EXPECT_EQ(shorten(exchange(kind)), statuses); }

    static int bytesBefore(State state) {
        return state == State::WithinHello ? 100 : state == State::WithinSymbols ? 10 : 0;
    }

    std::string flags() const {
        return std::to_string(PLC_driver.connected) + " " + std::to_string(PLC_driver.commFailed) + " " +
               std::to_string(settings.retryCount);
    }

    static std::string lists() {
        return std::to_string(PLC_driver.readList.size()) + " " + std::to_string(PLC_driver.onceReadList.size()) + " " +
               std::to_string(PLC_driver.writeList.size());
    }

    static std::string imageOf(State state) {
        switch (state) {
            case State::OncePending:
            case State::RetryingOnce:
                return image(1, 16, 2);
            case State::WritePending:
            case State::RetryingWrite:
                return image(1, 24, 2);
            default:
                return image(1, 8, 2);
        }
    }

    // What happens next: the connection is kept or dropped as the row says, and then everything comes right.
    void followTheGuide(const DriverRow& row) {
        std::istringstream link(row.link);
        std::string word;
        link >> word;
        if (word == "drop") {
            loseConnection(row, link);
            EXPECT_EQ(offered(), "hello");
        }
        for (int turn = 0; turn < 8; ++turn) {
            exchangeWell();
        }
        EXPECT_EQ(PLC_driver.connected, 1);
        EXPECT_EQ(PLC_driver.commFailed, 0);
        EXPECT_EQ(lists(), "2 0 0");
        EXPECT_EQ(image(1, 8, 2), hex(plc.memory().read({1, 8, 2})));
        EXPECT_EQ(plc.counters().refused, 0U) << "the PLC did not take a request";
        const bool ordered = row.state == State::OncePending || row.state == State::RetryingOnce ||
                             row.state == State::WritePending || row.state == State::RetryingWrite;
        const bool givenUp = word == "drop" || std::string(row.flags)[2] == '1';
        const long reported = row.fault == Kind::Repeat ? 1 : givenUp ? 2 : 3;  // since the connection was lost
        EXPECT_EQ(reportedVariables(), ordered ? reported : 0) << joined(callbackDiary);
    }

    // Empty replies until the driver gives up; `statuses` are those that must come.
    void loseConnection(const DriverRow& row, std::istream& statuses) {
        int status = 0;
        bool fed = false;
        while (statuses >> status) {
            callbackDiary.clear();
            EXPECT_EQ(answerNothing(), status);
            fed = true;
        }
        if (!fed) {
            return;
        }
        for (const LossRow& loss : kLossRows) {
            if (loss.state == row.state && std::string(loss.next) == row.next) {
                EXPECT_EQ(joined(callbackDiary), loss.callbacks);
                EXPECT_EQ(lists(), loss.lists);
                EXPECT_EQ(flags(), "0 1 0");
                return;
            }
        }
        ADD_FAILURE() << "there is no row for the loss of the connection in this state";
    }

    static long reportedVariables() {
        return std::count_if(callbackDiary.begin(), callbackDiary.end(),
                             [](const std::string& entry) { return entry.rfind("varDone", 0) == 0; });
    }

    const SymbolFile file = parseSymbolFile(kProgram).file;
    sim::PlcModel plc{file, {}};
    std::string sessionAsSent;
};

std::string nameOfRow(const ::testing::TestParamInfo<DriverRow>& info) {
    return nameOf(info.param.state) + "_" + nameOf(info.param.fault);
}

TEST(DriverFaultTable, HasEveryFaultInEveryState) {
    EXPECT_EQ(gapsIn(kDriverRows, {State::BeforeHello, State::WithinHello, State::BeforeSymbols, State::WithinSymbols,
                                   State::AfterSymbols, State::CyclicPending, State::OncePending, State::WritePending,
                                   State::RetryingHello, State::RetryingSymbols, State::RetryingCyclic,
                                   State::RetryingOnce, State::RetryingWrite}),
              "");
    EXPECT_EQ(allFaults().size() + 1, sim::kFaultKinds);
}

INSTANTIATE_TEST_SUITE_P(Rows, DriverFaultsTest, ::testing::ValuesIn(kDriverRows), nameOfRow);

TEST_P(DriverFaultsTest, Row) {
    const DriverRow& row = GetParam();
    reach(row.state);
    EXPECT_EQ(joined(callbackDiary), "") << "before the fault";

    EXPECT_EQ(shorten(exchange(row.fault, bytesBefore(row.state))), row.statuses);
    EXPECT_EQ(plc.counters().faultsByKind[static_cast<std::size_t>(row.fault)],
              row.state >= State::RetryingCyclic && row.fault == Kind::Status ? 2U
              : (row.state == State::RetryingHello || row.state == State::RetryingSymbols) && row.fault == Kind::Silence
                  ? 2U
                  : 1U)
        << "the fault did not strike";
    EXPECT_EQ(flags(), row.flags) << "connected, commFailed, retryCount";
    EXPECT_EQ(joined(callbackDiary), row.callbacks);
    EXPECT_EQ(lists(), row.lists) << "cyclic, one-shot, writes";
    EXPECT_EQ(imageOf(row.state), row.image);
    EXPECT_EQ(offered(), row.next);

    followTheGuide(row);
}

}  // namespace
}  // namespace ac500::test
