#include "platform/linux/edid.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace quillon {

namespace {

constexpr std::array<uint8_t, 8> kHeader{0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
constexpr size_t kPreferred = 54;
constexpr size_t kRanges = 72;
constexpr size_t kName = 90;
constexpr size_t kFiller = 108;
constexpr size_t kChecksum = 127;

constexpr uint8_t kRangesTag = 0xFD;
constexpr uint8_t kNameTag = 0xFC;
constexpr uint8_t kFillerTag = 0x10;

constexpr int kTimingLimit = 1 << 12;    // pixels and lines of a detailed timing
constexpr uint32_t kClockUnit = 10'000;  // Hz, 16 bits
constexpr uint32_t kRangeClockUnit = 10'000'000;

uint8_t low(uint32_t value) {
    return static_cast<uint8_t>(value & 0xFF);
}

/// The bits 8 to 11 of two values in one byte.
uint8_t highNibbles(uint32_t first, uint32_t second) {
    return static_cast<uint8_t>((first >> 8 & 0xF) << 4 | (second >> 8 & 0xF));
}

uint8_t limited(double value) {
    return static_cast<uint8_t>(std::clamp(std::lround(value), 1L, 255L));
}

bool fits(const VideoTiming& timing) {
    return timing.across.visible < kTimingLimit && timing.down.visible < kTimingLimit &&
           timing.pixelClock / kClockUnit <= 0xFFFF;
}

void writeTag(uint8_t* at, uint8_t tag) {
    at[3] = tag;
}

void writeTiming(uint8_t* at, const MonitorDescription& monitor) {
    const VideoTiming& timing = monitor.preferred;
    const VideoTiming::Axis& x = timing.across;
    const VideoTiming::Axis& y = timing.down;
    const uint32_t clock = timing.pixelClock / kClockUnit;
    const uint32_t blankX = x.total - x.visible;
    const uint32_t blankY = y.total - y.visible;
    const uint32_t frontX = x.syncBegin - x.visible;
    const uint32_t frontY = y.syncBegin - y.visible;
    const uint32_t syncX = x.syncEnd - x.syncBegin;
    const uint32_t syncY = y.syncEnd - y.syncBegin;
    const auto width = static_cast<uint32_t>(std::lround(monitor.widthMillimetres));
    const auto height = static_cast<uint32_t>(std::lround(monitor.heightMillimetres));
    constexpr uint8_t kSeparateSyncs = 0x1E;  // both positive
    const std::array<uint8_t, 18> bytes{low(clock),
                                        low(clock >> 8),
                                        low(x.visible),
                                        low(blankX),
                                        highNibbles(x.visible, blankX),
                                        low(y.visible),
                                        low(blankY),
                                        highNibbles(y.visible, blankY),
                                        low(frontX),
                                        low(syncX),
                                        static_cast<uint8_t>(frontY << 4 | syncY),
                                        0,
                                        low(width),
                                        low(height),
                                        highNibbles(width, height),
                                        0,
                                        0,
                                        kSeparateSyncs};
    std::ranges::copy(bytes, at);
}

void writeRanges(uint8_t* at, const MonitorDescription& monitor) {
    const double lines = monitor.preferred.down.total * monitor.refreshRate / 1000;  // kHz
    writeTag(at, kRangesTag);
    at[5] = limited(monitor.refreshRate - 1);
    at[6] = limited(monitor.refreshRate + 1);
    at[7] = 1;
    at[8] = limited(lines + 1);
    at[9] = limited(std::ceil(static_cast<double>(monitor.preferred.pixelClock) / kRangeClockUnit));
    at[11] = '\n';
    std::fill_n(at + 12, 6, ' ');
}

void writeName(uint8_t* at, std::string_view name) {
    constexpr size_t kRoom = 13;
    writeTag(at, kNameTag);
    std::fill_n(at + 5, kRoom, ' ');
    const size_t length = std::min(name.size(), kRoom);
    std::ranges::transform(name.substr(0, length), at + 5, [](char letter) {
        return static_cast<uint8_t>(letter >= ' ' && letter <= '~' ? letter : '?');
    });
    if (length < kRoom) at[5 + length] = '\n';
}

}  // namespace

Edid edidOf(const MonitorDescription& monitor) {
    Edid edid{};
    std::ranges::copy(kHeader, edid.begin());
    edid[8] = low(monitor.identity.vendor >> 8);
    edid[9] = low(monitor.identity.vendor);
    edid[10] = low(monitor.identity.model);
    edid[11] = low(monitor.identity.model >> 8);
    for (size_t i = 0; i < 4; ++i) edid[12 + i] = low(monitor.serial >> (8 * i));
    edid[17] = 34;  // made in 2024, counted from 1990
    edid[18] = 1;
    edid[19] = 3;
    edid[20] = 0x80;  // digital
    edid[21] = limited(monitor.widthMillimetres / 10);
    edid[22] = limited(monitor.heightMillimetres / 10);
    edid[23] = 120;   // gamma 2.2
    edid[24] = 0x06;  // sRGB; the first timing is the preferred one
    constexpr std::array<uint8_t, 10> kSrgb{0xEE, 0x91, 0xA3, 0x54, 0x4C, 0x99, 0x26, 0x0F, 0x50, 0x54};
    std::ranges::copy(kSrgb, edid.begin() + 25);
    std::fill_n(edid.begin() + 38, 16, uint8_t{1});
    if (fits(monitor.preferred)) {
        writeTiming(&edid[kPreferred], monitor);
    } else {
        writeTag(&edid[kPreferred], kFillerTag);
    }
    writeRanges(&edid[kRanges], monitor);
    writeName(&edid[kName], monitor.name);
    writeTag(&edid[kFiller], kFillerTag);
    edid[kChecksum] = low(0x100u - low(std::accumulate(edid.begin(), edid.end(), 0u)));
    return edid;
}

Displays::Identity identityFromEdid(std::span<const uint8_t> edid) {
    if (edid.size() < sizeof(Edid)) return {};
    return {static_cast<uint32_t>(edid[8] << 8 | edid[9]), static_cast<uint32_t>(edid[11] << 8 | edid[10])};
}

}  // namespace quillon
