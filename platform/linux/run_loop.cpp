#include "platform/linux/run_loop.hpp"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <utility>

namespace quillon {

namespace {

Descriptor checked(int number, const char* what) {
    if (number < 0) throw systemError(what);
    return Descriptor(number);
}

void watch(const Descriptor& epoll, int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    if (epoll_ctl(epoll.get(), EPOLL_CTL_ADD, descriptor, &event) != 0) throw systemError("epoll_ctl");
}

/// Takes the counter of an eventfd or timerfd, so that it is no longer readable.
void drain(int descriptor) {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = read(descriptor, &count, sizeof count);
}

}  // namespace

LinuxRunLoop::LinuxRunLoop()
    : epoll_(checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      wake_(checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")),
      alarm_(checked(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK), "timerfd_create")) {
    watch(epoll_, wake_.get());
    watch(epoll_, alarm_.get());
}

Instant LinuxRunLoop::now() const {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return Instant(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

void LinuxRunLoop::post(Action action) {
    bool first = false;
    {
        const MutexLock guard(lock_);
        first = posted_.empty();
        posted_.push_back(std::move(action));
    }
    if (first) {
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(wake_.get(), &one, sizeof one);
    }
}

std::unique_ptr<Timer> LinuxRunLoop::addTimer(Duration interval, Repeat repeat, Action action,
                                              Duration tolerance) {
    auto timer = timers_.add(now(), interval, repeat, std::move(action), tolerance);
    armAlarm();
    return timer;
}

std::unique_ptr<LinuxRunLoop::Watch> LinuxRunLoop::watchReadable(int descriptor, Action action) {
    watch(epoll_, descriptor);
    watched_[descriptor] = std::make_shared<Action>(std::move(action));
    return std::make_unique<Watch>(*this, descriptor);
}

LinuxRunLoop::Watch::Watch(LinuxRunLoop& loop, int descriptor) : loop_(loop), descriptor_(descriptor) {}

LinuxRunLoop::Watch::~Watch() {
    epoll_ctl(loop_.epoll_.get(), EPOLL_CTL_DEL, descriptor_, nullptr);
    loop_.watched_.erase(descriptor_);
}

void LinuxRunLoop::armAlarm() {
    const Instant wake = timers_.nextWake().value_or(Instant::max());
    if (wake == armedFor_) return;
    armedFor_ = wake;
    itimerspec alarm{};  // all zero disarms
    if (wake != Instant::max()) {
        const auto since = wake.time_since_epoch();
        const auto whole = std::chrono::duration_cast<std::chrono::seconds>(since);
        alarm.it_value.tv_sec = whole.count();
        alarm.it_value.tv_nsec = (since - whole).count();
    }
    timerfd_settime(alarm_.get(), TFD_TIMER_ABSTIME, &alarm, nullptr);
}

void LinuxRunLoop::runPosted() {
    std::vector<Action> work;
    {
        const MutexLock guard(lock_);
        work.swap(posted_);
    }
    for (Action& action : work) {
        action();
        action = nullptr;  // what it holds is released in order, not at the end of the turn
    }
    work.clear();
    const MutexLock guard(lock_);
    if (posted_.capacity() == 0) posted_.swap(work);  // `post` need not take memory again
}

void LinuxRunLoop::turn(int waitMilliseconds) {
    std::array<epoll_event, 16> events{};
    const int count =
        epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), waitMilliseconds);
    for (int i = 0; i < count; ++i) {
        const int descriptor = events[static_cast<size_t>(i)].data.fd;
        if (descriptor == wake_.get()) {
            drain(descriptor);
            runPosted();
        } else if (descriptor == alarm_.get()) {
            drain(descriptor);
            armedFor_ = Instant::max();
            timers_.runDue(now());
            armAlarm();
        } else if (const auto found = watched_.find(descriptor); found != watched_.end()) {
            const auto action = found->second;  // the action may end its own watch
            (*action)();
        }
    }
}

void LinuxRunLoop::run() {
    while (!stopping_.exchange(false)) turn(-1);
}

void LinuxRunLoop::runReady() {
    turn(0);
}

void LinuxRunLoop::stop() {
    stopping_ = true;
    post([] {});
}

}  // namespace quillon
