// The grammar of tag names, "Scope.variable[1,2].member.b[3]": components, index lists, numbers, placeholders; and the
// array bounds that index lists are read against.
#ifndef AC500_SYMBOLS_TAG_PATH_H
#define AC500_SYMBOLS_TAG_PATH_H

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVarLengthArray>

#include "protocol/bytes.h"

namespace ac500 {

// A piece of a text of somebody else's: valid as long as that text is neither changed nor gone.
class TextSpan {
public:
    TextSpan() : text_(nullptr), length_(0) {}
    TextSpan(const QString& text) : text_(text.constData()), length_(text.size()) {}  // converts on purpose

    const QChar* data() const { return text_; }
    int length() const { return length_; }
    bool isEmpty() const { return length_ == 0; }
    QChar at(int i) const { return text_[i]; }

    bool contains(char character) const;

    // Of the character; -1 when there is none.
    int firstIndexOf(char character, int from = 0) const;
    int lastIndexOf(char character) const;

    // REQUIRES: 0 <= start, 0 <= length, start + length <= length().
    TextSpan part(int start, int length) const { return TextSpan(text_ + start, length); }

    QString toString() const { return QString(text_, length_); }

private:
    TextSpan(const QChar* text, int length) : text_(text), length_(length) {}

    const QChar* text_;
    int length_;
};

bool operator==(const TextSpan& a, const TextSpan& b);

// The components of a tag, or the items of an index list: few.
typedef QVarLengthArray<TextSpan, 8> TextSpans;

// What stands between the separators; empty pieces are kept.
TextSpans split(const TextSpan& text, char separator);

struct Component {
    TextSpan name;
    TextSpan indexList;  // text between the last "[" and the last character, which is dropped unread (quirk 18)
    bool hasIndexList;
};

// A component has an index list when it holds both a "[" and a "]", in whatever order.
Component splitComponent(const TextSpan& component);

// True for names that get_label_address_info(QString&, int) is to make concrete.
bool hasPlaceholder(const TextSpan& text);

// Reads the whole text as a number of 32 bits in base 2 to 36, or 0: by prefix, as C writes numbers. Digits are those
// of ASCII whatever the locale; white space around the number and one sign are allowed. False, with *number 0, when the
// text is no such number. (QString::toInt of QtCore 4.8 also takes the digits of the host's locale; that of 5.15 does
// not.)
bool readNumber(const TextSpan& text, int base, qint32* number);

// Decimal; 0 when the text is no number.
qint32 numberOrZero(const TextSpan& text);

// Array bounds as symbol records carry them: entry 0 is the number base of index texts, then one pair (lower, upper)
// per dimension, outermost first. The extent is upper - lower: upper lies outside the array (quirk 16).

// True when a pair stands there for each of the dimensions 0 .. dimensions-1. REQUIRES: dimensions is at least 1.
inline bool hasBoundsFor(const QList<int>& bounds, int dimensions) {
    return (bounds.size() - 1) / 2 >= dimensions;
}

// REQUIRES (all three): the pair of `dimension` is there.
inline int lowerBound(const QList<int>& bounds, int dimension) {
    return bounds.at(2 * dimension + 1);
}

inline int upperBound(const QList<int>& bounds, int dimension) {
    return bounds.at(2 * dimension + 2);
}

inline qint32 extent(const QList<int>& bounds, int dimension) {
    return wrapSub(upperBound(bounds, dimension), lowerBound(bounds, dimension));
}

// The bases that readNumber takes.
inline bool isNumberBase(int base) {
    return base == 0 || (base >= 2 && base <= 36);
}

}  // namespace ac500

#endif
