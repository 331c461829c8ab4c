// For which machine a file was built, whatever is in it.
#include "tools/doctor/elf_identity.h"

#include <gtest/gtest.h>

#include <QtCore/QTemporaryDir>
#include <fstream>

namespace ac500::doctor {
namespace {

class ElfIdentityTest : public testing::Test {
protected:
    ElfIdentity identityOf(const std::string& bytes) const {
        const std::string path = folder_.filePath("library.so").toStdString();
        std::ofstream(path, std::ios::binary) << bytes;
        return elfIdentity(path);
    }

    // The head of a file of 32 bits: magic, class, byte order, version, padding; type, machine, version, entry, two offsets,
    // flags, sizes.
    static std::string head32(const std::string& machine, const std::string& flags, char order) {
        return std::string(
                   "\x7f"
                   "ELF\x01",
                   5) +
               order + std::string("\x01", 1) + std::string(9, '\0') + std::string("\x03\x00", 2) + machine +
               std::string(16, '\0') + flags + std::string(12, '\0');
    }

    static std::string arm(const std::string& flags) { return head32(std::string("\x28\x00", 2), flags, '\x01'); }

    QTemporaryDir folder_;
};

TEST_F(ElfIdentityTest, AnArmLibraryIsToldWithItsFloats) {
    EXPECT_EQ(identityOf(arm(std::string("\x00\x04\x00\x05", 4))).text, "32-bit ARM, hard float");
    EXPECT_EQ(identityOf(arm(std::string("\x00\x02\x00\x05", 4))).text, "32-bit ARM, soft float");
    EXPECT_EQ(identityOf(arm(std::string("\x00\x00\x00\x05", 4))).text, "32-bit ARM");
}

TEST_F(ElfIdentityTest, ABigEndianFileIsReadInItsOrder) {
    const ElfIdentity identity = identityOf(head32(std::string("\x00\x14", 2), std::string(4, '\0'), '\x02'));
    EXPECT_EQ(identity.text, "32-bit PowerPC, big-endian");
    EXPECT_FALSE(identity.isOfThisMachine);
}

TEST_F(ElfIdentityTest, AProcessorWithoutANameHasItsNumber) {
    EXPECT_EQ(identityOf(head32(std::string("\x34\x12", 2), std::string(4, '\0'), '\x01')).text,
              "32-bit processor 4660");
}

TEST_F(ElfIdentityTest, ThisProgramIsOfThisMachine) {
    const ElfIdentity own = elfIdentity("/proc/self/exe");
    EXPECT_TRUE(own.isReadable && own.isElf && own.isOfThisMachine);
    EXPECT_EQ(own.text, thisMachine());
}

TEST_F(ElfIdentityTest, WhatIsCutOrSomethingElseIsNone) {
    const std::string whole = arm(std::string("\x00\x04\x00\x05", 4));
    ASSERT_EQ(whole.size(), 52u);
    for (std::size_t bytes = 0; bytes < whole.size(); ++bytes) {
        EXPECT_FALSE(identityOf(whole.substr(0, bytes)).isElf) << bytes;
    }
    EXPECT_FALSE(identityOf("#!/bin/sh\necho this is a script and no library, however long it may be\n").isElf);
    EXPECT_FALSE(identityOf("\x7f"
                            "ELF\x03\x01" +
                            std::string(60, '\0'))
                     .isElf);
    EXPECT_TRUE(identityOf("").isReadable);
    EXPECT_FALSE(elfIdentity("/nowhere/at/all").isReadable);
    EXPECT_FALSE(elfIdentity("/").isElf);
}

}  // namespace
}  // namespace ac500::doctor
