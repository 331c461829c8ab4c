// NameMemory keeps the answers of name resolution: what a concrete tag name resolved to.
//
// Holds some 50 bytes an answer beside the text of the name, which it shares with the host's string (a text that the
// string only points at is copied). When it is full it forgets all and starts again. Not thread-safe.
#ifndef AC500_SYMBOLS_NAME_MEMORY_H
#define AC500_SYMBOLS_NAME_MEMORY_H

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QVector>

#include "symbols/control_information.h"
#include "symbols/position_table.h"

namespace ac500 {

// A tag name with its hash, for who looks it up more than once. Keeps a reference to the name.
struct HashedTag {
    explicit HashedTag(const QString& name) : text(name), hash(qHash(name)) {}

    const QString& text;
    quint32 hash;
};

class NameMemory {
public:
    // Fills `info` with what was remembered for `tag`, all ten words; false and untouched when nothing was.
    bool recall(const HashedTag& tag, ControlInformationM& info) const;

    // REQUIRES: nothing is remembered for `tag`; resolving it into a cleared record gave `info`.
    void remember(const HashedTag& tag, const ControlInformationM& info);

    void clear();

private:
    enum { kMostAnswers = 1 << 16 };

    // What most names have; what arrays and bits have besides stands in details_.
    struct Answer {
        QString tag;
        quint32 hash;
        qint32 dataType;
        qint32 address;
        qint32 area;
        quint32 details;  // position, or PositionTable::kNone
    };

    struct Details {
        qint32 isBit;
        qint32 bitIndex;
        qint32 isArray;
        qint32 arrayIndex;
        qint32 arrayCount;
    };

    void makeRoom();
    quint32 addDetails(const ControlInformationM& info);

    QVector<Answer> answers_;
    QVector<Details> details_;
    PositionTable positions_;  // of answers_
};

}  // namespace ac500

#endif
