// PlcExamination asks a PLC step by step how far one gets, through the driver as a host does, and notes each step: the name,
// the way, the port, the two requests of the handshake, the guard of the program, one read in each memory area, the largest
// request, each tag.
//
// It opens one connection and never sends a write. Nothing is sent twice: a request that fails is told. Each wait ends
// with the time for one reply, and all of it at one deadline; what was not reached by then is told as not tried. One at a
// time, and never beside a session: the driver is one object per loaded library. Used by one thread.
#ifndef AC500_TOOLS_HOST_PLC_EXAMINATION_H
#define AC500_TOOLS_HOST_PLC_EXAMINATION_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/doctor/check_line.h"
#include "tools/doctor/next_command.h"
#include "tools/doctor/tcp_probe.h"
#include "tools/guard/handshake_pattern.h"
#include "tools/host/driver_library.h"
#include "tools/host/driver_reports.h"
#include "tools/host/reply_assembler.h"
#include "tools/host/tag.h"
#include "tools/host/tag_access.h"
#include "tools/host/transport.h"

namespace ac500::host {

struct ExaminationSettings {
    Endpoint plc;
    Milliseconds timeout{2000};  // for the name, for the connection, for each reply
    Time deadline{0};            // of all, on the clock
    int withinSeconds = 30;      // how long all may take
    int maxRequestWords = 100;
    // What was learned of the PLC's replies to the handshake, and the file that says so.
    std::optional<guard::HandshakePattern> handshake = std::nullopt;
    std::string handshakeFile;
    std::string symbolsFile;
    doctor::NextCommand call;  // the call as it was made, for what to run next
    std::string whyNoAreas;    // not empty: the symbols are made up, for a driver without work opens no session
    std::function<bool()> isInterrupted;
};

// What went over the connection, in order.
struct TrafficStep {
    enum class Kind { Connected, NotConnected, Sent, Received, Closed };
    Kind kind = Kind::Connected;
    std::chrono::system_clock::time_point time;
    std::string bytes;  // Sent and Received
};

struct ExaminationFigures {
    int requests = 0;
    int goodReplies = 0;
    int refusals = 0;
    std::int64_t bytesSent = 0;
    std::int64_t bytesReceived = 0;
    Time longestReply{0};
    std::string address;                 // that was connected to; empty without a connection
    std::vector<std::string> addresses;  // of the name, and those of this machine that lead there
};

class PlcExamination {
public:
    // All must outlive this. Without a driver (null) it ends with the connection, and the rest is not tried.
    PlcExamination(const DriverFunctions* driver, const TagTable& tags, const Clock& clock,
                   const ExaminationSettings& settings);

    // To be called once. The tags are those to be read one for one, resolved already.
    std::vector<doctor::CheckLine> run(const std::vector<Tag>& tags);

    const std::vector<TrafficStep>& traffic() const { return traffic_; }
    const ExaminationFigures& figures() const { return figures_; }
    // Was anything left out because the deadline had come?
    bool ranOutOfTime() const;

private:
    // How one request ended.
    enum class End {
        Good,
        Refused,        // the PLC's status word is not 0; the connection can be used
        NothingToSend,  // the driver asks for nothing
        Unusable,       // the connection is closed, silent or out of step
        TimeOver,       // of the whole examination, or interrupted; it says nothing of the PLC
    };
    struct Exchange {
        End end = End::Good;
        RequestFrame request;
        int replyBytes = 0;
        int statusWord = 0;
        std::string problem;  // of Unusable
        std::string meaning;
        std::string next;
    };

    std::vector<std::string> lookUpName();
    void findRoute(const std::vector<std::string>& addresses);
    bool connect(const std::vector<std::string>& addresses);
    bool openSession(const std::vector<Tag>& work);
    bool openSessionStep(doctor::Subject subject, wire::Service service);
    void compareHandshake();
    void readProgram();
    void readAreas();
    void readArea(int area, const std::vector<Tag>& tags);
    void readLargest();
    void readTags(const std::vector<Tag>& tags);
    void readTag(const Tag& tag);

    // Reads the tags once, opening a session again where the driver wants one. Returns the exchange that was not good, or
    // the last one; *runs gets what the PLC answered.
    Exchange readOnce(const std::vector<Tag>& tags, std::vector<ByteRun>* runs, bool stopsAtRefusal);
    Exchange exchangeNext();
    Exchange sendAndReceive(Protocol* frame, Exchange exchange);
    bool receiveReply(Exchange* exchange);
    void judge(Protocol* frame, Exchange* exchange);
    bool giveToDriver(Protocol* frame, QByteArray reply);

    std::vector<Tag> tagsOfArea(int area) const;
    std::vector<Tag> largestWindow() const;
    Tag lastPieceOf(const std::vector<Tag>& tags) const;
    bool isTimeOver() const { return clock_.now() >= settings_.deadline; }
    bool isCutShort();
    Milliseconds waitFrom(Time begin) const;

    void add(doctor::Subject subject, doctor::Grade grade, const std::string& text, const std::string& meaning = "",
             const std::string& next = "");
    void addFailure(doctor::Subject subject, const std::string& what, const Exchange& exchange);
    void addNotTried(doctor::Subject subject, const std::string& what);
    std::string atAnotherPort() const;
    void addTraffic(TrafficStep::Kind kind, const std::string& bytes = "");

    const DriverFunctions* const driver_;
    const TagTable& tags_;
    const Clock& clock_;
    const ExaminationSettings settings_;
    std::optional<DriverReports> reports_;
    ComInfo comInfo_{};
    std::optional<TagAccess> access_;

    doctor::TcpProbe probe_;
    ReplyAssembler assembler_;
    std::string nextStep_;                      // of the last line that failed
    std::string whyNot_;                        // what made the rest impossible; empty while nothing did
    guard::HandshakeReplies handshakeReplies_;  // those that were good
    std::vector<int> goodAreas_;
    std::vector<doctor::CheckLine> lines_;
    std::vector<TrafficStep> traffic_;
    ExaminationFigures figures_;
};

}  // namespace ac500::host

#endif
