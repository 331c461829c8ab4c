// What the driver keeps on the heap for 10,000 cyclic tags that were read by name at least once: everything that it
// derives from symbols and names on the way, and the list itself, divided by the number of tags. Requests of one word
// make every tag a list entry of its own, which is the dearest case. The host keeps its symbols and tags, which the
// driver shares, and the image is filled before; so neither counts. Prints "LAYOUT bytes"; the argument selects the
// layout, because the driver can be filled only once.
#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/driver_setup.h"
#include "bench/workload.h"
#include "core/host_interface.h"

namespace ac500::bench {

void require(bool done, const char* what) {
    if (!done) {
        std::fprintf(stderr, "heap_bench: %s\n", what);
        std::exit(1);
    }
}

namespace {

constexpr int kTags = 10000;

double usedBytes() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
}

double bytesPerTag(Layout layout) {
    const Corpus corpus = makeCorpus(layout, kTags);
    startDriver().maxRequestWords = 1;
    fillImage(corpus);
    QList<Label_Type_Info> symbols = corpus.symbols;
    QList<HostTag> tags = hostTags(inOrder(corpus.tags, Order::Random));
    std::vector<QString> names;
    for (const CorpusTag& tag : corpus.tags) {
        names.push_back(separateCopy(tag.name));
    }
    QString argument;
    QByteArray value;

    const double before = usedBytes();
    PassVarName_2(&symbols);
    require(ReCreatReadVarList(&tags) == kTags, "the tags did not become one entry each");
    for (QString& name : names) {
        require(GetRegisterData(&name, 0, &argument, 0, &value, 1) == 1, "a tag was not read");
    }
    value.clear();
    return (usedBytes() - before) / kTags;
}

}  // namespace

}  // namespace ac500::bench

int main(int argc, char** argv) {
    using namespace ac500::bench;
    require(argc == 2, "usage: heap_bench one-scope|twenty-scopes");
    const bool oneScope = std::strcmp(argv[1], "one-scope") == 0;
    std::printf("%s %.1f\n", argv[1], bytesPerTag(oneScope ? Layout::OneScope : Layout::TwentyScopes));
}
