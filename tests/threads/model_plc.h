// ModelPlc is a simulated PLC behind plain sockets: Qt's event loop is nothing that the thread sanitizer knows.
#ifndef AC500_TESTS_THREADS_MODEL_PLC_H
#define AC500_TESTS_THREADS_MODEL_PLC_H

#include <cstdint>
#include <string>

#include "tests/support/hostile_plc.h"
#include "tools/simulator/plc_model.h"

namespace ac500::test {

class ModelPlc {
public:
    explicit ModelPlc(const symbol_file::SymbolFile& file) : model_(file, {}) {}

    std::uint16_t port() const { return server_.port(); }
    std::string address() const { return "127.0.0.1:" + std::to_string(port()); }

private:
    void serve(HostilePlc::Connection& connection) {
        for (std::string request = connection.request(); !request.empty(); request = connection.request()) {
            for (const sim::DeliveryStep& step : model_.serve(request).delivery.steps) {
                if (!connection.send(step.bytes)) {
                    return;
                }
            }
        }
    }

    sim::PlcModel model_;  // the server's thread
    HostilePlc server_{[this](HostilePlc::Connection& connection) { serve(connection); }};
};

}  // namespace ac500::test

#endif
