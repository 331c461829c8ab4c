#include "tools/host/run_plan.h"

#include <algorithm>

namespace ac500::host {

std::vector<RunChunk> planRun(const Run& run) {
    if (run.rowExtent == 0) {
        return {{0, 1, run.countPerElement}};
    }
    std::vector<RunChunk> chunks;
    for (int done = 0; done < run.elements;) {
        const int count = std::min((run.elements - done) * run.countPerElement, run.rowExtent);
        const int elements = (count + run.countPerElement - 1) / run.countPerElement;
        chunks.push_back({done, elements, count});
        done += elements;
    }
    return chunks;
}

}  // namespace ac500::host
