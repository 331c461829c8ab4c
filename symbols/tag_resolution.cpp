#include "symbols/tag_resolution.h"

#include "core/codes.h"
#include "symbols/tag_path.h"

namespace ac500 {

namespace {

int resolveAndRemember(const HashedTag& tag, ControlInformationM& info, SymbolMemory::Use& memory) {
    const int code = resolveConcreteTag(tag.text, info, memory);
    if (code == kResolved) {
        memory.remember(tag, info);
    }
    return code;
}

int resolveTemplate(QString& tag, int argument, ControlInformationM& info, SymbolMemory::Use& memory) {
    const int code = makeConcrete(tag, argument, memory);
    if (code != kResolved) {
        return code;
    }
    if (hasPlaceholder(tag)) {  // still: it is rewritten or refused anew every time
        return resolveConcreteTag(tag, info, memory);
    }
    const HashedTag concreteTag(tag);
    return memory.recall(concreteTag, info) ? kResolved : resolveAndRemember(concreteTag, info, memory);
}

}  // namespace

int resolveTag(QString& tag, const QString& argument, ControlInformationM& info) {
    SymbolMemory::Use memory(symbolMemory);
    const HashedTag hashedTag(tag);
    if (memory.recall(hashedTag, info)) {
        return kResolved;
    }
    info = ControlInformationM();
    if (hasPlaceholder(tag)) {
        return resolveTemplate(tag, argument.toInt(), info, memory);
    }
    return resolveAndRemember(hashedTag, info, memory);
}

}  // namespace ac500
