#include "platform/simulated/machine.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace quillon::simulated {

Machine::Machine() : running_(&strands_.emplace_back()) {}

Machine::~Machine() {
    settle();
    joinEnded();
}

void Machine::settle() {
    WaitPoint never;
    const Instant giveUp = now_ + std::chrono::hours(1);
    while (live_ > 0 && now_ < giveUp) wait(never, now_ + 1s);
    if (live_ > 0) {
        std::fputs("simulated machine: a thread is still blocked at the end\n", stderr);
        std::abort();
    }
}

void Machine::makeReady(Strand& strand, bool signalled) {
    if (strand.waitingFor) std::erase(strand.waitingFor->waiting_, &strand);
    strand.waitingFor = nullptr;
    strand.deadline.reset();
    strand.signalled = signalled;
    ready_.push_back(&strand);
}

bool Machine::wait(WaitPoint& point, std::optional<Instant> deadline) {
    Strand& self = *running_;
    self.waitingFor = &point;
    self.deadline = deadline;
    point.waiting_.push_back(&self);
    passBaton();
    self.baton.acquire();
    return self.signalled;
}

void Machine::signal(WaitPoint& point) {
    while (!point.waiting_.empty()) makeReady(*point.waiting_.front(), true);
}

void Machine::at(Instant moment, std::function<void()> event) {
    events_.emplace(std::max(moment, now_), std::move(event));
}

void Machine::spawn(std::function<void()> body) {
    joinEnded();
    ++live_;
    Strand& strand = strands_.emplace_back();
    strand.thread = std::thread([this, &strand, body = std::move(body)]() mutable {
        strand.baton.acquire();
        body();
        body = nullptr;
        strand.ended = true;
        --live_;
        passBaton();
    });
    ready_.push_back(&strand);
}

bool Machine::advanceClock() {
    std::optional<Instant> next;
    if (!events_.empty()) next = events_.begin()->first;
    for (const Strand& strand : strands_) {
        if (strand.deadline && (!next || *strand.deadline < *next)) next = strand.deadline;
    }
    if (!next) return false;
    now_ = std::max(now_, *next);
    while (!events_.empty() && events_.begin()->first <= now_) {
        const auto event = std::move(events_.begin()->second);
        events_.erase(events_.begin());
        event();
    }
    for (Strand& strand : strands_) {
        if (strand.deadline && *strand.deadline <= now_) makeReady(strand, false);
    }
    return true;
}

void Machine::passBaton() {
    while (ready_.empty()) {
        if (!advanceClock()) {
            std::fputs("simulated machine: every thread waits and nothing will ever happen\n", stderr);
            std::abort();
        }
    }
    Strand& next = *ready_.front();
    ready_.pop_front();
    running_ = &next;
    next.baton.release();
}

void Machine::joinEnded() {
    std::erase_if(strands_, [this](Strand& strand) {
        if (!strand.ended || &strand == running_) return false;
        strand.thread.join();
        return true;
    });
}

}  // namespace quillon::simulated
