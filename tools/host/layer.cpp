#include "tools/host/layer.h"

namespace ac500::host {

const char* layerName(Layer layer) {
    switch (layer) {
        case Layer::None:
            return "ok";
        case Layer::Usage:
            return "usage";
        case Layer::File:
            return "file";
        case Layer::Name:
            return "name";
        case Layer::Tcp:
            return "tcp";
        case Layer::Handshake:
            return "handshake";
        case Layer::Request:
            return "request";
    }
    return "?";
}

}  // namespace ac500::host
