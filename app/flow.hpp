#pragma once

#include <optional>
#include <string>

#include "base/time.hpp"
#include "session/types.hpp"

namespace quillon {

/// Why the picture is as fast as it is, in one line: link, frames and megabits a second, median round trip,
/// frames that the link had no room for.
std::string flowText(const std::string& link, const SessionStats& stats);

/// The same while no frame is sent: the link has no room for one, or nothing changes on the screen.
std::string quietText(const std::string& link, bool linkIsFull);

/// Decides which of the samples, one a second, are worth a line in the log: the first of a stream, one a
/// minute, and those of a link in trouble (a tenth of the frames found no room, or the round trip takes
/// long), of these one in ten seconds.
class FlowLog {
  public:
    /// A new stream begins.
    void reset() { last_.reset(); }
    bool isDue(Instant now, const SessionStats& stats);

  private:
    std::optional<Instant> last_;  ///< line
    int64_t drops_ = 0;            ///< at the last sample
};

}  // namespace quillon
