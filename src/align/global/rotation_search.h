#pragma once

#include <cstdint>

#include "align/global/shift_search.h"

/// How the current image lies on the reference: turned by the angle (radians), the point (originX + shiftX,
/// originY + shiftY) of it facing the reference's origin.
struct Pose {
    float angle;
    int32_t shiftX, shiftY;
};

/// What a global search found, and the shifts among which it looked.
struct GlobalMatch {
    Pose pose;
    ShiftRange range;
};

/// Whether the script gave a range of angles, not a single one.
[[nodiscard]] bool searchesAngles();

/// The global alignment of the current image: every whole degree of the angle range with every shift of range, then a
/// refinement of the angle; with a single angle only shifts are tried. Prints progress and result. An angle resolution
/// of 0 ends the run.
[[nodiscard]] GlobalMatch searchRotationAndTranslation(const ShiftRange& range);
