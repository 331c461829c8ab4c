// A plant with a local door, and clients of it: raw ones, and the command line.
#ifndef AC500_TESTS_VIA_DOOR_PLANT_H
#define AC500_TESTS_VIA_DOOR_PLANT_H

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tests/gateway/gateway_plant.h"
#include "tests/support/child_process.h"
#include "tests/support/json_schema.h"
#include "tools/gateway/local_door.h"
#include "tools/host/via/line_buffer.h"
#include "tools/host/via/message.h"
#include "tools/host/via/socket_path.h"

namespace ac500::test {

using via::Json;

// What has come so far. False when the other end has closed.
inline bool receiveInto(via::LineBuffer* lines, int descriptor) {
    char bytes[4096];
    const ssize_t count = ::recv(descriptor, bytes, sizeof bytes, MSG_DONTWAIT);
    if (count > 0) {
        lines->add(bytes, static_cast<std::size_t>(count));
    }
    return count > 0 || (count < 0 && errno == EAGAIN);
}

// A client that says what it likes.
class RawClient {
public:
    explicit RawClient(const std::string& path) {
        std::string error;
        descriptor_ = via::connectTo(path, host::Milliseconds(5000), &error);
        EXPECT_GE(descriptor_, 0) << error;
    }
    ~RawClient() { leave(); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    void leave() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
            descriptor_ = -1;
        }
    }

    // False when it is not taken any more.
    bool say(const std::string& bytes) {
        std::size_t sent = 0;
        return eventually([&] {
                   const ssize_t count =
                       ::send(descriptor_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
                   sent += count > 0 ? static_cast<std::size_t>(count) : 0;
                   return sent == bytes.size() || (count < 0 && errno != EAGAIN);
               }) &&
               sent == bytes.size();
    }

    // The next line; an empty object when none comes, or the connection ended.
    Json hear() {
        Json heard = Json::object();
        eventually([&] {
            if (const std::optional<std::string> line = lines_.next()) {
                heard = via::messageOf(*line).value_or(Json::object());
                return true;
            }
            return !receive();
        });
        return heard;
    }

    // Has the gateway ended the connection? What it said before is lost.
    bool isLetGo() {
        return eventually([&] {
            while (lines_.next()) {
            }
            return !receive();
        });
    }

private:
    bool receive() { return receiveInto(&lines_, descriptor_); }

    int descriptor_ = -1;
    via::LineBuffer lines_{via::kLongestAnswer};
};

struct HostOutcome {
    int exitCode = -1;
    std::string out;
    std::string error;
};

class DoorTest : public GatewayTest {
protected:
    explicit DoorTest(const std::string& program = kPlantSymbols) : GatewayTest(program) {
        settings.writableTags = {"Main"};
        doorSettings.path = folder.path() + "/press.sock";
        doorSettings.build = "1.2.3";
    }
    ~DoorTest() override { door.reset(); }

    void openDoor() {
        start();
        host::Failure failure;
        door = std::make_unique<gateway::LocalDoor>(*plant, doorSettings);
        ASSERT_TRUE(door->open(&failure)) << failure.text;
    }

    const std::string& path() const { return doorSettings.path; }

    static HostOutcome run(const std::vector<std::string>& arguments) {
        constexpr int kPatienceMs = 60000;
        ChildProcess process;
        EXPECT_TRUE(process.start(kHostProgram, arguments) && process.waitForEnd(kPatienceMs));
        return {process.exitCode(), process.takeOutput(), process.takeErrors()};
    }
    // By way of the gateway.
    HostOutcome hostVia(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"--via", path()});
        return run(arguments);
    }
    // With a session of its own.
    HostOutcome hostAlone(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"--driver", kDriver, "--symbols", settings.symbols, "--plc",
                                             settings.session.loop.plc.text()});
        return run(arguments);
    }

    gateway::LocalDoorSettings doorSettings;
    std::unique_ptr<gateway::LocalDoor> door;
};

}  // namespace ac500::test

#endif
