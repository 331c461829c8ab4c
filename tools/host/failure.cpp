#include "tools/host/failure.h"

namespace ac500::host {

const char* failureKindName(FailureKind kind) {
    switch (kind) {
        case FailureKind::None:
            return "ok";
        case FailureKind::Usage:
            return "usage";
        case FailureKind::File:
            return "file";
        case FailureKind::Name:
            return "name";
        case FailureKind::Tcp:
            return "tcp";
        case FailureKind::Handshake:
            return "handshake";
        case FailureKind::Request:
            return "request";
        case FailureKind::Output:
            return "output";
    }
    return "?";
}

}  // namespace ac500::host
