#include "platform/linux/x11_capture_stream.hpp"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <utility>

#include "base/text.hpp"
#include "platform/linux/threads.hpp"
#include "platform/linux/x11_outputs.hpp"

namespace quillon {

using namespace std::chrono_literals;

namespace {

/// How soon to ask again whether a picture may be taken: well below a frame, and cheap.
constexpr auto kAskAgain = 4ms;
/// After so long a rest the copies of the last picture are given back. A caret that blinks and a clock that
/// shows seconds go on with those that they have.
constexpr auto kSparesKept = 3s;
/// A mode change may switch the display off for a moment.
constexpr auto kMissingLimit = 1s;

/// Where the display is. The server tells from now on what changes, also while this asks.
PixelRect watchedPlace(const X11Connection& connection, DisplayID display) {
    watchDisplayChanges(connection);
    const X11Desktop desktop = readDesktop(connection);
    const X11Output* output = desktop.find(display);
    if (output == nullptr) throw CaptureFailure(formatted("display %u is not active any more", display));
    return output->place;
}

}  // namespace

X11CaptureStream::X11CaptureStream(std::unique_ptr<X11Connection> connection, const CaptureRequest& request,
                                   CaptureCallbacks callbacks)
    : request_(request),
      callbacks_(std::move(callbacks)),
      connection_(std::move(connection)),
      place_(watchedPlace(*connection_, request.display)),
      grabber_(*connection_, place_),
      ring_(request.output),
      grid_(std::chrono::duration_cast<Clock::duration>(1s) / std::max(request.fps, 1)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    converter_.emplace(PictureLayout::of({place_.width, place_.height}, request_));
    if (request.showsCursor) cursor_.emplace(*connection_);
    thread_ = std::thread([this] { run(); });
}

X11CaptureStream::~X11CaptureStream() {
    stop();
}

void X11CaptureStream::stop() {
    if (!thread_.joinable()) return;
    isStopping_ = true;
    wake();
    thread_.join();
}

void X11CaptureStream::requestPicture() {
    if (!isRequested_.exchange(true)) wake();
}

void X11CaptureStream::wake() const {
    eventfd_write(wake_.get(), 1);
}

void X11CaptureStream::run() {
    nameThisThread(".capture");
    try {
        while (!isStopping_) {
            if (const auto reason = takeEvents()) {
                callbacks_.onEnd(*reason);
                return;
            }
            wait(step());
        }
    } catch (const std::exception& error) {
        callbacks_.onEnd(error.what());
    }
}

std::optional<std::string> X11CaptureStream::takeEvents() {
    bool displaysChanged = false;
    do {
        displaysChanged = false;
        while (const auto event = connection_->pollEvent()) {
            if (grabber_.isDamage(*event) && !std::exchange(isChanged_, true)) changedAt_ = Clock::now();
            if (isDisplayChange(*connection_, *event)) displaysChanged = true;
        }
        // The questions that this asks may have brought in further events, for which nothing would wake us.
        if (displaysChanged) followDisplay();
    } while (displaysChanged);
    if (!connection_->isAlive()) return "the X server has ended";
    if (missingSince_ && Clock::now() - *missingSince_ >= kMissingLimit)
        return "the captured display is gone";
    return std::nullopt;
}

void X11CaptureStream::followDisplay() {
    const X11Desktop desktop = readDesktop(*connection_);
    const X11Output* output = desktop.find(request_.display);
    if (output == nullptr) {
        if (!missingSince_) missingSince_ = Clock::now();
        return;
    }
    missingSince_.reset();
    if (output->place == place_) return;
    place_ = output->place;
    grabber_.setPlace(place_);
    converter_.emplace(PictureLayout::of({place_.width, place_.height}, request_));
    isChanged_ = isAllChanged_ = true;
}

/// Does what can be done now and tells how long to wait at most for the next step.
std::optional<X11CaptureStream::Clock::duration> X11CaptureStream::step() {
    const auto now = Clock::now();
    if (missingSince_) return *missingSince_ + kMissingLimit - now;
    if (isRequested_.exchange(false)) isWanted_ = true;
    if (!isChanged_ && !isWanted_ && !cursor_) return rest(now);
    if (now < grid_.due()) return grid_.due() - now;
    if (!ring_.hasRoom() || !callbacks_.ready()) return kAskAgain;
    deliver(now);
    return 0ms;
}

/// Nothing changes: a while after the last picture its copies go.
std::optional<X11CaptureStream::Clock::duration> X11CaptureStream::rest(Clock::time_point now) {
    if (ring_.pictures() < 2) return std::nullopt;
    if (now < grid_.due() + kSparesKept) return grid_.due() + kSparesKept - now;
    ring_.dropSpares();
    return std::nullopt;
}

void X11CaptureStream::deliver(Clock::time_point now) {
    grid_.take(now, isChanged_ && !isAllChanged_ ? std::optional(changedAt_) : std::nullopt);
    if (isChanged_ || cursor_) {
        DamageRegion damage = isAllChanged_ ? grabber_.fetchAll() : grabber_.fetchDamage();
        if (cursor_) cursor_->draw(grabber_, damage);
        const DamageRegion changing =
            isAllChanged_ ? DamageRegion({0, 0, request_.output.width, request_.output.height})
                          : converter_->outputDamage(damage);
        if (!connection_->isAlive()) return;
        if (!changing.isEmpty()) {
            Picture& picture = ring_.begin(changing);
            if (isAllChanged_) converter_->paintBars(picture);
            converter_->convert(grabber_.pixels(), damage, picture);
            ring_.publish();
            isWanted_ = true;
        }
        isChanged_ = isAllChanged_ = false;
    }
    if (!isWanted_) return;
    isWanted_ = false;
    callbacks_.onPicture(ring_.newest());
}

void X11CaptureStream::wait(std::optional<Clock::duration> limit) const {
    xcb_flush(connection_->get());
    pollfd watched[] = {{connection_->descriptor(), POLLIN, 0}, {wake_.get(), POLLIN, 0}};
    timespec time{};
    if (limit) {
        const auto nanoseconds = std::max<int64_t>(std::chrono::nanoseconds(*limit).count(), 0);
        time = {nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
    }
    ppoll(watched, 2, limit ? &time : nullptr, nullptr);
    eventfd_t ignored = 0;
    if (watched[1].revents != 0) eventfd_read(wake_.get(), &ignored);
}

}  // namespace quillon
