#include "app/flow.hpp"

#include <cinttypes>
#include <utility>

#include "base/text.hpp"

namespace quillon {

namespace {
constexpr Duration kEveryNowAndThen = 60s;
constexpr Duration kInTrouble = 10s;
constexpr double kTroubleDrops = 0.1;    ///< of a second's frames
constexpr double kTroubleLatency = 150;  ///< milliseconds
}  // namespace

std::string flowText(const std::string& link, const SessionStats& stats) {
    const std::string latency = stats.latencyP50 ? formatted("p50 %.0f ms", *stats.latencyP50) : "p50 n/a";
    return formatted("%s · %.0f fps · %.1f Mbps · %s · drops %" PRId64, link.c_str(), stats.fps, stats.mbps,
                     latency.c_str(), stats.drops);
}

std::string quietText(const std::string& link, bool linkIsFull) {
    return link + (linkIsFull ? " · the link is full" : " · the screen is at rest");
}

bool FlowLog::isDue(Instant now, const SessionStats& stats) {
    const int64_t dropped = stats.drops - std::exchange(drops_, stats.drops);
    const bool trouble = static_cast<double>(dropped) > kTroubleDrops * stats.fps ||
                         stats.latencyP50.value_or(0) > kTroubleLatency;
    if (last_ && now - *last_ < (trouble ? kInTrouble : kEveryNowAndThen)) return false;
    last_ = now;
    return true;
}

}  // namespace quillon
