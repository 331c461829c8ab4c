// Result is what a call came to: a result of the C interface, and a text for people unless it is AC500_OK.
#ifndef AC500_TOOLS_CLIENT_RESULT_H
#define AC500_TOOLS_CLIENT_RESULT_H

#include <string>
#include <utility>

#include "tools/client/ac500_client.h"
#include "tools/host/failure.h"

namespace ac500::client {

struct Result {
    Result() = default;
    Result(ac500_result resultCode, std::string what) : code(resultCode), text(std::move(what)) {}
    // The layers have the same numbers, but for one.
    explicit Result(host::Failure failure)
        : code(failure.kind == host::FailureKind::Program ? AC500_PROGRAM : static_cast<ac500_result>(failure.kind)),
          text(std::move(failure.text)) {}

    bool isOk() const { return code == AC500_OK; }

    ac500_result code = AC500_OK;
    std::string text;
};

inline Result usage(std::string what) {
    return {AC500_USAGE, std::move(what)};
}

inline Result closed() {
    return {AC500_CLOSED, "the PLC was closed"};
}

static_assert(static_cast<int>(host::FailureKind::Usage) == AC500_USAGE);
static_assert(static_cast<int>(host::FailureKind::File) == AC500_FILE);
static_assert(static_cast<int>(host::FailureKind::Name) == AC500_NAME);
static_assert(static_cast<int>(host::FailureKind::Tcp) == AC500_TCP);
static_assert(static_cast<int>(host::FailureKind::Handshake) == AC500_HANDSHAKE);
static_assert(static_cast<int>(host::FailureKind::Request) == AC500_REQUEST);
static_assert(static_cast<int>(host::FailureKind::Output) == AC500_OUTPUT);

}  // namespace ac500::client

#endif
