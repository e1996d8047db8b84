// The picture cells of a motion record. The recorder stores a 72-byte motion
// bitmap per record; the library only ANDs it with the host's area mask. The
// tool reads it as the recorder simulator writes it: a grid of 24 rows of 24
// cells, row 0 at the top, cell (row, col) being bit c % 8 of byte c / 8 with
// c = row * 24 + col.
//
// A MASK on the command line is one of
//   all                   every cell (the default)
//   ROWS:COLS[,...]       rectangles; ROWS and COLS each a number (5), a
//                         range (0-11) or * for all: "0-11:*" is the top
//                         half, "3:4,20-23:0-3" a cell and a corner
//   0x<144 hex digits>    the 72 bytes as stored, byte 0 first
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace cli {

constexpr int kGridRows = 24;
constexpr int kGridCols = 24;

using CellMask = std::array<uint8_t, 72>;

// Throws UsageError; a mask that selects no cell is refused.
CellMask parse_cell_mask(const std::string &text);
CellMask all_cells();

bool has_cell(const CellMask &mask, int row, int col);
void set_cell(CellMask &mask, int row, int col);
int cell_count(const CellMask &mask);

// "0x" and 144 hex digits: the form parse_cell_mask reads back.
std::string mask_hex(const CellMask &mask);

} // namespace cli
