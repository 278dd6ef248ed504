#include "device/options.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace quillon::device {
namespace {

using testing::HasSubstr;
using namespace std::chrono_literals;

Options parse(const std::vector<const char*>& arguments) {
    return parseOptions(arguments);
}

std::string errorOf(const std::vector<const char*>& arguments) {
    try {
        parse(arguments);
    } catch (const OptionError& error) {
        return error.what();
    }
    return "";
}

TEST(DeviceOptions, HaveSensibleDefaults) {
    const Options options = parse({});
    EXPECT_EQ(options.port, 5555);
    EXPECT_EQ(options.bind, "0.0.0.0");
    EXPECT_EQ(options.panel, (Size{2048, 1536}));
    EXPECT_TRUE(options.tcp);
    EXPECT_FALSE(options.headless);
    EXPECT_FALSE(options.runTime);
}

TEST(DeviceOptions, TheGreetingTellsVersionAndPanelToHosts) {
    const std::string line = parse({}).greetingLine({2732, 2048});
    EXPECT_EQ(line, "Quillon-Device 2 quillon-device/1 display 2732x2048");
    EXPECT_EQ(wire::parseGreeting(line).protocolVersion, 2);
    EXPECT_EQ(wire::panelSize(line), (Size{2732, 2048}));
}

TEST(DeviceOptions, AGivenGreetingStandsAsItIs) {
    EXPECT_EQ(parse({"--greeting", "hello"}).greetingLine({1, 1}), "hello");
    EXPECT_EQ(parse({"--greeting", ""}).greetingLine({1, 1}), "");
    EXPECT_NE(errorOf({"--greeting", "two\nlines"}), "");
}

TEST(DeviceOptions, AnAnnouncedNameIsTextThatFitsIntoALabel) {
    const Options options = parse({"--announce", "Anna's Größe", "--model", "Tablet13,8"});
    EXPECT_EQ(options.announcedName, "Anna's Größe");
    EXPECT_EQ(options.announcedModel, "Tablet13,8");
    EXPECT_EQ(parse({"--announce", std::string(63, 'x').c_str()}).announcedName, std::string(63, 'x'));
    EXPECT_NE(errorOf({"--announce", std::string(64, 'x').c_str()}), "");
    EXPECT_NE(errorOf({"--announce", ""}), "");
    EXPECT_NE(errorOf({"--announce", "\xFF"}), "");
    EXPECT_THAT(errorOf({"--announce", "x", "--no-tcp", "--usbmux", "/tmp/s"}), HasSubstr("TCP"));
}

TEST(DeviceOptions, ReadValues) {
    const Options options = parse(
        {"--port",          "0",         "--bind",   "127.0.0.1",  "--panel",       "2732x2048",
         "--headless",      "--seconds", "1.5",      "--snapshot", "a.png",         "--snapshot-pointer",
         "--record",        "b.h264",    "--json",   "c.json",     "--counter-log", "d",
         "--counter-scale", "0.5",       "--usbmux", "/tmp/s",     "--udid",        "u",
         "--no-tcp",        "--display", "1920x1080"});
    EXPECT_EQ(options.port, 0);
    EXPECT_EQ(options.bind, "127.0.0.1");
    EXPECT_EQ(options.panel, (Size{2732, 2048}));
    EXPECT_TRUE(options.headless);
    EXPECT_EQ(options.runTime, 1500ms);
    EXPECT_EQ(options.snapshotFile, "a.png");
    EXPECT_TRUE(options.snapshotPointer);
    EXPECT_EQ(options.recordFile, "b.h264");
    EXPECT_EQ(options.summaryFile, "c.json");
    EXPECT_EQ(options.counterLog, "d");
    EXPECT_EQ(options.counterScale, 0.5);
    EXPECT_EQ(options.muxSocket, "/tmp/s");
    EXPECT_EQ(options.udid, "u");
    EXPECT_FALSE(options.tcp);
    EXPECT_EQ(options.mirroredDisplay, (Size{1920, 1080}));
}

TEST(DeviceOptions, OrderScriptedMessagesByTime) {
    const Options options = parse({"--panel-report", "1536x2048@2", "--touch", "press,0.5,0.25@1", "--touch",
                                   "release,0.5,0.25@1", "--touch", "scroll,0,-12@0.5"});
    ASSERT_EQ(options.script.size(), 4U);
    const auto scroll = wire::parseInput(options.script[0].payload);
    EXPECT_EQ(scroll->action, wire::Input::scroll);
    EXPECT_EQ(scroll->dy, -12);
    const auto press = wire::parseInput(options.script[1].payload);
    EXPECT_EQ(press->action, wire::Input::press);
    EXPECT_EQ(press->y, 0.25F);
    EXPECT_EQ(wire::parseInput(options.script[2].payload)->action, wire::Input::release);
    EXPECT_EQ(options.script[3].at, 2s);
    EXPECT_EQ(options.script[3].type, wire::MessageType::panelReport);
    const Bytes& text = options.script[3].payload;
    EXPECT_EQ(wire::panelSize(std::string_view(reinterpret_cast<const char*>(text.data()), text.size())),
              (Size{1536, 2048}));
}

TEST(DeviceOptions, KeepAFingersPlaceOnThePanel) {
    const Options options = parse({"--finger", "drag,0.25,0.5@1", "--touch", "drag,0.25,0.5@2"});
    ASSERT_EQ(options.script.size(), 2U);
    ASSERT_TRUE(options.script[0].finger);
    EXPECT_EQ(options.script[0].finger->action, wire::Input::drag);
    EXPECT_EQ(options.script[0].finger->onPanel, (Point{0.25, 0.5}));
    EXPECT_FALSE(options.script[1].finger);
}

TEST(DeviceOptions, RefuseWithAReason) {
    EXPECT_THAT(errorOf({"--prot", "1"}), HasSubstr("unknown option --prot"));
    EXPECT_THAT(errorOf({"--port"}), HasSubstr("--port needs a value"));
    EXPECT_THAT(errorOf({"--port", "65536"}), HasSubstr("not \"65536\""));
    EXPECT_THAT(errorOf({"--panel", "100x200"}), HasSubstr("WxH"));
    EXPECT_THAT(errorOf({"--no-tcp"}), HasSubstr("--usbmux"));
    EXPECT_THAT(errorOf({"--follow-window", "--headless"}), HasSubstr("window"));
    EXPECT_THAT(errorOf({"--no-decode"}), HasSubstr("--headless"));
    EXPECT_THAT(errorOf({"--no-decode", "--headless", "--snapshot", "a.png"}), HasSubstr("no picture"));
    EXPECT_THAT(errorOf({"--no-decode", "--headless", "--counter-log", "a"}), HasSubstr("no picture"));
}

TEST(DeviceOptions, RefuseValuesThatAreNone) {
    const std::vector<std::vector<const char*>> bad{{"--port", "-1"},
                                                    {"--port", ""},
                                                    {"--seconds", "x"},
                                                    {"--seconds", "-1"},
                                                    {"--seconds", "nan"},
                                                    {"--seconds", "1e9"},
                                                    {"--panel", "2048"},
                                                    {"--panel", "x"},
                                                    {"--panel", "99999x2048"},
                                                    {"--counter-scale", "0"},
                                                    {"--counter-scale", "inf"},
                                                    {"--fault", "explode"},
                                                    {"--touch", "press,1@1"},
                                                    {"--touch", "poke,0,0@1"},
                                                    {"--touch", "press,0,0"},
                                                    {"--panel-report", "1x2"},
                                                    {"--finger", "scroll,1,1@1"},
                                                    {"--finger", "press,0@1"},
                                                    {"--snapshot", ""},
                                                    {"extra"}};
    for (const auto& arguments : bad) EXPECT_NE(errorOf(arguments), "") << arguments[0] << arguments.back();
}

TEST(DeviceOptions, TheHelpNamesEveryOption) {
    for (const char* option : {"--port", "--usbmux", "--fault", "--counter-log", "--view-only", "--help"}) {
        EXPECT_THAT(helpText(), HasSubstr(option));
    }
}

}  // namespace
}  // namespace quillon::device
