// A simulated PLC, the driver and a loop between them in one process, for tests in which host threads use the driver
// meanwhile. No sockets: the loop hands requests to the PLC's model and replies back.
#ifndef AC500_TESTS_THREADS_PLANT_H
#define AC500_TESTS_THREADS_PLANT_H

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/driver_test.h"
#include "tools/simulator/plc_model.h"
#include "tools/symbol_file/label_records.h"

namespace ac500::test {

using symbol_file::parseSymbolFile;
using symbol_file::SymbolFile;

constexpr char kProgram[] = R"({
  "format": "ac500-symbols", "version": 1,
  "areas": [{"number": 1, "bytes": 4096}, {"number": 2, "bytes": 64}, {"number": 3, "bytes": 64}],
  "scopes": [{"name": "Main", "variables": [
    {"name": "beat", "type": "LWORD", "area": 2, "offset": 8},
    {"name": "words", "type": "WORD", "area": 1, "offset": 0, "array": [[1, 1000]]},
    {"name": "flags", "type": "WORD", "area": 1, "offset": 3000, "bits": true},
    {"name": "bits", "type": "BIT", "area": 3, "bit": 16, "array": [[1, 16]]},
    {"name": "text", "type": "STRING", "area": 1, "offset": 3200}]},
   {"name": "Pump", "variables": [
    {"name": "on", "type": "BOOL", "area": 1, "offset": 3400},
    {"name": "speed", "type": "REAL", "area": 1, "offset": 3404}]}]})";

// The host's calls as verbs; each makes the objects it hands over itself, as host threads do.
inline QByteArray getValue(const std::string& tag, qint32 count, const char* argument = "") {
    QString label = QString::fromStdString(tag);
    QString labelArg = argument;
    QByteArray out;
    EXPECT_EQ(GetRegisterData(&label, 0, &labelArg, 0, &out, count), 1U) << tag;
    return out;
}

inline quint32 setValue(const std::string& tag, const QByteArray& value, qint32 count, qint32 hostId,
                        qint32 hostSubId) {
    QString label = QString::fromStdString(tag);
    QString labelArg;
    QByteArray in = value;
    return SetRegisterData(&label, 0, &labelArg, 0, &in, count, hostId, hostSubId);
}

inline QByteArray wordOf(int value) {
    QByteArray word(2, '\0');
    word[0] = static_cast<char>(value & 0xFF);
    word[1] = static_cast<char>((value >> 8) & 0xFF);
    return word;
}

inline int orderOnceRead(const std::string& tag, qint32 count, qint32 hostSubId) {
    RW_VAR var = RW_VAR();
    var.labelName = QString::fromStdString(tag);
    var.size = count;
    var.hostId = 2;
    var.hostSubId = hostSubId;
    return AddListOnceReadVar(&var);
}

inline int pollTags(const std::vector<std::pair<std::string, int>>& tags) {
    QList<HostTag> list;
    for (const auto& [name, count] : tags) {
        list.append(HostTag{0, 0, "", QString::fromStdString(name), count});
    }
    return ReCreatReadVarList(&list);
}

class PlantTest : public DriverTest {
protected:
    PlantTest() {
        passSymbols();
        pollTags({{"Main.beat", 4}, {"Main.words[1]", 1000}});
    }

    void passSymbols() const {
        QList<Label_Type_Info> symbols = labelRecords(file);
        PassVarName_2(&symbols);
    }

    // One turn of the loop, on the loop thread. Silence and lost connections become empty replies.
    void turn() {
        Protocol* request = ComCommunication();
        if (request == nullptr) {
            std::this_thread::yield();
            return;
        }
        beatOnce();
        const sim::Delivery delivery = plc.serve(request->frame.toStdString()).delivery;
        if (delivery.steps.empty() || delivery.steps.front().bytes.empty()) {
            answerNothing();
            return;
        }
        const sim::Bytes& reply = delivery.steps.front().bytes;
        QByteArray bytes = QByteArray::fromStdString(reply);
        if (request->replyLength == -1) {
            DataCom(&bytes, bytes.size());
        }
        DataCom(&bytes, bytes.size());
        ++turns;
    }

    // All bytes of Main.beat are alike, and others each time: a mixture would be a torn value.
    void beatOnce() {
        ++beat;
        plc.memory().write(2, 8, sim::Bytes(8, static_cast<char>(beat)));
    }

    void expectWholeBeat() {
        const QByteArray value = getValue("Main.beat", 4);
        if (value != QByteArray(8, value.at(0))) {
            ++tornValues;
        }
    }

    // Runs the loop on a thread of its own while each host thread does its job `rounds` times, then until nothing is
    // pending any more.
    using Job = std::function<void(int round)>;
    void runBeside(const std::vector<Job>& jobs, int rounds) {
        std::atomic<bool> hostIsDone{false};
        std::thread loop([&] {
            while (!hostIsDone) {
                turn();
            }
            for (int left = 200; left > 0 && anythingPending(); --left) {
                turn();
            }
        });
        std::vector<std::thread> threads;
        threads.reserve(jobs.size());
        for (const Job& job : jobs) {
            threads.emplace_back([&job, rounds] {
                for (int round = 1; round <= rounds; ++round) {
                    job(round);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        hostIsDone = true;
        loop.join();
    }

    // Loop thread, or when no thread runs.
    static bool anythingPending() {
        return !PLC_driver.writeList.isEmpty() || !PLC_driver.onceReadList.isEmpty() || !PLC_driver.frameList.isEmpty();
    }

    std::string inPlc(int area, std::int64_t offset, std::int64_t size) const {
        return hex(plc.memory().read({area, offset, size}));
    }

    const SymbolFile file = parseSymbolFile(kProgram).file;
    sim::PlcModel plc{file, {}};  // loop thread
    unsigned char beat = 0;       // loop thread
    std::atomic<int> turns{0};
    std::atomic<int> tornValues{0};
};

}  // namespace ac500::test

#endif
