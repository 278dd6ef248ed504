#pragma once

namespace quillon {

/// Draws a panel with everything in it, out of sight, so that the first one that is shown finds fonts, glyphs
/// and code where they have to be. Takes as long as that one would have taken longer; later calls are cheap.
void rehearsePanel();

}  // namespace quillon
