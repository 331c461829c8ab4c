// The floors: what each job costs at least, when it is written straight down with QtCore's and the standard library's
// containers by somebody who needs none of the driver's generality. They do the whole job on the same input and hand
// over the same result, and each is checked against the driver's before it is measured.
//
// What a floor leaves out, and the driver cannot: errors, arrays, bits, placeholders, other types, symbol records that
// contradict themselves, more than one area, changes by another thread. So a ratio of 1 is out of reach where the goal
// is not 1, and the goals are the price that generality may have.
#ifndef AC500_BENCH_FLOORS_H
#define AC500_BENCH_FLOORS_H

#include <deque>
#include <vector>

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QString>

#include "bench/corpus.h"
#include "core/communication_protocol.h"
#include "protocol/protocol.h"
#include "symbols/control_information.h"
#include "vars/rw_var.h"

namespace ac500::bench {

// Reading one 16-bit value by name: one look-up of the whole name, one mutex that nobody else wants, two bytes out of
// a flat array.
class ReadFloor {
public:
    explicit ReadFloor(const Corpus& corpus);
    // Stores the value in host order; false for an unknown name.
    bool read(const QString& name, char* value);
    void setGeneration(int generation);
    // The bytes of a read reply to a request for these runs (first byte, bytes), under the mutex.
    void store(const std::vector<std::pair<int, int>>& runs, const char* reply);

private:
    QHash<QString, int> startBytes_;
    std::vector<char> memory_;
    QMutex mutex_;
};

// Resolving a name: split it at the dots, one hash look-up per component. The hashes stand ready, while the driver's
// figure includes handing the symbols over and whatever it derives from them.
class ResolutionFloor {
public:
    explicit ResolutionFloor(const Corpus& corpus);
    bool resolve(const QString& name, ControlInformationM& info) const;

private:
    struct Node {
        int offset = 0;
        int dataType = 0;
        int area = 0;
        QHash<QString, Node> members;
    };
    static Node nodeOf(const Label_Type_Info& record);

    QHash<QString, Node> scopes_;
};

// The first read of each value by name: what is not known yet is resolved and remembered, then it is a read.
class FirstReadFloor {
public:
    explicit FirstReadFloor(const Corpus& corpus);
    bool read(const QString& name, char* value);
    void forget() { startBytes_ = QHash<QString, int>(); }
    void setGeneration(int generation);

private:
    ResolutionFloor resolution_;
    QHash<QString, int> startBytes_;
    std::vector<char> memory_;
    QMutex mutex_;
};

// Rebuilding the cyclic list: per tag one look-up of the whole name and one record built, then one std::stable_sort and
// one pass that merges.
class RebuildFloor {
public:
    explicit RebuildFloor(const Corpus& corpus);
    int rebuild(const QList<HostTag>& tags);
    const QList<RW_VAR>& requests() const { return requests_; }

private:
    QHash<QString, int> startBytes_;
    QList<RW_VAR> requests_;
};

// std::stable_sort of the list as it is.
void sortFloor(QList<RW_VAR>& list);

// One cycle without a network: choosing a batch, encoding it, measuring the reply, checking it, storing it byte by byte
// in a QHash, taking the request off the queue and rotating the list. The same records, containers and locks as the
// driver's contract has; reads alone.
class CycleFloor {
public:
    CycleFloor(const QList<RW_VAR>& readList, const quint8* sessionBytes);
    Protocol* nextRequest();
    // To be called twice per reply, as DataCom: measures, then processes. Returns the status.
    int takeReply(QByteArray* reply, int received);
    const QHash<quint64, char>& image() const { return image_; }
    void forgetImage() { image_ = QHash<quint64, char>(); }

    // What a write leaves in the image before it is sent.
    void mirror(int startByte, const char* bytes, int count);

private:
    static constexpr int kCapacity = 100;

    QMutex listMutex_;
    QMutex imageMutex_;
    QList<RW_VAR> readList_;
    QList<Protocol> frames_;
    RW_VAR batch_[kCapacity];
    int batchCount_ = 0;
    RW_VAR result_;
    quint8 sessionBytes_[4];
    QHash<quint64, char> image_;
};

// Writes beside the cycle: queues what is to be written, encodes a batch of it, takes it off the queue and reports each
// unless a newer write of the same identity is pending. After five batches of writes it is the cycle's turn.
class WriteFloor {
public:
    WriteFloor(const Corpus& corpus, const QList<RW_VAR>& readList, const quint8* sessionBytes, VarDoneCallback report);
    void write(const QString& name, const QByteArray& in, int hostId);
    Protocol* nextRequest();
    int takeReply(QByteArray* reply, int received);
    const QHash<quint64, char>& image() const { return reads_.image(); }

private:
    struct Write {
        int hostId;
        int startByte;
        char data[2];
    };
    void encodeBatch();

    QHash<QString, int> startBytes_;
    CycleFloor reads_;
    VarDoneCallback report_;
    quint8 sessionBytes_[4];
    QMutex listMutex_;
    std::deque<Write> queue_;
    std::vector<int> pendingOf_;  // by identity: hosts number theirs
    QList<Protocol> frames_;
    int batchCount_ = 0;
    int turnsInARow_ = 0;
};

}  // namespace ac500::bench

#endif
