#pragma once

#include "platform/pattern_canvas.hpp"

/// What libquillon-pattern.so gives: a new canvas of this size, owned by the caller; null when none can be
/// had.
extern "C" quillon::PatternCanvas* quillonMakePatternCanvas(int width, int height);
