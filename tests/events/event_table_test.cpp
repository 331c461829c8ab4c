#include "tools/events/event_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>

#include "tests/support/places.h"

namespace ac500::events {
namespace {

using testing::MatchesRegex;

// The rows of the tables in docs/events.md: "id level meaning".
std::vector<std::string> documentedEvents() {
    std::ifstream page(test::projectFile("docs/events.md"));
    const std::regex row(R"(\| `([a-z._]+)` \| ([a-z]+) \| (.*) \|)");
    std::vector<std::string> rows;
    for (std::string line; std::getline(page, line);) {
        std::smatch parts;
        if (std::regex_match(line, parts, row)) {
            rows.push_back(parts.str(1) + " " + parts.str(2) + " " + parts.str(3));
        }
    }
    return rows;
}

TEST(EventTable, IsWhatTheDocumentSays) {
    std::vector<std::string> rows;
    for (const EventRow& row : eventTable()) {
        rows.push_back(std::string(row.id) + " " + levelName(row.level) + " " + row.meaning);
    }
    EXPECT_EQ(rows, documentedEvents());
}

TEST(EventTable, EveryEventIsFoundInItsRow) {
    for (const EventRow& row : eventTable()) {
        EXPECT_EQ(&rowOf(row.event), &row) << row.id;
    }
    EXPECT_STREQ(rowOf(EventId::LinkConnected).id, "link.connected");
    EXPECT_STREQ(rowOf(EventId::ReplyRefused).id, "reply.refused");
    EXPECT_STREQ(rowOf(EventId::FaultApplied).id, "fault.applied");
}

TEST(EventTable, IdsAreUniqueAndOfOneForm) {
    std::set<std::string> ids;
    for (const EventRow& row : eventTable()) {
        EXPECT_THAT(row.id, MatchesRegex("[a-z]+\\.[a-z]+(_[a-z]+)*"));
        EXPECT_TRUE(ids.insert(row.id).second) << row.id;
    }
}

TEST(EventTable, LevelsRiseAndHaveNames) {
    EXPECT_LT(Level::Debug, Level::Info);
    EXPECT_LT(Level::Info, Level::Warning);
    EXPECT_LT(Level::Warning, Level::Error);
    for (const char* name : {"debug", "info", "warning", "error"}) {
        ASSERT_TRUE(levelOf(name)) << name;
        EXPECT_STREQ(levelName(*levelOf(name)), name);
    }
    EXPECT_FALSE(levelOf("Warning"));
    EXPECT_FALSE(levelOf(""));
}

}  // namespace
}  // namespace ac500::events
