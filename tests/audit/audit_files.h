// A folder for the files of an audit, and what is in them.
#ifndef AC500_TESTS_AUDIT_AUDIT_FILES_H
#define AC500_TESTS_AUDIT_AUDIT_FILES_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace ac500::audit {

class AuditFilesTest : public testing::Test {
protected:
    AuditFilesTest() {
        char name[] = "/tmp/ac500-audit-XXXXXX";
        folder_ = ::mkdtemp(name);
    }
    ~AuditFilesTest() override { std::filesystem::remove_all(folder_); }

    std::string file(const std::string& name = "audit.jsonl") const { return folder_ + "/" + name; }
    static std::string contentOf(const std::string& name) {
        std::ifstream in(name, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }
    static void fill(const std::string& name, const std::string& content) {
        std::ofstream(name, std::ios::binary) << content;
    }

private:
    std::string folder_;
};

}  // namespace ac500::audit

#endif
