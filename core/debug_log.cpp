// The optional Qt message handler. Opened and closed for every message: a panel may lose power at any time, and the
// log then ends with the last complete line.
#include <QtCore/QDateTime>
#include <QtCore/QFile>

#include "core/host_interface.h"

void customMessageHandler(QtMsgType, char const* message) noexcept {
    QFile log(QString::fromLatin1("/tmp/debug.log"));
    if (!log.open(QIODevice::WriteOnly | QIODevice::Append)) {
        return;
    }
    // Milliseconds without leading zeros (quirk 34); not by the format's "z", which is a fraction of a second since Qt 5.
    const QDateTime now = QDateTime::currentDateTime();
    QByteArray line = now.toString(QString::fromLatin1("yyyy.MM.dd.hh:mm:ss.")).toLatin1();
    line += QByteArray::number(now.time().msec());
    line += ':';
    line += message;
    line += '\n';
    log.write(line);  // one write, so that lines of several threads do not mix
}
