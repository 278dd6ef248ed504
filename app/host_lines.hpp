#pragma once

#include <string>

#include "session/types.hpp"

namespace quillon {

/// A session's state in the words that every front end uses.
std::string stateText(const SessionState& state);

/// What host mode prints about its session, one line each, without the line feed.
std::string stateLine(const SessionState& state);
std::string statisticsLine(const SessionStats& stats);

}  // namespace quillon
