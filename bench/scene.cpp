// quillon-scene SCENE: plays a scene on DISPLAY, the same pictures every time.
//
//     --fps N           of the scenes that always move (default 30)
//     --size WxH        default: the whole screen; needed with --render
//     --seconds N       default: until the program is ended
//     --log FILE        a line "index drawn asked" for every picture that the server has drawn: when it
//                       had, and when it was asked to (nanoseconds, CLOCK_MONOTONIC)
//     --render N FILE   instead of playing, writes picture N: a PPM, or raw BGRX rows for FILE.bgra
//
// Prints "ready" when the first picture is on the screen.

#include <signal.h>
#include <time.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/scenes.hpp"
#include "bench/x_screen.hpp"

namespace quillon::bench {
namespace {

struct Arguments {
    std::string_view scene;
    SceneFormat format;
    double seconds = 0;
    std::string log;
    std::optional<uint32_t> renderIndex;
    std::string renderFile;
};

struct CloseFile {
    void operator()(FILE* file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

File openToWrite(const std::string& path) {
    File file(fopen(path.c_str(), "wb"));
    if (!file) throw std::runtime_error(path + ": " + std::strerror(errno));
    return file;
}

template <typename Number>
Number number(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw std::invalid_argument("not a number: " + std::string(text));
    }
    return value;
}

Arguments parse(const std::vector<std::string_view>& words) {
    Arguments result;
    size_t at = 0;
    const auto next = [&] {
        if (++at >= words.size()) throw std::invalid_argument("a value is missing at the end");
        return words[at];
    };
    for (; at < words.size(); ++at) {
        if (words[at] == "--fps") {
            result.format.fps = number<int>(next());
        } else if (words[at] == "--seconds") {
            result.seconds = number<double>(next());
        } else if (words[at] == "--log") {
            result.log = next();
        } else if (words[at] == "--size") {
            const std::string_view text = next();
            const size_t cross = std::min(text.find('x'), text.size() - 1);
            result.format.size = {number<int>(text.substr(0, cross)), number<int>(text.substr(cross + 1))};
        } else if (words[at] == "--render") {
            result.renderIndex = number<uint32_t>(next());
            result.renderFile = next();
        } else {
            result.scene = words[at];
        }
    }
    if (result.scene.empty() || result.format.fps < 1)
        throw std::invalid_argument("which scene, and how fast?");
    return result;
}

std::unique_ptr<Scene> sceneOf(const Arguments& arguments, SceneFormat format, SheetStore& store) {
    auto scene = makeMarkedScene(arguments.scene, format, store);
    if (!scene) throw std::invalid_argument("no such scene: " + std::string(arguments.scene));
    return scene;
}

void render(const Arguments& arguments) {
    HeapSheets store;
    const Size size = arguments.format.size;
    auto scene = sceneOf(arguments, arguments.format, store);
    const Sheet picture = store.make(size);
    SheetSurface surface(picture);
    scene->draw(*arguments.renderIndex, std::nullopt, surface);

    const File file = openToWrite(arguments.renderFile);
    if (arguments.renderFile.ends_with(".bgra")) {
        fwrite(picture.pixels, sizeof(uint32_t), static_cast<size_t>(size.width) * size.height, file.get());
        return;
    }
    fprintf(file.get(), "P6\n%d %d\n255\n", size.width, size.height);
    for (int i = 0; i < size.width * size.height; ++i) {
        for (int shift = 16; shift >= 0; shift -= 8)
            fputc(static_cast<int>(picture.pixels[i] >> shift & 0xFF), file.get());
    }
}

constexpr int64_t kSecond = 1'000'000'000;

int64_t now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * kSecond + time.tv_nsec;
}

volatile sig_atomic_t ended = 0;

/// Waits for a moment; a signal ends the wait early.
void waitUntil(int64_t moment) {
    const timespec time{moment / kSecond, moment % kSecond};
    if (!ended) clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
}

void play(const Arguments& arguments) {
    XScreen screen(arguments.format.size);
    SceneFormat format = arguments.format;
    format.size = screen.size();
    auto scene = sceneOf(arguments, format, screen);
    const File log = arguments.log.empty() ? nullptr : openToWrite(arguments.log);

    const double rate = scene->rate();
    const int64_t start = now();
    const int64_t end = arguments.seconds > 0 ? start + std::llround(arguments.seconds * kSecond) : INT64_MAX;
    std::optional<uint32_t> shown;
    for (uint32_t index = 0; !ended;) {
        const int64_t asked = now();
        screen.begin();
        scene->draw(index, shown, screen);
        screen.end();
        const int64_t drawn = now();
        if (log) {
            fprintf(log.get(), "%u %lld %lld\n", index, static_cast<long long>(drawn),
                    static_cast<long long>(asked));
            fflush(log.get());
        }
        if (!shown) {
            puts("ready");
            fflush(stdout);
        }
        shown = index;
        // Pictures that are late already are left out: the scene keeps its speed on a busy machine.
        if (rate > 0)
            index = std::max(index + 1,
                             static_cast<uint32_t>(static_cast<double>(drawn - start) / kSecond * rate));
        const int64_t due = rate > 0 ? start + std::llround(index / rate * kSecond) : end;
        waitUntil(std::min(due, end));
        if (now() >= end) break;
    }
}

}  // namespace
}  // namespace quillon::bench

int main(int argc, char** argv) {
    using namespace quillon::bench;
    try {
        const Arguments arguments = parse({argv + 1, argv + argc});
        struct sigaction action {};
        action.sa_handler = [](int) { ended = 1; };
        sigaction(SIGTERM, &action, nullptr);
        sigaction(SIGINT, &action, nullptr);
        if (arguments.renderIndex) {
            render(arguments);
        } else {
            play(arguments);
        }
    } catch (const std::exception& problem) {
        fprintf(stderr, "quillon-scene: %s\n", problem.what());
        return 1;
    }
    return 0;
}
