#include "tests/broker/mosquitto_process.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <random>

namespace ac500::test {

namespace {

constexpr char kMosquitto[] = "/usr/sbin/mosquitto";
constexpr char kPasswordTool[] = "/usr/bin/mosquitto_passwd";
constexpr int kPatience = paced(5000);

void runTool(const std::string& program, const std::vector<std::string>& arguments) {
    ChildProcess tool;
    ASSERT_TRUE(tool.start(program, arguments));
    ASSERT_TRUE(tool.waitForEnd(kPatience));
    ASSERT_EQ(tool.exitCode(), 0) << program << ": " << tool.takeErrors();
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// Below the ports that the system gives to connections that go out: nobody is given one by chance between two starts, and
// who connects where nobody listens does not meet itself.
constexpr int kFirstPort = 20000;
constexpr int kLastPort = 32000;

// Nobody listens there.
std::uint16_t freePort() {
    std::random_device device;
    std::uniform_int_distribution<int> any(kFirstPort, kLastPort);
    for (;;) {
        const std::uint16_t port = static_cast<std::uint16_t>(any(device));
        const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = loopback(port);
        const bool isFree = ::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        ::close(descriptor);
        if (isFree) {
            return port;
        }
    }
}

bool isListening(std::uint16_t port) {
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    const bool isConnected = ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(descriptor);
    return isConnected;
}

}  // namespace

TestAuthority::TestAuthority(const std::string& folder) : folder_(folder), ca_(folder + "/ca.pem") {
    runTool("openssl", {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "1",
                        "-subj", "/CN=Test authority", "-keyout", folder_ + "/ca.key", "-out", ca_});
}

TestAuthority::Pair TestAuthority::issue(const std::string& file, const std::string& names) const {
    Pair pair{folder_ + "/" + file + ".pem", folder_ + "/" + file + ".key"};
    runTool("openssl", {"req",
                        "-x509",
                        "-newkey",
                        "ec",
                        "-pkeyopt",
                        "ec_paramgen_curve:P-256",
                        "-nodes",
                        "-days",
                        "1",
                        "-subj",
                        "/CN=" + file,
                        "-addext",
                        "subjectAltName=" + names,
                        "-addext",
                        "basicConstraints=critical,CA:FALSE",
                        "-CA",
                        ca_,
                        "-CAkey",
                        folder_ + "/ca.key",
                        "-keyout",
                        pair.key,
                        "-out",
                        pair.certificate});
    return pair;
}

MosquittoProcess::MosquittoProcess() : port_(freePort()) {}

void MosquittoProcess::requireLogin(const std::string& user, const std::string& password) {
    const std::string file = folder_.path() + "/passwords";
    runTool(kPasswordTool, {"-b", "-c", file, user, password});
    configure("password_file " + file);
    isOpen_ = false;
}

void MosquittoProcess::restrict(const std::string& lines) {
    configure("acl_file " + folder_.file("rights", lines));
}

void MosquittoProcess::useTls(const TestAuthority::Pair& server, const std::string& clientCa) {
    configure("certfile " + server.certificate + "\nkeyfile " + server.key);
    if (!clientCa.empty()) {
        configure("cafile " + clientCa + "\nrequire_certificate true");
    }
}

bool MosquittoProcess::start() {
    const std::string file = folder_.file(
        "mosquitto.conf", "listener " + std::to_string(port_) + " 127.0.0.1\nallow_anonymous " +
                              (isOpen_ ? "true" : "false") + "\nuser root\npersistence true\npersistence_location " +
                              folder_.path() + "/\nmax_queued_messages 0\nlog_dest none\n" + configuration_);
    return process_.start(kMosquitto, {"-c", file}) && eventually([this] { return isListening(port_); });
}

bool MosquittoProcess::stop() {
    return process_.sendSignal(SIGTERM) && process_.waitForEnd(kPatience);
}

void MosquittoProcess::kill() {
    process_.sendSignal(SIGKILL);
    process_.waitForEnd(kPatience);
}

}  // namespace ac500::test
