#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/displays.hpp"
#include "platform/permissions.hpp"
#include "platform/pointer.hpp"
#include "platform/settings_store.hpp"
#include "platform/simulated/machine.hpp"
#include "platform/virtual_displays.hpp"
#include "platform/windows.hpp"

namespace quillon::simulated {

/// The displays of the simulated desktop; the first one listed is the main display. Everything that
/// the operating system could refuse has a switch.
class SimulatedDisplays : public Displays {
  public:
    explicit SimulatedDisplays(Machine& machine) : machine_(machine) {}

    struct Display {
        DisplayID id = 0;
        Rect bounds;
        Identity identity;
        std::vector<DisplayMode> modes;
        std::optional<DisplayMode> current;
        Mirroring mirroring;
    };

    std::vector<Display> all{{1, {0, 0, 1920, 1080}, {}, {{1920, 1080, 1920, 1080, 1}}, {}, {}}};
    bool refusesConfiguration = false;
    Duration configurationTime{};     ///< that a change of mode, mirroring or place takes
    std::function<bool(int)> answer;  ///< given the number of each call, from 1: false makes it fail
    int calls = 0;
    int modeChanges = 0;  ///< of mode, and
    int moves = 0;        ///< of place

    Display* find(DisplayID id);

    std::vector<DisplayID> active() override;
    DisplayID main() override;
    Rect bounds(DisplayID display) override;
    Identity identity(DisplayID display) override;
    std::vector<DisplayMode> modes(DisplayID display) override;
    std::optional<DisplayMode> currentMode(DisplayID display) override;
    bool setMode(DisplayID display, const DisplayMode& mode) override;
    Mirroring mirroring(DisplayID display) override;
    bool stopMirroring(DisplayID display) override;
    bool setOrigin(DisplayID display, int x, int y) override;

  private:
    bool isAnswered() { return ++calls, !answer || answer(calls); }
    Display* asked(DisplayID id) { return isAnswered() ? find(id) : nullptr; }
    Display* toConfigure(DisplayID id);

    Machine& machine_;
};

/// Virtual monitors: each appears among the displays as long as its handle lives.
class SimulatedVirtualDisplays : public VirtualDisplays {
  public:
    explicit SimulatedVirtualDisplays(SimulatedDisplays& displays) : displays_(displays) {}

    bool offered = true;  ///< false: a system without virtual displays
    bool hiDPI = true;    ///< offers each size also at twice its density, as far as the pixels allow
    int refusals = 0;     ///< the next so many creations fail
    int attempts = 0;
    int living = 0;

    std::unique_ptr<VirtualDisplay> create(const VirtualDisplayRequest& request) override;
    /// Here a monitor ends with its handle, whatever happens.
    void removeLeftovers() override {}

  private:
    SimulatedDisplays& displays_;
    DisplayID lastID_ = 100;
};

class SimulatedPointer : public Pointer {
  public:
    struct Posted {
        Event event;
        Point place;
        bool operator==(const Posted&) const = default;
    };
    /// In whole pixels.
    struct Scrolled {
        int vertical = 0;
        int horizontal = 0;
        bool operator==(const Scrolled&) const = default;
    };

    std::optional<Point> place = Point{100, 100};
    bool tellsMotion = true;
    int looks = 0;  ///< how often someone asked for the place
    std::vector<Posted> posted;
    std::vector<Scrolled> scrolled;

    void moveTo(Point to);

    std::optional<Point> location() override;
    std::unique_ptr<Observation> observeMotion(std::function<void()> onMotion) override;
    void post(Event event, Point at) override { posted.push_back({event, at}); }
    void postScroll(double vertical, double horizontal) override {
        scrolled.push_back({wholePixels(vertical), wholePixels(horizontal)});
    }

  private:
    class Observer;
    std::vector<Observer*> observers_;
};

class SimulatedWindows : public Windows {
  public:
    std::vector<Window> windows;

    std::vector<Window> all() override { return windows; }
    bool move(uint64_t id, Point origin) override;
};

class SimulatedPermissions : public Permissions {
  public:
    bool asks = true;
    bool capture = true;
    bool control = true;
    int captureRequests = 0;
    int controlRequests = 0;

    bool asksUser() override { return asks; }
    bool canCaptureScreen() override { return capture; }
    bool requestScreenCapture() override {
        ++captureRequests;
        return capture;
    }
    bool isTrustedForControl() override { return control; }
    void requestControl() override { ++controlRequests; }
};

/// Keeps each value with its type; a test may put anything under any key.
class SimulatedSettingsStore : public SettingsStore {
  public:
    std::map<std::string, SettingsValue> values;

    bool contains(const std::string& key) override { return values.contains(key); }
    std::optional<std::string> string(const std::string& key) override;
    std::optional<int64_t> integer(const std::string& key) override;
    std::optional<bool> boolean(const std::string& key) override;
    void write(const std::vector<SettingsChange>& changes) override;
};

}  // namespace quillon::simulated
