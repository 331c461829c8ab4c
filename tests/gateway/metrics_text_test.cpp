// What Prometheus reads.
#include <cmath>
#include <fstream>
#include <set>
#include <sstream>

#include "tests/gateway/gateway_plant.h"
#include "tools/gateway/metrics_text.h"

namespace ac500::test {
namespace {

using gateway::labelText;
using gateway::metricsText;

class MetricsTextTest : public GatewayTest {
protected:
    std::string text() const { return metricsText(*plant, {3, 2, figures}); }
    gateway::BrokerFigures figures;

    // The number behind `sample` and a blank; NaN when there is no such line.
    double number(const std::string& sample) const {
        const std::string lines = "\n" + text();
        const std::size_t at = lines.find("\n" + sample + " ");
        return at == std::string::npos ? NAN : std::stod(lines.substr(at + sample.size() + 2));
    }
};

TEST_F(MetricsTextTest, SaysWhichBuildServesWhichPlc) {
    settings.name = "Mixer \"1\"";
    start();
    EXPECT_THAT(text(), testing::HasSubstr("ac500_gateway_info{version=\"0.1.0\",plc=\"Mixer \\\"1\\\"\",address=\"" +
                                           settings.session.loop.plc.text() + "\",symbols=\"" + plant->fingerprint() +
                                           "\"} 1\n"));
}

TEST_F(MetricsTextTest, CountsAlongTheWay) {
    start();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    EXPECT_GT(number("ac500_requests_total"), 2);
    EXPECT_GT(number("ac500_replies_total"), 2);
    EXPECT_EQ(number("ac500_replies_refused_total"), 0);
    EXPECT_EQ(number("ac500_connections_total"), 1);
    EXPECT_GE(number("ac500_values_received_total"), 10);
    EXPECT_EQ(number("ac500_values_suspect_total"), 0);
    EXPECT_GE(number("ac500_values_changed_total"), 10);
    EXPECT_EQ(number("ac500_values_published_total"), 0);
    plant->countPublished(7);
    EXPECT_EQ(number("ac500_values_published_total"), 7);
    EXPECT_EQ(number("ac500_tags{state=\"fresh\"}"), 10);
    EXPECT_EQ(number("ac500_viewers"), 3);
    EXPECT_EQ(number("ac500_programs"), 2);
}

TEST_F(MetricsTextTest, TellsWhatTheBrokerHas) {
    start();
    figures = {true, 100, 90, 4, 2, 10, 5000};
    EXPECT_EQ(number("ac500_broker_connected"), 1);
    EXPECT_EQ(number("ac500_broker_published_total"), 100);
    EXPECT_EQ(number("ac500_broker_acknowledged_total"), 90);
    EXPECT_EQ(number("ac500_broker_dropped_total"), 4);
    EXPECT_EQ(number("ac500_broker_reconnects_total"), 2);
    EXPECT_EQ(number("ac500_broker_backlog_messages"), 10);
    EXPECT_EQ(number("ac500_broker_backlog_bytes"), 5000);
    EXPECT_THAT(metricsText(*plant, {3, 2}), testing::Not(testing::HasSubstr("ac500_broker_")));
}

TEST_F(MetricsTextTest, TellsTheStateOfTheConnection) {
    start();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    EXPECT_TRUE(eventually([&] { return number("ac500_connection_state{state=\"up\"}") == 1; }));
    EXPECT_EQ(number("ac500_connection_state{state=\"lost\"}"), 0);
    simulator.stop();
    EXPECT_TRUE(eventually([&] { return number("ac500_connection_state{state=\"retrying\"}") == 1; }));
    EXPECT_EQ(number("ac500_connection_state{state=\"up\"}"), 0);
}

TEST_F(MetricsTextTest, BucketsOfHistogramsCountUp) {
    start();
    ASSERT_TRUE(eventuallyShown("Main.int", "fresh 0"));
    plant->stop();
    const double count = number("ac500_latency_seconds_count{kind=\"cyclic read\"}");
    EXPECT_GT(count, 0);
    EXPECT_GT(number("ac500_latency_seconds_sum{kind=\"cyclic read\"}"), 0);
    double before = 0;
    for (const char* bound : {"0.000255", "0.001023", "0.016383", "0.262143", "33.554431", "+Inf"}) {
        const double bucket =
            number(std::string("ac500_latency_seconds_bucket{kind=\"cyclic read\",le=\"") + bound + "\"}");
        EXPECT_GE(bucket, before) << bound;
        before = bucket;
    }
    EXPECT_EQ(before, count);
}

TEST_F(MetricsTextTest, EachNameHasItsHelpAndType) {
    start();
    std::istringstream lines(text());
    std::string line;
    std::string announced;
    int samples = 0;
    while (std::getline(lines, line)) {
        if (line.rfind("# TYPE ", 0) == 0) {
            announced = line.substr(7, line.rfind(' ') - 7);
        } else if (line.rfind("# HELP ", 0) != 0) {
            EXPECT_EQ(line.rfind(announced, 0), 0u) << line;
            EXPECT_THAT(line, testing::MatchesRegex("[a-z0-9_]+(\\{.*\\})? [-+.e0-9]+")) << line;
            ++samples;
        }
    }
    EXPECT_GT(samples, 100);
}

// The names of a page's table of metrics.
std::set<std::string> documentedNames() {
    std::ifstream page(projectFile("docs/gateway.md"));
    std::string line;
    std::set<std::string> names;
    while (std::getline(page, line)) {
        const std::string cell = line.substr(0, line.find(" | ", 1));
        for (std::size_t at = cell.find("`ac500_"); at != std::string::npos; at = cell.find("`ac500_", at + 1)) {
            names.insert(cell.substr(at + 1, cell.find('`', at + 1) - at - 1));
        }
    }
    return names;
}

TEST_F(MetricsTextTest, ThePageNamesEachMetricAndNoOther) {
    start();
    std::istringstream lines(text());
    std::string line;
    std::set<std::string> names;
    while (std::getline(lines, line)) {
        if (line.rfind("# TYPE ", 0) == 0) {
            names.insert(line.substr(7, line.rfind(' ') - 7));
        }
    }
    EXPECT_EQ(documentedNames(), names);
}

TEST(LabelTextTest, QuotesAndLineEndsAreEscaped) {
    EXPECT_EQ(labelText("a\\b\"c\nd"), "a\\\\b\\\"c\\nd");
}

}  // namespace
}  // namespace ac500::test
