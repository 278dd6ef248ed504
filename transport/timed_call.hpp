#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "base/thread_annotations.hpp"
#include "base/time.hpp"
#include "platform/threads.hpp"

namespace quillon {

/// Shared by a caller that waits with a deadline and the worker that it waits for, so that exactly one
/// of them gets a result that comes too late.
template <typename Result>
struct ConnectBox {
    Mutex lock;
    std::optional<Result> stored GUARDED_BY(lock);
    bool abandoned GUARDED_BY(lock) = false;
};

/// Runs `work` beside the caller and gives its result when it comes within `limit`; otherwise nothing,
/// and `late` gets the result whenever it comes. Neither may throw, and both may outlive the caller.
template <typename Result>
std::optional<Result> callWithin(Threads& threads, Duration limit, std::function<Result()> work,
                                 std::function<void(Result)> late) {
    const auto box = std::make_shared<ConnectBox<Result>>();
    const auto done = threads.makeSemaphore();
    threads.runConcurrently([box, done, work = std::move(work), late] {
        Result result = work();
        MutexLock held(box->lock);
        if (box->abandoned) {
            held.unlock();
            late(std::move(result));
        } else {
            box->stored = std::move(result);
            held.unlock();
        }
        done->signal();
    });
    const bool inTime = done->wait(limit);
    MutexLock held(box->lock);
    auto result = std::exchange(box->stored, std::nullopt);
    if (inTime) return result;
    box->abandoned = true;
    held.unlock();
    if (result) late(std::move(*result));
    return std::nullopt;
}

}  // namespace quillon
