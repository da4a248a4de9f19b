#pragma once

#include "imageio/image.h"

/// Turns a colour picture into a gradient image, in place: blue becomes the grey level (the mean of the three colours),
/// green and red its horizontal and vertical difference (left minus right, above minus below), halved, plus 128. The
/// pixels of the outermost columns and rows keep green and red, every pixel its weight.
void prepareGradientImage(Image& image);
