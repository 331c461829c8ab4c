// What a client sends and receives in some whole cycles of the driver's list, to be played again and again.
//
// The list is rotated by each request, and its length need not be a multiple of the entries per request. So one cycle
// is no whole number of requests: a script holds the requests from one state of the list until that state comes again.
#ifndef AC500_BENCH_CYCLE_SCRIPT_H
#define AC500_BENCH_CYCLE_SCRIPT_H

#include <functional>
#include <vector>

#include <QtCore/QByteArray>
#include <QtCore/QHash>

#include "bench/corpus.h"
#include "bench/tiny_plc.h"
#include "protocol/protocol.h"

namespace ac500::bench {

struct CycleScript {
    std::vector<QByteArray> requests;
    std::vector<QByteArray> replies;
    double cycles = 0;
};

// One side of a conversation: asks for the next request, and takes a reply twice, as ComCommunication and DataCom do.
struct RequestSource {
    std::function<Protocol*()> next;
    std::function<int(QByteArray*, int)> take;  // returns the status, 1: accepted
};

// The driver of this process.
RequestSource driverSource();

using Exchange = std::function<QByteArray(const QByteArray& request)>;

// Plays the two frames of the handshake. REQUIRES: the driver has cyclic reads and no session.
void openSession(const Exchange& exchange);

// Plays until the requests repeat themselves, then takes one round of them down. `entries` is the length of the list.
CycleScript rehearse(int entries, const RequestSource& source, const Exchange& exchange);

// The number of list entries that a read request asks for.
int itemCount(const QByteArray& request);

// Plays the script's requests once and requires that they are the very same; the replies come from `exchange`.
void playAlong(const CycleScript& script, const RequestSource& source, const Exchange& exchange);

// Does the image hold what the PLC's memory has where a read request asks? `byteAt` answers the image's byte at an
// address.
using ByteAt = std::function<char(int address)>;
bool holdsAsked(const QByteArray& request, const TinyPlc& plc, const ByteAt& byteAt);

// Byte by byte out of a hash as the driver's; what it lacks is 0.
ByteAt bytesOf(const QHash<quint64, char>& image);

// Does the image hold the PLC's memory at every tag?
bool holdsMemory(const QHash<quint64, char>& image, const Corpus& corpus, int generation = 0);

}  // namespace ac500::bench

#endif
