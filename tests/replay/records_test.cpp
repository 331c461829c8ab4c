// Every record in tests/records is answered as recorded. `ac500-host replay FILE --make-test tests/records` adds one.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/replay/scripted_record.h"
#include "tools/record/record_reader.h"
#include "tools/replay/event_text.h"

namespace {

using namespace ac500;

std::vector<std::filesystem::path> keptRecords() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(test::projectFile("tests/records"))) {
        if (entry.path().extension() == ".rec") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

TEST(RecordsTest, AreAnsweredAsRecorded) {
    const std::vector<std::filesystem::path> files = keptRecords();
    ASSERT_GE(files.size(), 1u) << "tests/records is empty";
    for (const std::filesystem::path& file : files) {
        SCOPED_TRACE(file.filename().string());
        std::string error;
        const std::optional<record::LoadedRecord> record = record::loadRecord(file.string(), &error);
        ASSERT_TRUE(record) << error;
        EXPECT_EQ(record->end.kind, record::EndKind::Complete) << record->end.reason;
        test::ShippedDriver driver;
        replay::ReplayRun run(record->events, driver.fresh());
        while (run.step()) {
        }
        EXPECT_EQ(run.problem(), "");
        EXPECT_EQ(run.position(), record->events.size());
        EXPECT_GT(run.calls(), 0u);
        if (run.firstDivergence()) {
            const replay::Divergence& first = *run.firstDivergence();
            ADD_FAILURE() << replay::eventText(record->events[first.position]) << "\ndiffers in "
                          << first.difference.field << ": expected " << first.difference.expected << ", actual "
                          << first.difference.actual;
        }
    }
}

}  // namespace
