// The one PLC program that everything is measured with: n 16-bit variables in one memory area, with gaps of 0, 2 or 4
// bytes between them, by the same rule for every size. Two layouts of names stand over the same addresses:
//
//   one scope      "Main.tank00042"           all variables directly in one scope
//   twenty scopes  "Unit07.pump0012.value3"   spread over 20 scopes, ten variables to a structure
//
// Nothing here is random between runs.
#ifndef AC500_BENCH_CORPUS_H
#define AC500_BENCH_CORPUS_H

#include <vector>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include "symbols/label_type_info.h"
#include "vars/host_tag.h"
#include "vars/rw_var.h"

namespace ac500::bench {

enum class Layout { OneScope, TwentyScopes };
enum class Order { Ascending, Random };

constexpr int kArea = 4;
constexpr int kUnsignedInt = 4;  // type code of the variables
constexpr int kScopes = 20;
constexpr int kMembers = 10;  // of a structure

struct CorpusTag {
    QString name;
    int startByte;
};

struct Corpus {
    QList<Label_Type_Info> symbols;
    std::vector<CorpusTag> tags;  // ascending by address
    int areaBytes;
};

// REQUIRES: `tags` is positive, and a multiple of kMembers unless all stand in one scope.
Corpus makeCorpus(Layout layout, int tags);

// A copy of the text that shares nothing with it: what another part of a host holds.
QString separateCopy(const QString& text);

// The tags in an order that is the same in every run.
std::vector<CorpusTag> inOrder(const std::vector<CorpusTag>& tags, Order order);

// What a host hands to ReCreatReadVarList; the texts share nothing with those of the corpus.
QList<HostTag> hostTags(const std::vector<CorpusTag>& tags);

// The variables as records of a read list, not merged.
QList<RW_VAR> readRecords(const std::vector<CorpusTag>& tags);

// The PLC's memory: the value of the byte at an address. Every byte differs from one generation to the next, so that a
// value which did not change in time is noticed.
inline char memoryByte(int address, int generation = 0) {
    return static_cast<char>((address * 7 + address / 251 + generation * 101) & 0xFF);
}

// The value at an address as the host sees it: 16 bits, little-endian.
inline QByteArray hostValueAt(int startByte, int generation = 0) {
    QByteArray value(2, memoryByte(startByte + 1, generation));
    value[1] = memoryByte(startByte, generation);
    return value;
}

}  // namespace ac500::bench

#endif
