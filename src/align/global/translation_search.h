#pragma once

#include "align/global/rotation_search.h"

/// The global alignment of the current image without rotation: a search of the whole shift range on copies reduced to
/// an eighth, then searchRotationAndTranslation within 10 pixels around the shift found there, which may lie outside
/// range.
[[nodiscard]] GlobalMatch searchTranslation(const ShiftRange& range);
