#include "tests/support/run_delays.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace quillon::testing {

namespace {

using namespace std::chrono_literals;

constexpr auto kBetweenLooks = 20ms;

}  // namespace

RunDelays::RunDelays(std::vector<pid_t> programs) : programs_(std::move(programs)) {
    look();
    thread_ = std::thread([this] {
        std::unique_lock held(lock_);
        while (!ending_.wait_for(held, kBetweenLooks, [this] { return isEnding_; })) {
            held.unlock();
            look();
            held.lock();
        }
    });
}

RunDelays::~RunDelays() {
    {
        const std::lock_guard held(lock_);
        isEnding_ = true;
    }
    ending_.notify_one();
    thread_.join();
}

void RunDelays::look() {
    std::chrono::nanoseconds more{};
    for (const pid_t program : programs_) {
        std::error_code ended;
        const auto tasks = std::filesystem::path("/proc") / std::to_string(program) / "task";
        std::filesystem::directory_iterator task(tasks, ended);
        for (; !ended && task != std::filesystem::directory_iterator(); task.increment(ended)) {
            int64_t run = 0;
            int64_t waited = 0;
            if (!(std::ifstream(task->path() / "schedstat") >> run >> waited)) continue;
            auto& known = threads_[std::stoi(task->path().filename())];
            more += std::chrono::nanoseconds(waited) - known;
            known = std::chrono::nanoseconds(waited);
        }
    }
    const std::lock_guard held(lock_);
    samples_.push_back({Clock::now(), more + (samples_.empty() ? 0ns : samples_.back().total)});
}

std::chrono::nanoseconds RunDelays::between(Clock::time_point from, Clock::time_point to) const {
    const std::lock_guard held(lock_);
    const auto end = std::ranges::lower_bound(samples_, to, {}, &Sample::when);
    const auto begin = std::ranges::upper_bound(samples_, from, {}, &Sample::when);
    const Sample& last = end == samples_.end() ? samples_.back() : *end;
    const Sample& first = begin == samples_.begin() ? samples_.front() : *std::prev(begin);
    return last.total - first.total;
}

}  // namespace quillon::testing
