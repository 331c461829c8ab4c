// Replays the corpus of every fuzz target: inputs that once reached something new, recorded runs against the simulated
// PLC, and what was found.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/places.h"

// The entry points of the targets.
#define AC500_FUZZ_TARGET(name) extern "C" int fuzz_##name(const std::uint8_t* data, std::size_t size);
#include "fuzz_targets.inc"
#undef AC500_FUZZ_TARGET

namespace {

struct Target {
    const char* name;
    int (*run)(const std::uint8_t* data, std::size_t size);
};

void PrintTo(const Target& target, std::ostream* out) {
    *out << target.name;
}

// The test of beginnings takes inputs up to this length, until it has seen so many beginnings.
constexpr int kLongestCut = 200;
constexpr int kMostBeginnings = 500;

constexpr Target kTargets[] = {
#define AC500_FUZZ_TARGET(name) {#name, fuzz_##name},
#include "fuzz_targets.inc"
#undef AC500_FUZZ_TARGET
};

std::vector<std::filesystem::path> corpusOf(const Target& target) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry :
         std::filesystem::directory_iterator(ac500::test::projectFile("tests/fuzz/corpus/") + target.name)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

// In memory of exactly its size, so that a read past the end is seen.
std::vector<std::uint8_t> contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    EXPECT_TRUE(stream) << "cannot read " << file;
    std::vector<std::uint8_t> content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    content.shrink_to_fit();
    return content;
}

class FuzzReplay : public testing::TestWithParam<Target> {};

// A broken check ends the program: the line before says with which input.
TEST_P(FuzzReplay, HoldsForTheWholeCorpus) {
    const std::vector<std::filesystem::path> files = corpusOf(GetParam());
    ASSERT_GE(files.size(), 5u) << "the corpus is gone";
    for (const std::filesystem::path& file : files) {
        std::fprintf(stderr, "replaying %s\n", file.c_str());
        const std::vector<std::uint8_t> content = contentOf(file);
        ASSERT_EQ(GetParam().run(content.data(), content.size()), 0);
    }
}

// Inputs that end anywhere, as a fuzzer makes them.
TEST_P(FuzzReplay, HoldsForEveryBeginningOfItsShortestInputs) {
    int replayed = 0;
    for (const std::filesystem::path& file : corpusOf(GetParam())) {
        const std::vector<std::uint8_t> content = contentOf(file);
        if (content.size() > kLongestCut || replayed > kMostBeginnings) {
            continue;
        }
        std::fprintf(stderr, "replaying beginnings of %s\n", file.c_str());
        for (std::size_t size = 0; size < content.size(); ++size, ++replayed) {
            const std::vector<std::uint8_t> beginning(content.begin(),
                                                      content.begin() + static_cast<std::ptrdiff_t>(size));
            ASSERT_EQ(GetParam().run(beginning.data(), beginning.size()), 0);
        }
    }
    EXPECT_GT(replayed, 0);
}

std::string nameOf(const testing::TestParamInfo<Target>& instance) {
    return instance.param.name;
}

INSTANTIATE_TEST_SUITE_P(Corpus, FuzzReplay, testing::ValuesIn(kTargets), nameOf);

}  // namespace
