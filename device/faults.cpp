#include "device/faults.hpp"

#include <algorithm>

#include "device/numbers.hpp"

namespace quillon::device {
namespace {

/// The slow reader takes its bytes in this rhythm.
constexpr Clock::duration kSlowTick = std::chrono::milliseconds(20);

std::optional<Faults::Stall> stallOf(std::string_view text) {
    const size_t at = text.find('@');
    if (at == std::string_view::npos) return std::nullopt;
    const auto length = parseSeconds(text.substr(0, at));
    const auto start = parseSeconds(text.substr(at + 1));
    if (!length || !start) return std::nullopt;
    return Faults::Stall{*start, *length};
}

}  // namespace

bool addFault(Faults& faults, std::string_view text) {
    const size_t colon = text.find(':');
    const std::string_view name = text.substr(0, colon);
    if (colon == std::string_view::npos) {
        bool* flag = name == "silent"         ? &faults.silent
                     : name == "garbage"      ? &faults.garbage
                     : name == "no-ack"       ? &faults.noAck
                     : name == "no-keepalive" ? &faults.noKeepAlive
                                              : nullptr;
        if (flag == nullptr) return false;
        return *flag = true;
    }
    const std::string_view value = text.substr(colon + 1);
    if (name == "slow") {
        const auto rate = parseCount(value);
        if (!rate || *rate == 0) return false;
        faults.bytesPerSecond = *rate;
        return true;
    }
    if (name == "stall") return (faults.stall = stallOf(value)).has_value();
    if (name == "cut") return (faults.cutAfter = parseCount(value)).has_value();
    return false;
}

Clock::duration ReadGate::remainingStall(Moment now) const {
    if (!faults_.stall) return {};
    const Moment start = accepted_ + faults_.stall->start;
    return now < start ? Clock::duration::zero() : start + faults_.stall->length - now;
}

ReadGate::Answer ReadGate::mayRead(Moment now, size_t wanted) const {
    if (const auto left = remainingStall(now); left > Clock::duration::zero()) return {0, left};
    if (faults_.cutAfter) wanted = std::min<uint64_t>(wanted, *faults_.cutAfter - received_);
    if (!faults_.bytesPerSecond) return {wanted, {}};
    const double elapsed = std::chrono::duration<double>(now - accepted_).count();
    const auto due = static_cast<uint64_t>(elapsed * static_cast<double>(*faults_.bytesPerSecond));
    if (due <= received_) return {0, kSlowTick};
    return {std::min<uint64_t>(wanted, due - received_), {}};
}

}  // namespace quillon::device
