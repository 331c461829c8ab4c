// The optional Qt message handler. Opened and closed for every message: a panel may lose power at any time, and the
// log then ends with the last complete line.
#include <QtCore/QDateTime>
#include <QtCore/QFile>

#include "core/host_interface.h"

namespace {

// ASCII digits, which QDateTime's own formats are not under every locale; filled up with zeros to `width`.
QByteArray digits(int number, int width) {
    return QByteArray::number(number).rightJustified(width, '0');
}

// "yyyy.MM.dd.hh:mm:ss.z", the milliseconds without leading zeros (quirk 34).
QByteArray timeStamp(const QDateTime& when) {
    const QDate date = when.date();
    const QTime time = when.time();
    return digits(date.year(), 4) + '.' + digits(date.month(), 2) + '.' + digits(date.day(), 2) + '.' +
           digits(time.hour(), 2) + ':' + digits(time.minute(), 2) + ':' + digits(time.second(), 2) + '.' +
           digits(time.msec(), 1);
}

}  // namespace

void customMessageHandler(QtMsgType, char const* message) noexcept {
    QFile log(QString::fromLatin1("/tmp/debug.log"));
    if (!log.open(QIODevice::WriteOnly | QIODevice::Append)) {
        return;
    }
    QByteArray line = timeStamp(QDateTime::currentDateTime());
    line += ':';
    line += message;
    line += '\n';
    log.write(line);  // one write, so that lines of several threads do not mix
}
