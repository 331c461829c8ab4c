#include "tools/host/name_lookup.h"

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace ac500::host {

struct NameLookup::Shared {
    explicit Shared(std::string nameToAsk) : name(std::move(nameToAsk)) {}

    void take(NameAnswer given) {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            answer = std::move(given);
        }
        answered.notify_all();
    }

    const std::string name;
    std::mutex mutex;
    std::condition_variable answered;
    std::optional<NameAnswer> answer;  // mutex
};

NameAnswer addressesOf(const std::string& name) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(name.c_str(), nullptr, &wanted, &found);
    if (error != 0) {
        return {{}, ::gai_strerror(error)};
    }
    NameAnswer answer;
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        char text[NI_MAXHOST];
        const bool isText =
            ::getnameinfo(entry->ai_addr, entry->ai_addrlen, text, sizeof(text), nullptr, 0, NI_NUMERICHOST) == 0;
        if (isText && std::find(answer.addresses.begin(), answer.addresses.end(), text) == answer.addresses.end()) {
            answer.addresses.emplace_back(text);
        }
    }
    ::freeaddrinfo(found);
    if (answer.addresses.empty()) {
        answer.failure = "the name has no address";
    }
    return answer;
}

void NameLookup::start(const std::string& name) {
    if (shared_ != nullptr && shared_->name == name) {
        const std::lock_guard<std::mutex> lock(shared_->mutex);
        if (!shared_->answer) {
            return;
        }
    }
    shared_ = std::make_shared<Shared>(name);
    try {
        std::thread([shared = shared_, resolver = resolver_] { shared->take(resolver(shared->name)); }).detach();
    } catch (const std::system_error& error) {
        shared_->take({{}, error.what()});
    }
}

std::optional<NameAnswer> NameLookup::wait(Milliseconds timeout) {
    std::unique_lock<std::mutex> lock(shared_->mutex);
    shared_->answered.wait_for(lock, timeout, [this] { return shared_->answer.has_value(); });
    return shared_->answer;
}

}  // namespace ac500::host
