#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/run_loop.hpp"
#include "platform/sockets.hpp"
#include "platform/threads.hpp"

namespace quillon::test {

/// Tells a time that the test sets; nothing else of a loop.
class SetClock : public RunLoop {
  public:
    Instant time{};

    Instant now() const override { return time; }
    void post(Action) override { ADD_FAILURE() << "only the time is asked for"; }
    std::unique_ptr<Timer> addTimer(Duration, Repeat, Action, Duration) override {
        ADD_FAILURE() << "only the time is asked for";
        return nullptr;
    }
    void run() override {}
    void stop() override {}
};

/// Serial queues whose work runs when the test says so, or at their end as the contract asks.
class SteppedThreads : public Threads {
  public:
    std::deque<std::function<void()>> waiting;
    std::vector<std::string> labels;

    /// Runs what was accepted, and what that adds. Returns how many pieces of work there were.
    int runAll() {
        int count = 0;
        while (!waiting.empty()) {
            const auto work = std::exchange(waiting.front(), nullptr);
            waiting.pop_front();
            work();
            ++count;
        }
        return count;
    }

    std::unique_ptr<SerialQueue> makeSerialQueue(std::string_view suffix, Priority) override {
        labels.emplace_back(suffix);
        return std::make_unique<Queue>(*this);
    }
    void runConcurrently(std::function<void()> work) override { waiting.push_back(std::move(work)); }
    std::shared_ptr<Semaphore> makeSemaphore() override {
        ADD_FAILURE() << "nothing may wait in a stepped test";
        return nullptr;
    }

  private:
    class Queue : public SerialQueue {
      public:
        explicit Queue(SteppedThreads& owner) : owner_(owner) {}
        ~Queue() override { owner_.runAll(); }
        void async(Work work) override { owner_.waiting.push_back(std::move(work)); }

      private:
        SteppedThreads& owner_;
    };
};

/// A socket that takes everything at once, or as little and as failing as the test says, and that gives
/// out `incoming`, then the end of the stream.
class ScriptedSockets : public Sockets {
  public:
    Bytes written;
    std::deque<ptrdiff_t> sendResults;  ///< of the next calls; afterwards everything is taken
    std::function<void()> onSend;
    int sendBuffer = 0;
    Bytes incoming;
    size_t largestRead = 0;  ///< the largest buffer a caller offered

    TcpAttempt connectTcp(const std::string&, uint16_t) override { return {}; }
    ptrdiff_t send(int, ByteView bytes) override {
        if (onSend) onSend();
        auto count = static_cast<ptrdiff_t>(bytes.size());
        if (!sendResults.empty()) {
            count = std::min(count, sendResults.front());
            sendResults.pop_front();
        }
        if (count > 0) written.insert(written.end(), bytes.begin(), bytes.begin() + count);
        return count;
    }
    ptrdiff_t receive(int, std::span<uint8_t> buffer, Fill) override {
        largestRead = std::max(largestRead, buffer.size());
        const size_t count = std::min(buffer.size(), incoming.size() - taken_);
        std::copy_n(incoming.begin() + static_cast<ptrdiff_t>(taken_), count, buffer.begin());
        taken_ += count;
        return static_cast<ptrdiff_t>(count);
    }
    void setReceiveTimeout(int, int) override {}
    void setSendBuffer(int, int bytes) override { sendBuffer = bytes; }
    void makeBlockingWithoutDelay(int) override {}
    SendProgress sendProgress(int) override { return {}; }
    void shutdown(int) override {}
    void close(int) override {}

  private:
    size_t taken_ = 0;
};

inline Bytes bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}
inline std::string textOf(ByteView bytes) {
    return {bytes.begin(), bytes.end()};
}

}  // namespace quillon::test
