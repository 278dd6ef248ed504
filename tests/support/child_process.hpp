#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace quillon::testing {

/// A program that a test runs: its lines (standard output and error together) are collected as they come.
/// Killed with the object if it has not ended.
class ChildProcess {
  public:
    using Environment = std::map<std::string, std::optional<std::string>>;

    /// `changes` sets variables of the environment, or removes those without a value.
    explicit ChildProcess(std::vector<std::string> command, const Environment& changes = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return process_; }

    /// Waits until a line has come that contains `text`, also one from before; false after `limit`.
    bool printed(const std::string& text, std::chrono::milliseconds limit = std::chrono::seconds(20));
    /// The same for the `count`-th such line.
    bool printedTimes(const std::string& text, int count, std::chrono::milliseconds limit);

    void signal(int number) const;

    /// Waits for the end: the exit status, or 128 and the number of the signal; nothing after `limit`.
    std::optional<int> waitForEnd(std::chrono::milliseconds limit = std::chrono::seconds(30));
    bool isRunning() { return !waitForEnd(std::chrono::milliseconds(0)); }

    /// All output so far.
    std::string output() const;

  private:
    void collect(int descriptor);

    pid_t process_ = -1;
    std::optional<int> status_;
    mutable std::mutex lock_;
    std::condition_variable changed_;
    std::string output_;
    bool closed_ = false;
    std::thread collector_;
};

}  // namespace quillon::testing
