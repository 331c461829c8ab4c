#include "tools/host/audit_gate.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <regex>

#include "tests/audit/audit_files.h"
#include "tools/audit/audit_trail.h"
#include "tools/host/order_book.h"

namespace ac500::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Full, as soon as it is told so.
class FullDisk : public audit::Disk {
public:
    ssize_t write(int descriptor, const char* bytes, std::size_t size) override {
        errno = ENOSPC;
        return isFull ? -1 : Disk::write(descriptor, bytes, size);
    }
    bool isFull = false;
};

class AuditGateTest : public audit::AuditFilesTest {
protected:
    static Order writeOf(std::int32_t serial, std::int64_t before, std::int64_t after) {
        Order write;
        write.serial = serial;
        write.tag.text = "Main.level";
        write.tag.form = {TypeCode::Int, false};
        write.tag.area = 1;
        write.tag.address = 1024;
        write.before = {before};
        write.values = {after};
        return write;
    }
    static Order ended(Order write, WriteOutcome outcome, const std::string& why = "") {
        write.outcome = outcome;
        write.failure = {why.empty() ? FailureKind::None : FailureKind::Request, why};
        return write;
    }
    // What the file tells: the only line, or the latest.
    audit::Entry latest() const {
        std::string error;
        const std::optional<audit::Trail> trail = audit::readTrail(file(), &error);
        EXPECT_TRUE(trail && !trail->entries.empty()) << error;
        return trail && !trail->entries.empty() ? trail->entries.back() : audit::Entry();
    }

    std::shared_ptr<FullDisk> disk = std::make_shared<FullDisk>();
    AuditGate gate{std::make_unique<audit::AuditFile>(file(), 100000, disk), {"anna", "panel7", "10.0.0.5:1201"}};
};

TEST_F(AuditGateTest, TellsWhoWhenWhereAndWhatBeforeTheWrite) {
    EXPECT_EQ(gate.beforeWrite(writeOf(1, 7, 8)).text, "");
    const audit::Entry entry = latest();
    EXPECT_TRUE(std::regex_match(entry.intent.id, std::regex("[0-9a-f]{12,16}-" + std::to_string(::getpid()) + "-1")))
        << entry.intent.id;
    EXPECT_TRUE(std::regex_match(entry.intent.time, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)")))
        << entry.intent.time;
    EXPECT_EQ(entry.intent.user, "anna");
    EXPECT_EQ(entry.intent.host, "panel7");
    EXPECT_EQ(entry.intent.plc, "10.0.0.5:1201");
    EXPECT_EQ(entry.intent.tag, "Main.level");
    EXPECT_EQ(entry.intent.type, "INT");
    EXPECT_EQ(entry.intent.area, 1);
    EXPECT_EQ(entry.intent.address, 1024);
    EXPECT_EQ(entry.intent.before, "7");
    EXPECT_EQ(entry.intent.after, "8");
    EXPECT_EQ(entry.intent.shownBefore, "");
    EXPECT_EQ(entry.intent.shownAfter, "");
    EXPECT_EQ(entry.intent.number, "");
    EXPECT_EQ(entry.intent.undoes, "");
    EXPECT_EQ(entry.outcome(), "unknown") << "until it has ended";
}

TEST_F(AuditGateTest, NamesTheBitsOfAVariableByItsType) {
    Order write = writeOf(1, 0, 0);
    write.tag.form = {TypeCode::Word, true};
    EXPECT_EQ(auditTypeOf(write.tag), "bit of WORD");
}

TEST_F(AuditGateTest, TellsTheTermsOfTheWrite) {
    Order write = writeOf(1, 7, 8);
    write.terms.who = "token of the hall";
    write.terms.number = "a-1";
    write.terms.undoes = "4711-1";
    EXPECT_EQ(gate.beforeWrite(write).text, "");
    EXPECT_EQ(latest().intent.user, "token of the hall");
    EXPECT_EQ(latest().intent.number, "a-1");
    EXPECT_EQ(latest().intent.undoes, "4711-1");
}

// 0 is shown as "off", 8 as it is.
TEST_F(AuditGateTest, TellsBothFormsOfBothValuesWhereOneIsShownOtherwise) {
    const auto names = symbol_file::parseSymbolFile(R"~({"format": "ac500-symbols", "version": 1,
        "areas": [{"number": 1, "bytes": 4096}], "scopes": [{"name": "Main", "variables": [
        {"name": "mode", "type": "INT", "area": 1, "offset": 0, "names": {"0": "off"}},
        {"name": "celsius", "type": "INT", "area": 1, "offset": 2, "scale": {"factor": 0.1}}]}]})~");
    const TagTable tags(names.file);
    std::string error;
    Order write = writeOf(1, 0, 8);
    write.tag = tags.find("Main.mode", &error).value_or(Tag());
    EXPECT_EQ(gate.beforeWrite(write).text, "");
    EXPECT_EQ(latest().intent.before, "0");
    EXPECT_EQ(latest().intent.after, "8");
    EXPECT_EQ(latest().intent.shownBefore, "off");
    EXPECT_EQ(latest().intent.shownAfter, "8");
    write.before = {std::int64_t{8}};
    write.values = {std::int64_t{0}};
    EXPECT_EQ(gate.beforeWrite(write).text, "");
    EXPECT_EQ(latest().intent.shownBefore, "8");
    EXPECT_EQ(latest().intent.shownAfter, "off");
    write.tag = tags.find("Main.celsius", &error).value_or(Tag());
    EXPECT_EQ(gate.beforeWrite(write).text, "");
    EXPECT_EQ(latest().intent.shownBefore, "0.8");
    EXPECT_EQ(latest().intent.shownAfter, "0.0");
}

TEST_F(AuditGateTest, TellsEachOutcomeWithTheWriteItBelongsTo) {
    const Order first = writeOf(1, 7, 8);
    const Order second = writeOf(2, 8, 9);
    EXPECT_EQ(gate.beforeWrite(first).text, "");
    EXPECT_EQ(gate.beforeWrite(second).text, "");
    gate.afterWrite(ended(second, WriteOutcome::Refused, "the PLC said no"));
    gate.afterWrite(ended(first, WriteOutcome::Done));
    std::string error;
    const std::vector<audit::Entry> entries = audit::readTrail(file(), &error)->entries;
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].outcome(), "done");
    EXPECT_EQ(entries[0].ending->reason, "");
    EXPECT_EQ(entries[1].outcome(), "refused");
    EXPECT_EQ(entries[1].ending->reason, "the PLC said no");
    EXPECT_EQ(entries[1].intent.id.substr(entries[1].intent.id.rfind('-')), "-2") << "no two lines have one id";
    EXPECT_THAT(gate.problems(), IsEmpty());
}

TEST_F(AuditGateTest, LetsNothingPassOfWhichNoLineIsOnTheDisk) {
    disk->isFull = true;
    const Failure objection = gate.beforeWrite(writeOf(1, 7, 8));
    EXPECT_EQ(objection.kind, FailureKind::Output);
    EXPECT_EQ(objection.text, "the audit cannot be kept, and without it nothing is written: " + file() +
                                  " cannot be written: No space left on device");
}

TEST_F(AuditGateTest, TellsOfOutcomesThatAreNotInTheFile) {
    EXPECT_EQ(gate.beforeWrite(writeOf(1, 7, 8)).text, "");
    disk->isFull = true;
    gate.afterWrite(ended(writeOf(1, 7, 8), WriteOutcome::Done));
    EXPECT_THAT(gate.problems(),
                ElementsAre("Main.level: done, but that is not in the audit, which will say unknown: " + file() +
                            " cannot be written: No space left on device"));
}

TEST_F(AuditGateTest, IsOpenedOverAFileThatIsAnAuditOrThatIsNotThereYet) {
    Failure failure;
    const std::string line = R"({"version":1,"event":"outcome","of":"1","time":"t","outcome":"done"})";
    const std::string otherOrder = R"({"event":"outcome","version":1,"of":"1","time":"t","outcome":"done"})";
    for (const std::string& content : {std::string(), otherOrder + "\nsomething else\n", line + "\n",
                                       line + "\nsomething else\n", line.substr(0, 20)}) {
        fill(file("kept.jsonl"), content);
        EXPECT_NE(AuditGate::open(file("kept.jsonl"), "10.0.0.5:1201", &failure), nullptr) << content << failure.text;
        EXPECT_EQ(contentOf(file("kept.jsonl")), content);
    }
    EXPECT_NE(AuditGate::open("/dev/full", "10.0.0.5:1201", &failure), nullptr) << "a device is not looked into";
    const std::shared_ptr<AuditGate> made = AuditGate::open(file("new.jsonl"), "10.0.0.5:1201", &failure);
    ASSERT_NE(made, nullptr) << failure.text;
    EXPECT_EQ(made->beforeWrite(writeOf(1, 7, 8)).text, "");
    EXPECT_THAT(contentOf(file("new.jsonl")), testing::HasSubstr(R"("plc":"10.0.0.5:1201")"));
}

TEST_F(AuditGateTest, IsNotOpenedOverAFileOfSomethingElse) {
    for (const std::string& content : {std::string("tag,value\n"), std::string("{}\n"), std::string(70000, 'x')}) {
        Failure failure;
        fill(file("other.csv"), content);
        EXPECT_EQ(AuditGate::open(file("other.csv"), "10.0.0.5:1201", &failure), nullptr);
        EXPECT_EQ(failure.kind, FailureKind::Usage);
        EXPECT_EQ(failure.text,
                  file("other.csv") +
                      " is no audit file: its first line is no line of an audit; nothing was added to it; "
                      "name another file");
        EXPECT_EQ(contentOf(file("other.csv")), content);
    }
}

TEST_F(AuditGateTest, IsNotOpenedWhereNoFileCanBe) {
    Failure failure;
    EXPECT_EQ(AuditGate::open(file("none/audit.jsonl"), "10.0.0.5:1201", &failure), nullptr);
    EXPECT_EQ(failure.kind, FailureKind::Output);
    EXPECT_EQ(failure.text, "the audit cannot be kept, and without it nothing is written: " + file("none/audit.jsonl") +
                                " cannot be opened: No such file or directory");
    // Neither read nor taken for a file of something else.
    EXPECT_EQ(AuditGate::open(file("."), "10.0.0.5:1201", &failure), nullptr);
    EXPECT_EQ(failure.kind, FailureKind::Output);
}

TEST_F(AuditGateTest, NamesTheUserAndTheMachineOfTheProcess) {
    const AuditGate::Origin origin = AuditGate::originOfProcess("10.0.0.5:1201");
    EXPECT_EQ(origin.user, ::getpwuid(::getuid())->pw_name);
    std::string host;
    std::getline(std::ifstream("/proc/sys/kernel/hostname"), host);
    EXPECT_EQ(origin.host, host);
    EXPECT_EQ(origin.plc, "10.0.0.5:1201");
}

}  // namespace
}  // namespace ac500::host
