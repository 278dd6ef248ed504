#pragma once

#include <string>

#include "session/types.hpp"

namespace quillon {

/// What host mode prints about its session, one line each, without the line feed.
std::string stateLine(const SessionState& state);
std::string statisticsLine(const SessionStats& stats);

}  // namespace quillon
