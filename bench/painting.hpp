#pragma once

#include <string>
#include <string_view>

#include "bench/sheet.hpp"

// What the scenes look like. Everything is drawn once, when a scene is made; showing an index then
// only copies.

namespace quillon::bench {

/// Cells of the one monospaced font that all scenes write with, in pixels.
inline constexpr Size kCell{11, 22};

/// Colours are 0xRRGGBB.
void fill(const Sheet& sheet, const PixelRect& area, uint32_t colour);

/// Writes one line of ASCII text, a character per cell, over what is there.
void write(const Sheet& sheet, int x, int y, std::string_view text, uint32_t colour);

/// An endless program text and an endless terminal log: line `n` of it.
std::string programLine(unsigned n);
std::string terminalLine(unsigned n);

/// An editor's page: a gutter with line numbers, `lines` lines of program text, empty below.
void paintEditor(const Sheet& sheet, const PixelRect& area, int lines);

/// A wallpaper with three windows: an editor, a terminal and a picture.
void paintDesktop(const Sheet& sheet);

/// A title bar of the given title over a page of text.
void paintWindow(const Sheet& sheet, const PixelRect& area, std::string_view title);

/// Soft shapes, edges and fine grain as in a photograph. `seed` chooses one.
void paintNature(const Sheet& sheet, const PixelRect& area, uint32_t seed);

/// Rows that paintWindow takes for the title.
inline constexpr int kTitleHeight = 32;

/// A number from 0 to 2^32-1 that depends on nothing but its argument.
uint32_t scattered(uint32_t n);

}  // namespace quillon::bench
