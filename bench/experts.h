// The second floors: what each job costs somebody who is an expert and is bound by nothing. No container of Qt's where
// another one is quicker, no record that a host may look at, no list that a host may change, no image but flat memory, no
// lock where a version number does; what can be remembered from one call to the next is remembered. They do the whole
// job on the same input, and hand over the same result, as the floors of bench/floors.h do.
//
// What the driver's distance from them buys, above what the distance from the other floors buys: lists of records and an
// image as a hash that are open to the host at any time (core/communication_protocol.h), and names that need not be
// known before.
#ifndef AC500_BENCH_EXPERTS_H
#define AC500_BENCH_EXPERTS_H

#include <atomic>
#include <vector>

#include <QtCore/QList>
#include <QtCore/QString>

#include "bench/corpus.h"
#include "protocol/protocol.h"
#include "symbols/control_information.h"
#include "vars/host_tag.h"
#include "vars/rw_var.h"

namespace ac500::bench {

// Numbers by text, and by the number of what the text is part of: one flat table, open addressing, texts in one piece.
class FlatNames {
public:
    enum { kNone = -1 };

    // REQUIRES: at most `most` are inserted.
    explicit FlatNames(std::size_t most);
    void insert(int parent, const QChar* text, int length, int number);
    int find(int parent, const QChar* text, int length) const;

private:
    struct Slot {
        quint32 hash = 0;
        qint32 parent = 0;
        quint32 textAt = 0;
        qint32 length = 0;
        qint32 number = kNone;  // an empty slot
    };
    std::size_t slotOf(int parent, const QChar* text, int length, quint32& hash) const;

    std::vector<Slot> slots_;
    std::vector<QChar> texts_;
    std::size_t mask_;
};

// The PLC's memory, for one thread that stores and any number that read and do not wait: those that met a store look
// again. The bytes are no atomic ones, as the language would want: no compiler that this is built with makes use of it.
class FlatImage {
public:
    explicit FlatImage(int areaBytes) : bytes_(static_cast<std::size_t>(areaBytes)) {}

    void beginStore() { version_.fetch_add(1, std::memory_order_acquire); }
    void store(int address, const char* bytes, int count);
    void endStore() { version_.fetch_add(1, std::memory_order_release); }

    // 16 bits in host order.
    void read(int address, char* value) const;

    // With the PLC's memory.
    void fill(int generation);
    void clear() { bytes_ = std::vector<char>(bytes_.size()); }

    char byteAt(int address) const { return bytes_[static_cast<std::size_t>(address)]; }

private:
    std::vector<char> bytes_;
    std::atomic<quint32> version_{0};
};

// Reading one 16-bit value by name.
class ReadExpert {
public:
    explicit ReadExpert(const Corpus& corpus);
    bool read(const QString& name, char* value) const;
    void setGeneration(int generation) { image_.fill(generation); }
    // FlatNames::kNone for an unknown name.
    int startByteOf(const QString& name) const;

private:
    FlatNames names_;
    FlatImage image_;
};

// Resolving a name component by component, without a copy of any; the table stands ready.
class ResolutionExpert {
public:
    explicit ResolutionExpert(const Corpus& corpus);
    bool resolve(const QString& name, ControlInformationM& info) const;

private:
    struct Node {
        int offset;
        int dataType;
        int area;
    };
    void add(int parent, const Label_Type_Info& record);

    FlatNames names_;
    std::vector<Node> nodes_;
};

// The first read of each value by name: resolves it, remembers nothing, because that is as quick as to remember.
class FirstReadExpert {
public:
    explicit FirstReadExpert(const Corpus& corpus);
    bool read(const QString& name, char* value) const;
    void setGeneration(int generation) { image_.fill(generation); }

private:
    ResolutionExpert resolution_;
    FlatImage image_;
};

// Rebuilding the cyclic list: sorts keys of 8 bytes by radix, builds records of those tags alone that open a request.
class RebuildExpert {
public:
    explicit RebuildExpert(const Corpus& corpus);
    int rebuild(const QList<HostTag>& tags);
    const QList<RW_VAR>& requests() const { return requests_; }

private:
    FlatNames names_;
    QList<RW_VAR> requests_;
};

// Sorts keys by radix, and exchanges pointers to the records.
void sortExpert(QList<RW_VAR>& list);

// One cycle without a network: every request was encoded once and is sent again, a reply is copied run by run.
class CycleExpert {
public:
    using Runs = std::vector<std::pair<int, int>>;  // first byte, bytes

    CycleExpert(const QList<RW_VAR>& readList, const quint8* sessionBytes, int areaBytes);
    Protocol* nextRequest() { return &turns_[turn_].request; }
    // To be called twice per reply. Returns the status.
    int takeReply(QByteArray* reply, int received);
    FlatImage& image() { return image_; }
    const FlatImage& image() const { return image_; }
    // What the reply that was taken last brought.
    const Runs& lastRuns() const { return turns_[lastTurn_].runs; }

private:
    struct Turn {
        Protocol request;
        Runs runs;
        int replyBytes;
    };

    std::vector<Turn> turns_;
    std::size_t repeatedFrom_ = 0;  // the turn that follows the last one
    std::size_t turn_ = 0;
    std::size_t lastTurn_ = 0;
    bool isMeasured_ = false;
    FlatImage image_;
};

// Writes beside the cycle: a queue of 16-byte records, and of each identity the number that are pending.
class WriteExpert {
public:
    using Report = void (*)(int hostId);

    WriteExpert(const Corpus& corpus, const QList<RW_VAR>& readList, const quint8* sessionBytes, Report report);
    void write(const QString& name, const QByteArray& in, int hostId);
    Protocol* nextRequest();
    int takeReply(QByteArray* reply, int received);
    FlatImage& image() { return reads_.image(); }
    const FlatImage& image() const { return reads_.image(); }

private:
    struct Write {
        int hostId;
        int startByte;
        char data[2];
    };
    void encodeBatch();

    FlatNames names_;
    CycleExpert reads_;
    Report report_;
    quint8 sessionBytes_[4];
    std::vector<Write> queue_;
    std::size_t firstPending_ = 0;
    std::vector<int> pendingOf_;  // by identity: hosts number theirs
    std::size_t batchCount_ = 0;  // 0: no write is in flight
    int turnsInARow_ = 0;
    Protocol request_ = Protocol();
};

// Does the image hold the PLC's memory at every tag?
bool holdsMemory(const FlatImage& image, const Corpus& corpus, int generation);

}  // namespace ac500::bench

#endif
