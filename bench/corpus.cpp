#include "bench/corpus.h"

#include <algorithm>
#include <random>

#include "bench/workload.h"

namespace ac500::bench {

namespace {

constexpr int kVariableBytes = 2;
constexpr unsigned kSeed = 500;

Label_Type_Info record(const QString& name, int type, int offset) {
    Label_Type_Info info;
    info.name = name;
    info.type = static_cast<quint16>(type);
    info.offset = offset;
    info.dimensions = 0;
    info.memberCount = 0;
    info.extra1 = 0;
    info.extra2 = 0;
    return info;
}

constexpr int kStructureFlag = 0x200;
constexpr int kStructureCode = 12;

Label_Type_Info structureOf(const QString& name, const QList<Label_Type_Info>& members, int sizeBytes) {
    Label_Type_Info structure = record(name, kStructureFlag | kStructureCode, sizeBytes);
    structure.members = members;
    structure.memberCount = static_cast<quint32>(members.size());
    return structure;
}

Label_Type_Info scopeOf(const QString& name, const QList<Label_Type_Info>& variables) {
    Label_Type_Info scope = record(name, kStructureCode, 0);
    scope.elementType.append(structureOf(name, variables, 0));
    return scope;
}

std::vector<int> addresses(int tags) {
    std::mt19937 random(kSeed);
    std::vector<int> result;
    for (int i = 0, next = 0; i < tags; ++i) {
        result.push_back(next);
        next += kVariableBytes + 2 * static_cast<int>(random() % 3);
    }
    return result;
}

QString numbered(const char* pattern, int number, int digits) {
    return QString::fromLatin1(pattern).arg(number, digits, 10, QLatin1Char('0'));
}

void fillOneScope(const std::vector<int>& starts, Corpus& corpus) {
    const QString scope = QString::fromLatin1("Main");
    QList<Label_Type_Info> variables;
    for (std::size_t i = 0; i < starts.size(); ++i) {
        const QString name = numbered("tank%1", static_cast<int>(i), 5);
        Label_Type_Info variable = record(name, kUnsignedInt, starts[i]);
        variable.areaList.append(kArea);
        variables.append(variable);
        corpus.tags.push_back({scope + QLatin1Char('.') + name, starts[i]});
    }
    corpus.symbols.append(scopeOf(scope, variables));
}

// Structure variable number `number`, over kMembers addresses from starts[first] on.
Label_Type_Info pump(const QString& scope, const std::vector<int>& starts, std::size_t first, Corpus& corpus) {
    const QString name = numbered("pump%1", static_cast<int>(first / kMembers), 4);
    const std::size_t end = first + kMembers;
    QList<Label_Type_Info> members;
    for (std::size_t i = first; i < end; ++i) {
        const QString member = numbered("value%1", static_cast<int>(i - first), 1);
        members.append(record(member, kUnsignedInt, starts[i] - starts[first]));
        corpus.tags.push_back({scope + QLatin1Char('.') + name + QLatin1Char('.') + member, starts[i]});
    }
    const int sizeBytes = starts[end - 1] + kVariableBytes - starts[first];
    Label_Type_Info variable = record(name, kStructureCode, starts[first]);
    variable.areaList.append(kArea);
    variable.elementType.append(
        structureOf(numbered("PUMP%1", static_cast<int>(first / kMembers), 4), members, sizeBytes));
    return variable;
}

void fillTwentyScopes(const std::vector<int>& starts, Corpus& corpus) {
    std::vector<QList<Label_Type_Info>> variables(kScopes);
    for (std::size_t first = 0; first < starts.size(); first += kMembers) {
        const std::size_t scope = first / kMembers % kScopes;
        variables[scope].append(pump(numbered("Unit%1", static_cast<int>(scope), 2), starts, first, corpus));
    }
    for (std::size_t scope = 0; scope < kScopes; ++scope) {
        corpus.symbols.append(scopeOf(numbered("Unit%1", static_cast<int>(scope), 2), variables[scope]));
    }
}

}  // namespace

Corpus makeCorpus(Layout layout, int tags) {
    require(tags > 0 && (layout == Layout::OneScope || tags % kMembers == 0),
            "the number of tags does not fill structures");
    const std::vector<int> starts = addresses(tags);
    Corpus corpus;
    corpus.areaBytes = starts.back() + kVariableBytes;
    layout == Layout::OneScope ? fillOneScope(starts, corpus) : fillTwentyScopes(starts, corpus);
    return corpus;
}

QString separateCopy(const QString& text) {
    return QString(text.constData(), text.size());
}

std::vector<CorpusTag> inOrder(const std::vector<CorpusTag>& tags, Order order) {
    std::vector<CorpusTag> result = tags;
    if (order == Order::Random) {
        std::mt19937 random(kSeed + 1);
        for (std::size_t i = result.size(); i > 1; --i) {  // std::shuffle may differ between standard libraries
            std::swap(result[i - 1], result[random() % i]);
        }
    }
    return result;
}

QList<HostTag> hostTags(const std::vector<CorpusTag>& tags) {
    QList<HostTag> result;
    for (const CorpusTag& tag : tags) {
        result.append(HostTag{0, 0, QString(), separateCopy(tag.name), 1});
    }
    return result;
}

QList<RW_VAR> readRecords(const std::vector<CorpusTag>& tags) {
    QList<RW_VAR> result;
    for (const CorpusTag& tag : tags) {
        RW_VAR var = RW_VAR();
        var.hostSubId = -1;
        var.labelName = separateCopy(tag.name);
        var.dataType = kUnsignedInt;
        var.offset = tag.startByte;
        var.size = kVariableBytes;
        var.area = kArea;
        result.append(var);
    }
    return result;
}

}  // namespace ac500::bench
