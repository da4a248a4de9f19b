#pragma once

/// The global alignment of the current image without rotation: a search of the whole shift range on copies reduced to
/// an eighth, then searchRotationAndTranslation within 10 pixels around the shift found there. The bounds of the run
/// state are narrowed for that call and put back.
void searchTranslation();
