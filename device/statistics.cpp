#include "device/statistics.hpp"

#include <algorithm>
#include <cmath>

#include "base/text.hpp"
#include "device/json.hpp"

namespace quillon::device {
namespace {

constexpr size_t kMostSamples = 1U << 17;
constexpr Clock::duration kRecent = std::chrono::seconds(1);

/// A century; what lies beyond is no time and must not overflow.
constexpr uint64_t kLargestPts = 3'200'000'000'000'000;

std::string nameOf(uint8_t type) {
    using enum wire::MessageType;
    switch (static_cast<wire::MessageType>(type)) {
        case codecConfiguration:
            return "codecConfiguration";
        case videoFrame:
            return "videoFrame";
        case smoothing:
            return "smoothing";
        case cursor:
            return "cursor";
        case linkName:
            return "linkName";
        case settingsLine:
            return "settingsLine";
        case dropCount:
            return "dropCount";
        case overlay:
            return "overlay";
        case acknowledgement:
            return "acknowledgement";
        case input:
            return "input";
        case panelReport:
            return "panelReport";
        case keepAlive:
            return "keepAlive";
    }
    return formatted("type%u", unsigned{type});
}

std::string countsJson(const std::map<std::string, uint64_t>& counts) {
    JsonObject object;
    for (const auto& [name, count] : counts) object.add(name, count);
    return object.line();
}

uint64_t countOf(const std::map<std::string, uint64_t>& counts, const char* name) {
    const auto found = counts.find(name);
    return found == counts.end() ? 0 : found->second;
}

template <typename Recent>
void forgetOlder(std::deque<Recent>& recent, Moment now) {
    while (!recent.empty() && recent.front().when < now - kRecent) recent.pop_front();
}

}  // namespace

void Series::add(double value) {
    if (values_.size() < kMostSamples) {
        values_.push_back(value);
    } else {
        values_[next_] = value;
        next_ = (next_ + 1) % kMostSamples;
    }
}

double Series::percentile(double share) const {
    if (values_.empty()) return 0;
    std::vector<double> sorted = values_;
    const auto rank = static_cast<size_t>(std::ceil(share * static_cast<double>(sorted.size())));
    const auto at = sorted.begin() + static_cast<ptrdiff_t>(std::max<size_t>(rank, 1) - 1);
    std::nth_element(sorted.begin(), at, sorted.end());
    return *at;
}

std::string Series::json() const {
    if (values_.empty()) return "null";
    return JsonObject()
        .add("p50", percentile(0.5))
        .add("p95", percentile(0.95))
        .add("p99", percentile(0.99))
        .add("max", percentile(1))
        .line();
}

void Statistics::linkAccepted(Moment now) {
    const MutexLock lock(lock_);
    ++connections_;
    accepted_ = now;
    link_ = {};
    dropsOfEndedLinks_ += drops_;
    drops_ = 0;
    if (firstShown_) showing_ += lastShown_ - *firstShown_;
    firstShown_.reset();
    leastOffset_.reset();
}

void Statistics::received(size_t bytes) {
    const MutexLock lock(lock_);
    bytes_ += bytes;
    recentBytes_.push_back({Clock::now(), bytes});
    forgetOlder(recentBytes_, recentBytes_.back().when);
}

void Statistics::message(uint8_t type) {
    const MutexLock lock(lock_);
    ++messages_[nameOf(type)];
}

void Statistics::sent(wire::MessageType type) {
    const MutexLock lock(lock_);
    ++sent_[nameOf(static_cast<uint8_t>(type))];
}

void Statistics::protocolError() {
    const MutexLock lock(lock_);
    ++protocolErrors_;
}

void Statistics::linkNamed(const std::string& name) {
    const MutexLock lock(lock_);
    linkName_ = name;
}

void Statistics::settings(const std::string& line) {
    const MutexLock lock(lock_);
    settings_ = line;
}

void Statistics::overlay(bool shown) {
    const MutexLock lock(lock_);
    overlay_ = shown;
}

void Statistics::smoothing(uint8_t frames) {
    const MutexLock lock(lock_);
    smoothing_ = frames;
}

void Statistics::drops(uint32_t count) {
    const MutexLock lock(lock_);
    drops_ = count;
}

void Statistics::malformedConfiguration() {
    const MutexLock lock(lock_);
    ++decodeErrors_;
    ++link_.decodeErrors;
}

void Statistics::noteSize(Size size) {
    const std::string text = sizeText(size);
    if (std::find(sizes_.begin(), sizes_.end(), text) == sizes_.end()) sizes_.push_back(text);
}

void Statistics::decoded(const VideoDecoder::Result& result, const FrameTimes& times) {
    const MutexLock lock(lock_);
    if (result.failed) {
        ++decodeErrors_;
        ++link_.decodeErrors;
    }
    if (result.missingReference) {
        ++missingReferences_;
        ++link_.missingReferences;
    }
    if (!result.picture) return;
    ++framesDecoded_;
    noteSize(result.picture->size());
    transfer_.add(milliseconds(times.complete - times.arrival));
    decode_.add(milliseconds(times.decoded - times.complete));
}

void Statistics::shown(const FrameTimes& times, Moment now) {
    const MutexLock lock(lock_);
    ++framesShown_;
    ++link_.shown;
    if (!firstFrameMs_) firstFrameMs_ = milliseconds(now - accepted_);
    if (firstShown_) maxGapMs_ = std::max(maxGapMs_, milliseconds(now - lastShown_));
    if (!firstShown_) firstShown_ = now;
    lastShown_ = now;
    const double latency = milliseconds(now - times.arrival);
    latency_.add(latency);

    // The clocks of both ends are strangers, but the frame that came fastest tells their difference.
    const std::chrono::microseconds sent(std::min(times.pts, kLargestPts));
    const auto offset = now.time_since_epoch() - sent;
    if (!leastOffset_ || offset < *leastOffset_) leastOffset_ = offset;
    lag_.add(milliseconds(offset - *leastOffset_));

    recentFrames_.push_back({now, latency, milliseconds(times.decoded - times.complete)});
    forgetOlder(recentFrames_, now);
}

Statistics::Live Statistics::live(Moment now) {
    const MutexLock lock(lock_);
    forgetOlder(recentBytes_, now);
    forgetOlder(recentFrames_, now);
    Live live;
    live.drops = drops_;
    live.fps = static_cast<double>(recentFrames_.size());
    for (const Arrived& each : recentBytes_) live.mbps += static_cast<double>(each.bytes) * 8e-6;
    Series latency;
    Series decode;
    for (const Shown& each : recentFrames_) {
        latency.add(each.latencyMs);
        decode.add(each.decodeMs);
    }
    live.latencyMs = latency.percentile(0.5);
    live.decodeMs = decode.percentile(0.5);
    return live;
}

Statistics::LinkCounts Statistics::linkCounts() const {
    const MutexLock lock(lock_);
    return link_;
}

double Statistics::secondsShowing() const {
    auto showing = showing_;
    if (firstShown_) showing += lastShown_ - *firstShown_;
    return std::chrono::duration<double>(showing).count();
}

std::string Statistics::summary(const std::string& greeting, Size panel) const {
    const MutexLock lock(lock_);
    const double showing = secondsShowing();
    const auto rate = [&](double amount) { return showing > 0 ? amount / showing : 0; };
    JsonObject object;
    object.add("greeting", greeting)
        .add("panel", sizeText(panel))
        .add("connections", connections_)
        .add("link", linkName_)
        .add("settings", settings_)
        .add("overlay", overlay_)
        .add("smoothing", smoothing_)
        .add("sizes", sizes_)
        .add("bytes", bytes_)
        .addJson("messages", countsJson(messages_))
        .addJson("sent", countsJson(sent_))
        .add("framesReceived", countOf(messages_, "videoFrame"))
        .add("framesDecoded", framesDecoded_)
        .add("framesShown", framesShown_)
        .add("decodeErrors", decodeErrors_)
        .add("missingReferences", missingReferences_)
        .add("protocolErrors", protocolErrors_)
        .add("dropsReported", dropsOfEndedLinks_ + drops_)
        .add("cursorUpdates", countOf(messages_, "cursor"))
        .add("secondsShowing", showing)
        .add("fps", framesShown_ > 0 ? rate(static_cast<double>(framesShown_ - 1)) : 0)
        .add("mbps", rate(static_cast<double>(bytes_) * 8e-6))
        .addJson("latencyMs", latency_.json())
        .addJson("transferMs", transfer_.json())
        .addJson("decodeMs", decode_.json())
        .addJson("lagMs", lag_.json())
        .addJson("firstFrameMs", firstFrameMs_ ? formatted("%.3f", *firstFrameMs_) : "null")
        .add("maxGapMs", maxGapMs_);
    return object.text();
}

}  // namespace quillon::device
