#include "tools/broker/address_lookup.h"

#include <netdb.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>
#include <system_error>
#include <thread>

#include "tools/text/address.h"

namespace ac500::broker {

namespace {

AddressLookup::Answer lookUp(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    AddressLookup::Answer answer;
    const int code = ::getaddrinfo(host.c_str(), nullptr, &hints, &found);
    if (code != 0) {
        answer.problem = code == EAI_SYSTEM ? std::strerror(errno) : ::gai_strerror(code);
        return answer;
    }
    for (const addrinfo* each = found; each != nullptr; each = each->ai_next) {
        char text[NI_MAXHOST];
        if (::getnameinfo(each->ai_addr, each->ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST) == 0 &&
            std::find(answer.addresses.begin(), answer.addresses.end(), text) == answer.addresses.end()) {
            answer.addresses.emplace_back(text);
        }
    }
    ::freeaddrinfo(found);
    if (answer.addresses.empty()) {
        answer.problem = "it has no address";
    }
    return answer;
}

}  // namespace

struct AddressLookup::Question {
    ~Question() {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }

    std::string host;
    int descriptor = -1;
    std::atomic<bool> isDone{false};
    Answer answer;  // of the thread until isDone
};

AddressLookup::AddressLookup(const std::string& host) : question_(std::make_shared<Question>()) {
    question_->host = host;
    if (text::isNumericAddress(host)) {
        question_->answer.addresses = {host};
        question_->isDone = true;
        return;
    }
    question_->descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    // Signals are for other threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        std::thread([question = question_] {
            ::pthread_setname_np(::pthread_self(), "lookup");
            question->answer = lookUp(question->host);
            question->isDone = true;
            const std::uint64_t one = 1;
            (void)!::write(question->descriptor, &one, sizeof one);
        }).detach();
    } catch (const std::system_error& error) {
        question_->answer.problem = error.what();
        question_->isDone = true;
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

AddressLookup::~AddressLookup() = default;

int AddressLookup::descriptor() const {
    return isDone() ? -1 : question_->descriptor;
}

bool AddressLookup::isDone() const {
    return question_->isDone;
}

const AddressLookup::Answer& AddressLookup::answer() const {
    return question_->answer;
}

}  // namespace ac500::broker
