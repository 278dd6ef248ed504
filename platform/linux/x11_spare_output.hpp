#pragma once

#include <optional>
#include <string>

namespace quillon {

/// What decides whether an output can become a virtual display.
struct OutputFacts {
    std::string name;
    bool isOn = false;
    bool connected = false;
    bool hasEdid = false;      ///< a monitor has said what it is
    bool hasFreeCrtc = false;  ///< something that could drive it
};

/// How well an output suits; the lower the better.
enum class SpareRank {
    virtualHead,   ///< made for pictures that no wire carries
    forced,        ///< declared to be connected by the user, with nothing behind it
    secondCard,    ///< disconnected, of a further card: what evdi's devices look like
    disconnected,  ///< a connector of the graphics card; not every driver lights one without a monitor
};

/// Nothing for an output that is or may be somebody's monitor, also one that is switched off.
std::optional<SpareRank> spareRank(const OutputFacts& output);

}  // namespace quillon
