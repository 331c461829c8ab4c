#include "tools/gateway/local_door.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <pwd.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "tools/gateway/conversation.h"
#include "tools/host/via/line_buffer.h"
#include "tools/host/via/socket_path.h"

namespace ac500::gateway {

using host::Failure;
using host::FailureKind;
using host::Milliseconds;
using host::Time;
using via::Json;

namespace {

// As long as so much waits to be taken, nothing more is done for a client.
constexpr std::size_t kMostUnsent = std::size_t{1} << 20;
constexpr int kWaitToBeLetIn = 64;
constexpr Milliseconds kDoorGlance{100};

std::string refusalLine(const std::string& what, const std::string& next) {
    return via::lineOf({{"error", {{"what", what}, {"next", next}}}}) + "\n";
}

bool isShortage(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

// Of a socket file: does a process listen there, or did one leave it behind? Waits for nobody.
enum class Listener { None, Another, Unclear };
Listener listenerAt(const sockaddr_un& address, std::string* whyUnclear) {
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const bool isLetIn =
        descriptor >= 0 && ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const int failed = isLetIn ? 0 : errno;
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    if (isLetIn || failed == EAGAIN) {
        return Listener::Another;
    }
    if (failed == ECONNREFUSED) {
        return Listener::None;
    }
    *whyUnclear = std::strerror(failed);
    return Listener::Unclear;
}

// The user at the other end, by name; by number when it has none.
std::string userOf(int descriptor) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return "unknown user";
    }
    std::array<char, 4096> room{};
    passwd entry{};
    passwd* found = nullptr;
    ::getpwuid_r(peer.uid, &entry, room.data(), room.size(), &found);
    return found != nullptr ? found->pw_name : fmt::format("{}", peer.uid);
}

}  // namespace

// Closes what it was given.
class LocalDoor::Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    ~Descriptor() {
        if (number_ >= 0) {
            ::close(number_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&&) = delete;

    int number() const { return number_; }

private:
    int number_;
};

// ---------------------------------------------------------------------------------------------------------------------
// One client
// ---------------------------------------------------------------------------------------------------------------------

class LocalDoor::Client {
public:
    // Takes the descriptor over.
    Client(Descriptor descriptor, Plant& plant, const LocalDoorSettings& settings)
        : descriptor_(std::move(descriptor)),
          plant_(plant),
          settings_(settings),
          conversation_(plant, userOf(descriptor_.number())),
          heardAt_(plant.now()),
          sentAt_(plant.now()) {}
    ~Client() = default;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void say(const std::string& lines) {
        sentAt_ = unsentBytes() == 0 ? plant_.now() : sentAt_;
        unsent_ += lines;
    }

    pollfd waitedFor() const {
        const short in = isLeaving_ || isFull() ? 0 : POLLIN;
        return {descriptor_.number(), static_cast<short>(unsentBytes() == 0 ? in : in | POLLOUT), 0};
    }

    // Can something be done for it at once?
    bool hasWork() const { return hasLines_ && !isLeaving_ && !isFull(); }

    // Does what can be done without waiting. False: it is to be let go.
    bool serve() {
        answerLines();
        if (!isLeaving_ && !isFull()) {
            if (!receive()) {
                return false;
            }
            answerLines();
        }
        if (!isLeaving_ && !isFull()) {
            if (const std::optional<Json> news = conversation_.news()) {
                heardAt_ = plant_.now();
                say(via::lineOf(*news) + "\n");
            }
        }
        return send() && !isOverdue() && !(isLeaving_ && unsentBytes() == 0);
    }

private:
    std::size_t unsentBytes() const { return unsent_.size() - sent_; }
    bool isFull() const { return unsentBytes() > kMostUnsent; }

    bool isOverdue() const {
        const Time now = plant_.now();
        const bool isStalled = unsentBytes() != 0 && now - sentAt_ > settings_.untilStalled;
        return isStalled || now - heardAt_ > settings_.untilIdle;
    }

    // One piece at a time, so that nobody is served for ever; not before the lines of the last one are answered.
    bool receive() {
        std::array<char, 65536> bytes{};
        const ssize_t count = ::recv(descriptor_.number(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        if (count == 0) {
            return false;
        }
        if (!lines_.add(bytes.data(), static_cast<std::size_t>(count))) {
            say(refusalLine(fmt::format("a line is longer than {} bytes", via::kLongestRequest), "send it in parts"));
            isLeaving_ = true;
        }
        hasLines_ = true;
        return true;
    }

    // As many as there is room for answers.
    void answerLines() {
        while (hasWork()) {
            if (const std::optional<std::string> line = lines_.next()) {
                answer(*line);
            } else {
                hasLines_ = false;
            }
        }
    }

    void answer(const std::string& line) {
        std::vector<Json> answers;
        isLeaving_ = !conversation_.take(line, &answers);
        heardAt_ = plant_.now();
        for (const Json& one : answers) {
            say(via::lineOf(one) + "\n");
        }
    }

    bool send() {
        while (unsentBytes() != 0) {
            const ssize_t count =
                ::send(descriptor_.number(), unsent_.data() + sent_, unsentBytes(), MSG_NOSIGNAL | MSG_DONTWAIT);
            if (count < 0) {
                return errno == EAGAIN || errno == EINTR;
            }
            sentAt_ = plant_.now();
            sent_ += static_cast<std::size_t>(count);
            // What is moved is no more than what was sent.
            if (sent_ >= unsent_.size() / 2) {
                unsent_.erase(0, std::exchange(sent_, 0));
            }
        }
        return true;
    }

    const Descriptor descriptor_;
    Plant& plant_;
    const LocalDoorSettings& settings_;
    Conversation conversation_;
    via::LineBuffer lines_{via::kLongestRequest};
    bool hasLines_ = false;  // there may be some that are not answered
    std::string unsent_;     // behind the first sent_ bytes
    std::size_t sent_ = 0;
    bool isLeaving_ = false;  // once it has what is unsent
    Time heardAt_;            // when it asked for something last, or got news
    Time sentAt_;             // when it took something last, or something was there to be taken
};

// ---------------------------------------------------------------------------------------------------------------------
// The socket
// ---------------------------------------------------------------------------------------------------------------------

LocalDoor::LocalDoor(Plant& plant, LocalDoorSettings settings) : plant_(plant), settings_(std::move(settings)) {}

LocalDoor::~LocalDoor() {
    close();
}

bool LocalDoor::open(Failure* failure) {
    std::string error;
    wakeDescriptor_ = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (wakeDescriptor_ < 0 || !makeSocket(&error)) {
        *failure = {FailureKind::Tcp, wakeDescriptor_ < 0 ? "no descriptor is left" : error};
        close();
        return false;
    }
    isStopping_ = false;
    serving_ = std::thread([this] { serve(); });
    telling_ = std::thread([this] { tellChanges(); });
    return true;
}

// Between bind() and listen() the file is there with the mode that the process gives, and nobody is let in yet.
bool LocalDoor::makeSocket(std::string* error) {
    const std::optional<sockaddr_un> address = via::socketAddress(settings_.path, error);
    if (!address) {
        return false;
    }
    std::error_code ignored;
    const auto kind = std::filesystem::symlink_status(settings_.path, ignored).type();
    if (kind == std::filesystem::file_type::socket) {
        std::string why;
        const Listener listener = listenerAt(*address, &why);
        if (listener == Listener::Another) {
            *error = settings_.path + ": another process listens there; give each gateway a socket of its own";
            return false;
        }
        if (listener == Listener::Unclear) {
            *error = settings_.path + ": whether another process listens there cannot be told: " + why +
                     "; remove the socket if none does, or name another path";
            return false;
        }
        ::unlink(settings_.path.c_str());
    } else if (kind != std::filesystem::file_type::not_found) {
        *error = settings_.path + ": something else than a socket is there, and is left alone; name another path";
        return false;
    }
    listening_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    isMade_ = listening_ >= 0 && ::bind(listening_, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0;
    if (!isMade_ || ::chmod(settings_.path.c_str(), settings_.mode) != 0 || ::listen(listening_, kWaitToBeLetIn) != 0) {
        *error = fmt::format("{}: the socket cannot be made: {}; does its folder exist, and may this user write there?",
                             settings_.path, std::strerror(errno));
        return false;
    }
    return true;
}

void LocalDoor::close() {
    isStopping_ = true;
    if (serving_.joinable()) {
        telling_.join();
        serving_.join();
    }
    for (int* descriptor : {&listening_, &wakeDescriptor_}) {
        if (*descriptor >= 0) {
            ::close(std::exchange(*descriptor, -1));
        }
    }
    if (std::exchange(isMade_, false)) {
        ::unlink(settings_.path.c_str());
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Serving
// ---------------------------------------------------------------------------------------------------------------------

// The session has no descriptor to wait for.
void LocalDoor::tellChanges() {
    std::size_t seen = 0;
    while (!isStopping_) {
        plant_.session().waitForChangeAfter(seen, kDoorGlance);
        seen = plant_.session().changes();
        const std::uint64_t one = 1;
        if (::write(wakeDescriptor_, &one, sizeof one) < 0) {
            continue;  // it is full, and so will wake
        }
    }
}

// Whoever asks for more than there is memory for is let go; the others are served as before.
void LocalDoor::serve() {
    clients_.reserve(settings_.clients);
    while (!isStopping_) {
        try {
            wait(hasWork() ? Milliseconds(0) : kDoorGlance);
            letIn();
        } catch (const std::exception&) {
            std::this_thread::sleep_for(kDoorGlance);
        }
        const auto isGone = [](const std::unique_ptr<Client>& client) {
            try {
                return !client->serve();
            } catch (const std::exception&) {
                return true;
            }
        };
        clients_.erase(std::remove_if(clients_.begin(), clients_.end(), isGone), clients_.end());
        clientCount_ = clients_.size();
    }
    clients_.clear();
    clientCount_ = 0;
}

bool LocalDoor::hasWork() const {
    return std::any_of(clients_.begin(), clients_.end(),
                       [](const std::unique_ptr<Client>& client) { return client->hasWork(); });
}

// A client that cannot be let in stays in the queue: to wait for it would be no waiting.
void LocalDoor::wait(Milliseconds timeout) {
    std::vector<pollfd> waited{{isShort_ ? -1 : listening_, POLLIN, 0}, {wakeDescriptor_, POLLIN, 0}};
    for (const std::unique_ptr<Client>& client : clients_) {
        waited.push_back(client->waitedFor());
    }
    ::poll(waited.data(), waited.size(), static_cast<int>(timeout.count()));
    std::uint64_t wakes = 0;
    if ((waited[1].revents & POLLIN) != 0 && ::read(wakeDescriptor_, &wakes, sizeof wakes) < 0) {
        return;  // somebody else took it, which there is not
    }
}

void LocalDoor::letIn() {
    isShort_ = false;
    for (int left = kWaitToBeLetIn; left > 0; --left) {
        Descriptor descriptor(::accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (descriptor.number() < 0) {
            isShort_ = isShortage(errno);
            return;
        }
        if (clients_.size() >= settings_.clients) {
            const std::string refusal =
                refusalLine(fmt::format("{} programs use it already, which is the most", clients_.size()),
                            "end one of them, and try again");
            ::send(descriptor.number(), refusal.data(), refusal.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            continue;
        }
        auto client = std::make_unique<Client>(std::move(descriptor), plant_, settings_);
        client->say(hello());
        clients_.push_back(std::move(client));
    }
}

std::string LocalDoor::hello() const {
    std::error_code ignored;
    via::Hello hello;
    hello.build = settings_.build;
    hello.plc = plant_.session().settings().loop.plc.text();
    hello.symbols = std::filesystem::absolute(plant_.settings().symbols, ignored).string();
    hello.fingerprint = plant_.fingerprint();
    const std::string& audit = plant_.settings().audit;
    hello.audit = audit.empty() ? std::string() : std::filesystem::absolute(audit, ignored).string();
    hello.session = plant_.session().settings();
    hello.clock = plant_.now();
    return via::lineOf(via::jsonOf(hello)) + "\n";
}

}  // namespace ac500::gateway
