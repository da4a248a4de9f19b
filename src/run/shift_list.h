#pragma once

#include "align/global/rotation_search.h"

// The file "shift.lst" of a run: one line an image whose shift was searched over a range.

/// Creates the file in the working directory, empty, and leaves it open in the run state. Ends the run when it cannot.
void openShiftList();

/// Whether the best shift lies on a bound of the range where it was searched: a better one may lie beyond.
[[nodiscard]] bool liesOnLimit(const GlobalMatch& match);

/// Appends an image's line: the shift, and the mark "Non optimal" of one on the limit, which is also said on the
/// console. Without a range of shifts there is no line.
void appendToShiftList(const GlobalMatch& match);

/// Closes the file. A list that lacks lines is said to, but the lines that it has stay.
void closeShiftList();
