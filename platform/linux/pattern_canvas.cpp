#include "platform/linux/pattern_canvas.hpp"

#include <chrono>
#include <ctime>

#include "base/log.hpp"
#include "base/text.hpp"
#include "platform/linux/module.hpp"
#include "platform/linux/pattern/module.hpp"

namespace quillon {

namespace {

using CanvasMaker = decltype(&quillonMakePatternCanvas);

CanvasMaker loadCanvasMaker() {
    const ModuleSymbol maker = loadFromModule("libquillon-pattern.so", "quillonMakePatternCanvas");
    if (maker.address == nullptr) Log::write("pattern: " + maker.failure);
    return reinterpret_cast<CanvasMaker>(maker.address);
}

}  // namespace

std::unique_ptr<PatternCanvas> CairoPatternCanvases::make(int width, int height) {
    static const CanvasMaker maker = loadCanvasMaker();
    return std::unique_ptr<PatternCanvas>(maker != nullptr ? maker(width, height) : nullptr);
}

std::string CairoPatternCanvases::wallClock() {
    using namespace std::chrono;
    const auto now = floor<milliseconds>(system_clock::now());
    const auto second = floor<std::chrono::seconds>(now);
    const std::time_t time = system_clock::to_time_t(second);
    std::tm local{};
    localtime_r(&time, &local);
    return formatted("%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                     static_cast<int>((now - second).count()));
}

}  // namespace quillon
