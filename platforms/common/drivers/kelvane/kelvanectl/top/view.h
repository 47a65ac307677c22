// The board as lines of text for a size. It knows no terminal.
#ifndef KELVANECTL_TOP_VIEW_H
#define KELVANECTL_TOP_VIEW_H

#include <string>
#include <vector>

#include "kelvanectl/top/board.h"

enum class look { plain, strong, faint, good, bad };

struct piece {
    std::string text; // UTF-8, printable
    look as = look::plain;
};

using view_line = std::vector<piece>;

struct view_options {
    int columns;
    int rows;
    bool has_blocks;    // of Unicode; ASCII otherwise
    size_t history = 0; // of HISTORIES
};

// Not more lines than rows; a line may be wider than the columns, and is to be cut there.
std::vector<view_line> view_of(const board &shown, const view_options &options);

#endif
