#pragma once

#include "tests/session/session_fixture.hpp"
#include "transport/wire_protocol.hpp"

namespace quillon {

/// A session that extends the desktop by a virtual display, which always gets the identifier 101.
class ArrangingTest : public SessionTest {
  protected:
    static constexpr DisplayID kVirtual = 101;

    ArrangingTest() : device(machine.attachDevice("tablet-1")) { machine.virtualScreens.hiDPI = false; }

    static Session::Config extending() {
        Session::Config config;
        config.transport = Transport::usb;
        return config;
    }
    void start(const Session::Config& config) {
        session->start(config);
        ASSERT_TRUE(eventuallyRunning());
        run(100ms);
    }
    void report(std::string_view panel) { device->send(12, viewOf(panel)); }

    simulated::SimulatedDisplays::Display& display() { return *machine.screens.find(kVirtual); }
    Size mode() { return {display().current->width, display().current->height}; }
    size_t links() const { return device->connectedAt.size(); }
    Point touch(float x, float y) {
        device->send(4, wire::inputPayload({wire::Input::press, x, y, 0, 0}));
        const size_t before = machine.mouse.posted.size();
        EXPECT_TRUE(eventually([&] { return machine.mouse.posted.size() > before; }));
        return machine.mouse.posted.back().place;
    }

    const std::shared_ptr<simulated::Device> device;
};

}  // namespace quillon
