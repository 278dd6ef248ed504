#include "app/host_lines.hpp"

#include <cinttypes>

#include "base/text.hpp"

namespace quillon {

std::string stateText(const SessionState& state) {
    switch (state.kind) {
        case SessionState::Kind::running:
            return state.text;
        case SessionState::Kind::failed:
            return "Failed: " + state.text;
        case SessionState::Kind::idle:
            return "Stopped";
        case SessionState::Kind::starting:
            break;
    }
    return "Starting…";
}

std::string stateLine(const SessionState& state) {
    return "[session] " + stateText(state);
}

std::string statisticsLine(const SessionStats& stats) {
    const std::string latency =
        stats.latencyP50 ? formatted("latency p50 %.1f ms", *stats.latencyP50) : "latency n/a";
    return formatted("[host] %.1f fps   %.2f Mbps   %s   drops %" PRId64, stats.fps, stats.mbps,
                     latency.c_str(), stats.drops);
}

}  // namespace quillon
