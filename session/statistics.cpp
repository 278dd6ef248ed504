#include "session/statistics.hpp"

#include <algorithm>
#include <array>
#include <span>

namespace quillon {

namespace {
constexpr size_t kMostSamples = 240;
constexpr Duration kSampleInterval = 1s;
constexpr Duration kLatencyWindow = 2s;
}  // namespace

void Statistics::begin(Instant now) {
    const MutexLock held(lock_);
    framesSent_ = 0;
    bytesSent_ = 0;
    lastStats_ = now;
}

void Statistics::addLatency(Instant now, double milliseconds) {
    const MutexLock held(lock_);
    if (latencySamples_.size() >= kMostSamples) latencySamples_.pop_front();
    latencySamples_.emplace_back(now, milliseconds);
}

std::optional<SessionStats> Statistics::record(Instant now, size_t bytes, int64_t drops) {
    const MutexLock held(lock_);
    ++framesSent_;
    bytesSent_ += static_cast<int64_t>(bytes);
    const Duration elapsed = now - lastStats_;
    if (elapsed < kSampleInterval) return std::nullopt;
    SessionStats stats;
    stats.fps = static_cast<double>(framesSent_) / toSeconds(elapsed);
    stats.mbps = static_cast<double>(bytesSent_) * 8 / toSeconds(elapsed) / 1'000'000;
    stats.latencyP50 = medianLatency(now);
    stats.drops = drops;
    framesSent_ = 0;
    bytesSent_ = 0;
    lastStats_ = now;
    return stats;
}

std::optional<double> Statistics::medianLatency(Instant now) const {
    std::array<double, kMostSamples> memory;
    size_t count = 0;
    for (const auto& [at, milliseconds] : latencySamples_) {
        if (now - at < kLatencyWindow) memory[count++] = milliseconds;
    }
    if (count == 0) return std::nullopt;
    const std::span recent(memory.data(), count);
    // The upper median when the count is even.
    const auto middle = recent.begin() + static_cast<ptrdiff_t>(recent.size() / 2);
    std::nth_element(recent.begin(), middle, recent.end());
    return *middle;
}

size_t Statistics::latencySampleCount() const {
    const MutexLock held(lock_);
    return latencySamples_.size();
}

}  // namespace quillon
