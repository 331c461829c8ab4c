// EmbeddedSimulator runs the simulated PLC inside another program, mostly a test: a TcpServer in a thread of its own on
// 127.0.0.1 and a free port. Every function may be called from any thread; the destructor stops and joins.
//
//     EmbeddedSimulator plc(file);
//     connect to 127.0.0.1:plc.port()
//     plc.inject({FaultKind::Silence});
//
// Needs a QCoreApplication for Qt's event loop: when the program has none, the first simulator makes one that lives
// until the program ends, so the first one is to be made in the main thread.
#ifndef AC500_TOOLS_SIMULATOR_EMBEDDED_SIMULATOR_H
#define AC500_TOOLS_SIMULATOR_EMBEDDED_SIMULATOR_H

#include <memory>
#include <mutex>
#include <string>

#include <QtCore/QThread>

#include "tools/simulator/tcp_server.h"

namespace ac500::sim {

using symbol_file::SymbolFile;

class EmbeddedSimulator {
public:
    // The reserved variables are appended to the file. Throws std::runtime_error when the file has problems or no port
    // can be listened on.
    explicit EmbeddedSimulator(const SymbolFile& file, PlcSettings plc = {}, TcpSettings tcp = {});
    ~EmbeddedSimulator();

    EmbeddedSimulator(const EmbeddedSimulator&) = delete;
    EmbeddedSimulator& operator=(const EmbeddedSimulator&) = delete;

    // On 127.0.0.1. Stays the same for the object's life.
    quint16 port() const { return port_; }

    // Bytes of the PLC's memory, as a client would see or leave them. REQUIRES: the run lies within its area.
    // Variables that a signal drives change with the next request or tick; writing to Sim.fault_kind arms nothing.
    Bytes read(const ByteRun& run) const;
    void write(int area, std::int64_t address, const Bytes& bytes);

    // One variable, as element_value.h says. REQUIRES: an element of the file, or of the simulator's own variables.
    double readNumber(const symbol_file::Element& element) const;
    std::string readText(const symbol_file::Element& element) const;
    void writeNumber(const symbol_file::Element& element, double number);
    bool writeText(const symbol_file::Element& element, const std::string& text);

    // The next `count` good replies (to requests of `service`, if given) meet the fault. Replaces what was injected.
    void inject(const Fault& fault, std::uint32_t count = 1, std::optional<Service> service = std::nullopt);

    // Another program that can be loaded, by number or by writing Sim.program. Returns its number; the one of the
    // constructor is 1. Throws as the constructor does.
    int addProgram(const SymbolFile& file);
    // A download (PlcModel::load); connections stay. REQUIRES: there is such a program
    void load(int program);

    // New session bytes, and every connection is closed when this returns.
    void restart();

    // Closes every connection as if the link had gone; the PLC runs on.
    void dropConnections();

    Counters counters() const;
    Identity identity() const;

    // Stops listening and closes all connections; memory and counters can still be looked at. Idempotent.
    void stop();

private:
    mutable std::mutex modelMutex_;
    PlcModel model_;  // modelMutex_
    QThread thread_;
    TcpServer* server_;  // lives in thread_, which deletes it
    quint16 port_ = 0;
};

}  // namespace ac500::sim

#endif
