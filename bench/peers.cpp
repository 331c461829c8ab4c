// Two clients of the field that read the same 16-bit values at the same addresses (byte address / 2 is the register):
// libmodbus and Qt's Modbus client, each with its own server in a process of its own.
//
// Modbus reads at most 125 registers with one request, and a user of either library groups tags by hand. The grouping
// here does what a sensible user does: in the order of addresses, across the gaps of 1 or 2 registers, until a request
// is full. Fewer requests cannot cover these tags. libmodbus asks one request at a time; Qt's client takes all requests
// of a cycle at once and sends them without waiting for replies in between.
#include <modbus/modbus.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QVariant>
#include <QtSerialBus/QModbusTcpClient>

#include "bench/server_process.h"
#include "bench/workload.h"

namespace ac500::bench {

namespace {

struct RegisterRun {
    int first;
    int count;
};

std::vector<RegisterRun> groupRegisters(const Corpus& corpus) {
    std::vector<RegisterRun> runs;
    for (const CorpusTag& tag : corpus.tags) {
        const int number = tag.startByte / 2;
        if (runs.empty() || number - runs.back().first >= MODBUS_MAX_READ_REGISTERS) {
            runs.push_back({number, 1});
        } else {
            runs.back().count = number - runs.back().first + 1;
        }
    }
    return runs;
}

// What the client holds of the PLC's memory after a cycle, in the order of this processor.
class RegisterImage {
public:
    explicit RegisterImage(const Corpus& corpus) : registers_(static_cast<std::size_t>(corpus.areaBytes / 2)) {}

    std::uint16_t* at(int number) { return registers_.data() + number; }

    void requireMemory(const Corpus& corpus) {
        for (const CorpusTag& tag : corpus.tags) {
            const QByteArray value = hostValueAt(tag.startByte);
            const int expected = static_cast<quint8>(value[0]) + 256 * static_cast<quint8>(value[1]);
            require(*at(tag.startByte / 2) == expected, "a Modbus client read a wrong value");
        }
    }

private:
    std::vector<std::uint16_t> registers_;
};

class Libmodbus : public Workload {
public:
    explicit Libmodbus(const Corpus& corpus)
        : server_("libmodbus", corpus.areaBytes),
          runs_(groupRegisters(corpus)),
          image_(corpus),
          context_(modbus_new_tcp("127.0.0.1", server_.port())) {
        require(context_ != nullptr && modbus_connect(context_) == 0, "libmodbus cannot connect");
        run();
        image_.requireMemory(corpus);
    }

    ~Libmodbus() override {
        modbus_close(context_);
        modbus_free(context_);
    }

    void run() override {
        for (const RegisterRun& run : runs_) {
            require(modbus_read_registers(context_, run.first, run.count, image_.at(run.first)) == run.count,
                    "libmodbus could not read");
        }
    }

    double items() const override { return 1; }

private:
    ServerProcess server_;
    const std::vector<RegisterRun> runs_;
    RegisterImage image_;
    modbus_t* context_;
};

QCoreApplication& application() {
    static int count = 1;
    static char name[] = "link_bench";
    static char* arguments[] = {name, nullptr};
    static QCoreApplication instance(count, arguments);
    return instance;
}

class QtModbus : public Workload {
public:
    explicit QtModbus(const Corpus& corpus)
        : server_("qtmodbus", corpus.areaBytes), runs_(groupRegisters(corpus)), image_(corpus) {
        application();
        client_ = std::make_unique<QModbusTcpClient>();
        client_->setConnectionParameter(QModbusDevice::NetworkAddressParameter, QString::fromLatin1("127.0.0.1"));
        client_->setConnectionParameter(QModbusDevice::NetworkPortParameter, server_.port());
        QEventLoop connected;
        QObject::connect(client_.get(), &QModbusClient::stateChanged, &connected, [&](QModbusDevice::State state) {
            if (state == QModbusDevice::ConnectedState || state == QModbusDevice::UnconnectedState) {
                connected.quit();
            }
        });
        require(client_->connectDevice(), "Qt's Modbus client cannot connect");
        connected.exec();
        require(client_->state() == QModbusDevice::ConnectedState, "Qt's Modbus client cannot connect");
        run();
        image_.requireMemory(corpus);
    }

    void run() override {
        QEventLoop cycle;
        std::size_t answered = 0;
        for (const RegisterRun& run : runs_) {
            QModbusReply* reply = client_->sendReadRequest(
                {QModbusDataUnit::HoldingRegisters, run.first, static_cast<quint16>(run.count)}, 1);
            require(reply != nullptr, "Qt's Modbus client takes no request");
            QObject::connect(reply, &QModbusReply::finished, &cycle, [&, reply, run] {
                take(*reply, run);
                reply->deleteLater();
                if (++answered == runs_.size()) {
                    cycle.quit();
                }
            });
        }
        cycle.exec();
    }

    double items() const override { return 1; }

private:
    void take(const QModbusReply& reply, const RegisterRun& run) {
        require(reply.error() == QModbusDevice::NoError, "Qt's Modbus client could not read");
        const QModbusDataUnit unit = reply.result();
        require(static_cast<int>(unit.valueCount()) == run.count, "Qt's Modbus client read too little");
        for (int i = 0; i < run.count; ++i) {
            *image_.at(run.first + i) = unit.value(i);
        }
    }

    ServerProcess server_;
    const std::vector<RegisterRun> runs_;
    RegisterImage image_;
    std::unique_ptr<QModbusTcpClient> client_;
};

template <class Peer>
void add(const char* who, int size, std::vector<Scenario>& scenarios) {
    scenarios.push_back({"link/twenty-scopes/" + std::to_string(size) + "/" + who,
                         [=] { return std::make_unique<Peer>(makeCorpus(Layout::TwentyScopes, size)); },
                         Clocking::Wall});
}

}  // namespace

void addPeerScenarios(std::vector<Scenario>& scenarios) {
    for (const int size : kSizes) {
        add<Libmodbus>("libmodbus", size, scenarios);
        add<QtModbus>("qtmodbus", size, scenarios);
    }
}

}  // namespace ac500::bench
