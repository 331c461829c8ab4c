// Each row of the table in docs/threads.md: which locks a function takes, and that it runs beside what it may. The rows
// stand here once more, by hand, and the document is read: neither can change alone.
#include <fstream>
#include <set>
#include <sstream>

#include "tests/support/label_builders.h"
#include "tests/support/locks.h"
#include "tests/support/places.h"
#include "tests/threads/plant.h"

namespace ac500::test {

using Locks = std::set<std::string>;

struct TableRow {
    const char* function;
    const char* thread;            // as in the document
    Locks locks;                   // of "list", "image", "station"
    std::function<void()> call;    // takes every lock that the function ever takes
    std::function<void()> before;  // what the call needs; null: nothing
};

void PrintTo(const TableRow& row, std::ostream* out) {
    *out << row.function;
}

namespace {

const Locks kNoLock = {};
const Locks kList = {"list"};
const Locks kImage = {"image"};
const Locks kStation = {"station"};
const Locks kListAndImage = {"list", "image"};

// ---------------------------------------------------------------------------------------------------------------------
// What the calls need. All of it happens while no other thread uses the driver.
// ---------------------------------------------------------------------------------------------------------------------

void beConnected() {
    PLC_driver.connected = 1;
    PLC_driver.commFailed = 0;
    PLC_driver.frameList.clear();
    PLC_driver.writeList.clear();
    PLC_driver.onceReadList.clear();
}

void haveAWritePending() {
    beConnected();
    PLC_driver.writeList.append(writeVar(1, 0, "12 34"));
}

// A cyclic read whose reply of 12 bytes was measured.
void haveAReadMeasured() {
    beConnected();
    ComCommunication();
    PLC_driver.frameList.first().replyLength = 12;
}

void takeTheReply() {
    QByteArray reply = bytes("BB BB 00 00 00 06 00 00 00 00 00 00");
    DataCom(&reply, reply.size());
}

void haveABatch() {
    beConnected();
    PLC_driver.batch[0] = writeVar(1, 0, "12 34");
    PLC_driver.batchCount = 1;
    PLC_driver.frameList.append(Protocol());
}

RW_VAR& scratchVar() {
    static RW_VAR var;
    var = writeVar(1, 100, "12 34");
    return var;
}

void setSettings() {
    static ComInfo settings = testSettings();
    SetComInfo(&settings);
}

void passOneScope() {
    QList<Label_Type_Info> list = {scope("Other", {variable("word", 16, 0)})};
    PassVarName_2(&list);
}

void resolveNames() {
    ControlInformationM info = ControlInformationM();
    get_label_address_info(QString("Main.words[3]"), info);
    QString name = "Main.words[%%]";
    get_label_address_info(name, 3);
}

void computeChecksums() {
    unsigned char data[] = {1, 2, 3};
    CalSUM(data, 3);
    CalCRC(data, 3);
    CalLRC(data, 3);
    CalXOR(data, 3);
    DigitalToASCII(7);
    ASCIIToDigital('7');
}

void sortVars() {
    QList<RW_VAR> list = {readVar(1, 4, 2), readVar(1, 2, 2)};
    Bubble_Sort(&list);
}

void cutVar() {
    QList<RW_VAR> list;
    RW_VAR var = readVar(1, 0, 500);
    WhetherGroup(500, 200, &var, &list);
}

void mergeVars() {
    QList<RW_VAR> list = {readVar(1, 0, 2), readVar(1, 2, 2)};
    BitVarReCreat(&list, 200);
}

void storeReply() {
    QByteArray reply = bytes("BB BB 00 00 00 09 00 00 00 00 00 00 00 12 34");
    SaveToLocalDataErea(&reply);
}

// Every function of the table. The inner steps are called by a thread that holds the lock which they require, if any:
// they must not take it themselves.
const TableRow kRows[] = {
    {"SetComInfo", "setup", kNoLock, setSettings, nullptr},
    {"RegistCallBackFuncIntf", "setup", kNoLock, [] { RegistCallBackFuncIntf(recordVarDone, recordCommFail); },
     nullptr},
    {"FlashLocalRegister", "setup", kNoLock, [] { FlashLocalRegister(nullptr, nullptr, nullptr); }, nullptr},
    {"PassVarName_2", "setup", kNoLock, passOneScope, nullptr},
    {"ReCreatReadVarList", "any", kList,
     [] {
         pollTags({{"Main.beat", 4}});
     },
     nullptr},
    {"AddListReadVar", "loop or setup", kNoLock, [] { AddListReadVar(&scratchVar()); }, nullptr},
    {"AddListWriteVar", "any", kList, [] { AddListWriteVar(&scratchVar()); }, nullptr},
    {"AddListOnceReadVar", "any", kList, [] { orderOnceRead("Main.words[1]", 1, 1); }, nullptr},
    {"ComCommunication", "loop", kListAndImage, [] { ComCommunication(); }, haveAWritePending},
    {"DataCom", "loop", kListAndImage, takeTheReply, haveAReadMeasured},
    {"GetRegisterData", "any", kImage, [] { getValue("Main.words[1]", 1); }, nullptr},
    {"SetRegisterData", "any", kListAndImage, [] { setValue("Main.flags.b[3]", QByteArray(1, '\1'), 1, 1, 1); },
     nullptr},
    {"EnableEthernet", "any", kStation, [] { EnableEthernet(3, 0); }, nullptr},
    {"EnCommStation", "any", kStation, [] { EnCommStation(3, 1); }, nullptr},
    {"Ethernetcontains", "any", kStation, [] { Ethernetcontains(3); }, nullptr},
    {"get_label_address_info", "any", kNoLock, resolveNames, nullptr},
    {"PLCAddressChangeIntef", "any", kNoLock, [] { PLCAddressChangeIntef(); }, nullptr},
    {"QueryFinishFlag", "any", kNoLock, [] { QueryFinishFlag(); }, nullptr},
    {"Remote_ReadVar", "any", kNoLock, [] { Remote_ReadVar(nullptr); }, nullptr},
    {"Remote_WriteVar", "any", kNoLock, [] { Remote_WriteVar(nullptr); }, nullptr},
    {"checksums and digits", "any", kNoLock, computeChecksums, nullptr},
    {"customMessageHandler", "any", kNoLock, [] { customMessageHandler(QtDebugMsg, "a line of a test"); }, nullptr},
    {"Bubble_Sort", "any", kNoLock, sortVars, nullptr},
    {"WhetherGroup", "any", kNoLock, cutVar, nullptr},
    {"passRetValue", "any", kNoLock,
     [] {
         RW_VAR target;
         passRetValue(readVar(1, 0, 2), target);
     },
     nullptr},
    {"ReadAnalog", "loop", kNoLock, [] { ReadAnalog(&scratchVar()); }, haveABatch},
    {"WriteAnalog", "loop", kNoLock, [] { WriteAnalog(&scratchVar()); }, haveABatch},
    {"BitVarReCreat", "loop", kNoLock, mergeVars, nullptr},
    {"SaveToLocalDataErea", "loop", kNoLock, storeReply, haveABatch},
};

// ---------------------------------------------------------------------------------------------------------------------
// The document
// ---------------------------------------------------------------------------------------------------------------------

struct DocumentedRow {
    std::string functions;
    std::string thread;
    std::string locks;
};

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The lines of the document's table, without its head.
std::vector<DocumentedRow> documentedRows() {
    std::vector<DocumentedRow> rows;
    std::ifstream file(projectFile("docs/threads.md"));
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("| `", 0) != 0 && line.rfind("| inner", 0) != 0) {
            continue;
        }
        std::istringstream cells(line.substr(1));
        DocumentedRow row;
        std::getline(cells, row.functions, '|');
        std::getline(cells, row.thread, '|');
        std::getline(cells, row.locks, '|');
        rows.push_back({row.functions, trimmed(row.thread), trimmed(row.locks)});
    }
    return rows;
}

bool names(const DocumentedRow& documented, const TableRow& row) {
    const std::string quoted = std::string("`") + row.function + "`";
    return documented.functions.find(quoted) != std::string::npos ||
           (std::string(row.function) == "checksums and digits" &&
            documented.functions.find(row.function) != std::string::npos);
}

Locks locksIn(const std::string& text) {
    Locks locks;
    if (text.rfind("none", 0) == 0 || text.rfind("as their comments", 0) == 0) {
        return locks;
    }
    for (const std::string lock : {"list", "image", "station"}) {
        if (text.find(lock) != std::string::npos) {
            locks.insert(lock);
        }
    }
    return locks;
}

TEST(ThreadTable, IsTheDocuments) {
    const std::vector<DocumentedRow> documented = documentedRows();
    std::size_t named = 0;
    for (const DocumentedRow& line : documented) {
        for (const char c : line.functions) {
            named += c == '`' ? 1 : 0;
        }
        EXPECT_TRUE(
            std::any_of(std::begin(kRows), std::end(kRows), [&](const TableRow& row) { return names(line, row); }))
            << "no test knows the row" << line.functions;
    }
    // Two back-ticks around each name; "checksums and digits" has none.
    EXPECT_EQ(named / 2, std::size(kRows) - 1);
    for (const TableRow& row : kRows) {
        int lines = 0;
        for (const DocumentedRow& line : documented) {
            if (names(line, row)) {
                ++lines;
                EXPECT_EQ(line.thread, row.thread) << row.function;
                EXPECT_EQ(locksIn(line.locks), row.locks) << row.function;
            }
        }
        EXPECT_EQ(lines, 1) << row.function << " must stand in the document once";
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Locks
// ---------------------------------------------------------------------------------------------------------------------

class ThreadTableRow : public PlantTest, public ::testing::WithParamInterface<TableRow> {
protected:
    static void prepare() {
        if (GetParam().before != nullptr) {
            GetParam().before();
        }
    }

    static QMutex& mutexOf(const std::string& lock) {
        return lock == "list"    ? PLC_driver.listMutex
               : lock == "image" ? PLC_driver.localAreaMutex
                                 : PLC_driver.stationMutex;
    }

    // The host's threads of a plant at work: everything that may run beside the loop.
    static std::vector<Job> hostThreads() {
        return {[](int) { getValue("Main.beat", 4); },
                [](int round) { setValue("Main.words[10]", wordOf(round), 1, 101, 0); },
                [](int round) { orderOnceRead("Main.words[20]", 5, round % 10); },
                [](int round) {
                    EnableEthernet(round % 3, round % 2);
                    pollTags({{"Main.beat", 4}, {"Main.words[1]", round}});
                }};
    }
};

std::string nameOfRow(const ::testing::TestParamInfo<TableRow>& row) {
    std::string name = row.param.function;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Function, ThreadTableRow, ::testing::ValuesIn(kRows), nameOfRow);

TEST_P(ThreadTableRow, TakesItsLocksAndNoOther) {
    for (const std::string lock : {"list", "image", "station"}) {
        prepare();
        if (GetParam().locks.count(lock) != 0) {
            EXPECT_TRUE(waitsFor(mutexOf(lock), GetParam().call)) << "does not take " << lock;
        } else {
            EXPECT_TRUE(runsBeside(mutexOf(lock), GetParam().call)) << "takes " << lock;
        }
    }
}

TEST_P(ThreadTableRow, LeavesNoLockBehind) {
    prepare();
    GetParam().call();
    for (const std::string lock : {"list", "image", "station"}) {
        const bool isFree = mutexOf(lock).tryLock();
        EXPECT_TRUE(isFree) << lock;
        if (isFree) {
            mutexOf(lock).unlock();
        }
    }
}

// What is not called by the loop alone; the loop's own functions work in every one of these tests.
std::vector<TableRow> rowsBesideTheLoop() {
    std::vector<TableRow> rows;
    std::copy_if(std::begin(kRows), std::end(kRows), std::back_inserter(rows),
                 [](const TableRow& row) { return std::string(row.thread) != "loop"; });
    return rows;
}

class ThreadTableNeighbours : public ThreadTableRow {};

INSTANTIATE_TEST_SUITE_P(Function, ThreadTableNeighbours, ::testing::ValuesIn(rowsBesideTheLoop()), nameOfRow);

// Functions of any thread run beside everything; setup functions while the loop is stopped, between two runs of it.
TEST_P(ThreadTableNeighbours, AreNotDisturbed) {
    const int rounds = 40;
    const auto wait = [] { std::this_thread::sleep_for(std::chrono::microseconds(100)); };
    std::vector<Job> jobs = hostThreads();
    if (std::string(GetParam().thread) == "any") {
        jobs.emplace_back([&](int) {
            GetParam().call();
            wait();
        });
        runBeside(jobs, rounds);
    } else {
        runBeside(jobs, rounds);
        GetParam().call();
        runBeside(jobs, rounds);
    }
    EXPECT_FALSE(anythingPending());
    EXPECT_EQ(inPlc(1, 18, 2), "00 28") << "40, the last of the values written";
}

// The one that may be called beside values and stations, although it takes no lock: no loop is running.
TEST(ThreadTable, CyclicReadsAreAddedBesideValuesAndStations) {
    std::atomic<bool> done{false};
    std::thread values([&] {
        while (!done) {
            QString label = "Main.beat";
            QString argument;
            QByteArray out;
            GetRegisterData(&label, 0, &argument, 0, &out, 4);
        }
    });
    std::thread stations([&] {
        while (!done) {
            EnableEthernet(3, 0);
            Ethernetcontains(3);
            EnableEthernet(3, 1);
        }
    });
    const int before = PLC_driver.readList.size();
    for (int i = 0; i < 500; ++i) {
        AddListReadVar(&scratchVar());
    }
    done = true;
    values.join();
    stations.join();
    EXPECT_EQ(PLC_driver.readList.size(), before + 500);
}

}  // namespace
}  // namespace ac500::test
