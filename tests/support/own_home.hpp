#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "base/log.hpp"
#include "tests/support/temporary_folder.hpp"

namespace quillon::test {

/// A base of fixtures: a home folder of the test's own, and the log that the program writes there.
class OwnHome {
  protected:
    OwnHome() { setenv("HOME", folder_.path().c_str(), 1); }
    ~OwnHome() {
        if (before_) setenv("HOME", before_->c_str(), 1);
    }
    OwnHome(const OwnHome&) = delete;
    OwnHome& operator=(const OwnHome&) = delete;

    const std::filesystem::path& home() const { return folder_.path(); }

    /// The log so far, without time stamps.
    static std::vector<std::string> log() {
        std::vector<std::string> lines;
        std::ifstream file(Log::url());
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line.substr(std::min(line.size(), line.find(' ') + 1)));
        }
        return lines;
    }
    /// How many of its lines are this one.
    static int logged(const std::string& line) { return static_cast<int>(std::ranges::count(log(), line)); }
    static int loggedBeginning(const std::string& start) {
        return static_cast<int>(
            std::ranges::count_if(log(), [&](const std::string& line) { return line.starts_with(start); }));
    }

  private:
    static std::optional<std::string> variable() {
        const char* const value = std::getenv("HOME");
        return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
    }

    const std::optional<std::string> before_ = variable();
    const TemporaryFolder folder_;
};

}  // namespace quillon::test
