// The examples of docs/wire-format.md are what the simulator answers: each block marked "request" is put to it, and the
// block marked "reply" that follows must be the answer, byte by byte.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/simulator/support.h"
#include "tests/support/places.h"
#include "tools/simulator/request_server.h"
#include "tools/simulator/tcp_limits.h"

namespace ac500::sim {

using symbol_file::TypeCode;

namespace {

struct Example {
    std::string request;
    std::string reply;
};

// The lines of a fenced block, joined by blanks; the stream stands behind the opening line.
std::string block(std::istream& document) {
    std::string text;
    for (std::string line; std::getline(document, line) && line != "```";) {
        text += (text.empty() ? "" : " ") + line;
    }
    return text;
}

std::vector<Example> readExamples() {
    std::ifstream document(test::projectFile("docs/wire-format.md"));
    std::vector<Example> examples;
    for (std::string line; std::getline(document, line);) {
        if (line == "```request") {
            examples.push_back({block(document), std::string()});
        } else if (line == "```reply" && !examples.empty()) {
            examples.back().reply = block(document);
        }
    }
    return examples;
}

TEST(WireFormatDocument, ExamplesAreWhatTheSimulatorAnswers) {
    PlcMemory memory;
    memory.addArea(1, 64);
    memory.addArea(3, 4);
    memory.addArea(9, 40);
    Leaf alarm;
    alarm.code = TypeCode::Bit;
    alarm.area = 3;
    alarm.address = 17;
    RequestServer server(memory);
    server.setBits(BitLayout({alarm}));
    Identity identity;
    identity.session = {0x11, 0x22, 0x33, 0x44};

    const std::vector<Example> examples = readExamples();
    EXPECT_EQ(examples.size(), 6U) << "hello, symbols, write, write of a bit, read, refusal";
    for (const Example& example : examples) {
        EXPECT_EQ(hex(server.answer(byteString(example.request), identity).bytes), example.reply) << example.request;
    }
}

TEST(WireFormatDocument, TellsTheLimitsThatClientsMeet) {
    const TcpLimits limits;
    EXPECT_EQ(limits.requestMs, 10 * 1000);
    EXPECT_EQ(limits.maxClients, 64);
    EXPECT_EQ(limits.idleMs, 10 * 1000);
    EXPECT_EQ(limits.drainMs, 1000);
    EXPECT_EQ(limits.maxLateReplies, 64);
    EXPECT_EQ(limits.maxLateBytes, 1024 * 1024);
    EXPECT_EQ(limits.maxUnsentBytes, 1024 * 1024);

    std::ifstream document(test::projectFile("docs/wire-format.md"));
    std::stringstream text;
    text << document.rdbuf();
    for (const char* sentence : {"**A request has ten seconds**", "**64 clients are served at once**",
                                 "if that is ten\n  seconds or more", "reads on for up to a second",
                                 "with 64 of them, or more than a megabyte", "more than a megabyte, is reset"}) {
        EXPECT_NE(text.str().find(sentence), std::string::npos) << "docs/wire-format.md does not say: " << sentence;
    }
}

}  // namespace
}  // namespace ac500::sim
