// A gateway that does as the test says, in the place of a real one.
#ifndef AC500_TESTS_VIA_HELD_GATEWAY_H
#define AC500_TESTS_VIA_HELD_GATEWAY_H

#include <poll.h>

#include <utility>

#include "tests/via/door_plant.h"

namespace ac500::test {

// A gateway that lets in whom it is told to, and says and reads what it is told to.
class HeldGateway {
public:
    explicit HeldGateway(const std::string& path) {
        std::string error;
        const std::optional<sockaddr_un> address = via::socketAddress(path, &error);
        EXPECT_TRUE(address) << error;
        listening_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(::bind(listening_, reinterpret_cast<const sockaddr*>(&*address), sizeof *address), 0);
        EXPECT_EQ(::listen(listening_, 8), 0);
    }
    ~HeldGateway() {
        hangUp();
        ::close(listening_);
    }
    HeldGateway(const HeldGateway&) = delete;
    HeldGateway& operator=(const HeldGateway&) = delete;

    // Until a client that was let in asks for news; one that has gone meanwhile is passed over.
    bool letIn(const Json& hello) {
        return eventually([&] {
            hangUp();
            pollfd waited{listening_, POLLIN, 0};
            if (::poll(&waited, 1, paced(5000)) == 1) {
                descriptor_ = ::accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
                lines_ = via::LineBuffer(via::kLongestRequest);
                say(hello);
            }
            return hearNews();
        });
    }

    void hangUp() {
        if (descriptor_ >= 0) {
            ::close(std::exchange(descriptor_, -1));
        }
    }

    // Answers who asked for news, and waits until the next are asked for.
    bool tell(Json news) {
        news["id"] = newsId_;
        say(news);
        return hearNews();
    }

    // Answers the last request that was heard.
    void answer(Json answer) {
        answer["id"] = heardId_;
        say(answer);
    }

    // The next request of this kind; an empty object when none comes, or the connection ended.
    Json hear(const std::string& what) {
        Json heard = Json::object();
        eventually([&] {
            while (const std::optional<std::string> line = lines_.next()) {
                const Json message = via::messageOf(*line).value_or(Json::object());
                if (via::textAt(message, "do") == what) {
                    heard = message;
                    heardId_ = via::numberAt(message, "id").value_or(0);
                    return true;
                }
            }
            return !receive();
        });
        return heard;
    }

private:
    bool hearNews() {
        newsId_ = via::numberAt(hear("news"), "id").value_or(0);
        return newsId_ != 0;
    }
    void say(const Json& message) const {
        const std::string line = via::lineOf(message) + "\n";
        ::send(descriptor_, line.data(), line.size(), MSG_NOSIGNAL);
    }
    bool receive() { return receiveInto(&lines_, descriptor_); }

    int listening_ = -1;
    int descriptor_ = -1;
    via::LineBuffer lines_{via::kLongestRequest};
    std::int64_t newsId_ = 0;
    std::int64_t heardId_ = 0;
};

}  // namespace ac500::test

#endif
