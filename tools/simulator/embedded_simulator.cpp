#include "tools/simulator/embedded_simulator.h"

#include <memory>
#include <stdexcept>
#include <utility>

#include <QtCore/QCoreApplication>

#include "tools/simulator/element_value.h"

namespace ac500::sim {

namespace {

// Qt delivers no events in any thread without an application object. It is never deleted: at the end of the program,
// when it could be, Qt's own globals may be gone already.
void ensureApplication() {
    static int argumentCount = 1;
    static char name[] = "embedded-simulator";
    static char* arguments[] = {name, nullptr};
    if (QCoreApplication::instance() == nullptr) {
        static const QCoreApplication* const application = new QCoreApplication(argumentCount, arguments);
        Q_UNUSED(application)
    }
}

template <class Work>
void runInThreadOf(TcpServer* server, Work work) {
    QMetaObject::invokeMethod(server, std::move(work), Qt::BlockingQueuedConnection);
}

}  // namespace

EmbeddedSimulator::EmbeddedSimulator(const SymbolFile& file, PlcSettings plc, TcpSettings tcp)
    : model_(file, std::move(plc)) {
    if (!model_.problems().empty()) {
        throw std::runtime_error(describe("symbol file", model_.problems().front()));
    }
    ensureApplication();
    server_ = new TcpServer(model_, modelMutex_, std::move(tcp));
    server_->moveToThread(&thread_);
    QObject::connect(&thread_, &QThread::finished, server_, &QObject::deleteLater);
    thread_.start();
    std::string error;
    runInThreadOf(server_, [this, &error] {
        if (server_->listen(QHostAddress::LocalHost, 0, &error)) {
            port_ = server_->port();
        }
    });
    if (!error.empty()) {
        stop();
        throw std::runtime_error("cannot listen on 127.0.0.1: " + error);
    }
}

EmbeddedSimulator::~EmbeddedSimulator() {
    stop();
}

Bytes EmbeddedSimulator::read(const ByteRun& run) const {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    return model_.memory().read(run);
}

void EmbeddedSimulator::write(int area, std::int64_t address, const Bytes& bytes) {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    model_.memory().write(area, address, bytes);
}

double EmbeddedSimulator::readNumber(const symbol_file::Element& element) const {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    return sim::readNumber(model_.memory(), element);
}

std::string EmbeddedSimulator::readText(const symbol_file::Element& element) const {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    return valueText(model_.memory(), element);
}

void EmbeddedSimulator::writeNumber(const symbol_file::Element& element, double number) {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    sim::writeNumber(model_.memory(), element, number);
}

bool EmbeddedSimulator::writeText(const symbol_file::Element& element, const std::string& text) {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    return sim::writeText(model_.memory(), element, text);
}

void EmbeddedSimulator::inject(const Fault& fault, std::uint32_t count, std::optional<Service> service) {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    model_.arm({fault, count, service});
}

int EmbeddedSimulator::addProgram(const SymbolFile& file) {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    std::vector<Problem> problems;
    const int number = model_.addProgram(file, &problems);
    if (!problems.empty()) {
        throw std::runtime_error(describe("symbol file", problems.front()));
    }
    return number;
}

void EmbeddedSimulator::load(int program) {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    model_.load(program);
}

void EmbeddedSimulator::restart() {
    // In the server's thread where it runs, so that no request of an old connection meets the new program in between.
    const auto restartModel = [this] {
        const std::lock_guard<std::mutex> guard(modelMutex_);
        model_.restart();
    };
    if (!thread_.isRunning()) {
        restartModel();
        return;
    }
    runInThreadOf(server_, [this, &restartModel] {
        restartModel();
        server_->closeAllConnections();
    });
}

void EmbeddedSimulator::dropConnections() {
    if (thread_.isRunning()) {
        runInThreadOf(server_, [this] { server_->closeAllConnections(); });
    }
}

Counters EmbeddedSimulator::counters() const {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    return model_.counters();
}

Identity EmbeddedSimulator::identity() const {
    const std::lock_guard<std::mutex> guard(modelMutex_);
    return model_.identity();
}

void EmbeddedSimulator::stop() {
    thread_.quit();
    thread_.wait();
}

}  // namespace ac500::sim
