// The smallest complete host: reads one variable in a loop, and survives whatever the link does. Needs QtCore, POSIX
// sockets and the driver; docs/host-guide.md explains each step.
//
//     minimal_host ADDRESS PORT [READINGS]      e.g. minimal_host 127.0.0.1 1201 10
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "core/host_interface.h"

namespace {

const int kReplyTimeoutMs = 2000;
const int kPauseUs = 200 * 1000;
const char kTag[] = "Main.counter";

int byteAt(const QByteArray& bytes, int index) {
    return static_cast<unsigned char>(bytes[index]);
}

// What a symbol decoder would deliver for one variable: UINT, area 1, at byte 0, in the scope Main.
Label_Type_Info record(const char* name, quint16 type) {
    Label_Type_Info info;
    info.name = QString::fromLatin1(name);
    info.type = type;
    info.offset = info.dimensions = info.extra1 = info.extra2 = 0;
    info.memberCount = 0;
    return info;
}

QList<Label_Type_Info> symbols() {
    Label_Type_Info counter = record("counter", ac500::kUintType);
    counter.areaList << 1;
    Label_Type_Info variables = record("Main", int{ac500::kStructureFlag} | ac500::kStructureType);
    variables.members << counter;
    variables.memberCount = 1;
    Label_Type_Info scope = record("Main", ac500::kStructureType);
    scope.elementType << variables;
    return QList<Label_Type_Info>() << scope;
}

quint32 onVariableDone(quint32, quint32, quint32, quint32) {
    return 0;
}
quint32 onCommunicationFailed(QList<RW_VAR>*, quint32, quint32) {
    return 0;
}

int connectTo(const char* address, int port) {
    sockaddr_in peer = sockaddr_in();
    peer.sin_family = AF_INET;
    peer.sin_port = htons(static_cast<quint16>(port));
    const int connection = socket(AF_INET, SOCK_STREAM, 0);
    if (connection >= 0 && inet_pton(AF_INET, address, &peer.sin_addr) == 1 &&
        connect(connection, reinterpret_cast<sockaddr*>(&peer), sizeof peer) == 0) {
        return connection;
    }
    std::perror(address);
    close(connection);
    return -1;
}

bool hasBytes(int connection, int timeoutMs) {
    pollfd waiting = {connection, POLLIN, 0};
    return poll(&waiting, 1, timeoutMs) > 0;
}

// Sends a request and collects one reply: 6 + the 16 bits at offset 4 bytes. Empty when it does not come or more arrives.
QByteArray exchange(int connection, const QByteArray& request) {
    QByteArray reply;
    if (hasBytes(connection, 0) ||
        send(connection, request.constData(), static_cast<size_t>(request.size()), MSG_NOSIGNAL) != request.size()) {
        return QByteArray();
    }
    while (reply.size() < 6 || reply.size() < 6 + byteAt(reply, 4) * 256 + byteAt(reply, 5)) {
        char buffer[4096];
        const ssize_t count = hasBytes(connection, kReplyTimeoutMs) ? recv(connection, buffer, sizeof buffer, 0) : 0;
        if (count <= 0) {
            return QByteArray();
        }
        reply.append(buffer, static_cast<int>(count));
    }
    return reply.size() == 6 + byteAt(reply, 4) * 256 + byteAt(reply, 5) ? reply : QByteArray();
}

// This host reads one variable of two bytes: 12 bytes, one lead byte, the data; the status word must be 0.
bool isGoodReadReply(const QByteArray& reply) {
    return reply.size() == 12 + 1 + 2 && byteAt(reply, 6) == 0 && byteAt(reply, 7) == 0;
}

// The connection is gone: the driver must give its request up, so that it opens a session on the next one.
void giveUp() {
    QByteArray nothing;
    while (DataCom(&nothing, 0)->status == ac500::kStatusPending) {
    }
}

void printValue() {
    QString tag = QString::fromLatin1(kTag);
    QString argument;
    QByteArray value;
    GetRegisterData(&tag, 0, &argument, 0, &value, 1);
    std::printf("%s = %d\n", kTag, byteAt(value, 0) + 256 * byteAt(value, 1));
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: minimal_host ADDRESS PORT [READINGS]\n");
        return 1;
    }
    ComInfo settings = ComInfo();
    settings.maxRequestWords = 100;
    settings.retryLimit = 2;
    settings.accessMode = ac500::kAccessPlc;
    SetComInfo(&settings);
    RegistCallBackFuncIntf(onVariableDone, onCommunicationFailed);
    QList<Label_Type_Info> records = symbols();
    PassVarName_2(&records);
    const HostTag counter = {0, 0, QString(), QString::fromLatin1(kTag), 1};
    QList<HostTag> tags = QList<HostTag>() << counter;
    ReCreatReadVarList(&tags);

    int connection = -1;
    for (int left = argc > 3 ? std::atoi(argv[3]) : -1; left != 0;) {
        if (connection < 0 && (connection = connectTo(argv[1], std::atoi(argv[2]))) < 0) {
            usleep(5 * kPauseUs);
            continue;
        }
        Protocol* request = ComCommunication();
        if (request == nullptr) {
            usleep(kPauseUs);
            continue;
        }
        const bool isRead = byteAt(request->frame, 6) == 0x2E;
        QByteArray reply = exchange(connection, request->frame);
        if (reply.isEmpty() || (isRead && !isGoodReadReply(reply))) {
            std::fprintf(stderr, "no usable reply; connecting anew\n");
            close(connection);
            connection = -1;
            giveUp();
            continue;
        }
        if (request->replyLength == ac500::kNotMeasured) {
            DataCom(&reply, reply.size());
        }
        if (DataCom(&reply, reply.size())->status == ac500::kStatusHandshakeRejected) {
            std::fprintf(stderr, "the peer opens no session; connecting anew\n");
            close(connection);
            connection = -1;
            usleep(5 * kPauseUs);
        } else if (isRead) {
            printValue();
            usleep(kPauseUs);
            left -= left > 0 ? 1 : 0;
        }
    }
    close(connection);
    return 0;
}
