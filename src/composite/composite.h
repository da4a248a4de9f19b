#pragma once

#include <string>

#include "imageio/image.h"

/// Allocates compositeSum for the size of the reference, all zero. The run state owns it until releaseComposite.
void allocateComposite();

/// Adds an aligned image into compositeSum, laid origin on origin with the reference; what lies beside it is not used.
void accumulateComposite(const Image& aligned);

/// The composite name cut at its first "." (the first one, in a folder's name too), with which the files' names begin.
[[nodiscard]] std::string compositeBaseName();

/// Writes the three channel files and the averaged picture of compositeSum. The names are the base name plus "R.fit",
/// "V.fit", "B.fit" and ".bmp".
void writeComposite();

void releaseComposite();
