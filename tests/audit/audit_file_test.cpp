#include "tools/audit/audit_file.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <future>
#include <map>
#include <set>

#include "tests/audit/audit_files.h"

namespace ac500::audit {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

// Keeps a diary; the call of a name fails from then on that many times with an error.
class FaultyDisk : public Disk {
public:
    int open(const std::string& path, bool mayCreate) override {
        return opened(note(mayCreate ? "create" : "open") ? Disk::open(path, mayCreate) : -1);
    }
    int openFolder(const std::string& path) override {
        return opened(note("open folder") ? Disk::openFolder(path) : -1);
    }
    int list(const std::string& folder, std::vector<std::string>* names) override {
        return note("list") ? Disk::list(folder, names) : -1;
    }
    int look(int descriptor, struct stat* state) override {
        return mayLook("look") ? Disk::look(descriptor, state) : -1;
    }
    int lookUp(const std::string& path, struct stat* state) override {
        return mayLook("look by name") ? Disk::lookUp(path, state) : -1;
    }
    int close(int descriptor) override {
        openNow.erase(descriptor);
        return Disk::close(descriptor);
    }
    ssize_t write(int descriptor, const char* bytes, std::size_t size) override {
        return note("write") ? Disk::write(descriptor, bytes, std::min(size, largestWrite)) : -1;
    }
    int sync(int descriptor) override {
        struct stat state {};
        ::fstat(descriptor, &state);
        return note(S_ISDIR(state.st_mode) ? "sync folder" : "sync") ? Disk::sync(descriptor) : -1;
    }
    int truncate(int descriptor, off_t size) override {
        return note("truncate") ? Disk::truncate(descriptor, size) : -1;
    }
    int rename(const std::string& from, const std::string& to) override {
        return note("rename") ? Disk::rename(from, to) : -1;
    }

    std::set<int> openNow;  // descriptors
    std::vector<std::string> diary;
    std::map<std::string, int> failing;  // call to errno
    int sparedWrites = 0;                // so many succeed before
    std::size_t largestWrite = 1u << 20;

private:
    int opened(int descriptor) {
        if (descriptor >= 0) {
            openNow.insert(descriptor);
        }
        return descriptor;
    }

    // A look changes nothing, so the diary goes without.
    bool mayLook(const std::string& call) {
        const bool may = note(call);
        diary.pop_back();
        return may;
    }

    bool note(const std::string& call) {
        diary.push_back(call);
        const auto failure = failing.find(call);
        if (failure == failing.end() || (call == "write" && sparedWrites-- > 0)) {
            return true;
        }
        errno = failure->second;
        return false;
    }
};

std::vector<std::string> filesOf(const std::string& path) {
    std::string error;
    const auto files = auditFiles(path, &error);
    EXPECT_EQ(error, "");
    return files.value_or(std::vector<std::string>());
}

class AuditFileTest : public AuditFilesTest {
protected:
    std::shared_ptr<FaultyDisk> disk = std::make_shared<FaultyDisk>();
};

TEST_F(AuditFileTest, ALineIsOnTheDiskFileAndFolderBothWhenAppendReturns) {
    AuditFile audit(file(), 1000, disk);
    EXPECT_EQ(audit.append("one"), "");
    EXPECT_THAT(disk->diary, ElementsAre("open", "create", "open folder", "sync folder", "write", "sync"));
    disk->diary.clear();
    EXPECT_EQ(audit.append("two"), "");
    EXPECT_THAT(disk->diary, ElementsAre("write", "sync"));
    EXPECT_EQ(contentOf(file()), "one\ntwo\n");
    struct stat state {};
    ASSERT_EQ(::stat(file().c_str(), &state), 0);
    EXPECT_EQ(state.st_mode & 0777u, 0600u);
}

// Where it has 4, as the default of 32-bit machines is, a file system with larger numbers of files cannot be looked at.
TEST_F(AuditFileTest, NumbersAndSizesOfFilesHaveEightBytes) {
    static_assert(sizeof(off_t) == 8 && sizeof(ino_t) == 8, "_FILE_OFFSET_BITS=64 is not set");
    fill(file(), "line\n");
    std::filesystem::resize_file(file(), 5'000'000'000u);  // sparse
    struct stat state {};
    EXPECT_EQ(Disk().lookUp(file(), &state), 0);
    EXPECT_EQ(state.st_size, 5'000'000'000);
}

TEST_F(AuditFileTest, WhatIsThereIsKept) {
    fill(file(), "before\n");
    AuditFile audit(file());
    EXPECT_EQ(audit.open(), "");
    EXPECT_EQ(audit.open(), "");
    EXPECT_EQ(audit.append("after"), "");
    EXPECT_EQ(contentOf(file()), "before\nafter\n");
}

TEST_F(AuditFileTest, OpeningMakesTheFileAndSaysWhyItCannot) {
    AuditFile audit(file());
    EXPECT_EQ(audit.open(), "");
    EXPECT_EQ(contentOf(file()), "");
    AuditFile nowhere(file("missing/audit.jsonl"));
    EXPECT_EQ(nowhere.open(), file("missing/audit.jsonl") + " cannot be opened: No such file or directory");
    EXPECT_EQ(nowhere.append("line"), file("missing/audit.jsonl") + " cannot be opened: No such file or directory");
}

TEST_F(AuditFileTest, EveryCallThatFailsIsToldAndLeavesNothingOfTheLine) {
    const auto failed = [&](const std::string& call, int error) {
        disk->failing = {{call, error}};
        AuditFile audit(file(), 1000, disk);
        const std::string told = audit.append("line");
        disk->failing.clear();
        return told;
    };
    EXPECT_EQ(failed("create", EROFS), file() + " cannot be opened: Read-only file system");
    EXPECT_THAT(failed("sync folder", EIO), HasSubstr("audit.jsonl cannot be kept in /tmp/ac500-audit-"));
    std::filesystem::remove(file());
    EXPECT_THAT(failed("open folder", EACCES), HasSubstr(": Permission denied"));
    fill(file(), "kept\n");
    EXPECT_EQ(failed("write", ENOSPC), file() + " cannot be written: No space left on device");
    EXPECT_EQ(failed("sync", EIO), file() + " cannot be kept on the disk: Input/output error");
    EXPECT_EQ(failed("open", EROFS), file() + " cannot be opened: Read-only file system");
    EXPECT_EQ(contentOf(file()), "kept\n");
}

// Its name may be in memory alone, as a process left it that was killed between making the file and syncing the folder.
TEST_F(AuditFileTest, AFileThatIsThereIsNotWrittenToBeforeItsFolderIsOnTheDisk) {
    fill(file(), "kept\n");
    disk->failing = {{"open folder", EACCES}};
    for (int run = 0; run < 2; ++run) {
        AuditFile audit(file(), 1000, disk);
        EXPECT_THAT(audit.append("line"), HasSubstr("audit.jsonl cannot be kept in /tmp/ac500-audit-"));
    }
    EXPECT_EQ(contentOf(file()), "kept\n");
    disk->failing.clear();
    disk->diary.clear();
    AuditFile audit(file(), 1000, disk);
    EXPECT_EQ(audit.append("line"), "");
    EXPECT_THAT(disk->diary, ElementsAre("open", "open folder", "sync folder", "write", "sync"));
}

TEST_F(AuditFileTest, AFileThatCannotBeLookedAtIsNoReasonToTryForever) {
    for (const char* call : {"look", "look by name"}) {
        disk->failing = {{call, EOVERFLOW}};
        AuditFile audit(file(), 1000, disk);
        EXPECT_EQ(audit.append("line"), file() + " cannot be looked at: Value too large for defined data type") << call;
    }
    EXPECT_EQ(contentOf(file()), "");
}

TEST_F(AuditFileTest, AFileWhoseSizeIsNotKnownIsNotWrittenTo) {
    class SeenOnce : public Disk {
    public:
        int look(int descriptor, struct stat* state) override {
            errno = EIO;
            return ++looks == 2 ? -1 : Disk::look(descriptor, state);
        }
        int looks = 0;
    };
    AuditFile audit(file(), 1000, std::make_shared<SeenOnce>());
    EXPECT_EQ(audit.append("line"), file() + " cannot be looked at: Input/output error");
    EXPECT_EQ(contentOf(file()), "");
    EXPECT_EQ(audit.append("line"), "");
}

TEST_F(AuditFileTest, AFileThatGoesEachTimeThatItIsOpenedIsNoReasonToTryForever) {
    class WithoutFile : public Disk {
    public:
        int lookUp(const std::string& path, struct stat* state) override {
            ++looks;
            std::filesystem::remove(path);
            return Disk::lookUp(path, state);
        }
        int looks = 0;
    };
    const auto without = std::make_shared<WithoutFile>();
    AuditFile audit(file(), 1000, without);
    EXPECT_EQ(audit.append("line"), file() + " is another file each time that it is opened");
    EXPECT_EQ(without->looks, 100);
}

// A file system that gives a file one number when it is open and another by its name.
TEST_F(AuditFileTest, AFileThatIsAnotherByItsNameIsNotWrittenTo) {
    class Doubtful : public Disk {
    public:
        int lookUp(const std::string& path, struct stat* state) override {
            const int result = Disk::lookUp(path, state);
            state->st_ino += isOtherFile ? 1 : 0;
            state->st_dev += isOtherFile ? 0 : 1;
            return result;
        }
        bool isOtherFile = true;
    };
    const auto doubtful = std::make_shared<Doubtful>();
    AuditFile audit(file(), 1000, doubtful);
    EXPECT_EQ(audit.append("line"), file() + " is another file each time that it is opened");
    doubtful->isOtherFile = false;
    EXPECT_EQ(audit.append("line"), file() + " is another file each time that it is opened");
    EXPECT_EQ(contentOf(file()), "");
}

TEST_F(AuditFileTest, WhateverFailsNoFileStaysOpenButTheCurrentOne) {
    {
        AuditFile audit(file(), 10, disk);
        disk->failing = {{"sync folder", EIO}};
        EXPECT_NE(audit.append("line"), "");
        EXPECT_TRUE(disk->openNow.empty());
        disk->failing.clear();
        EXPECT_EQ(audit.append("line"), "");
        EXPECT_EQ(disk->openNow.size(), 1u);
        EXPECT_EQ(audit.append("a line that needs a new file"), "");
        EXPECT_EQ(disk->openNow.size(), 1u);
    }
    EXPECT_TRUE(disk->openNow.empty());
}

TEST_F(AuditFileTest, WhatAnotherProcessMakesFirstIsTaken) {
    class WithAnother : public Disk {
    public:
        int open(const std::string& path, bool mayCreate) override {
            if (mayCreate) {
                Disk().close(Disk().open(path, true));
            }
            return Disk::open(path, mayCreate);
        }
    };
    AuditFile audit(file(), 1000, std::make_shared<WithAnother>());
    EXPECT_EQ(audit.append("line"), "");
    EXPECT_EQ(contentOf(file()), "line\n");
}

TEST_F(AuditFileTest, NoDescriptorOfTheProcessStaysOpen) {
    const auto openDescriptors = [] {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    const auto before = openDescriptors();
    {
        AuditFile audit(file(), 10);
        EXPECT_EQ(audit.append("line"), "");
        EXPECT_EQ(audit.append("a line that needs a new file"), "");
        EXPECT_EQ(openDescriptors(), before + 1);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(AuditFileTest, WhatADiskOpensNoOtherProgramInherits) {
    fill(file(), "line\n");
    Disk real;
    for (const int descriptor : {real.open(file(), false), real.openFolder(file("."))}) {
        ASSERT_GE(descriptor, 0);
        EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC);
        real.close(descriptor);
    }
    EXPECT_EQ(real.openFolder(file()), -1);
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(AuditFileTest, TheFirstLineWaitsForTheLockOfAnotherProcessToo) {
    fill(file(), "theirs\n");
    const int theirs = ::open(file().c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(::flock(theirs, LOCK_EX), 0);
    AuditFile audit(file());
    std::future<std::string> appended = std::async(std::launch::async, [&] { return audit.append("ours"); });
    EXPECT_EQ(appended.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_EQ(contentOf(file()), "theirs\n");
    ::close(theirs);
    EXPECT_EQ(appended.get(), "");
    EXPECT_EQ(contentOf(file()), "theirs\nours\n");
}

TEST_F(AuditFileTest, ADiskThatBecomesFullInTheMiddleOfALineLosesNothingElse) {
    fill(file(), "kept\n");
    disk->largestWrite = 2;
    disk->sparedWrites = 1;
    disk->failing = {{"write", ENOSPC}};
    AuditFile audit(file(), 1000, disk);
    EXPECT_EQ(audit.append("line"), file() + " cannot be written: No space left on device");
    EXPECT_EQ(contentOf(file()), "kept\n");
    disk->failing.clear();
    EXPECT_EQ(audit.append("next"), "") << "two bytes at a time";
    EXPECT_EQ(contentOf(file()), "kept\nnext\n");
}

TEST_F(AuditFileTest, AFileThatIsEmptyOrHoldsOneByteIsTakenAsItIs) {
    fill(file(), "");
    AuditFile small(file(), 4);
    EXPECT_EQ(small.append("longer than that"), "");
    EXPECT_THAT(filesOf(file()), ElementsAre(file())) << "an empty file is not renamed";
    fill(file("byte.jsonl"), "x");
    AuditFile torn(file("byte.jsonl"));
    EXPECT_EQ(torn.append("next"), "");
    EXPECT_EQ(contentOf(file("byte.jsonl")), "x\nnext\n");
    fill(file("end.jsonl"), "\n");
    AuditFile full(file("end.jsonl"), 4);
    EXPECT_EQ(full.append("next"), "");
    EXPECT_THAT(filesOf(file("end.jsonl")), ElementsAre(file("end.jsonl.1"), file("end.jsonl")));
}

TEST_F(AuditFileTest, AWriteThatFailsBehindARenamingLeavesTheNewFileEmpty) {
    fill(file(), "0123456789\n");
    disk->sparedWrites = 1;
    disk->largestWrite = 2;
    disk->failing = {{"write", ENOSPC}};
    AuditFile audit(file(), 10, disk);
    EXPECT_EQ(audit.append("next"), file() + " cannot be written: No space left on device");
    EXPECT_EQ(contentOf(file()), "");
    EXPECT_EQ(contentOf(file() + ".1"), "0123456789\n");
}

// As a card that is worn out, or a medium that was mounted read-only after an error: by a mount of its own where this process
// may make one, else by a folder without rights for a user without any.
TEST_F(AuditFileTest, AReadOnlyFileSystemIsToldAndNothingIsLost) {
    fill(file("there.jsonl"), "kept\n");
    const pid_t child = ::fork();
    if (child == 0) {
        const std::string folder = std::filesystem::path(file("x")).parent_path().string();
        bool canWriteNothing = ::unshare(CLONE_NEWNS) == 0 &&
                               ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                               ::mount(folder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr) == 0 &&
                               ::mount("none", folder.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0;
        const std::string why = canWriteNothing ? "Read-only file system" : "Permission denied";
        if (!canWriteNothing) {
            canWriteNothing = ::chmod(file("there.jsonl").c_str(), 0400) == 0 && ::chmod(folder.c_str(), 0555) == 0 &&
                              (::geteuid() != 0 || ::setuid(65534) == 0);
        }
        AuditFile made(file());
        AuditFile there(file("there.jsonl"));
        const bool isTold = made.open() == file() + " cannot be opened: " + why &&
                            made.append("line") == file() + " cannot be opened: " + why &&
                            there.append("line") == file("there.jsonl") + " cannot be opened: " + why;
        ::_exit(!canWriteNothing ? 2 : isTold ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "2: nothing could be made read-only";
    ::chmod(std::filesystem::path(file("x")).parent_path().c_str(), 0700);
    EXPECT_EQ(contentOf(file("there.jsonl")), "kept\n");
    EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(AuditFileTest, ATornLineIsKeptAndTheNextBeginsBehindIt) {
    disk->largestWrite = 2;
    disk->sparedWrites = 1;
    disk->failing = {{"write", ENOSPC}, {"truncate", EIO}};
    AuditFile audit(file(), 1000, disk);
    audit.append("torn line");
    EXPECT_EQ(contentOf(file()), "to");
    disk->failing.clear();
    EXPECT_EQ(audit.append("next"), "");
    EXPECT_EQ(contentOf(file()), "to\nnext\n");
}

TEST_F(AuditFileTest, ACallThatASignalInterruptsIsMadeAgain) {
    class Interrupted : public Disk {
    public:
        ssize_t write(int descriptor, const char* bytes, std::size_t size) override {
            errno = EINTR;
            return ++calls % 2 == 1 ? -1 : Disk::write(descriptor, bytes, size);
        }
        int calls = 0;
    };
    AuditFile audit(file(), 1000, std::make_shared<Interrupted>());
    EXPECT_EQ(audit.append("line"), "");
    EXPECT_EQ(contentOf(file()), "line\n");
}

TEST_F(AuditFileTest, AFileThatWouldGrowBeyondItsSizeIsRenamedAndNoLineIsLost) {
    AuditFile audit(file(), 10, disk);
    EXPECT_EQ(audit.append("1234"), "");
    EXPECT_EQ(audit.append("5678"), "") << "ten bytes with their ends";
    EXPECT_EQ(contentOf(file()), "1234\n5678\n");
    EXPECT_THAT(filesOf(file()), ElementsAre(file()));
    disk->diary.clear();
    EXPECT_EQ(audit.append("9"), "");
    EXPECT_THAT(disk->diary,
                ElementsAre("list", "rename", "open", "create", "open folder", "sync folder", "write", "sync"));
    EXPECT_EQ(audit.append("a line that is longer than a file may be"), "");
    EXPECT_THAT(filesOf(file()), ElementsAre(file() + ".1", file() + ".2", file()));
    EXPECT_EQ(contentOf(file() + ".1"), "1234\n5678\n");
    EXPECT_EQ(contentOf(file() + ".2"), "9\n");
    EXPECT_EQ(contentOf(file()), "a line that is longer than a file may be\n");
}

TEST_F(AuditFileTest, TheNextNumberIsOneMoreThanTheHighestThereIs) {
    for (const char* name : {".2", ".10", ".011", ".x", ".", ".3x", ".12345678901", ".1234567890"}) {
        fill(file() + name, "old\n");
    }
    fill(file("other.jsonl.77"), "of another audit\n");
    fill(file(), "0123456789\n");
    AuditFile audit(file(), 10);
    EXPECT_EQ(audit.append("new"), "");
    EXPECT_THAT(filesOf(file()), ElementsAre(file() + ".2", file() + ".10", file() + ".11", file()));
    EXPECT_EQ(contentOf(file() + ".11"), "0123456789\n");
}

TEST_F(AuditFileTest, ANumberOfNineDigitsIsOne) {
    fill(file() + ".123456789", "old\n");
    fill(file(), "0123456789\n");
    AuditFile audit(file(), 10);
    EXPECT_EQ(audit.append("new"), "");
    EXPECT_EQ(contentOf(file() + ".123456790"), "0123456789\n");
}

TEST_F(AuditFileTest, BehindTheLargestNumberNothingIsRenamed) {
    fill(file() + ".999999999", "old\n");
    fill(file(), "0123456789\n");
    AuditFile audit(file(), 10);
    EXPECT_EQ(audit.append("new"),
              file() + ".1000000000 would be one digit too long; move the files of this audit away");
    EXPECT_EQ(contentOf(file()), "0123456789\n");
    EXPECT_THAT(filesOf(file()), ElementsAre(file() + ".999999999", file()));
}

// Nobody knows then which numbers there are.
TEST_F(AuditFileTest, WhereTheFolderCannotBeListedNothingIsRenamedAndNoFileLeftOut) {
    fill(file() + ".1", "old\n");
    fill(file(), "0123456789\n");
    disk->failing = {{"list", EACCES}};
    AuditFile audit(file(), 10, disk);
    EXPECT_EQ(audit.append("new"), file() + " cannot be renamed, as its folder cannot be listed: Permission denied");
    EXPECT_EQ(contentOf(file() + ".1"), "old\n");
    std::string error;
    EXPECT_FALSE(auditFiles(file("missing/audit.jsonl"), &error));
    EXPECT_EQ(error, file("missing/audit.jsonl") + ": its folder cannot be listed: No such file or directory");
}

TEST_F(AuditFileTest, WhereTheNameIsALinkAllFilesLieWhereItLeads) {
    std::filesystem::create_directory(file("disk"));
    fill(file("disk/real.jsonl"), "0123456789\n");
    std::filesystem::create_symlink(file("disk/real.jsonl"), file());
    AuditFile audit(file(), 10);
    EXPECT_EQ(audit.append("new"), "");
    EXPECT_TRUE(std::filesystem::is_symlink(file()));
    EXPECT_EQ(contentOf(file("disk/real.jsonl.1")), "0123456789\n");
    EXPECT_EQ(contentOf(file("disk/real.jsonl")), "new\n");
    EXPECT_THAT(filesOf(file()), ElementsAre(file("disk/real.jsonl.1"), file("disk/real.jsonl")));
    std::filesystem::create_symlink(file("disk/none.jsonl"), file("leads nowhere"));
    EXPECT_EQ(AuditFile(file("leads nowhere")).open(), file("leads nowhere") +
                                                           " cannot be opened: "
                                                           "No such file or directory");
}

TEST_F(AuditFileTest, ARenamingThatFailsIsToldAndLosesNothing) {
    fill(file(), "0123456789\n");
    disk->failing = {{"rename", EACCES}};
    AuditFile audit(file(), 10, disk);
    EXPECT_EQ(audit.append("new"), file() + " cannot be renamed to " + file() + ".1: Permission denied");
    EXPECT_EQ(contentOf(file()), "0123456789\n");
    disk->failing.clear();
    EXPECT_EQ(audit.append("new"), "");
    EXPECT_EQ(contentOf(file()), "new\n");
}

TEST_F(AuditFileTest, WhatAnotherProcessRenamedIsNotWrittenToAnyMore) {
    AuditFile ours(file(), 10);
    AuditFile theirs(file(), 10);
    EXPECT_EQ(ours.append("ours 1"), "");
    EXPECT_EQ(theirs.append("theirs 1"), "");
    EXPECT_EQ(ours.append("2"), "");
    EXPECT_EQ(contentOf(file() + ".1"), "ours 1\n");
    EXPECT_EQ(contentOf(file() + ".2"), "theirs 1\n");
    EXPECT_EQ(contentOf(file()), "2\n");
}

// Between the renaming and the lock of the new file another process may have written to that.
TEST_F(AuditFileTest, WhatAnotherProcessPutIntoTheNewFileCounts) {
    class WithAnother : public Disk {
    public:
        explicit WithAnother(const std::string& path) : another_(path, 10) {}
        int rename(const std::string& from, const std::string& to) override {
            const int result = Disk::rename(from, to);
            if (++renamings == 1) {
                EXPECT_EQ(another_.append("another"), "");
            }
            return result;
        }
        int renamings = 0;

    private:
        AuditFile another_;
    };
    const auto shared = std::make_shared<WithAnother>(file());
    AuditFile audit(file(), 10, shared);
    EXPECT_EQ(audit.append("first"), "");
    EXPECT_EQ(audit.append("second"), "");
    EXPECT_EQ(contentOf(file() + ".1"), "first\n");
    EXPECT_EQ(contentOf(file() + ".2"), "another\n");
    EXPECT_EQ(contentOf(file()), "second\n");
    EXPECT_EQ(shared->renamings, 2);
}

TEST_F(AuditFileTest, ProcessesThatShareAFileTearNoLineAndLoseNone) {
    constexpr int kProcesses = 4;
    constexpr int kLines = 40;
    std::vector<pid_t> children;
    for (int process = 0; process < kProcesses; ++process) {
        const pid_t child = ::fork();
        if (child == 0) {
            AuditFile audit(file(), 300);
            bool isGood = true;
            for (int line = 0; line < kLines; ++line) {
                isGood =
                    audit.append(std::to_string(process) + " writes line " + std::to_string(line)).empty() && isGood;
            }
            ::_exit(isGood ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    std::vector<std::string> lines;
    for (const std::string& name : filesOf(file())) {
        EXPECT_LE(contentOf(name).size(), 300u);
        std::istringstream in(contentOf(name));
        for (std::string line; std::getline(in, line);) {
            lines.push_back(line);
        }
    }
    ASSERT_EQ(lines.size(), 160u);
    for (int process = 0; process < kProcesses; ++process) {
        int next = 0;
        for (const std::string& line : lines) {
            const std::string expected = std::to_string(process) + " writes line " + std::to_string(next);
            next += line == expected ? 1 : 0;
        }
        EXPECT_EQ(next, kLines) << "all of process " << process << ", in their order";
    }
}

TEST_F(AuditFileTest, AnAuditWithoutFilesHasTheOneThatIsMissing) {
    EXPECT_THAT(filesOf(file()), ElementsAre(file()));
    fill(file() + ".1", "");
    EXPECT_THAT(filesOf(file()), ElementsAre(file() + ".1"));
}

}  // namespace
}  // namespace ac500::audit
