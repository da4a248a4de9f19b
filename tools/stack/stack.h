#pragma once

#include "export/export.h"
#include "measure/prepare.h"

struct StackOptions {
    PrepareOptions prepare;                // bend is not looked at
    int passes = 0;                        // 0: two for planets and surfaces that do not turn, else one
    bool bend = true;                      // in the passes behind the first
    int enlarge = 0;                       // times, in the passes behind the first: 1 or 2; 0: 2 unless it is too much
    int cores = 0;                         // 0: all
    Stretch stretch = Stretch::automatic;  // of the picture to look at
};

/// Prepares the pictures, aligns and sums them, reports and exports, all in the one folder. Returns 0 when every frame
/// is used, 1 when some are left out or doubtful, 2 when nothing was done.
int stackPictures(const StackOptions& options);
