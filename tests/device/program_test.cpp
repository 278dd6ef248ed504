#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>
#include <signal.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <cstdlib>
#include <memory>

#include "scripted_host.hpp"
#include "tests/support/child_process.hpp"
#include "tests/support/temporary_folder.hpp"
#include "tests/support/xorg_server.hpp"
#include "video_sample.hpp"

// The built program, from the command line and from the end of the wire.

namespace quillon::device {
namespace {

using quillon::testing::ChildProcess;
using quillon::testing::XorgServer;
using ::testing::HasSubstr;
using wire::MessageType;

ChildProcess::Environment withoutDisplay() {
    return {{"DISPLAY", std::nullopt}, {"WAYLAND_DISPLAY", std::nullopt}};
}

/// The libraries beneath SDL leave memory behind, and graphics drivers run threads that the sanitizers do not
/// understand. Neither must be held against the device.
ChildProcess::Environment withDisplay() {
    return {{"ASAN_OPTIONS", "detect_leaks=0"},
            {"SDL_RENDER_DRIVER", "software"},
            {"SDL_FRAMEBUFFER_ACCELERATION", "0"}};
}

uint8_t brightLeft(int, int x, int) {
    return x < 160 ? 235 : 16;
}

/// A running program that listens on a port of its own.
class RunningDevice {
  public:
    RunningDevice(std::vector<std::string> options, const ChildProcess::Environment& environment)
        : process_(command(std::move(options)), environment) {}

    ChildProcess& process() { return process_; }

    /// 0 when it does not listen.
    uint16_t port() {
        const std::string phrase = "listening on 127.0.0.1:";
        if (!process_.printed(phrase)) return 0;
        const std::string output = process_.output();
        return static_cast<uint16_t>(std::atoi(output.c_str() + output.find(phrase) + phrase.size()));
    }

  private:
    static std::vector<std::string> command(std::vector<std::string> options) {
        std::vector<std::string> all{QUILLON_DEVICE, "--bind", "127.0.0.1", "--port", "0"};
        all.insert(all.end(), options.begin(), options.end());
        return all;
    }

    ChildProcess process_;
};

int exitOf(const std::vector<std::string>& options, std::string& output) {
    std::vector<std::string> command{QUILLON_DEVICE};
    command.insert(command.end(), options.begin(), options.end());
    ChildProcess process(command, withoutDisplay());
    const int status = process.waitForEnd().value_or(-1);
    output = process.output();
    return status;
}

TEST(DeviceProgram, ExplainsACommandLineThatMakesNoSense) {
    std::string output;
    EXPECT_EQ(exitOf({"--panel", "big"}, output), 2);
    EXPECT_THAT(output, HasSubstr("quillon-device: --panel expects WxH, not \"big\""));
    EXPECT_EQ(exitOf({"--nonsense"}, output), 2);
}

TEST(DeviceProgram, TellsHelpAndVersion) {
    std::string output;
    EXPECT_EQ(exitOf({"--help"}, output), 0);
    EXPECT_THAT(output, HasSubstr("Usage: quillon-device"));
    EXPECT_EQ(exitOf({"--version"}, output), 0);
    EXPECT_THAT(output, HasSubstr("quillon-device "));
}

TEST(DeviceProgram, WithoutADisplayItSaysWhatHelps) {
    std::string output;
    EXPECT_EQ(exitOf({"--port", "0", "--bind", "127.0.0.1"}, output), 1);
    EXPECT_THAT(output, HasSubstr("--headless"));
}

TEST(DeviceProgram, AnAddressThatIsNoneIsNamed) {
    std::string output;
    EXPECT_EQ(exitOf({"--headless", "--bind", "nowhere"}, output), 1);
    EXPECT_THAT(output, HasSubstr("\"nowhere\" is no IPv4 address"));
}

TEST(DeviceProgram, EndsByItselfAfterItsTime) {
    RunningDevice device({"--headless", "--seconds", "0.2"}, withoutDisplay());
    EXPECT_EQ(device.process().waitForEnd(), 0);
}

class StreamedProgram : public ::testing::Test {
  protected:
    void SetUp() override {
        if (sample_.frames.empty()) GTEST_SKIP() << "libavcodec has no libx264 here";
    }

    /// Greets, sends a settings line and the sample; true once all frames are acknowledged.
    bool stream(ScriptedHost& host, std::string_view settings) const {
        host.readGreeting();
        host.send(MessageType::linkName, "USB");
        host.send(MessageType::settingsLine, settings);
        host.send(MessageType::codecConfiguration, 0, sample_.parameterSets);
        for (const Bytes& frame : sample_.frames) {
            host.send(MessageType::videoFrame, 1, frame);
            if (!host.readUntil(MessageType::acknowledgement)) return false;
        }
        return true;
    }

    /// Puts the pointer on the dark half; true once the device knows.
    bool movePointer(ScriptedHost& host) const {
        host.send(MessageType::cursor, 0, wire::cursorPayload({true, 0.75, 0.5}));
        host.send(MessageType::videoFrame, 2, sample_.frames[0]);
        return host.readUntil(MessageType::acknowledgement).has_value();
    }

    const VideoSample sample_ = encodeSample({320, 240}, 2, brightLeft);
    const test::TemporaryFolder folder_;
};

struct Png {
    png_image image{};
    std::vector<uint8_t> rgb;
    uint8_t redAt(size_t x, size_t y) const { return rgb[(y * image.width + x) * 3]; }
};

Png readPng(const std::string& file) {
    Png png;
    png.image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&png.image, file.c_str()) == 0) return png;
    png.image.format = PNG_FORMAT_RGB;
    png.rgb.resize(PNG_IMAGE_SIZE(png.image));
    png_image_finish_read(&png.image, nullptr, png.rgb.data(), 0, nullptr);
    return png;
}

TEST_F(StreamedProgram, WritesThePictureThatItDecoded) {
    const std::string file = folder_ / "picture.png";
    RunningDevice device({"--headless", "--snapshot", file}, withoutDisplay());
    ScriptedHost host(device.port());
    ASSERT_TRUE(stream(host, "Mirror | Smooth Off | Fit"));
    ASSERT_TRUE(movePointer(host));
    device.process().signal(SIGTERM);
    EXPECT_EQ(device.process().waitForEnd(), 0);
    const Png png = readPng(file);
    ASSERT_EQ(png.image.width, 320U);
    ASSERT_EQ(png.image.height, 240U);
    EXPECT_GT(png.redAt(80, 120), 248);
    EXPECT_LT(png.redAt(242, 124), 8) << "the pointer is not in the picture";
}

TEST_F(StreamedProgram, DrawsThePointerIntoTheSnapshotWhenAsked) {
    const std::string file = folder_ / "picture.png";
    RunningDevice device({"--headless", "--snapshot", file, "--snapshot-pointer"}, withoutDisplay());
    ScriptedHost host(device.port());
    ASSERT_TRUE(stream(host, "Mirror | Smooth Off | Fit"));
    ASSERT_TRUE(movePointer(host));
    device.process().signal(SIGTERM);
    EXPECT_EQ(device.process().waitForEnd(), 0);
    const Png png = readPng(file);
    ASSERT_EQ(png.image.width, 320U);
    int brightest = 0;
    for (size_t y = 120; y < 136; ++y) {
        for (size_t x = 240; x < 252; ++x) brightest = std::max<int>(brightest, png.redAt(x, y));
    }
    EXPECT_GT(brightest, 200) << "its white outline on the black half";
}

/// An X client that looks at the device's window and moves the mouse over it.
class Desk {
  public:
    Desk() : connection_(xcb_connect(nullptr, nullptr)) {
        root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    }
    ~Desk() { xcb_disconnect(connection_); }
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    /// Finds the only viewable window.
    bool findWindow() {
        std::unique_ptr<xcb_query_tree_reply_t, decltype(&std::free)> tree(
            xcb_query_tree_reply(connection_, xcb_query_tree(connection_, root_), nullptr), &std::free);
        for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
            const xcb_window_t window = xcb_query_tree_children(tree.get())[i];
            std::unique_ptr<xcb_get_window_attributes_reply_t, decltype(&std::free)> seen(
                xcb_get_window_attributes_reply(connection_, xcb_get_window_attributes(connection_, window),
                                                nullptr),
                &std::free);
            if (seen && seen->map_state == XCB_MAP_STATE_VIEWABLE) window_ = window;
        }
        return window_ != 0;
    }

    /// Red of a pixel of the window.
    int redAt(int16_t x, int16_t y) {
        std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> image(
            xcb_get_image_reply(
                connection_, xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window_, x, y, 1, 1, ~0U),
                nullptr),
            &std::free);
        return image ? xcb_get_image_data(image.get())[2] : -1;
    }

    void resize(uint32_t width, uint32_t height) {
        const uint32_t size[] = {width, height};
        xcb_configure_window(connection_, window_, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
        xcb_flush(connection_);
    }

    void moveTo(int16_t x, int16_t y) {
        std::unique_ptr<xcb_translate_coordinates_reply_t, decltype(&std::free)> place(
            xcb_translate_coordinates_reply(
                connection_, xcb_translate_coordinates(connection_, window_, root_, x, y), nullptr),
            &std::free);
        fake(XCB_MOTION_NOTIFY, 0, place->dst_x, place->dst_y);
    }
    void press(uint8_t button) { fake(XCB_BUTTON_PRESS, button, 0, 0); }
    void release(uint8_t button) { fake(XCB_BUTTON_RELEASE, button, 0, 0); }

  private:
    void fake(uint8_t type, uint8_t detail, int16_t x, int16_t y) {
        xcb_test_fake_input(connection_, type, detail, XCB_CURRENT_TIME, root_, x, y, 0);
        xcb_flush(connection_);
    }

    xcb_connection_t* connection_;
    xcb_window_t root_ = 0;
    xcb_window_t window_ = 0;
};

class WindowTest : public StreamedProgram {
  protected:
    void SetUp() override {
        if (const std::string missing = XorgServer::missing(); !missing.empty()) GTEST_SKIP() << missing;
        StreamedProgram::SetUp();
        server_ = XorgServer::start();
        ASSERT_TRUE(server_);
    }

    static wire::Input nextTouch(ScriptedHost& host, uint8_t action) {
        while (const auto message = host.readUntil(MessageType::input)) {
            const auto input = wire::parseInput(message->payload);
            if (input && input->action == action) return *input;
        }
        ADD_FAILURE() << "no touch of action " << int{action};
        return {};
    }

    std::unique_ptr<XorgServer> server_;
};

TEST_F(WindowTest, ShowsThePictureAndSendsTheMouseAsTouches) {
    RunningDevice device({"--panel", "640x480"}, withDisplay());
    ScriptedHost host(device.port());
    ASSERT_TRUE(stream(host, "1600×1000 | Smooth Off | Fit"));
    Desk desk;
    ASSERT_TRUE(desk.findWindow());
    EXPECT_GT(desk.redAt(100, 240), 240);
    EXPECT_LT(desk.redAt(500, 240), 16);

    // 16:10 on 4:3: the display takes rows 40 to 440 of the 480.
    desk.moveTo(160, 140);
    desk.press(1);
    const wire::Input press = nextTouch(host, wire::Input::press);
    EXPECT_NEAR(press.x, 160.5 / 640, 1e-4);
    EXPECT_NEAR(press.y, 100.5 / 400, 1e-4);
    desk.moveTo(320, 470);
    const wire::Input drag = nextTouch(host, wire::Input::drag);
    EXPECT_NEAR(drag.x, 320.5 / 640, 1e-4);
    EXPECT_EQ(drag.y, 1) << "clamped on the bar";
    desk.release(1);
    EXPECT_EQ(nextTouch(host, wire::Input::release).y, 1);

    desk.press(1);  // still on the bar, where no display is
    desk.release(1);
    desk.press(5);  // the wheel, towards the user
    desk.release(5);
    const auto next = host.readUntil(MessageType::input);
    ASSERT_TRUE(next);
    const auto scroll = wire::parseInput(next->payload);
    EXPECT_EQ(scroll->action, wire::Input::scroll);
    EXPECT_GT(scroll->dy, 0);
    device.process().signal(SIGTERM);
    EXPECT_EQ(device.process().waitForEnd(), 0) << device.process().output();
}

TEST_F(WindowTest, ReportsItsSizeAsThePanelWhenAsked) {
    RunningDevice device({"--panel", "640x480", "--follow-window"}, withDisplay());
    ScriptedHost host(device.port());
    ASSERT_TRUE(stream(host, "1024×768 | Smooth Off | Fit"));
    Desk desk;
    ASSERT_TRUE(desk.findWindow());
    desk.resize(480, 640);
    const auto report = host.readUntil(MessageType::panelReport);
    ASSERT_TRUE(report);
    EXPECT_EQ(std::string(report->payload.begin(), report->payload.end()), "panel 480x640");
}

TEST_F(WindowTest, AViewOnlyWindowTouchesNothing) {
    RunningDevice device({"--panel", "640x480", "--view-only"}, withDisplay());
    ScriptedHost host(device.port());
    ASSERT_TRUE(stream(host, "1024×768 | Smooth Off | Fit"));
    Desk desk;
    ASSERT_TRUE(desk.findWindow());
    desk.moveTo(100, 100);
    desk.press(1);
    desk.release(1);
    for (int beat = 0; beat < 2; ++beat) {
        const auto message = host.read();
        ASSERT_TRUE(message);
        EXPECT_EQ(message->type(), MessageType::keepAlive);
    }
}

}  // namespace
}  // namespace quillon::device
