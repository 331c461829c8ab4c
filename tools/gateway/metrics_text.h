// What the gateway counts and measures, as Prometheus reads it (text format 0.0.4). docs/gateway.md lists the names, which
// stay what they are.
#ifndef AC500_TOOLS_GATEWAY_METRICS_TEXT_H
#define AC500_TOOLS_GATEWAY_METRICS_TEXT_H

#include <optional>
#include <string>

#include "tools/gateway/broker_door.h"
#include "tools/gateway/plant.h"

namespace ac500::gateway {

constexpr char kMetricsType[] = "text/plain; version=0.0.4; charset=utf-8";

// What the doors know beside the plant.
struct DoorFigures {
    std::size_t viewers = 0;                             // that a page is open for
    std::size_t programs = 0;                            // at the socket
    std::optional<BrokerFigures> broker = std::nullopt;  // nothing: there is no door to one
};

std::string metricsText(const Plant& plant, const DoorFigures& doors);

// In a label: backslash, quote and line end are escaped.
std::string labelText(const std::string& text);

}  // namespace ac500::gateway

#endif
