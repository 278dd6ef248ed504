#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/child_process.hpp"
#include "tests/support/xorg_server.hpp"

namespace quillon::testing {

/// A desk: a folder with its own home, the built programs, and if need be a real X server.
class DeskTest : public ::testing::Test {
  protected:
    DeskTest() {
        std::string pattern = ::testing::TempDir() + "quillon-desk-XXXXXX";
        folder_ = mkdtemp(pattern.data());
        setenv("HOME", folder_.c_str(), 1);
    }
    ~DeskTest() override { std::filesystem::remove_all(folder_); }

    void startXServer() {
        if (const std::string missing = XorgServer::missing(); !missing.empty()) GTEST_SKIP() << missing;
        server = XorgServer::start();
        ASSERT_TRUE(server) << "Xorg did not start";
    }

    std::string path(const std::string& name) const { return (folder_ / name).string(); }
    std::string muxSocket() const { return path("mux"); }

    /// A headless device behind its own mux server, ready to be connected to.
    std::unique_ptr<ChildProcess> startDevice(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> command{QUILLON_DEVICE, "--headless", "--no-tcp", "--usbmux",
                                         muxSocket(),    "--udid",     "tablet-1"};
        command.insert(command.end(), more.begin(), more.end());
        auto device = std::make_unique<ChildProcess>(command);
        EXPECT_TRUE(device->printed(muxSocket())) << device->output();
        return device;
    }

    std::unique_ptr<ChildProcess> startHost(const std::vector<std::string>& more,
                                            ChildProcess::Environment changes = {}) const {
        std::vector<std::string> command{QUILLON_HOST};
        command.insert(command.end(), more.begin(), more.end());
        changes.emplace("USBMUXD_SOCKET_ADDRESS", "UNIX:" + muxSocket());
        return std::make_unique<ChildProcess>(command, changes);
    }

    std::string contentOf(const std::string& name) const {
        std::ifstream file(path(name));
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

    /// A number of the device's summary.
    double summaryNumber(const std::string& name) const {
        std::smatch match;
        const std::string json = contentOf("summary.json");
        const std::regex member("\"" + name + "\": ([-0-9.]+)");
        if (!std::regex_search(json, match, member)) {
            ADD_FAILURE() << "no number " << name << " in " << json;
            return -1;
        }
        return std::stod(match[1]);
    }

    std::unique_ptr<XorgServer> server;

  private:
    std::filesystem::path folder_;
};

}  // namespace quillon::testing
