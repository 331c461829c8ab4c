#include "tools/text/whole_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>
#include <fstream>
#include <sstream>

namespace ac500::text {
namespace {

class WholeFileTest : public testing::Test {
protected:
    std::string path(const char* name) const { return folder_.filePath(QString::fromLatin1(name)).toStdString(); }
    bool write(const std::string& to, Readers readers = Readers::OwnerAlone) {
        return writeWholeFile(to, "new", readers, &error_);
    }
    static std::string contentOf(const std::string& name) {
        std::ifstream file(name);
        std::ostringstream content;
        content << file.rdbuf();
        return content.str();
    }
    static mode_t modeOf(const std::string& name) {
        struct stat state {};
        return ::stat(name.c_str(), &state) == 0 ? state.st_mode & 07777U : 0;
    }
    int filesLeft() const { return QDir(folder_.path()).entryList(QDir::Files | QDir::Hidden).size(); }

    QTemporaryDir folder_;
    std::string error_;
};

TEST_F(WholeFileTest, IsWrittenWholeForItsOwnerAlone) {
    std::ofstream(path("b")) << "an older and longer one";
    ASSERT_TRUE(write(path("b"))) << error_;
    EXPECT_EQ(contentOf(path("b")), "new");
    EXPECT_EQ(modeOf(path("b")), 0600U);
    EXPECT_EQ(filesLeft(), 1);
}

TEST_F(WholeFileTest, KeepsWhoMayReadItAndLeavesANewOneToTheUsersMask) {
    std::ofstream(path("b")) << "an older and longer one";
    ASSERT_EQ(::chmod(path("b").c_str(), 0664), 0);
    const mode_t mask = ::umask(027);
    EXPECT_TRUE(write(path("b"), Readers::AsBefore)) << error_;
    EXPECT_TRUE(write(path("c"), Readers::AsBefore)) << error_;
    ::umask(mask);
    EXPECT_EQ(contentOf(path("b")), "new");
    EXPECT_EQ(modeOf(path("b")), 0664U);
    EXPECT_EQ(modeOf(path("c")), 0640U);
    EXPECT_EQ(filesLeft(), 2);
}

TEST_F(WholeFileTest, OfALinkTheFileIsReplacedThatItLeadsTo) {
    ASSERT_TRUE(QDir(folder_.path()).mkdir("far"));
    std::ofstream(path("far/b")) << "old";
    ASSERT_EQ(::symlink("far/b", path("link").c_str()), 0);
    EXPECT_EQ(replacedFile(path("link")), path("far/b"));
    EXPECT_TRUE(write(path("link"))) << error_;
    EXPECT_EQ(contentOf(path("far/b")), "new");
    struct stat state {};
    ASSERT_EQ(::lstat(path("link").c_str(), &state), 0);
    EXPECT_TRUE(S_ISLNK(state.st_mode));
    ASSERT_EQ(::symlink("nowhere", path("lost").c_str()), 0);
    EXPECT_EQ(replacedFile(path("lost")), std::nullopt);
    EXPECT_FALSE(write(path("lost")));
    EXPECT_EQ(error_, "No such file or directory");
}

// Of one who was killed, or who writes just now.
TEST_F(WholeFileTest, AFileThatIsInTheWayStaysAndAnotherNameIsTaken) {
    const std::string other = path("b") + "." + std::to_string(::getpid()) + "-0";
    std::ofstream(other) << "half";
    EXPECT_TRUE(write(path("b"))) << error_;
    EXPECT_EQ(contentOf(path("b")), "new");
    EXPECT_EQ(contentOf(other), "half");
}

TEST_F(WholeFileTest, WhatCannotBeWrittenLeavesNothingBehind) {
    EXPECT_FALSE(write(path("nowhere/b")));
    EXPECT_EQ(error_, "No such file or directory");
    ASSERT_TRUE(QDir(folder_.path()).mkdir("folder"));
    EXPECT_FALSE(write(path("folder")));
    EXPECT_EQ(error_, "Is a directory");
    EXPECT_EQ(filesLeft(), 0);
}

// By a link, so that a mistake costs no device of the machine.
TEST_F(WholeFileTest, ADeviceAndAPipeAreWrittenToAndStayWhatTheyAre) {
    ASSERT_EQ(::symlink("/dev/full", path("full").c_str()), 0);
    EXPECT_FALSE(write(path("full")));
    EXPECT_EQ(error_, "No space left on device");
    struct stat state {};
    ASSERT_EQ(::stat(path("full").c_str(), &state), 0);
    EXPECT_TRUE(S_ISCHR(state.st_mode));
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(write(path("pipe"))) << "nobody reads it";
    const int reader = ::open(path("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_TRUE(write(path("pipe"))) << error_;
    char read[8] = {};
    EXPECT_EQ(::read(reader, read, sizeof read), 3);
    EXPECT_STREQ(read, "new");
    ::close(reader);
}

}  // namespace
}  // namespace ac500::text
