#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/bytes.hpp"
#include "base/geometry.hpp"
#include "base/stream_types.hpp"

// The wire protocol between host and device: pure functions from values to bytes and back. All
// multi-byte integers are big-endian. docs/protocol.md tells the same to authors of companion apps.
//
// A message, alike in both directions:
//
//      0      1              5                              13
//     +------+--------------+------------------------------+-----------------
//     | type | length (u32) | pts (u64, microseconds)      | length bytes ...
//     +------+--------------+------------------------------+-----------------
//
// Before its first message the device sends a greeting: one line of text ended by a line feed.

namespace quillon::wire {

enum class MessageType : uint8_t {
    // host to device
    codecConfiguration = 1,
    videoFrame = 2,
    smoothing = 5,
    cursor = 6,
    linkName = 7,
    settingsLine = 8,
    dropCount = 9,
    overlay = 10,
    // device to host
    acknowledgement = 3,
    input = 4,
    panelReport = 12,
    keepAlive = 15,
};

inline constexpr size_t kHeaderSize = 13;

struct Header {
    uint8_t type = 0;     ///< a MessageType, or one that this version does not know
    uint32_t length = 0;  ///< payload bytes after the header
    uint64_t pts = 0;     ///< session clock; echoed in acknowledgements, 0 elsewhere
    bool operator==(const Header&) const = default;
};

void storeHeader(uint8_t* at, const Header& header);
/// `bytes` holds at least kHeaderSize bytes.
Header loadHeader(const uint8_t* bytes);

/// Puts header and payload into `buffer`, in place of what it held; its memory is used again. A payload of
/// more than 4294967295 bytes is a broken invariant and stops the process.
void encodeMessage(Bytes& buffer, MessageType type, uint64_t pts, ByteView payload);
Bytes encodedMessage(MessageType type, uint64_t pts, ByteView payload);

// --- Payloads of the host -------------------------------------------------------------------------

/// Pointer on the streamed display: fractions of its width and height, 0..1.
///
///      0         1            5            9
///     +---------+------------+------------+
///     | visible | x (f32)    | y (f32)    |
///     +---------+------------+------------+
struct Cursor {
    bool visible = false;
    double x = 0;
    double y = 0;
};
inline constexpr size_t kCursorSize = 9;
Bytes cursorPayload(const Cursor& cursor);
std::optional<Cursor> parseCursor(ByteView payload);

/// Frames of smoothing, clamped to a byte.
uint8_t smoothingByte(int64_t smoothness);

/// "USB", "Wi-Fi", or the whole description of any other link.
std::string linkName(std::string_view activeTransport);

/// What the settings line tells.
struct Settings {
    bool mirror = false;
    Size virtualSize;  ///< points; unused when mirroring
    int64_t smoothness = 0;
    StreamQuality quality = StreamQuality::best;
    Scaling scaling = Scaling::fit;
};
/// For example "1024×768 | Smooth Off | Balanced | Fit".
std::string settingsLine(const Settings& settings);

/// Unsigned 32-bit, clamped.
Bytes dropCountPayload(int64_t drops);

// --- Texts and payloads of the device ---------------------------------------------------------------

struct Greeting {
    int64_t protocolVersion = 1;
    std::optional<std::string> model;
    bool supportsPing() const { return protocolVersion > 1; }
};
/// The second space-separated token is the version; 1 when it is missing or no decimal integer. The third
/// is the device's model, unless it is a panel size.
Greeting parseGreeting(std::string_view line);

/// The panel size in pixels in a greeting or a panel report: the first candidate token of the form
/// width, "x", height with both numbers above 100. Of more than four tokens only the fifth and then
/// the first are candidates. Numbers that no display has (above 8192) make a token no candidate.
std::optional<Size> panelSize(std::optional<std::string_view> text);

/// A touch.
///
///      0        1         5         9          13         17
///     +--------+---------+---------+----------+----------+
///     | action | x (f32) | y (f32) | dx (f32) | dy (f32) |  more bytes are ignored
///     +--------+---------+---------+----------+----------+
struct Input {
    enum Action : uint8_t { hover = 0, press = 1, drag = 2, release = 3, scroll = 4 };
    uint8_t action = hover;  ///< any other value hovers
    float x = 0;             ///< fraction of the display's width
    float y = 0;
    float dx = 0;  ///< pixels, for a scroll
    float dy = 0;
};
inline constexpr size_t kInputSize = 17;
std::optional<Input> parseInput(ByteView payload);
Bytes inputPayload(const Input& input);

}  // namespace quillon::wire
