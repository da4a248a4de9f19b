#pragma once

#include "imageio/image.h"

/// Allocates compositeSum for the size of the reference, all zero. The run state owns it until writeComposite.
void allocateComposite();

/// Adds an aligned image into compositeSum, laid origin on origin with the reference; what lies beside it is not used.
void accumulateComposite(const Image& aligned);

/// Writes the three channel files and the averaged picture, and releases the sums. The names are the composite name cut
/// at its first ".", plus "R.fit", "V.fit", "B.fit" and ".bmp".
void writeComposite();
