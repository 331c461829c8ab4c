// FuzzedDriver is the driver as just loaded, with a host around it that makes the calls of the loop and checks after
// each what must hold whatever a PLC sends:
//
//   - frames are well-formed, carry the head of the list they serve, and keep the budget of a request;
//   - replies get the status that the documents promise for their size, length field and status word;
//   - every write and every one-shot read ends exactly once or is still queued;
//   - the cyclic list keeps its entries, and their order but for rotation;
//   - the byte image holds what replies delivered for bytes that were asked for, and what was mirrored from writes, and
//     nothing else (expectModelledImage).
//
// What a host says about itself is trusted by the driver and kept within reason here: areas fit their 16 bits on the
// wire, byte addresses are not negative, and requests have at most kMostBytes bytes, or memory would be the first thing
// to break. What comes from the wire is not restricted at all.
#ifndef AC500_TESTS_FUZZ_FUZZED_DRIVER_H
#define AC500_TESTS_FUZZ_FUZZED_DRIVER_H

#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/host_interface.h"
#include "core/inner_steps.h"
#include "tests/fuzz/fuzz_check.h"

namespace ac500::fuzz {

constexpr int kMostBytes = 900;  // of one planned read or write

// Status words that DataCom may answer with.
bool isDocumentedStatus(int status);
// A request was abandoned.
bool isFailure(int status);

// Results that resolving a name may have.
bool isResolutionCode(int code);

// Bytes that GetRegisterData answers with, by the table of type codes; `bit`: the tag names a bit of the variable.
int documentedOutputBytes(int typeCode, bool bit, int count);

class FuzzedDriver {
public:
    // Puts the driver back into the state after loading. One at a time.
    FuzzedDriver();
    ~FuzzedDriver();
    FuzzedDriver(const FuzzedDriver&) = delete;
    FuzzedDriver& operator=(const FuzzedDriver&) = delete;

    ComInfo settings{};

    // ComCommunication.
    Protocol* next();

    // DataCom with these bytes; `received` is what the host says about their number. Returns the status.
    int deliver(const std::string& reply, int received);
    int deliver(const std::string& reply) { return deliver(reply, static_cast<int>(reply.size())); }
    // The host's two calls; the status of the second, or of the first when that did not find the reply complete.
    int answer(const std::string& reply);

    // Planned requests. Writes and one-shot reads get an identity of their own: hostId as given, a serial as hostSubId.
    void addCyclicRead(int area, int offset, int size);
    // `size`: bytes to be written; `data` may be shorter or longer.
    void addWrite(int area, int offset, int dataType, const std::string& data, int size, int hostId);
    void addOnceRead(int area, int offset, int size, int hostId);

    // Requests by name.
    int writeValue(const QString& tag, const QString& argument, const std::string& in, int count, int hostId);
    int readOnce(const QString& tag, const QString& argument, int count, int hostId);
    void readCyclically(QList<HostTag> tags);

    // Opens a session, with session bytes 0A 0B 0C 0D at the end of each request, as a host and a PLC would. REQUIRES:
    // something is pending.
    void connect();

    // After a change of the lists that this class did not make.
    void rememberLists();

    // The whole image against what replies and mirrored writes should have left there. REQUIRES: no values were read or
    // written by name: those calls store as well.
    void expectModelledImage() const;

private:
    enum class Kind { Cyclic, Write, OnceRead };
    typedef std::array<int, 3> Run;  // area, offset, size
    struct Order {
        Kind kind;
        bool ended = false;
    };
    enum class Verdict { Accepted, Pending, Rejected, Failed };
    struct Judgement {
        Verdict verdict;
        int familyBase;  // of a failure: 10, 40 or 70
    };

    static quint32 varDone(quint32 station, quint32 hostId, quint32 hostSubId, quint32 outcome);
    static quint32 commFail(QList<RW_VAR>* list, quint32 hostId, quint32 one);

    Judgement judge(const std::string& reply, int received) const;
    void expectStatus(const Judgement& judgement, int retriesBefore, int status) const;
    void checkNewRequest();
    // `abandoned`: what the failure was about that the last call reported, if any.
    void checkLists(std::optional<Kind> abandoned);
    void checkOrders(Kind kind, const QList<RW_VAR>& list, bool abandoned);
    void checkState() const;
    static Kind kindOf(const RW_VAR& var);
    static std::vector<Run> runsOf(const QList<RW_VAR>& list);
    void track(Kind kind, const QList<RW_VAR>& list);
    void mirrorHead();
    void modelStore(int area, int address, char value);
    void modelReply(const std::string& request, const std::string& reply);

    static FuzzedDriver* current_;

    int nextSerial_ = 1;
    std::map<int, Order> orders_;
    // During the call of DataCom under way: what the request in flight holds, and what was reported.
    std::set<int> reportable_;
    std::set<int> reported_;
    int reportedOutcome_ = 0;
    int failuresReported_ = 0;
    std::vector<Run> cyclic_;
    std::unordered_map<quint64, char> model_;
};

// The three parts of a frame that every target looks at.
void checkFrame(const Protocol& request);

}  // namespace ac500::fuzz

#endif
