#include "platform/simulated/desktop.hpp"

#include "base/text.hpp"

namespace quillon::simulated {

SimulatedDisplays::Display* SimulatedDisplays::find(DisplayID id) {
    const auto found =
        std::find_if(all.begin(), all.end(), [id](const Display& each) { return each.id == id; });
    return found == all.end() ? nullptr : &*found;
}

SimulatedDisplays::Display* SimulatedDisplays::toConfigure(DisplayID id) {
    if (!isAnswered() || refusesConfiguration) return nullptr;
    if (configurationTime > Duration::zero()) {
        Machine::WaitPoint never;
        machine_.wait(never, machine_.now() + configurationTime);
    }
    return find(id);
}

std::vector<DisplayID> SimulatedDisplays::active() {
    std::vector<DisplayID> ids;
    if (!isAnswered()) return ids;
    for (const Display& each : all) ids.push_back(each.id);
    return ids;
}

DisplayID SimulatedDisplays::main() {
    return isAnswered() && !all.empty() ? all.front().id : 0;
}

Rect SimulatedDisplays::bounds(DisplayID display) {
    const Display* const found = asked(display);
    return found ? found->bounds : Rect{};
}

Displays::Identity SimulatedDisplays::identity(DisplayID display) {
    const Display* const found = asked(display);
    return found ? found->identity : Identity{};
}

std::vector<DisplayMode> SimulatedDisplays::modes(DisplayID display) {
    const Display* const found = asked(display);
    return found ? found->modes : std::vector<DisplayMode>{};
}

std::optional<DisplayMode> SimulatedDisplays::currentMode(DisplayID display) {
    const Display* const found = asked(display);
    return found ? found->current : std::nullopt;
}

bool SimulatedDisplays::setMode(DisplayID display, const DisplayMode& mode) {
    Display* const found = toConfigure(display);
    if (!found) return false;
    ++modeChanges;
    found->current = mode;
    found->bounds.width = mode.width;
    found->bounds.height = mode.height;
    return true;
}

Displays::Mirroring SimulatedDisplays::mirroring(DisplayID display) {
    const Display* const found = asked(display);
    return found ? found->mirroring : Mirroring{};
}

bool SimulatedDisplays::stopMirroring(DisplayID display) {
    Display* const found = toConfigure(display);
    if (!found) return false;
    found->mirroring = {};
    return true;
}

bool SimulatedDisplays::setOrigin(DisplayID display, int x, int y) {
    Display* const found = toConfigure(display);
    if (!found) return false;
    ++moves;
    found->bounds.x = x;
    found->bounds.y = y;
    return true;
}

namespace {

class SimulatedVirtualDisplay : public VirtualDisplay {
  public:
    SimulatedVirtualDisplay(SimulatedDisplays& displays, int& living, DisplayID id)
        : displays_(displays), living_(living), id_(id) {
        ++living_;
    }
    ~SimulatedVirtualDisplay() override {
        --living_;
        std::erase_if(displays_.all, [this](const auto& each) { return each.id == id_; });
    }
    SimulatedVirtualDisplay(const SimulatedVirtualDisplay&) = delete;
    SimulatedVirtualDisplay& operator=(const SimulatedVirtualDisplay&) = delete;

    DisplayID id() const override { return displays_.find(id_) != nullptr ? id_ : 0; }

  private:
    SimulatedDisplays& displays_;
    int& living_;
    DisplayID id_;
};

}  // namespace

std::unique_ptr<VirtualDisplay> SimulatedVirtualDisplays::create(const VirtualDisplayRequest& request) {
    ++attempts;
    if (!offered || request.modes.empty()) return nullptr;
    if (refusals > 0) {
        --refusals;
        return nullptr;
    }
    SimulatedDisplays::Display display;
    display.id = ++lastID_;
    display.identity = VirtualMonitor::kIdentity;
    uint32_t token = 0;
    for (const Size size : request.modes) {
        display.modes.push_back({size.width, size.height, size.width, size.height, ++token});
        if (hiDPI && size.width % 2 == 0 && size.height % 2 == 0) {
            display.modes.push_back({size.width / 2, size.height / 2, size.width, size.height, ++token});
        }
    }
    display.current = display.modes.front();
    double right = 0;
    for (const auto& each : displays_.all) right = std::max(right, each.bounds.maxX());
    display.bounds = {right, 0, static_cast<double>(display.current->width),
                      static_cast<double>(display.current->height)};
    displays_.all.push_back(display);
    return std::make_unique<SimulatedVirtualDisplay>(displays_, living, display.id);
}

class SimulatedPointer::Observer : public Pointer::Observation {
  public:
    Observer(SimulatedPointer& pointer, std::function<void()> onMotion)
        : pointer_(pointer), onMotion_(std::move(onMotion)) {
        pointer_.observers_.push_back(this);
    }
    ~Observer() override { std::erase(pointer_.observers_, this); }
    Observer(const Observer&) = delete;
    Observer& operator=(const Observer&) = delete;
    void tell() const { onMotion_(); }

  private:
    SimulatedPointer& pointer_;
    std::function<void()> onMotion_;
};

void SimulatedPointer::moveTo(Point to) {
    place = to;
    for (const Observer* const each : std::vector<Observer*>(observers_)) each->tell();
}

std::optional<Point> SimulatedPointer::location() {
    ++looks;
    return place;
}

std::unique_ptr<Pointer::Observation> SimulatedPointer::observeMotion(std::function<void()> onMotion) {
    if (!tellsMotion) return nullptr;
    return std::make_unique<Observer>(*this, std::move(onMotion));
}

bool SimulatedWindows::move(uint64_t id, Point origin) {
    for (Window& window : windows) {
        if (window.id != id) continue;
        window.frame.x = origin.x;
        window.frame.y = origin.y;
        return true;
    }
    return false;
}

std::optional<std::string> SimulatedSettingsStore::string(const std::string& key) {
    const auto found = values.find(key);
    if (found == values.end()) return std::nullopt;
    return textOf(found->second);
}

std::optional<int64_t> SimulatedSettingsStore::integer(const std::string& key) {
    return parseInteger(string(key).value_or(""));
}

std::optional<bool> SimulatedSettingsStore::boolean(const std::string& key) {
    return parseBoolean(string(key).value_or(""));
}

void SimulatedSettingsStore::write(const std::vector<SettingsChange>& changes) {
    for (const SettingsChange& change : changes) {
        values.erase(change.key);
        if (change.value) values.emplace(change.key, *change.value);
    }
}

}  // namespace quillon::simulated
