#include "symbols/tag_path.h"

namespace ac500 {

QStringList splitTag(const QString& tag) {
    return tag.split(QLatin1Char('.'));
}

Component splitComponent(const QString& component) {
    Component result;
    const int open = component.lastIndexOf(QLatin1Char('['));
    result.hasIndexList = open >= 0 && component.contains(QLatin1Char(']'));
    if (!result.hasIndexList) {
        result.name = component;
        return result;
    }
    result.name = component.left(open);
    const int length = component.size() - 1 - (open + 1);
    if (length > 0) {
        result.indexList = component.mid(open + 1, length);
    }
    return result;
}

bool hasPlaceholder(const QString& text) {
    return text.contains(QLatin1String("%%"));
}

}  // namespace ac500
