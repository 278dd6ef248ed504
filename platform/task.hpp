#pragma once

#include <coroutine>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/run_loop.hpp"
#include "platform/threads.hpp"

// Coroutines of the main thread. A sequence with waits reads from top to bottom:
//
//     Task<> Session::startUp() {
//         co_await loop.sleep(600ms);
//         auto work = inBackground(loop, threads, [=] { return connect(udid, port); });
//         const auto fd = co_await work;
//         ...
//     }
//
// Every resumption happens on the main thread. A `TaskScope` owns the running tasks: destroying it
// destroys their frames wherever they wait, so a task never outlives the object it works for.

namespace quillon {

template <typename Result = void>
class Task;

namespace detail {

struct FinalAwaiter {
    bool await_ready() const noexcept { return false; }
    template <typename Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> done) const noexcept {
        return done.promise().continuation;
    }
    void await_resume() const noexcept {}
};

struct PromiseBase {
    std::coroutine_handle<> continuation = std::noop_coroutine();
    std::exception_ptr error;

    std::suspend_always initial_suspend() const noexcept { return {}; }
    FinalAwaiter final_suspend() const noexcept { return {}; }
    void unhandled_exception() noexcept { error = std::current_exception(); }
};

template <typename Result>
struct Promise : PromiseBase {
    std::optional<Result> result;
    Task<Result> get_return_object();
    template <typename Value>
    void return_value(Value&& value) {
        result.emplace(std::forward<Value>(value));
    }
    Result take() {
        if (error) std::rethrow_exception(error);
        return std::move(*result);
    }
};

template <>
struct Promise<void> : PromiseBase {
    Task<void> get_return_object();
    void return_void() const noexcept {}
    void take() const {
        if (error) std::rethrow_exception(error);
    }
};

}  // namespace detail

/// A coroutine that starts when it is awaited or given to a `TaskScope`, and is owned by its `Task`.
template <typename Result>
class [[nodiscard]] Task {
  public:
    using promise_type = detail::Promise<Result>;

    explicit Task(std::coroutine_handle<promise_type> handle) : handle_(handle) {}
    Task(Task&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Task& operator=(Task&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Task() {
        if (handle_) handle_.destroy();
    }

    auto operator co_await() && noexcept {
        struct Awaiter {
            std::coroutine_handle<promise_type> handle;
            bool await_ready() const noexcept { return false; }
            std::coroutine_handle<> await_suspend(std::coroutine_handle<> caller) const noexcept {
                handle.promise().continuation = caller;
                return handle;
            }
            Result await_resume() const { return handle.promise().take(); }
        };
        return Awaiter{handle_};
    }

    void start() { handle_.resume(); }
    bool isDone() const { return handle_.done(); }

  private:
    std::coroutine_handle<promise_type> handle_;
};

namespace detail {
template <typename Result>
Task<Result> Promise<Result>::get_return_object() {
    return Task<Result>(std::coroutine_handle<Promise>::from_promise(*this));
}
inline Task<void> Promise<void>::get_return_object() {
    return Task<void>(std::coroutine_handle<Promise>::from_promise(*this));
}
}  // namespace detail

/// Runs tasks and owns them until they end. Main thread. An exception that leaves a task is a broken
/// invariant and ends the program.
class TaskScope {
  public:
    TaskScope() = default;
    TaskScope(const TaskScope&) = delete;
    TaskScope& operator=(const TaskScope&) = delete;

    /// Runs `task` up to its first wait, at once.
    void start(Task<> task) {
        std::erase_if(tasks_, [](const auto& each) { return each->isDone(); });
        tasks_.push_back(std::make_unique<Task<>>(guarded(std::move(task))));
        tasks_.back()->start();
    }

  private:
    static Task<> guarded(Task<> task) noexcept {
        try {
            Task<> running = std::move(task);  // its frame goes when it ends, not when the scope does
            co_await std::move(running);
        } catch (...) {
            std::terminate();
        }
    }
    std::vector<std::unique_ptr<Task<>>> tasks_;
};

namespace detail {

/// Resumes a waiting coroutine unless its frame is gone by then. Main thread.
class Resumption {
  public:
    Resumption() = default;
    Resumption(const Resumption&) = delete;
    Resumption& operator=(const Resumption&) = delete;
    ~Resumption() {
        if (waiting_) *waiting_ = nullptr;
    }
    std::shared_ptr<std::coroutine_handle<>> arm(std::coroutine_handle<> handle) {
        waiting_ = std::make_shared<std::coroutine_handle<>>(handle);
        return waiting_;
    }
    static void resume(const std::shared_ptr<std::coroutine_handle<>>& waiting) {
        if (const auto handle = std::exchange(*waiting, nullptr)) handle.resume();
    }

  private:
    std::shared_ptr<std::coroutine_handle<>> waiting_;
};

/// Blocking work that a task waits for. `Place` is where it runs: given a function, it calls it on another
/// thread.
template <typename Place, typename Work>
class BackgroundWork {
  public:
    using Result = std::invoke_result_t<Work>;

    BackgroundWork(RunLoop& loop, Place place, Work work)
        : loop_(loop), place_(std::move(place)), work_(std::move(work)) {}

    // Only a named object can be awaited: GCC 12 destroys what a temporary of a co_await expression has
    // captured twice.
    auto operator co_await() & {
        struct Awaiter {
            BackgroundWork& background;
            bool await_ready() const noexcept { return false; }
            void await_suspend(std::coroutine_handle<> caller) const { background.begin(caller); }
            Result await_resume() const { return background.take(); }
        };
        return Awaiter{*this};
    }

  private:
    struct Outcome {
        std::conditional_t<std::is_void_v<Result>, bool, std::optional<Result>> value{};
        std::exception_ptr error;
    };

    void begin(std::coroutine_handle<> caller) {
        place_([work = std::move(work_), &loop = loop_, outcome = outcome_,
                waiting = resumption_.arm(caller)]() mutable {
            try {
                if constexpr (std::is_void_v<Result>) {
                    work();
                } else {
                    outcome->value.emplace(work());
                }
            } catch (...) {
                outcome->error = std::current_exception();
            }
            loop.post([outcome = std::move(outcome), waiting = std::move(waiting)] {
                Resumption::resume(waiting);
            });
        });
    }

    Result take() const {
        if (outcome_->error) std::rethrow_exception(outcome_->error);
        if constexpr (!std::is_void_v<Result>) return std::move(*outcome_->value);
    }

    RunLoop& loop_;
    Place place_;
    Work work_;
    std::shared_ptr<Outcome> outcome_ = std::make_shared<Outcome>();
    Resumption resumption_;
};

struct SleepAwaiter {
    RunLoop& loop;
    Duration interval;
    std::unique_ptr<Timer> timer{};

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> caller) {
        timer = loop.addTimer(interval, RunLoop::Repeat::once, [caller] { caller.resume(); });
    }
    void await_resume() const noexcept {}
};

}  // namespace detail

/// Runs blocking work beside the main thread; awaiting it gives its result, or throws its exception, on the
/// main thread:
///
///     auto work = inBackground(loop, threads, [connector] { return connector->connect(); });
///     const auto connection = co_await work;
///
/// The work outlives a waiting task that is destroyed, so it may own or copy what it uses, but not refer
/// to the task's frame.
template <typename Work>
[[nodiscard]] auto inBackground(RunLoop& loop, Threads& threads, Work work) {
    auto place = [&threads](auto function) { threads.runConcurrently(std::move(function)); };
    return detail::BackgroundWork(loop, std::move(place), std::move(work));
}

/// The same on a queue, in the queue's order.
template <typename Work>
[[nodiscard]] auto onQueue(RunLoop& loop, SerialQueue& queue, Work work) {
    auto place = [&queue](auto function) { queue.async(std::move(function)); };
    return detail::BackgroundWork(loop, std::move(place), std::move(work));
}

inline auto RunLoop::sleep(Duration interval) {
    return detail::SleepAwaiter{*this, interval};
}

}  // namespace quillon
