#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <vector>

#include "platform/platform.hpp"
#include "platform/simulated/run_loop.hpp"
#include "platform/simulated/threads.hpp"
#include "platform/task.hpp"

// The same promises hold for the real run loop and threads and for the simulated ones.

namespace quillon {
namespace {

struct RealMachine {
    const std::unique_ptr<Platform> platform = makePlatform();
    RunLoop& loop = platform->mainLoop();
    Threads& threads = platform->threads();
};

struct SimulatedMachine {
    simulated::Machine machine;
    simulated::SimulatedRunLoop loop{machine};
    simulated::SimulatedThreads threads{machine};
};

template <typename Machine>
class RunLoopTest : public testing::Test {
  protected:
    /// Runs the loop until `stop` is called from inside it, or for five seconds.
    void runUntilStopped() {
        const auto limit = machine.loop.addTimer(
            5s, RunLoop::Repeat::once,
            [this] {
                ADD_FAILURE() << "nobody stopped the loop";
                machine.loop.stop();
            },
            0ms);
        machine.loop.run();
    }
    std::unique_ptr<Timer> once(Duration interval, RunLoop::Action action) {
        return machine.loop.addTimer(interval, RunLoop::Repeat::once, std::move(action), 0ms);
    }
    std::unique_ptr<Timer> forever(Duration interval, RunLoop::Action action) {
        return machine.loop.addTimer(interval, RunLoop::Repeat::forever, std::move(action), 0ms);
    }

    Machine machine;
};

using Machines = testing::Types<RealMachine, SimulatedMachine>;
TYPED_TEST_SUITE(RunLoopTest, Machines);

TYPED_TEST(RunLoopTest, PostedWorkRunsInOrder) {
    std::vector<int> order;
    for (int i = 0; i < 5; ++i) this->machine.loop.post([&order, i] { order.push_back(i); });
    EXPECT_TRUE(order.empty()) << "nothing runs from inside post";
    this->machine.loop.post([this] { this->machine.loop.stop(); });
    this->runUntilStopped();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

TYPED_TEST(RunLoopTest, PostingFromPostedWorkRunsLater) {
    std::vector<int> order;
    this->machine.loop.post([&] {
        this->machine.loop.post([&] {
            order.push_back(2);
            this->machine.loop.stop();
        });
        order.push_back(1);
    });
    this->runUntilStopped();
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TYPED_TEST(RunLoopTest, TimersRunInTheOrderOfTheirDeadlines) {
    std::vector<int> order;
    const auto third = this->once(30ms, [&] {
        order.push_back(3);
        this->machine.loop.stop();
    });
    const auto first = this->once(10ms, [&] { order.push_back(1); });
    const auto second = this->once(20ms, [&] { order.push_back(2); });
    this->runUntilStopped();
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TYPED_TEST(RunLoopTest, ATimerIsNeverEarly) {
    const Instant began = this->machine.loop.now();
    Instant fired;
    const auto timer = this->once(25ms, [&] {
        fired = this->machine.loop.now();
        this->machine.loop.stop();
    });
    this->runUntilStopped();
    EXPECT_GE(fired - began, 25ms);
}

TYPED_TEST(RunLoopTest, ARepeatingTimerKeepsItsGridAndLeavesMissedTicksOut) {
    int ticks = 0;
    const Instant began = this->machine.loop.now();
    std::vector<Duration> at;
    const auto timer = this->forever(10ms, [&] {
        at.push_back(this->machine.loop.now() - began);
        if (++ticks == 2) {
            // The thread is busy over several ticks.
            const auto busy = this->machine.threads.makeSemaphore();
            EXPECT_FALSE(busy->wait(45ms));
        }
        if (ticks == 4) this->machine.loop.stop();
    });
    this->runUntilStopped();
    // Ticks 1, 2, then the rest of the grid: no burst of the ones that were missed.
    EXPECT_GE(at[2] - at[1], 45ms);
    EXPECT_GT(at[3] - at[2], 0ms);
    EXPECT_GE(at[3], 70ms);
}

TYPED_TEST(RunLoopTest, AfterALongPauseNoTimerFiresInABurst) {
    using Ticks = std::vector<Duration>;
    const Instant began = this->machine.loop.now();
    const auto noteIn = [&](Ticks& ticks) {
        return [&ticks, this, began] { ticks.push_back(this->machine.loop.now() - began); };
    };
    Ticks fast;
    Ticks slow;
    Ticks single;
    const auto fastTimer = this->forever(5ms, noteIn(fast));
    const auto slowTimer = this->forever(7ms, noteIn(slow));
    const auto singleTimer = this->once(20ms, noteIn(single));
    this->machine.loop.post([this] {
        const auto pause = this->machine.threads.makeSemaphore();
        EXPECT_FALSE(pause->wait(100ms));
    });
    const auto end = this->once(130ms, [&] { this->machine.loop.stop(); });
    this->runUntilStopped();
    const auto onePerPeriod = [](const Ticks& ticks, Duration period) {
        for (size_t i = 1; i < ticks.size(); ++i) {
            if (ticks[i] / period <= ticks[i - 1] / period) return false;
        }
        return !ticks.empty() && ticks[0] >= 100ms;
    };
    EXPECT_TRUE(onePerPeriod(fast, 5ms));
    EXPECT_TRUE(onePerPeriod(slow, 7ms));
    EXPECT_EQ(single.size(), 1U);
}

TYPED_TEST(RunLoopTest, ADestroyedTimerDoesNotFireEvenWhenDue) {
    bool fired = false;
    std::unique_ptr<Timer> victim;
    const auto killer = this->once(10ms, [&] { victim.reset(); });
    victim = this->once(10ms, [&] { fired = true; });
    const auto end = this->once(40ms, [&] { this->machine.loop.stop(); });
    this->runUntilStopped();
    EXPECT_FALSE(fired);
}

TYPED_TEST(RunLoopTest, ATimerMayEndItself) {
    int ticks = 0;
    std::unique_ptr<Timer> timer;
    const auto held = std::make_shared<int>(7);
    timer = this->forever(5ms, [&, held] {
        timer.reset();
        ++ticks;
        EXPECT_EQ(*held, 7) << "the action lives on while it runs";
    });
    const auto end = this->once(40ms, [&] { this->machine.loop.stop(); });
    this->runUntilStopped();
    EXPECT_EQ(ticks, 1);
}

TYPED_TEST(RunLoopTest, ATimerMayReplaceItself) {
    int ticks = 0;
    std::unique_ptr<Timer> timer;
    std::function<void()> again = [&] {
        if (++ticks == 3) {
            this->machine.loop.stop();
        } else {
            timer = this->once(2ms, again);
        }
    };
    timer = this->once(2ms, again);
    this->runUntilStopped();
    EXPECT_EQ(ticks, 3);
}

TYPED_TEST(RunLoopTest, AbsurdIntervalsAreTamed) {
    int ticks = 0;
    const auto zero = this->forever(0ms, [&] {
        if (++ticks == 5) this->machine.loop.stop();
    });
    const auto negative = this->once(-5s, [] {});
    const auto longest = this->once(Duration::max(), [] { ADD_FAILURE(); });
    this->runUntilStopped();
    EXPECT_EQ(ticks, 5);
}

TYPED_TEST(RunLoopTest, OtherThreadsPost) {
    std::atomic<int> sum = 0;
    for (int i = 1; i <= 3; ++i) {
        this->machine.threads.runConcurrently([this, &sum, i] {
            this->machine.loop.post([this, &sum, i] {
                sum += i;
                if (sum == 6) this->machine.loop.stop();
            });
        });
    }
    this->runUntilStopped();
    EXPECT_EQ(sum, 6);
}

TYPED_TEST(RunLoopTest, ATimerOutlivesItsLoopHarmlessly) {
    auto other = std::make_unique<TypeParam>();
    auto timer = other->loop.addTimer(
        1s, RunLoop::Repeat::once, [] {}, 0ms);
    other.reset();
    timer.reset();
}

// --- queues and semaphores

TYPED_TEST(RunLoopTest, AQueueRunsWorkInOrderAndToItsEnd) {
    std::vector<int> order;
    {
        const auto queue = this->machine.threads.makeSerialQueue(".test", Priority::userInitiated);
        for (int i = 0; i < 100; ++i) queue->async([&order, i] { order.push_back(i); });
    }
    ASSERT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TYPED_TEST(RunLoopTest, ASemaphoreCountsSignals) {
    const auto semaphore = this->machine.threads.makeSemaphore();
    semaphore->signal();
    semaphore->signal();
    EXPECT_TRUE(semaphore->wait(0ms));
    EXPECT_TRUE(semaphore->wait(0ms));
    EXPECT_FALSE(semaphore->wait(10ms));
}

TYPED_TEST(RunLoopTest, ASemaphoreWakesAWaiter) {
    const auto semaphore = this->machine.threads.makeSemaphore();
    this->machine.threads.runConcurrently([semaphore] { semaphore->signal(); });
    EXPECT_TRUE(semaphore->wait(5s));
}

// --- tasks

TYPED_TEST(RunLoopTest, ATaskSleepsAndGoesOn) {
    TaskScope scope;
    const Instant began = this->machine.loop.now();
    Duration slept{};
    struct Body {
        static Task<> run(RunLoop& loop, Instant start, Duration& elapsed) {
            co_await loop.sleep(20ms);
            elapsed = loop.now() - start;
            loop.stop();
        }
    };
    scope.start(Body::run(this->machine.loop, began, slept));
    this->runUntilStopped();
    EXPECT_GE(slept, 20ms);
}

TYPED_TEST(RunLoopTest, ATaskGetsResultsAndErrorsOfBackgroundWork) {
    TaskScope scope;
    std::string result;
    std::string error;
    struct Body {
        static Task<> run(RunLoop& loop, Threads& threads, std::string& value, std::string& failure) {
            auto good = inBackground(loop, threads, [] { return std::make_unique<std::string>("done"); });
            value = *(co_await good);
            auto bad = inBackground(loop, threads, []() -> int { throw std::runtime_error("no"); });
            try {
                co_await bad;
            } catch (const std::runtime_error& caught) {
                failure = caught.what();
            }
            loop.stop();
        }
    };
    scope.start(Body::run(this->machine.loop, this->machine.threads, result, error));
    this->runUntilStopped();
    EXPECT_EQ(result, "done");
    EXPECT_EQ(error, "no");
}

TYPED_TEST(RunLoopTest, ADestroyedScopeEndsItsTasksWhereverTheyWait) {
    const auto released = std::make_shared<int>(0);
    bool wentOn = false;
    struct Body {
        static Task<> sleeps(RunLoop& loop, std::shared_ptr<int>, bool& went) {
            co_await loop.sleep(5ms);
            went = true;
        }
        static Task<> works(RunLoop& loop, Threads& threads, std::shared_ptr<int>, bool& went) {
            auto work = inBackground(loop, threads, [] { return 1; });
            co_await work;
            went = true;
        }
    };
    {
        TaskScope scope;
        scope.start(Body::sleeps(this->machine.loop, released, wentOn));
        scope.start(Body::works(this->machine.loop, this->machine.threads, released, wentOn));
        EXPECT_GT(released.use_count(), 1);
    }
    EXPECT_EQ(released.use_count(), 1);
    const auto end = this->once(30ms, [&] { this->machine.loop.stop(); });
    this->runUntilStopped();
    EXPECT_FALSE(wentOn);
}

TYPED_TEST(RunLoopTest, AFinishedTaskLetsGoOfWhatItHeld) {
    const auto held = std::make_shared<int>(0);
    TaskScope scope;
    struct Body {
        static Task<> run(RunLoop& loop, std::shared_ptr<int>) {
            co_await loop.sleep(1ms);
            loop.stop();
        }
    };
    scope.start(Body::run(this->machine.loop, held));
    this->runUntilStopped();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(SimulatedClock, AMachineThatSleptAnHourFiresEachTimerOnce) {
    SimulatedMachine machine;
    int ticks = 0;
    const auto timer = machine.loop.addTimer(
        1s, RunLoop::Repeat::forever, [&] { ++ticks; }, 0ms);
    machine.machine.suspend(std::chrono::hours(1));
    machine.loop.runFor(500ms);
    EXPECT_EQ(ticks, 1);
}

TEST(SimulatedClock, AnHourTakesAMoment) {
    SimulatedMachine machine;
    int ticks = 0;
    const auto timer = machine.loop.addTimer(
        1s, RunLoop::Repeat::forever, [&] { ++ticks; }, 0ms);
    machine.loop.runFor(std::chrono::hours(1));
    EXPECT_EQ(ticks, 3600);
}

}  // namespace
}  // namespace quillon
