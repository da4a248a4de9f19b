#pragma once

#include <cstdint>

/// The columns left to before right and the rows top to before bottom of a picture.
struct Area {
    int64_t left, right, top, bottom;
};
