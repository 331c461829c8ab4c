// The strings of a host that has one for each length of name and edits them in place, through pointers that it took when
// it made them: who keeps such a string without a copy of its text keeps one whose text changes.
#ifndef AC500_TESTS_REFERENCE_EDITED_LABELS_H
#define AC500_TESTS_REFERENCE_EDITED_LABELS_H

#include <QtCore/QString>

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>

namespace ac500::test {

class EditedLabels {
public:
    // The string for names of that length, with that text from now on.
    QString& holding(const std::string& name) {
        Label& label = labels_[name.size()];
        // It is made anew when the driver has put another text into it.
        if (label.text != label.string.constData() || label.string.size() != static_cast<int>(name.size())) {
            label.string = QString(static_cast<int>(name.size()), QLatin1Char(' '));
            label.text = label.string.data();
        }
        std::transform(name.begin(), name.end(), label.text, [](char c) { return QLatin1Char(c); });
        return label.string;
    }

private:
    struct Label {
        QString string;
        QChar* text = nullptr;
    };

    std::map<std::size_t, Label> labels_;
};

}  // namespace ac500::test

#endif
