// Measures what the driver keeps on the heap: per cyclic tag, per symbol record, per byte of the image. A program of its
// own, run by scripts/budget on each target; prints one line "name bytes" per figure, bytes with two decimals.
//
// Every figure is the growth of the allocator's used bytes, its own overhead included, over 10,000 entries, after the host
// has destroyed what it handed over; divided by 10,000.
#include <cstdio>
#include <cstdlib>
#include <functional>

#include <malloc.h>

#include "core/host_interface.h"
#include "core/inner_steps.h"

namespace {

constexpr int kEntries = 10000;
constexpr int kScopeArea = 4;

double usedBytes() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
}

// Ends the program when a step did not do what is to be measured: a figure of nothing would look like a good one.
void require(bool done, const char* what) {
    if (!done) {
        std::fprintf(stderr, "heap_budget: %s\n", what);
        std::exit(1);
    }
}

void printGrowth(const char* name, const std::function<void()>& fill) {
    const double before = usedBytes();
    fill();
    std::printf("%s %.2f\n", name, (usedBytes() - before) / kEntries);
}

Label_Type_Info record(const QString& name, quint16 type) {
    Label_Type_Info record;
    record.name = name;
    record.type = type;
    record.offset = 0;
    record.dimensions = 0;
    record.memberCount = 0;
    record.extra1 = 0;
    record.extra2 = 0;
    return record;
}

Label_Type_Info scope(const QString& name, const QList<Label_Type_Info>& variables) {
    Label_Type_Info structure = record(name, 0x200);
    structure.members = variables;
    structure.memberCount = static_cast<quint32>(variables.size());
    Label_Type_Info scope = record(name, 0x200);
    scope.elementType.append(structure);
    return scope;
}

// "motor00000_run": names of 14 characters, of which the text takes no more memory than it needs.
QString numbered(const char* pattern, int number) {
    return QString::fromLatin1(pattern).arg(number, 5, 10, QLatin1Char('0'));
}

Label_Type_Info doubleWord(int number) {
    Label_Type_Info variable = record(numbered("motor%1_run", number), 5);
    variable.offset = 8 * number;
    variable.areaList.append(kScopeArea);
    return variable;
}

void passSymbols() {
    QList<Label_Type_Info> variables;
    for (int i = 0; i < kEntries; ++i) {
        variables.append(doubleWord(i));
    }
    QList<Label_Type_Info> scopes;
    scopes.append(scope(QString::fromLatin1("Main"), variables));
    PassVarName_2(&scopes);
}

HostTag tag(int number) {
    return {0, 0, QString(), numbered("Main.motor%1_run", number), 2};
}

// Requests of at most 4 bytes, variables 8 bytes apart: every tag becomes a list entry of its own, the dearest case.
void registerTags() {
    QList<HostTag> tags;
    for (int i = 0; i < kEntries; ++i) {
        tags.append(tag(i));
    }
    require(ReCreatReadVarList(&tags) == kEntries, "the tags did not become one cyclic entry each");
}

void fillImage() {
    RW_VAR written{};
    written.area = kScopeArea;
    written.dataType = 15;
    written.size = kEntries;
    written.data = QByteArray(kEntries, '\x55');
    WriteDataToLocal(&written);
    require(PLC_driver.localValues.size() == kEntries, "the image did not take every byte");
}

}  // namespace

int main() {
    ComInfo settings{};
    settings.maxRequestWords = 2;
    SetComInfo(&settings);
    printGrowth("symbol", passSymbols);
    printGrowth("tag", registerTags);
    printGrowth("image", fillImage);
}
