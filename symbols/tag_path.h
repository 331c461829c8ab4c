// The grammar of tag names: "Scope.variable[1,2].member.b[3]".
#ifndef AC500_SYMBOLS_TAG_PATH_H
#define AC500_SYMBOLS_TAG_PATH_H

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace ac500 {

// Components between dots; empty ones are kept.
QStringList splitTag(const QString& tag);

struct Component {
    QString name;
    QString indexList;  // text between the last "[" and the last character, which is dropped unread (quirk 18)
    bool hasIndexList;
};

// A component has an index list when it holds both a "[" and a "]", in whatever order.
Component splitComponent(const QString& component);

// True for names that get_label_address_info(QString&, int) is to make concrete.
bool hasPlaceholder(const QString& text);

}  // namespace ac500

#endif
