// What a stream hands out, part by part, as a server asks for it.
#include "tools/gateway/page_stream.h"

#include "tests/gateway/gateway_plant.h"

namespace ac500::test {
namespace {

using gateway::PageStream;
using http::BodySource;
using testing::ElementsAre;
using testing::IsEmpty;

class PageStreamTest : public GatewayTest {
protected:
    // A value that grows stale, and fresh again, is a change: here nothing is to change by itself, however busy the machine.
    PageStreamTest() : GatewayTest(kLargeRows) {
        settings.session.loop.cycle = host::Milliseconds(1000);
        settings.session.loop.replyTimeout = host::Milliseconds(60000);
    }

    void open() {
        start();
        stream = std::make_unique<PageStream>(*plant, clock, "id", PageStream::Owner{"127.0.0.1", "", ""},
                                              [] { return true; });
        for (const char* const name : {"Main.row1", "Main.row2", "Main.row3"}) {
            rows.push_back(number(name));
            ASSERT_TRUE(eventually([&] { return plant->changedSince(0, {rows.back()}).front().second.value.isKnown; }));
        }
        parts();  // the greeting
    }
    // The parts that there are now, each as "picture 3", the event and the tags that it has values of. Others are left out.
    std::vector<std::string> parts() {
        std::vector<std::string> parts;
        std::string part;
        while (stream->next(&part) == BodySource::Next::Part) {
            std::string text;
            for (const std::string event : {"picture", "changes"}) {
                const std::size_t begin = part.find("event: " + event);
                if (begin != std::string::npos) {
                    text += event + tagsIn(part.substr(begin, part.find("\n\n", begin) - begin));
                }
            }
            if (!text.empty()) {
                parts.push_back(text);
            }
            part.clear();
        }
        return parts;
    }
    static std::string tagsIn(const std::string& event) {
        const std::string key = "\"tag\":";
        std::string tags;
        for (std::size_t at = event.find(key); at != std::string::npos; at = event.find(key, at + 1)) {
            tags += " " + std::to_string(std::atoi(event.c_str() + at + key.size()));
        }
        return tags;
    }
    std::string text(const char* event, std::size_t row) const { return event + (" " + std::to_string(rows[row])); }

    gateway::StreamClock clock;
    std::unique_ptr<PageStream> stream;
    std::vector<std::size_t> rows;
};

TEST_F(PageStreamTest, ChangesComeInPiecesAsThePictureDoes) {
    open();
    stream->watch(rows);
    EXPECT_THAT(parts(), ElementsAre(text("picture", 0), text("changes", 1), text("changes", 2)));
    EXPECT_THAT(parts(), IsEmpty());
    for (const char* const element : {"Main.row1[2]", "Main.row2[2]", "Main.row3[2]"}) {
        put(element, 7);
    }
    for (const std::size_t row : rows) {
        ASSERT_TRUE(eventually([&] { return plant->changedSince(0, {row}).front().second.texts[1] == "7"; }));
    }
    EXPECT_THAT(parts(), IsEmpty());  // it is not its turn
    ++clock.turns;
    EXPECT_THAT(parts(), ElementsAre(text("changes", 0), text("changes", 1), text("changes", 2)));
    ++clock.turns;
    EXPECT_THAT(parts(), IsEmpty());
    put("Main.row3[3]", 8);
    ASSERT_TRUE(eventually([&] { return plant->changedSince(0, {rows[2]}).front().second.texts[2] == "8"; }));
    ++clock.turns;
    EXPECT_THAT(parts(), ElementsAre(text("changes", 2)));
}

TEST_F(PageStreamTest, WhatIsAskedForTwiceIsSentOnce) {
    open();
    stream->watch({rows[1], rows[0], rows[1], rows[1], rows[0]});
    EXPECT_THAT(parts(), ElementsAre(text("picture", 1), text("changes", 0)));
    stream->watch({});
    EXPECT_THAT(parts(), ElementsAre("picture"));
}

}  // namespace
}  // namespace ac500::test
