// MosquittoProcess is Debian's broker as a process of a test, on a port of its own of 127.0.0.1; it ends with its owner.
// TestAuthority makes the certificates that it and its clients are given.
#ifndef AC500_TESTS_BROKER_MOSQUITTO_PROCESS_H
#define AC500_TESTS_BROKER_MOSQUITTO_PROCESS_H

#include <cstdint>
#include <string>

#include "tests/gateway/gateway_plant.h"
#include "tests/support/child_process.h"

namespace ac500::test {

// Certificates that are good for a day, made by openssl(1). Throwaway: the keys lie in the folder, and go with it.
class TestAuthority {
public:
    explicit TestAuthority(const std::string& folder);

    const std::string& ca() const { return ca_; }  // path, PEM
    struct Pair {
        std::string certificate;  // paths, PEM
        std::string key;
    };
    // `names` as in a certificate: "DNS:localhost,IP:127.0.0.1"
    Pair issue(const std::string& file, const std::string& names) const;

private:
    const std::string folder_;
    const std::string ca_;
};

class MosquittoProcess {
public:
    MosquittoProcess();
    MosquittoProcess(const MosquittoProcess&) = delete;
    MosquittoProcess& operator=(const MosquittoProcess&) = delete;

    std::uint16_t port() const { return port_; }
    const TemporaryFolder& folder() const { return folder_; }

    // Lines for its configuration; to be called before start().
    void configure(const std::string& lines) { configuration_ += lines + "\n"; }
    // Only those who know this password get in.
    void requireLogin(const std::string& user, const std::string& password);
    // The lines of a list of rights, as mosquitto.conf(5) has them under acl_file.
    void restrict(const std::string& lines);
    void useTls(const TestAuthority::Pair& server, const std::string& clientCa = "");

    // Waits until it listens; again after stop() or kill(), on the same port, with what it has stored.
    [[nodiscard]] bool start();
    bool stop();  // as a service manager does
    void kill();
    void pause() { process_.sendSignal(SIGSTOP); }
    void resume() { process_.sendSignal(SIGCONT); }

private:
    const TemporaryFolder folder_;
    std::uint16_t port_ = 0;
    bool isOpen_ = true;  // anybody gets in
    std::string configuration_;
    ChildProcess process_;
};

}  // namespace ac500::test

#endif
