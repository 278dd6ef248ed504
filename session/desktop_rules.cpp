#include "session/desktop_rules.hpp"

#include <algorithm>
#include <cmath>

namespace quillon {

namespace {

int longSide(Size size) {
    return std::max(size.width, size.height);
}

int shortSide(Size size) {
    return std::min(size.width, size.height);
}

bool fits(Size resolution, Size panel) {
    return longSide(resolution) <= longSide(panel) && shortSide(resolution) <= shortSide(panel);
}

int64_t area(Size size) {
    return int64_t{size.width} * size.height;
}

}  // namespace

std::optional<DisplayMode> modeFor(const std::vector<DisplayMode>& modes, Size size) {
    for (const int density : {2, 1}) {
        const auto found = std::ranges::find_if(modes, [&](const DisplayMode& mode) {
            return mode.width == size.width && mode.height == size.height &&
                   mode.pixelWidth == int64_t{density} * size.width;
        });
        if (found != modes.end()) return *found;
    }
    return std::nullopt;
}

std::vector<Size> resolutionsFor(const std::vector<DisplayMode>& modes, std::optional<Size> panel) {
    std::vector<Size> resolutions;
    for (const DisplayMode& mode : modes) {
        const Size size{mode.width, mode.height};
        if (panel && !fits(size, *panel)) continue;
        if (std::ranges::find(resolutions, size) == resolutions.end()) resolutions.push_back(size);
    }
    std::ranges::stable_sort(resolutions, {}, &Size::width);
    return resolutions;
}

std::optional<Size> resolutionFollowing(const std::vector<Size>& resolutions, Size panel) {
    constexpr double kReadable = 0.8;
    std::vector<Size> candidates;
    std::ranges::copy_if(resolutions, std::back_inserter(candidates),
                         [&](Size size) { return fits(size, panel); });
    const auto isReadable = [&](Size size) { return longSide(size) <= kReadable * longSide(panel); };
    if (std::ranges::any_of(candidates, isReadable)) {
        std::erase_if(candidates, [&](Size size) { return !isReadable(size); });
    }
    const auto distance = [wanted = aspect(panel)](Size size) { return std::abs(aspect(size) - wanted); };
    const auto best = std::ranges::min_element(candidates, [&](Size a, Size b) {
        if (distance(a) != distance(b)) return distance(a) < distance(b);
        return area(a) > area(b);
    });
    if (best == candidates.end()) return std::nullopt;
    return *best;
}

double aspect(Size size) {
    return static_cast<double>(size.width) / static_cast<double>(std::max(size.height, 1));
}

Point originBeside(const Rect& main, std::string_view position, Size size) {
    if (position == "left") return {main.x - size.width, main.y};
    if (position == "above") return {main.x, main.y - size.height};
    if (position == "below") return {main.x, main.maxY()};
    return {main.maxX(), main.y};
}

std::optional<Scaling> automaticScaling(Size panel, Size desktop) {
    constexpr double kNotableDifference = 0.25;
    if (panel.isEmpty() || desktop.isEmpty()) return std::nullopt;
    const double difference = std::abs(aspect(panel) - aspect(desktop)) / aspect(desktop);
    return difference > kNotableDifference ? Scaling::fill : Scaling::fit;
}

}  // namespace quillon
