// The commands that need no PLC, run as a user runs them, with lists and symbol files that a test writes.
#ifndef AC500_TESTS_END_TO_END_DESK_COMMANDS_H
#define AC500_TESTS_END_TO_END_DESK_COMMANDS_H

#include <gtest/gtest.h>

#include <QtCore/QTemporaryDir>
#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/json_schema.h"
#include "tests/support/pace.h"
#include "tests/support/places.h"

namespace ac500::test {

class DeskCommandTest : public testing::Test {
protected:
    using Words = std::vector<std::string>;

    struct Result {
        int exitCode = -1;
        std::string out;
        std::string error;
    };

    std::string path(const std::string& name) const {
        return folder_.filePath(QString::fromStdString(name)).toStdString();
    }

    // Returns its path.
    std::string write(const std::string& name, const std::string& content) const {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }

    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        std::ostringstream content;
        content << file.rdbuf();
        return content.str();
    }

    static Result run(const std::string& program, const Words& words) {
        ChildProcess process;
        EXPECT_TRUE(process.start(program, words) && process.waitForEnd(kLongestMs));
        return {process.exitCode(), process.takeOutput(), process.takeErrors()};
    }

    // A JSON document that comes out of it is held against the schema of the command.
    Result host(const Words& words) const {
        Words all{"--driver", kDriver, "--symbols", symbols};
        all.insert(all.end(), words.begin(), words.end());
        const Result result = run(kHostProgram, all);
        if (std::find(words.begin(), words.end(), "--json") != words.end()) {
            EXPECT_EQ(outputComplaints(words.front(), result.out), "");
        }
        return result;
    }

    // The same with some redirection of a shell.
    Result hostWith(const std::string& redirection, const Words& words) const {
        Words all{"-c", "\"$0\" \"$@\" " + redirection, kHostProgram, "--driver", kDriver, "--symbols", symbols};
        all.insert(all.end(), words.begin(), words.end());
        return run("sh", all);
    }

    // Fifty thousand variables of two bytes, Main.v0 and so on, every hundredth of them a hundred bytes further on; fewer
    // where each takes long.
    static constexpr int kManyTags = sized(50000);
    void useManyTags(int count = kManyTags) {
        std::ostringstream file;
        file << R"({"format": "ac500-symbols", "version": 1, "areas": [{"number": 1, "bytes": 200000}],)"
             << R"("scopes": [{"name": "Main", "variables": [)";
        std::ostringstream list;
        for (int i = 0; i < count; ++i) {
            file << (i == 0 ? "" : ",") << "{\"name\": \"v" << i
                 << "\", \"type\": \"INT\", \"area\": 1, \"offset\": " << 2 * i + 100 * (i / 100) << "}";
            list << "Main.v" << i << "\n";
        }
        file << "]}]}";
        symbols = write("many.json", file.str());
        manyTags = write("many.list", list.str());
    }

    static constexpr int kLongestMs = 60000;
    std::string symbols = projectFile("examples/plant.json");
    std::string manyTags;

private:
    QTemporaryDir folder_;
};

}  // namespace ac500::test

#endif
