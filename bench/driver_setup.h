// Brings the driver of this process into the state of a host at work. Once per process.
#ifndef AC500_BENCH_DRIVER_SETUP_H
#define AC500_BENCH_DRIVER_SETUP_H

#include <vector>

#include "bench/corpus.h"
#include "core/com_info.h"

namespace ac500::bench {

constexpr int kMaxRequestWords = 100;
constexpr int kMaxRequestBytes = 2 * kMaxRequestWords;

// Settings and callbacks; no symbols yet. Returns the settings record, which lives as long as the process.
ComInfo& startDriver();

// startDriver, the corpus's symbols, and its tags in random order as the cyclic list.
ComInfo& startDriver(const Corpus& corpus, int maxRequestWords = kMaxRequestWords);

// Puts the PLC's memory into the byte image, gaps included, as a pass of cyclic reads does.
void fillImage(const Corpus& corpus, int generation = 0);

// Makes the driver forget all that it knows of the corpus's names: every scope loses its variables.
void forgetNames(const Corpus& corpus);

// Ends the program unless the driver reads the value of each tag by name.
void requireReadable(std::vector<CorpusTag>& tags, int generation);

}  // namespace ac500::bench

#endif
