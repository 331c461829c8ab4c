// What the doctor tells of set-ups that are whole and broken, and that it leaves the PLC as it was.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "tests/end_to_end/programs.h"
#include "tests/support/hostile_plc.h"
#include "tests/support/pace.h"
#include "tests/support/terminal_process.h"
#include "tools/text/shell_word.h"

namespace {

using namespace ac500::test;

using ac500::text::shellWord;

using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

class DoctorCommandTest : public CommandLineTest {
protected:
    std::string write(const std::string& name, const std::string& content) const {
        const std::string path = folder_.filePath(QString::fromStdString(name)).toStdString();
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    static std::string contentOfFile(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    // "grade subject text" of each line, of some grades.
    static Texts lines(const Outcome& outcome, const std::string& grade = "") {
        Texts texts;
        const json document = json::parse(outcome.out, nullptr, false);
        if (!document.is_object()) {
            ADD_FAILURE() << outcome.out << outcome.error;
            return texts;
        }
        for (const json& line : document["lines"]) {
            if (grade.empty() || line["grade"] == grade) {
                texts.push_back(line["grade"].get<std::string>() + " " + line["subject"].get<std::string>() + " " +
                                line["text"].get<std::string>());
            }
        }
        return texts;
    }

    static Texts subjects(const Outcome& outcome, const std::string& grade) {
        Texts texts;
        const json document = json::parse(outcome.out, nullptr, false);
        for (const json& line : document["lines"]) {
            if (line["grade"] == grade) {
                texts.push_back(line["subject"]);
            }
        }
        return texts;
    }

    static Texts nextOfFailures(const Outcome& outcome) {
        Texts next;
        const json document = json::parse(outcome.out, nullptr, false);
        for (const json& line : document["lines"]) {
            if (line["grade"] == "fail") {
                next.push_back(line["next"]);
            }
        }
        return next;
    }

    static Outcome examine(const std::string& plc, const Texts& words) {
        return runHost(Texts{"--driver", kDriver, "--symbols", kPlantFile, "--plc", plc, "doctor", "--json"} + words);
    }
    Outcome examine(const Texts& words = {}) const { return examine(plc_, words); }

    static std::string at(const HostilePlc& plc) { return "127.0.0.1:" + std::to_string(plc.port()); }

    // What the simulated PLC says at its end.
    std::string summary() {
        simulator_.sendSignal(SIGTERM);
        EXPECT_TRUE(simulator_.waitForEnd(kProgramPatienceMs));
        return simulator_.takeOutput();
    }

    QTemporaryDir folder_;
};

TEST_F(DoctorCommandTest, AHealthyPlantPassesEveryLineOverOneConnectionWithoutAWrite) {
    startSimulator();
    const Outcome outcome = host({"doctor", "Main.counter", "Main.recipe", "Main.flags.b[3]"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.out;
    EXPECT_THAT(outcome.out, HasSubstr("\npass       name     127.0.0.1 is an address\n"));
    EXPECT_THAT(outcome.out,
                HasSubstr("\npass       session  second request of the handshake: answered with 36 bytes\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\npass       area     3 (Buttons and lamps): Main.start was read\n"));
    EXPECT_THAT(outcome.out,
                HasSubstr("\npass       limit    requests of up to 100 words: 200 bytes came in one piece\n"));
    EXPECT_THAT(outcome.out, HasSubstr("\npass       tag      Main.flags.b[3] was read\n"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("\nfail")));
    EXPECT_EQ(outcome.error, "");
    EXPECT_THAT(summary(), AllOf(HasSubstr("ended after 1 connection, "), HasSubstr("(1 hello, 1 symbols, "),
                                 HasSubstr(" read, 0 write, 0 other), 0 refused")));
}

TEST_F(DoctorCommandTest, OfManyTagsThoseThatPassAreCountedInOneLine) {
    startSimulator();
    const Outcome outcome = host({"doctor", "Intake.**"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.out;
    EXPECT_THAT(outcome.out, Not(HasSubstr("tag      Intake.")));
    EXPECT_THAT(outcome.out, HasSubstr(" passed, 1 not tried; took "));
    EXPECT_THAT(summary(), HasSubstr("ended after 1 connection, "));
}

TEST_F(DoctorCommandTest, APortWhereNobodyListensIsToldAndTheRestIsNotTried) {
    const Outcome outcome = examine({"Main.counter"});
    EXPECT_THAT(lines(outcome, "fail"), ElementsAre("fail port 127.0.0.1:1 refuses"));
    EXPECT_THAT(subjects(outcome, "not tried"),
                ElementsAre("hello", "session", "program", "area", "area", "area", "limit", "tag"));
    EXPECT_EQ(outcome.exitCode, 4);
}

TEST_F(DoctorCommandTest, APlcThatAcceptsAndStaysSilentIsToldWithinTheTimeOfOneReply) {
    HostilePlc plc([](HostilePlc::Connection& connection) { connection.waitForEnd(); });
    const Outcome outcome = examine(at(plc), {"--timeout", "200"});
    EXPECT_THAT(lines(outcome, "fail"),
                ElementsAre(StartsWith("fail hello first request of the handshake: no answer to the "
                                       "hello request within 20")));
    EXPECT_EQ(outcome.exitCode, 5);
    EXPECT_EQ(plc.connections(), 1);
}

// The stated time holds whatever the PLC does and however long one reply may take.
TEST_F(DoctorCommandTest, TheStatedTimeHoldsAgainstSilenceAndAgainstATrickle) {
    HostilePlc silent([](HostilePlc::Connection& connection) { connection.waitForEnd(); });
    HostilePlc trickling([](HostilePlc::Connection& connection) {
        connection.request();
        connection.send(std::string("\xBB\xBB\x00\x00\x00\xC8", 6));
        while (connection.send(std::string(1, '\0')) && connection.sleep(50)) {
        }
    });
    for (const HostilePlc* plc : {&silent, &trickling}) {
        const auto begin = std::chrono::steady_clock::now();
        const Outcome outcome = examine(at(*plc), {"--timeout", "86400000", "--within", "1", "Main.counter"});
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        EXPECT_LT(took.count(), 1 + 2.0 * AC500_TEST_PACE);
        EXPECT_LT(json::parse(outcome.out)["took_ms"], 1000 + 500 * AC500_TEST_PACE);
        EXPECT_THAT(subjects(outcome, "fail"), ElementsAre()) << "the PLC had less time than it may take";
        EXPECT_THAT(subjects(outcome, "not tried"), IsSupersetOf({"hello", "session", "tag"}));
        const json document = json::parse(outcome.out);
        for (const json& line : document["lines"]) {
            if (line["grade"] == "not tried" && line["subject"] != "program") {
                EXPECT_EQ(line["meaning"], "the time of --within is over") << line;
            }
        }
        EXPECT_EQ(plc->connections(), 1);
        EXPECT_EQ(outcome.exitCode, 6) << "nothing failed, but nobody has looked at everything";
    }
}

TEST_F(DoctorCommandTest, AReplyThatTricklesIsToldWithItsBytes) {
    startSimulator({"--fault", "fragments:ms=10,service=hello"});
    const Outcome outcome = examine({"--timeout", "300"});
    EXPECT_THAT(lines(outcome, "fail"),
                ElementsAre(AllOf(StartsWith("fail hello "), HasSubstr(" of 206 bytes of the answer "
                                                                       "to the hello request came"))));
}

TEST_F(DoctorCommandTest, WhatClosesDuringTheHandshakeIsTold) {
    startSimulator({"--fault", "reset:service=symbols"});
    const Outcome outcome = examine();
    EXPECT_THAT(lines(outcome, "fail"),
                ElementsAre(StartsWith("fail session second request of the handshake: the connection "
                                       "was closed instead of an answer to the symbols request")));
    EXPECT_THAT(lines(outcome, "pass"), Contains("pass hello first request of the handshake: answered with 206 bytes"));
    EXPECT_EQ(outcome.exitCode, 5);
}

TEST_F(DoctorCommandTest, WhatIsNoPlcIsTold) {
    HostilePlc plc([](HostilePlc::Connection& connection) {
        connection.request();
        connection.send("SSH-2.0-OpenSSH_9.2\r\n");
        connection.waitForEnd();
    });
    EXPECT_THAT(
        lines(examine(at(plc), {}), "fail"),
        ElementsAre("fail hello first request of the handshake: the answer to the hello request begins with other "
                    "bytes than a reply does"));
}

TEST_F(DoctorCommandTest, AHandshakeReplyThatTheDriverRejectsIsTold) {
    HostilePlc plc([](HostilePlc::Connection& connection) {
        connection.request();
        connection.send(std::string("\xBB\xBB\x00\x00\x00\x02\x00\x00", 8));
        connection.waitForEnd();
    });
    const Outcome outcome = examine(at(plc), {});
    EXPECT_THAT(lines(outcome, "fail"),
                ElementsAre("fail hello first request of the handshake: the driver takes no answer of 8 "
                            "bytes to the hello request"));
    EXPECT_EQ(json::parse(outcome.out)["lines"][8]["next"], "ac500-host explain 201");
}

TEST_F(DoctorCommandTest, BytesThatNobodyAskedForAreTold) {
    startSimulator({"--fault", "glue:service=read"});
    const Outcome outcome = examine();
    EXPECT_THAT(lines(outcome, "fail"), ElementsAre(HasSubstr("bytes came that nobody had asked for")));
    EXPECT_EQ(outcome.exitCode, 6);
}

TEST_F(DoctorCommandTest, SymbolsOfAnotherProgramAreToldAreaByArea) {
    startSimulator();
    const std::string other = write("other.json", R"({"format": "ac500-symbols", "version": 1,
        "areas": [{"number": 1, "bytes": 300000}, {"number": 7, "bytes": 100}],
        "scopes": [{"name": "Main", "variables": [
            {"name": "near", "type": "INT", "area": 1, "offset": 4},
            {"name": "far", "type": "DINT", "area": 1, "offset": 250000},
            {"name": "strange", "type": "INT", "area": 7, "offset": 0}]}]})");
    const Outcome outcome = runHost({"--driver", kDriver, "--symbols", other, "--plc", plc_, "doctor", "--json",
                                     "Main.near", "Main.far", "Main.strange"});
    EXPECT_THAT(lines(outcome, "fail"),
                ElementsAre("fail area 7: Main.strange: refused with status word 0x0301 (unknown area)",
                            "fail tag Main.far: refused with status word 0x0302 (item out of range)",
                            "fail tag Main.strange: refused with status word 0x0301 (unknown area)"));
    EXPECT_THAT(lines(outcome, "pass"),
                IsSupersetOf({"pass area 1: Main.near was read", "pass tag Main.near was read"}));
    EXPECT_THAT(lines(outcome, "not tried"),
                ElementsAre("not tried program which program is in the PLC",
                            "not tried limit requests of up to 100 words: the PLC refuses Main.far by itself, too"));
    EXPECT_EQ(json::parse(outcome.out)["lines"][12]["next"], "ac500-host explain 0x0301");
    EXPECT_EQ(outcome.exitCode, 6);
    EXPECT_THAT(summary(), AllOf(HasSubstr("ended after 1 connection, "), HasSubstr(" 0 write, 0 other)")));
}

TEST_F(DoctorCommandTest, ALimitThatThePlcDoesNotTakeIsToldAndTheTagsAreReadAllTheSame) {
    startSimulator({"--max-reply", "300"});
    const Outcome outcome = examine({"--max-request-words", "500", "Main.counter", "Main.recipe"});
    EXPECT_THAT(lines(outcome, "fail"), ElementsAre(StartsWith("fail limit requests of up to 500 words: ")));
    EXPECT_THAT(lines(outcome, "fail").front(),
                HasSubstr(" bytes in one piece: refused with status word 0x0303 (reply too long)"));
    EXPECT_EQ(json::parse(outcome.out)["lines"][14]["next"],
              "ac500-host --driver " + shellWord(kDriver) + " --symbols " + shellWord(kPlantFile) + " --plc " + plc_ +
                  " --max-request-words 250 doctor Main.counter Main.recipe");
    EXPECT_THAT(lines(outcome, "pass"),
                IsSupersetOf({"pass tag Main.counter was read", "pass tag Main.recipe was read"}));
    EXPECT_EQ(outcome.exitCode, 6);
    EXPECT_EQ(examine({"--max-request-words", "100"}).exitCode, 0);
}

TEST_F(DoctorCommandTest, ADriverThatCannotBeUsedIsToldAndThePortIsTriedAllTheSame) {
    startSimulator();
    // The head of a library for a processor that is not ours.
#if defined(__arm__)
    const std::string head = std::string(
                                 "\x7f"
                                 "ELF\x02\x01\x01",
                                 7) +
                             std::string(9, '\0') + std::string("\x03\x00\x3e\x00", 4) + std::string(44, '\0');
    const std::string processor = "64-bit x86-64";
#else
    const std::string head = std::string(
                                 "\x7f"
                                 "ELF\x01\x01\x01",
                                 7) +
                             std::string(9, '\0') + std::string("\x03\x00\x28\x00", 4) + std::string(16, '\0') +
                             std::string("\x00\x04\x00\x05", 4) + std::string(16, '\0');
    const std::string processor = "32-bit ARM, hard float";
#endif
    const std::string foreign = write("foreign.so", head);
    struct Row {
        std::string driver;
        std::string text;
    };
    for (const Row& row : {Row{foreign, foreign + ": " + processor + ", and this program is "},
                           Row{write("text.so", "no library"), "text.so: no shared library"},
                           Row{kDriverForQt4, "needs Qt 4, and this program runs with Qt 5"},
                           Row{"/nowhere/driver.so", "the driver cannot be loaded"}}) {
        const Outcome outcome =
            runHost({"--driver", row.driver, "--symbols", kPlantFile, "--plc", plc_, "doctor", "--json"});
        EXPECT_THAT(lines(outcome, "fail"), ElementsAre(HasSubstr(row.text)));
        EXPECT_THAT(subjects(outcome, "pass"), Contains("port"));
        EXPECT_THAT(subjects(outcome, "not tried"),
                    ElementsAre("hello", "session", "program", "area", "area", "area", "limit"));
        EXPECT_EQ(outcome.exitCode, 2);
    }
}

TEST_F(DoctorCommandTest, ASymbolFileIsNotRequiredAndABrokenOneHidesNoHandshake) {
    startSimulator();
    const Outcome without = runHost({"--driver", kDriver, "--plc", plc_, "doctor", "--json", "Main.counter"});
    EXPECT_THAT(subjects(without, "not tried"), ElementsAre("symbols", "area", "tag"));
    EXPECT_THAT(subjects(without, "pass"), IsSupersetOf({"hello", "session"}));
    EXPECT_EQ(without.exitCode, 0);
    const Outcome broken =
        runHost({"--driver", kDriver, "--symbols", write("b.json", "{"), "--plc", plc_, "doctor", "--json"});
    EXPECT_THAT(subjects(broken, "fail"), ElementsAre("symbols"));
    EXPECT_THAT(subjects(broken, "pass"), IsSupersetOf({"hello", "session"}));
    EXPECT_EQ(broken.exitCode, 2);
    EXPECT_THAT(summary(), HasSubstr("(2 hello, 2 symbols, 0 read, 0 write, 0 other)"));
}

TEST_F(DoctorCommandTest, TagsThatAreWrongAreToldOneByOne) {
    startSimulator();
    const Outcome outcome = examine({"Main.nix", "Main.counter", "\x1b[31m", "Main.recipe[11]", "@/nowhere.list"});
    EXPECT_THAT(lines(outcome, "fail"),
                ElementsAre(StartsWith("fail tag \"Main.nix\": scope \"Main\" has no variable \"nix\""),
                            StartsWith("fail tag \"?[31m\""), StartsWith("fail tag \"Main.recipe[11]\""),
                            StartsWith("fail tag /nowhere.list")));
    EXPECT_THAT(lines(outcome, "pass"), Contains("pass tag Main.counter was read"));
    EXPECT_EQ(outcome.exitCode, 3);
}

// One line for each wrong one, whatever else the list holds.
TEST_F(DoctorCommandTest, WrongTagsOfAListHideNoGoodOnes) {
    startSimulator();
    const std::string list = write("panel.list", "Main.countr\nMain.counter\nMain.recipe[11]\nMain.setpoint\n");
    const Outcome outcome = examine({"@" + list});
    EXPECT_THAT(lines(outcome, "fail"),
                ElementsAre(AllOf(StartsWith("fail tag " + list + ":1: \"Main.countr\": "),
                                  HasSubstr("near names: Main.counter")),
                            StartsWith("fail tag " + list + ":3: \"Main.recipe[11]\": index 11 lies outside 1..10")));
    EXPECT_THAT(lines(outcome, "pass"),
                IsSupersetOf({"pass tag Main.counter was read", "pass tag Main.setpoint was read"}));
    EXPECT_EQ(outcome.exitCode, 3);
    const json document = json::parse(outcome.out);
    for (const json& line : document["lines"]) {
        if (line["grade"] == "fail") {
            EXPECT_EQ(line["next"], "ac500-host --driver " + shellWord(kDriver) + " --symbols " +
                                        shellWord(kPlantFile) + " check " + shellWord("@" + list));
        }
    }
    EXPECT_THAT(host({"doctor", "Main.recipe[11]"}).out, HasSubstr(" check 'Main.recipe[11]'"));
}

TEST_F(DoctorCommandTest, ANameThatNobodyKnowsIsTold) {
    const Outcome outcome = examine("no-such-plc.invalid", {"--timeout", "500"});
    EXPECT_THAT(subjects(outcome, "fail"), ElementsAre("name"));
    EXPECT_THAT(subjects(outcome, "not tried"), Contains("port"));
    EXPECT_EQ(outcome.exitCode, 4);
}

// What is to be run next asks the plant that was asked, and asks it something else.
TEST_F(DoctorCommandTest, TheNextCommandIsOfTheSamePlant) {
    const std::string common =
        "ac500-host --driver " + shellWord(kDriver) + " --symbols " + shellWord(kPlantFile) + " --plc ";
    EXPECT_THAT(nextOfFailures(examine({"Main.counter"})), ElementsAre(common + "127.0.0.1:1201 doctor Main.counter"));
    EXPECT_THAT(
        nextOfFailures(examine("127.77.0.1:1201", {"Main.recipe[11]"})),
        ElementsAre(common + "127.77.0.1:PORT doctor 'Main.recipe[11]'  # PORT: as the PLC's configuration says",
                    "ac500-host --driver " + shellWord(kDriver) + " --symbols " + shellWord(kPlantFile) +
                        " check 'Main.recipe[11]'"));
    HostilePlc silent([](HostilePlc::Connection& connection) { connection.waitForEnd(); });
    EXPECT_THAT(nextOfFailures(examine(at(silent), {"--timeout", "200", "--within", "60", "Main.counter"})),
                ElementsAre(common + at(silent) + " --timeout 10000 doctor --within 60 Main.counter"));
}

TEST_F(DoctorCommandTest, TheNextCommandCanBeRunWhateverTheNamesOfFilesHold) {
    ASSERT_TRUE(QDir(folder_.path()).mkdir("my plant's"));
    const std::string broken = write("my plant's/bad sym.json", "{");
    const Outcome outcome = runHost({"--driver", kDriver, "--symbols", broken, "--plc", plc_, "doctor", "--json"});
    const Texts next = nextOfFailures(outcome);
    ASSERT_FALSE(next.empty());
    ASSERT_THAT(next.front(), StartsWith("ac500-host "));
    const Outcome followed = run("sh", {"-c", kHostProgram + next.front().substr(std::string("ac500-host").size())});
    EXPECT_EQ(followed.exitCode, 2) << next.front();
    EXPECT_THAT(followed.error, StartsWith("file: " + broken + ":"));
}

TEST_F(DoctorCommandTest, EveryLineThatIsNoPassSaysWhatItMeansAndWhatToDoNext) {
    for (const Outcome& outcome :
         {examine({"Main.nix", "Main.counter"}), runHost({"--plc", "127.0.0.1:1", "doctor", "--json"})}) {
        const json document = json::parse(outcome.out);
        for (const json& line : document["lines"]) {
            EXPECT_EQ(line["grade"] == "pass", line["meaning"] == "") << line;
            EXPECT_EQ(line["grade"] == "pass", line["next"] == "") << line;
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The bundle
// ---------------------------------------------------------------------------------------------------------------------

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>('A' <= c && c <= 'Z' ? c + 32 : c); });
    return text;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

class DoctorBundleTest : public DoctorCommandTest {
protected:
    // A plant whose names and values are like nothing that the doctor says by itself.
    void startKettlePlant() {
        ASSERT_TRUE(QDir(folder_.path()).mkdir("Zuckerwerk"));
        symbols_ = write("Zuckerwerk/Kesselhaus.json", R"json({"format": "ac500-symbols", "version": 1,
            "areas": [{"number": 1, "name": "Dampferzeugung", "bytes": 200}],
            "scopes": [{"name": "Kessel", "variables": [
                {"name": "Druckventil", "type": "DINT", "area": 1, "offset": 0},
                {"name": "rezeptur", "type": "STRING(20)", "area": 1, "offset": 40
        },
                {"name": "Sollwerte", "type": "REAL", "area": 1, "offset": 100, "array": [[1, 3]]}]
        }],
            "simulation": {
            "initial" : [
                {"tag" : "Kessel.Druckventil", "value" : 1432778632},
                {"tag" : "Kessel.rezeptur", "value" : "GEHEIMREZEPT"},
                {"tag" : "Kessel.Sollwerte[2]", "value" : 98765.5}
            ]
        }
        })json");
        startSimulator({}, symbols_);
        bundle_ = folder_.filePath("Zuckerwerk/support.tar.gz").toStdString();
    }

    Outcome bundle(const Texts& words, const std::string& redirection = "</dev/null") const {
        return run("sh", Texts{"-c", "cd \"$0\" && HOME=/home/Zuckermeier USER=Zuckermeier exec \"$@\" " + redirection,
                               folder_.path().toStdString() + "/Zuckerwerk", kHostProgram, "--driver", kDriver,
                               "--symbols", symbols_, "--plc", plc_, "doctor", "Kessel.DRUCKVENTIL",
                               "Kessel.Druckventil", "Kessel.rezeptur", "Kessel.Sollwerte", "--bundle", bundle_} +
                             words);
    }

    // What the archive holds when it is unpacked, with the names of its files.
    std::string unpacked() const {
        const std::string to = folder_.filePath("unpacked").toStdString();
        const Outcome outcome =
            run("sh", {"-c", "rm -rf \"$0\" && mkdir \"$0\" && tar xzf \"$1\" -C \"$0\"", to, bundle_});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
        std::string all;
        const QDir folder(QString::fromStdString(to + "/ac500-doctor"));
        for (const QString& name : folder.entryList(QDir::Files, QDir::Name)) {
            all += name.toStdString() + "\n" + contentOf(folder.filePath(name).toStdString());
        }
        return all;
    }

    Texts namesIn() const {
        const Outcome outcome = run("tar", {"tzf", bundle_});
        Texts names;
        std::istringstream lines(outcome.out);
        for (std::string line; std::getline(lines, line);) {
            names.push_back(line);
        }
        return names;
    }

    static std::string modeOf(const std::string& path) { return run("stat", {"-c", "%a", path}).out; }

    // Names, people and places, as the test made them.
    Texts secretNames() const {
        const std::string port = plc_.substr(plc_.find(':'));
        return {"Kessel",
                "Druckventil",
                "rezeptur",
                "Sollwerte",
                "Dampferzeugung",
                "Zuckerwerk",
                "Zuckermeier",
                "127.0.0.1" + port,
                "127.0.0.1",
                std::string("\x7F\x00\x00\x01", 4),
                folder_.path().toStdString()};
    }

    // Is the name of this machine in a text of the archive that was unpacked? As a word, and not in capture or record: short
    // names are somewhere in any bytes.
    bool isHostTold() const {
        const std::string name = lower(run("hostname", {}).out);
        const std::regex word("(^|[^a-z0-9])" + name.substr(0, name.find_first_of(".\n")) + "([^a-z0-9]|$)");
        const QDir folder(folder_.filePath("unpacked/ac500-doctor"));
        const QStringList files = folder.entryList({"*.txt", "*.json"}, QDir::Files);
        EXPECT_GE(files.size(), 2);
        return std::any_of(files.begin(), files.end(), [&](const QString& file) {
            return std::regex_search(lower(contentOf(folder.filePath(file).toStdString())), word);
        });
    }
    // 1432778632 = 0x55667788 and 98765.5 = 0x47C0E6C0, in the order of the PLC and in the other.
    static Texts secretValues() {
        return {"GEHEIMREZEPT",     "1432778632",       "98765",           "\x55\x66\x77\x88",
                "\x88\x77\x66\x55", "\x47\xC0\xE6\xC0", "\xC0\xE6\xC0\x47"};
    }

    static Texts foundIn(const std::string& all, const Texts& originals) {
        Texts found;
        for (const std::string& original : originals) {
            if (lower(all).find(lower(original)) != std::string::npos) {
                found.push_back(original);
            }
        }
        return found;
    }

    std::string symbols_;
    std::string bundle_;
};

TEST_F(DoctorBundleTest, HoldsEverythingForItsOwnerAlone) {
    startKettlePlant();
    const Outcome outcome = bundle({"--yes"});
    EXPECT_EQ(outcome.exitCode, 3) << "a tag was spelt wrong";
    EXPECT_THAT(outcome.out, HasSubstr("support.tar.gz holds:\n  ac500-doctor/doctor.txt "));
    EXPECT_THAT(namesIn(),
                ElementsAre("ac500-doctor/doctor.txt", "ac500-doctor/doctor.json", "ac500-doctor/settings.json",
                            "ac500-doctor/versions.json", "ac500-doctor/statistics.json", "ac500-doctor/capture.pcapng",
                            "ac500-doctor/driver.rec"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("left out")));
    EXPECT_EQ(modeOf(bundle_), "600\n");
    EXPECT_FALSE(std::ifstream(bundle_ + ".map.json").good());
    // What is searched for below is there as long as nothing is replaced.
    EXPECT_THAT(foundIn(unpacked(),
                        {"Kessel", "Druckventil", "rezeptur", "Sollwerte", "Dampferzeugung", "Zuckerwerk", "127.0.0.1",
                         std::string("\x7F\x00\x00\x01", 4), "GEHEIMREZEPT", "\x55\x66\x77\x88", "\x47\xC0\xE6\xC0"}),
                testing::SizeIs(11));
    const Outcome replayed = run(kHostProgram, {"--driver", kDriver, "replay",
                                                folder_.filePath("unpacked/ac500-doctor/driver.rec").toStdString()});
    EXPECT_EQ(replayed.exitCode, 0) << replayed.out << replayed.error;
    EXPECT_EQ(
        outputComplaints("doctor", contentOf(folder_.filePath("unpacked/ac500-doctor/doctor.json").toStdString())), "");
}

TEST_F(DoctorBundleTest, WithoutNamesHasNoneOfThemInAnyCaseAndTheMapStaysHere) {
    startKettlePlant();
    bundle({"--yes", "--without-names"});
    const std::string all = unpacked();
    EXPECT_THAT(foundIn(all, secretNames()), ElementsAre());
    EXPECT_FALSE(isHostTold());
    EXPECT_THAT(foundIn(all, {"GEHEIMREZEPT"}), ElementsAre("GEHEIMREZEPT")) << "values may stay";
    EXPECT_EQ(modeOf(bundle_ + ".map.json"), "600\n");
    const json map = json::parse(contentOf(bundle_ + ".map.json"));
    std::string replacement;
    for (const auto& [name, original] : map.items()) {
        replacement = lower(original) == "druckventil" ? name : replacement;
    }
    ASSERT_NE(replacement, "");
    EXPECT_THAT(all, HasSubstr("." + replacement + " was read"));
    EXPECT_THAT(all, HasSubstr("has no variable \"" + replacement + "\"")) << "the same in another case";
}

TEST_F(DoctorBundleTest, WithoutValuesHasNoneOfThemAndWithBothNothingIsLeft) {
    startKettlePlant();
    bundle({"--yes", "--without-values"});
    EXPECT_THAT(foundIn(unpacked(), secretValues()), ElementsAre());
    EXPECT_THAT(foundIn(unpacked(), {"Druckventil"}), ElementsAre("Druckventil")) << "names may stay";
    const Outcome outcome = bundle({"--yes", "--without-names", "--without-values"});
    EXPECT_THAT(foundIn(unpacked(), secretNames() + secretValues()), ElementsAre());
    EXPECT_FALSE(isHostTold());
    EXPECT_THAT(outcome.out,
                HasSubstr("\n  left out: a record of the driver's calls, which holds names and values all through\n"));
}

// Another program with another guard, a file of handshake replies that was learned elsewhere, and every option that names
// a file.
class DoctorBundleOfAll : public DoctorBundleTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(QDir(folder_.path()).mkpath("Zuckerwerk/.Raffinerie"));
        startSimulator({}, write("Zuckerwerk/anders.json", program("918273645")));
        symbols_ = write("Zuckerwerk/Kesselhaus.Nord.json", program("564738291"));
        handshake_ = write("Zuckerwerk/.Raffinerie/Silo.Turm.json",
                           R"({"format": "ac500-handshake", "version": 1, "plc": "geheimwerk.ruebe.example:1201",
            "symbols": "/home/Rohrzucker/Melasse.json", "program": "0000000000000001", "first": "2026-11-22T07:45:00Z",
            "last": "2026-11-22T07:46:00Z", "connections": 2, "sessions": ["00000001", "00000002"],
            "replies": {"hello": "bbbb000000c80000fe*", "symbols": "bbbb*"}})");
        config_ =
            write("Zuckerwerk/Einstellung.json", R"({"plc": ")" + plc_ + R"(", "symbols": ")" + symbols_ + R"("})");
        list_ = write("Zuckerwerk/Schnitzel.list", "Kessel.Druckventil\nKessel.Gibtesnicht\n");
        bundle_ = folder_.filePath("Zuckerwerk/support.tar.gz").toStdString();
    }

    static std::string program(const std::string& guard) {
        return R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 200}],
            "scopes": [{"name": "Kessel", "variables": [
                {"name": "Kennung", "type": "UDINT", "area": 1, "offset": 4},
                {"name": "Druckventil", "type": "DINT", "area": 1, "offset": 0}]}],
            "guard": [{"tag": "Kessel.Kennung", "value": )" +
               guard + "}]}";
    }

    Outcome bundleOfAll(const Texts& words) const {
        return run("sh", Texts{"-c",
                               "cd \"$0\" && LC_ALL=Nirgendwo_XX USER=Zuckermeier AC500_DRIVER=\"$1\" && export LC_ALL "
                               "USER AC500_DRIVER && shift && exec \"$@\" </dev/null",
                               folder_.path().toStdString() + "/Zuckerwerk",
                               kDriver,
                               kHostProgram,
                               "--config",
                               config_,
                               "--handshake",
                               handshake_,
                               "--record",
                               "Pumpenhaus.rec",
                               "--record-ring",
                               "Ringofen.rec:1M",
                               "--record-save",
                               "Notfall.rec",
                               "doctor",
                               "@" + list_,
                               "Kessel.Druckventil=31415926",
                               "--yes",
                               "--bundle",
                               bundle_} +
                             words);
    }

    std::string handshake_;
    std::string config_;
    std::string list_;
};

TEST_F(DoctorBundleOfAll, HoldsNoneOfTheNamesThatAnOptionOrAFileOfItHas) {
    const Texts names{"Kessel",
                      "Druckventil",
                      "Kennung",
                      "Gibtesnicht",
                      "Zuckerwerk",
                      "Nord",
                      "Silo",
                      "Turm",
                      "Raffinerie",
                      "geheimwerk",
                      "ruebe",
                      "Rohrzucker",
                      "Melasse",
                      "Einstellung",
                      "Schnitzel",
                      "Pumpenhaus",
                      "Ringofen",
                      "Notfall",
                      "Nirgendwo",
                      "Zuckermeier",
                      "it was fe",
                      "127.0.0.1",
                      folder_.path().toStdString()};
    bundleOfAll({});
    EXPECT_THAT(foundIn(unpacked(), names),
                IsSupersetOf({"Kessel", "Kennung", "Gibtesnicht", "Silo", "Turm", "Raffinerie", "geheimwerk", "ruebe",
                              "Rohrzucker", "Melasse", "Schnitzel", "Nirgendwo", "it was fe"}))
        << "what is searched for is there as long as nothing is replaced";
    bundleOfAll({"--without-names"});
    EXPECT_THAT(foundIn(unpacked(), names), ElementsAre());
    bundleOfAll({"--without-names", "--without-values"});
    EXPECT_THAT(foundIn(unpacked(), names), ElementsAre());
}

TEST_F(DoctorBundleOfAll, HoldsNeitherTheNumbersOfGuardsNorAValueOfItsCall) {
    // 0x36BBBE6D and 0x21A938F3, as the wire has them.
    const Texts values{"918273645",        "564738291",        "31415926",         "it was fe",
                       "\x36\xBB\xBE\x6D", "\x6D\xBE\xBB\x36", "\x21\xA9\x38\xF3", "\xF3\x38\xA9\x21"};
    bundleOfAll({});
    EXPECT_THAT(foundIn(unpacked(), values), IsSupersetOf({"918273645", "564738291", "31415926", "it was fe"}));
    bundleOfAll({"--without-values"});
    const std::string all = unpacked();
    EXPECT_THAT(foundIn(all, values), ElementsAre());
    EXPECT_THAT(all, HasSubstr("fail       program  another one: Kessel.Kennung holds another number there than in the "
                               "program of these symbols\n"));
    EXPECT_THAT(all, HasSubstr("warn       program  the replies to the handshake: otherwise than was learned\n"));
    bundleOfAll({"--without-names", "--without-values"});
    EXPECT_THAT(foundIn(unpacked(), values), ElementsAre());
}

TEST_F(DoctorBundleTest, ABrokenSymbolFileIsNotQuoted) {
    startKettlePlant();
    write("Zuckerwerk/Kesselhaus.json", R"({"format": "ac500-symbols", "version": 1,
        "areas": [{"number": 1, "bytes": 200}], "scopes": [{"name": "Kessel", "variables": [
            {"name": "Druckventil", "type": "Dampferzeugung", "area": 1, "offset": 0}]}]})");
    const Outcome outcome = bundle({"--yes", "--without-names"});
    EXPECT_THAT(outcome.out, HasSubstr("Dampferzeugung"));
    EXPECT_THAT(foundIn(unpacked(), {"Dampferzeugung", "Kesselhaus", "Zuckerwerk"}), ElementsAre());
}

TEST_F(DoctorBundleTest, WhereNobodyCanAnswerItWantsAYes) {
    startKettlePlant();
    const Outcome outcome = bundle({});
    EXPECT_EQ(outcome.error, "usage: --bundle asks before it writes; where nobody can answer, give --yes, too\n");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_FALSE(std::ifstream(bundle_).good());
    for (const char* option : {"--without-names", "--without-values", "--yes"}) {
        EXPECT_EQ(host({"doctor", option}).exitCode, 1) << option;
    }
}

TEST_F(DoctorBundleTest, AtATerminalTheListIsShownAndTheAnswerCounts) {
    startKettlePlant();
    for (const bool isWanted : {false, true}) {
        TerminalProcess terminal;
        ASSERT_TRUE(terminal.start(
            {kHostProgram, "--driver", kDriver, "--symbols", symbols_, "--plc", plc_, "doctor", "--bundle", bundle_},
            100, 40, {}));
        ASSERT_TRUE(terminal.waitForText("ac500-doctor/capture.pcapng", kProgramPatienceMs)) << terminal.shown();
        ASSERT_TRUE(terminal.waitForText("Write it? [y/N] ", kProgramPatienceMs)) << terminal.shown();
        EXPECT_FALSE(std::ifstream(bundle_).good());
        terminal.type(isWanted ? "y\n" : "\n");
        ASSERT_TRUE(terminal.waitForEnd(kProgramPatienceMs));
        EXPECT_EQ(terminal.exitCode(), 0);
        EXPECT_EQ(std::ifstream(bundle_).good(), isWanted);
    }
}

TEST_F(DoctorBundleTest, ProgramsAreToldWhatItHolds) {
    startKettlePlant();
    const Outcome outcome = bundle({"--yes", "--json"});
    EXPECT_EQ(outputComplaints("doctor", outcome.out), "");
    const json document = json::parse(outcome.out);
    EXPECT_EQ(document["bundle"]["file"], bundle_);
    EXPECT_EQ(document["bundle"]["entries"].size(), 7u);
}

TEST_F(DoctorBundleTest, WhatCannotBeWrittenIsToldAndNothingIsLeftBehind) {
    startKettlePlant();
    // A file may have half a kilobyte.
    const Outcome full =
        run("sh", {"-c", "trap '' XFSZ; ulimit -f 1; exec \"$0\" \"$@\"", kHostProgram, "--driver", kDriver,
                   "--symbols", symbols_, "--plc", plc_, "doctor", "--bundle", bundle_, "--yes", "--without-names"});
    EXPECT_EQ(full.error, "output: " + bundle_ + ": File too large; no bundle was written\n");
    EXPECT_EQ(full.exitCode, 7);
    bundle_ = folder_.filePath("nowhere/support.tar.gz").toStdString();
    const Outcome nowhere = bundle({"--yes"});
    EXPECT_EQ(nowhere.error, "output: " + bundle_ + ": No such file or directory; no bundle was written\n");
    EXPECT_EQ(nowhere.exitCode, 7);
    EXPECT_EQ(QDir(folder_.filePath("Zuckerwerk")).entryList(QDir::Files | QDir::Hidden),
              QStringList(QStringLiteral("Kesselhaus.json")));
}

TEST_F(DoctorCommandTest, CtrlCEndsIt) {
    HostilePlc plc([](HostilePlc::Connection& connection) { connection.waitForEnd(); });
    ChildProcess process;
    ASSERT_TRUE(process.start(kHostProgram, {"--driver", kDriver, "--symbols", kPlantFile, "--plc", at(plc),
                                             "--timeout", "60000", "doctor", "--within", "3600"}));
    for (int i = 0; i < 1000 * AC500_TEST_PACE && plc.connections() == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    process.sendSignal(SIGINT);
    ASSERT_TRUE(process.waitForEnd(kProgramPatienceMs));
    EXPECT_EQ(process.exitCode(), 130);
    const std::string out = process.takeOutput();
    EXPECT_THAT(out, Not(HasSubstr("fail ")));
    EXPECT_THAT(out, HasSubstr("not tried  hello    first request of the handshake: interrupted\n"));
}

TEST_F(DoctorCommandTest, ARecordThatCannotBeWrittenIsToldAtTheEnd) {
    startSimulator();
    const std::string file = folder_.filePath("none/a.rec").toStdString();
    for (const Texts& command : {Texts{"doctor", "Main.counter"}, Texts{"read", "Main.counter"}}) {
        const Outcome outcome = host(Texts{"--record", file} + command);
        EXPECT_EQ(outcome.exitCode, 7) << outcome.out;
        EXPECT_THAT(outcome.out, HasSubstr("Main.counter"));
        EXPECT_THAT(outcome.error, HasSubstr("output: the record " + file + " cannot be made: "));
    }
    EXPECT_EQ(host({"--record", file, "read", "Main.nix"}).exitCode, 3);
}

TEST_F(DoctorCommandTest, TheConditionOfARecordIsToldByItsOption) {
    const Outcome outcome = host({"--record-when", "Main.counter", "read", "Main.counter"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, StartsWith("usage: --record-when \"Main.counter\": there is no operator; "));
}

// Whatever name or link leads to it.
TEST_F(DoctorCommandTest, NoCommandWritesOverWhatItReads) {
    const std::string symbols = write("x.json", "{}");
    const std::string link = folder_.filePath("link").toStdString();
    ASSERT_EQ(::symlink(symbols.c_str(), link.c_str()), 0);
    write("ring", "");
    ASSERT_EQ(::link(symbols.c_str(), folder_.filePath("ring.2").toStdString().c_str()), 0);
    const std::string ring = folder_.filePath("ring").toStdString() + ":1M";
    for (const Texts& words : std::vector<Texts>{{"watch", "--record", symbols, "Main.counter"},
                                                 {"watch", "--record", link, "Main.counter"},
                                                 {"read", "--record-ring", symbols + ":1M", "Main.counter"},
                                                 {"read", "--record-ring", ring, "Main.counter"},
                                                 {"doctor", "--yes", "--bundle", link},
                                                 {"write", "--audit", symbols, "Main.counter=1"},
                                                 {"plan", "--svg", symbols, "Main.counter"}}) {
        const Outcome outcome = runHost(Texts{"--driver", kDriver, "--symbols", symbols} + words);
        EXPECT_EQ(outcome.exitCode, 1) << outcome.error;
        EXPECT_THAT(outcome.error, HasSubstr(" would write over the symbol file; name another file"));
        EXPECT_EQ(contentOfFile(symbols), "{}");
    }
    const std::string record = write("z.rec", "no matter what");
    for (const char* option : {"--pcap", "--shrink"}) {
        const Outcome outcome = runHost({"--driver", kDriver, "replay", record, option, record});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.error, HasSubstr(" would write over the record; name another file"));
        EXPECT_EQ(contentOfFile(record), "no matter what");
    }
    const Outcome settings =
        runHost({"--config", symbols, "--symbols", kPlantFile, "read", "--record", symbols, "Main.counter"});
    EXPECT_THAT(settings.exitCode, testing::AnyOf(1, 2)) << settings.error;
    EXPECT_EQ(contentOfFile(symbols), "{}");
}

TEST_F(DoctorCommandTest, NothingIsAddedToAFileThatIsNoAudit) {
    const std::string file = write("notes.txt", "a line\n");
    const Outcome outcome = host({"write", "--audit", file, "Main.counter=1"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.error, StartsWith("usage: " + file + " is no audit file: "));
    EXPECT_EQ(contentOfFile(file), "a line\n");
}

// As it is for the map.
TEST_F(DoctorBundleTest, WhatIsNoFileStaysWhatItIs) {
    startKettlePlant();
    const std::string link = folder_.filePath("link.tar.gz").toStdString();
    const std::string target = write("target.tar.gz", "old");
    ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
    bundle_ = link;
    bundle({"--yes"});
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(contentOfFile(target).substr(0, 2), "\x1f\x8b");
    const std::string pipe = folder_.filePath("pipe").toStdString();
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    bundle_ = pipe;
    const Outcome unread = bundle({"--yes"});
    EXPECT_EQ(unread.exitCode, 7) << "nobody reads it";
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
}

TEST_F(DoctorCommandTest, AFullDiskIsTold) {
    const Outcome outcome = runHostWith("> /dev/full", usual() + Texts{"doctor"});
    EXPECT_THAT(outcome.error, StartsWith("output: "));
    EXPECT_EQ(outcome.exitCode, 4) << "the port of nobody failed before";
}

}  // namespace
