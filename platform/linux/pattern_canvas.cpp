#include "platform/linux/pattern_canvas.hpp"

#include <dlfcn.h>

#include <chrono>
#include <ctime>

#include "base/log.hpp"
#include "base/text.hpp"
#include "platform/linux/pattern/module.hpp"
#include "platform/linux/program_files.hpp"

namespace quillon {

namespace {

using CanvasMaker = decltype(&quillonMakePatternCanvas);

CanvasMaker loadCanvasMaker() {
    const std::string file = supportFile("libquillon-pattern.so");
    void* const module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const maker = module != nullptr ? dlsym(module, "quillonMakePatternCanvas") : nullptr;
    if (maker == nullptr) Log::write(formatted("pattern: %s", dlerror()));
    return reinterpret_cast<CanvasMaker>(maker);
}

}  // namespace

std::unique_ptr<PatternCanvas> CairoPatternCanvases::make(int width, int height) {
    // The module stays for the life of the process: pictures that it made may outlive everything else.
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
