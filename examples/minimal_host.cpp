// The smallest complete host: reads two variables in a loop, one of them in a structure, writes one when asked to, and
// survives whatever the link does. Needs QtCore, POSIX sockets and the driver; docs/host-guide.md explains each step.
//
//     minimal_host ADDRESS PORT [READINGS [SPEED]]      e.g. minimal_host 127.0.0.1 1201 10 240
//
// It ends after READINGS readings, or never. SPEED is written once, after the first reading.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "core/host_interface.h"

namespace {

const int kReplyTimeoutMs = 2000;  // for a whole reply, however many pieces it comes in
const int kCycleMs = 200;
const int kFirstBackOffMs = 100;
const int kLongestBackOffMs = 5000;
const char kCounter[] = "Main.counter";
const char kSpeed[] = "Dosing.mixer.speed";

// ---- the wire: what a host must know of it

const int kEnvelopeBytes = 6;  // the magic, and the length of what follows in four bytes
const quint32 kMagic = 0xBBBB;
const quint32 kHello = 0x01;  // services: the first byte behind the envelope of a request
const quint32 kRead = 0x2E;
const quint32 kWrite = 0x3C;

quint32 numberAt(const QByteArray& bytes, int index, int size) {
    quint32 number = 0;
    for (int i = index; i < index + size; ++i) {
        number = number << 8 | static_cast<unsigned char>(bytes.at(i));
    }
    return number;
}

quint32 serviceOf(const QByteArray& request) {
    return numberAt(request, kEnvelopeBytes, 1);
}
int itemsOf(const QByteArray& request) {
    return static_cast<int>(numberAt(request, 8, 4));
}

// Only the low half of the length counts.
int announcedBytes(const QByteArray& reply) {
    return kEnvelopeBytes + static_cast<int>(numberAt(reply, 4, 2));
}
bool isWhole(const QByteArray& reply) {
    return reply.size() >= kEnvelopeBytes && reply.size() >= announcedBytes(reply);
}

// What a good reply has: for a read 12 bytes, and for each item one byte and what was asked for; for a write 8.
int goodReplyBytes(const QByteArray& request) {
    if (serviceOf(request) == kWrite) {
        return 8;
    }
    int bytes = 12;
    for (int i = 0; i < itemsOf(request); ++i) {
        bytes += 1 + static_cast<int>(numberAt(request, 12 + 10 * i + 6, 4));
    }
    return bytes;
}

enum Verdict { kGood, kRefused, kUseless };

Verdict verdictOn(const QByteArray& reply, const QByteArray& request) {
    if (serviceOf(request) != kRead && serviceOf(request) != kWrite) {
        return kGood;  // the driver judges the handshake
    }
    if (reply.size() < 8) {
        return kUseless;  // no whole status word
    }
    if (numberAt(reply, kEnvelopeBytes, 2) != 0) {
        return kRefused;
    }
    return reply.size() == goodReplyBytes(request) ? kGood : kUseless;
}

// ---- the connection

typedef std::chrono::steady_clock Clock;

int msUntil(Clock::time_point deadline) {
    const long long left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

// Has the PLC sent something, or closed the connection?
bool hasNews(int connection, int timeoutMs) {
    pollfd waiting = {connection, POLLIN, 0};
    return poll(&waiting, 1, timeoutMs) > 0;
}

int connectTo(const char* address, int port) {
    const timeval limit = {kReplyTimeoutMs / 1000, 0};  // for connecting and sending
    sockaddr_in peer = sockaddr_in();
    peer.sin_family = AF_INET;
    peer.sin_port = htons(static_cast<quint16>(port));
    const int connection = socket(AF_INET, SOCK_STREAM, 0);
    if (connection >= 0 && inet_pton(AF_INET, address, &peer.sin_addr) == 1 &&
        setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) == 0 &&
        connect(connection, reinterpret_cast<sockaddr*>(&peer), sizeof peer) == 0) {
        return connection;
    }
    std::perror(address);
    close(connection);
    return -1;
}

// Sends a request and collects exactly one reply. Null when that went well; else what went wrong, and the connection is
// of no use any more.
const char* exchange(int connection, const QByteArray& request, QByteArray* reply) {
    if (hasNews(connection, 0)) {
        return "the connection was lost, or brought what nobody asked for";
    }
    if (send(connection, request.constData(), static_cast<size_t>(request.size()), MSG_NOSIGNAL) != request.size()) {
        return "the connection was lost while a request was sent";
    }
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kReplyTimeoutMs);
    while (!isWhole(*reply)) {
        const int leftMs = msUntil(deadline);
        if (leftMs == 0 || !hasNews(connection, leftMs)) {
            return "no whole reply in time";
        }
        char buffer[4096];
        const ssize_t count = recv(connection, buffer, sizeof buffer, 0);
        if (count <= 0) {
            return "the connection was lost before the reply";
        }
        reply->append(buffer, static_cast<int>(count));
        if (reply->size() >= 2 && numberAt(*reply, 0, 2) != kMagic) {
            return "what answers is no PLC of this kind";
        }
    }
    if (reply->size() > announcedBytes(*reply)) {
        return "more than a reply came";
    }
    return nullptr;
}

// ---- the driver

// The write: one at a time, so its report needs no identity. The callback runs under a lock of the driver: it only
// stores what it is told.
enum WriteState { kNoWrite, kWriteOrdered, kWriteWithDriver, kWriteDone, kWriteFailed };
WriteState writeState = kNoWrite;

quint32 onVariableDone(quint32, quint32, quint32, quint32 outcome) {
    writeState = outcome == quint32(ac500::kVariableDone) ? kWriteDone : kWriteFailed;
    return 0;
}
quint32 onCommunicationFailed(QList<RW_VAR>*, quint32, quint32) {
    return 0;
}

// What a symbol decoder would deliver: the constructor of a record leaves its numbers unset.
Label_Type_Info record(const char* name, int type, int offset) {
    Label_Type_Info info;
    info.name = QString::fromLatin1(name);
    info.type = static_cast<quint16>(type);
    info.offset = offset;
    info.dimensions = info.extra1 = info.extra2 = 0;
    info.memberCount = 0;
    return info;
}

Label_Type_Info structure(const char* name, int bytes, const Label_Type_Info& member) {
    Label_Type_Info info = record(name, int{ac500::kStructureFlag} | ac500::kStructureType, bytes);
    info.members << member;
    info.memberCount = 1;
    return info;
}

Label_Type_Info scope(const char* name, Label_Type_Info variable, int area) {
    variable.areaList << area;
    Label_Type_Info info = record(name, ac500::kStructureType, 0);
    info.elementType << structure(name, 0, variable);
    return info;
}

// Main.counter, a UINT in area 1 at byte 0; Dosing.mixer, a structure of 28 bytes in area 2 at byte 496, which has the INT
// speed at its byte 4.
QList<Label_Type_Info> symbols() {
    Label_Type_Info mixer = record("mixer", ac500::kStructureType, 496);
    mixer.elementType << structure("Motor", 28, record("speed", ac500::kIntType, 4));
    return QList<Label_Type_Info>() << scope("Main", record("counter", ac500::kUintType, 0), 1)
                                    << scope("Dosing", mixer, 2);
}

int setUp(ComInfo* settings) {
    settings->maxRequestWords = 100;
    settings->retryLimit = 2;
    settings->accessMode = ac500::kAccessPlc;
    SetComInfo(settings);
    RegistCallBackFuncIntf(onVariableDone, onCommunicationFailed);
    QList<Label_Type_Info> records = symbols();
    PassVarName_2(&records);
    const HostTag counter = {0, 0, QString(), QString::fromLatin1(kCounter), 1};
    const HostTag speed = {0, 0, QString(), QString::fromLatin1(kSpeed), 1};
    QList<HostTag> tags = QList<HostTag>() << counter << speed;
    return ReCreatReadVarList(&tags);
}

// One word of a variable: the host's words are little-endian.
int valueOf(const char* name) {
    QString tag = QString::fromLatin1(name);
    QString argument;
    QByteArray value;
    GetRegisterData(&tag, 0, &argument, 0, &value, 1);
    return static_cast<unsigned char>(value.at(0)) + 256 * static_cast<unsigned char>(value.at(1));
}

void orderWrite(const char* name, int number) {
    QString tag = QString::fromLatin1(name);
    QString argument;
    QByteArray value;
    value.append(static_cast<char>(number & 0xFF)).append(static_cast<char>(number >> 8 & 0xFF));
    const bool isTaken = SetRegisterData(&tag, 0, &argument, 0, &value, 1, 1, 1) != 0;
    writeState = isTaken ? kWriteWithDriver : kWriteFailed;
}

// The connection is gone: the driver must give up what it has in flight, so that it opens a session on the next one. A
// write is always that: this host orders it between two requests, and writes go first.
void giveUp() {
    QByteArray nothing;
    while (DataCom(&nothing, 0)->status == ac500::kStatusPending) {
    }
}

// The PLC understood and said no: to ask the same again would not change that. The driver gives a request up whose reply
// is bad once too often. REQUIRES: a request that was not measured
void handOverRefusal(QByteArray reply) {
    DataCom(&reply, reply.size());
    while (DataCom(&reply, reply.size())->status == ac500::kStatusPending) {
    }
}

// ---- the loop

enum Turn { kAnswered, kRefusedByPlc, kConnectionLost };

// One request and its reply. `isFirst`: of the connection.
Turn turn(int connection, bool isFirst, Protocol* request) {
    QByteArray reply;
    const char* problem = isFirst && serviceOf(request->frame) != kHello
                              ? "the driver has a session of an earlier connection"
                              : exchange(connection, request->frame, &reply);
    const Verdict verdict = problem == nullptr ? verdictOn(reply, request->frame) : kUseless;
    if (verdict == kRefused) {
        std::fprintf(stderr, "the PLC refuses a request with status word 0x%04X\n", numberAt(reply, kEnvelopeBytes, 2));
        handOverRefusal(reply);
        return kRefusedByPlc;
    }
    if (verdict == kGood) {
        if (request->replyLength == ac500::kNotMeasured) {
            DataCom(&reply, reply.size());
        }
        if (ac500::isAccepted(DataCom(&reply, reply.size())->status)) {
            return kAnswered;
        }
        problem = "the peer opens no session";
    }
    std::fprintf(stderr, "%s; connecting anew\n", problem == nullptr ? "the reply is not the answer" : problem);
    giveUp();
    return kConnectionLost;
}

void waitLonger(int* backOffMs) {
    usleep(static_cast<useconds_t>(*backOffMs) * 1000);
    *backOffMs = *backOffMs * 2 < kLongestBackOffMs ? *backOffMs * 2 : kLongestBackOffMs;
}

// True when the write has failed.
bool tellReport(Turn lastTurn) {
    const bool hasFailed = writeState == kWriteFailed;
    if (hasFailed) {
        std::fprintf(stderr, "%s was not written: %s\n", kSpeed,
                     lastTurn == kRefusedByPlc ? "the PLC refused it" : "the PLC may or may not have it");
    } else if (writeState == kWriteDone) {
        std::printf("%s was written\n", kSpeed);
    } else {
        return false;
    }
    writeState = kNoWrite;
    return hasFailed;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: minimal_host ADDRESS PORT [READINGS [SPEED]]\n");
        return 1;
    }
    ComInfo settings = ComInfo();
    const int requests = setUp(&settings);
    writeState = argc > 4 ? kWriteOrdered : kNoWrite;

    int connection = -1;
    bool isFirst = true;  // request of the connection
    int backOffMs = kFirstBackOffMs;
    int answered = 0;  // requests of the cyclic list
    bool hasFailed = false;
    for (int left = argc > 3 ? std::atoi(argv[3]) : -1; left != 0 || writeState != kNoWrite;) {
        if (connection < 0 && (connection = connectTo(argv[1], std::atoi(argv[2]))) < 0) {
            waitLonger(&backOffMs);
            continue;
        }
        Protocol* request = ComCommunication();
        if (request == nullptr) {
            usleep(5 * 1000);
            continue;
        }
        const quint32 service = serviceOf(request->frame);
        const int items = service == kRead ? itemsOf(request->frame) : 0;  // all reads of this host are cyclic
        const Turn result = turn(connection, isFirst, request);
        isFirst = false;
        hasFailed = tellReport(result) || hasFailed;
        if (result != kAnswered) {
            if (result == kConnectionLost) {
                close(connection);
                connection = -1;
                isFirst = true;
            }
            answered = 0;
            waitLonger(&backOffMs);
            continue;
        }
        if (service == kRead || service == kWrite) {
            backOffMs = kFirstBackOffMs;
        }
        answered += items;
        if (answered >= requests) {  // all were read: a pass
            std::printf("%s = %d, %s = %d\n", kCounter, valueOf(kCounter), kSpeed,
                        static_cast<qint16>(valueOf(kSpeed)));
            std::fflush(stdout);
            answered = 0;
            left -= left > 0 ? 1 : 0;
            if (writeState == kWriteOrdered) {
                orderWrite(kSpeed, std::atoi(argv[4]));  // the session is open
            } else if (left != 0) {
                usleep(kCycleMs * 1000);
            }
        }
    }
    close(connection);
    return hasFailed ? 1 : 0;
}
