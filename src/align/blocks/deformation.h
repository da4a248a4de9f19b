#pragma once

#include <cstdint>

#include "align/blocks/block_grid.h"
#include "imageio/image.h"

/// The bent picture: each pixel is the source, with bilinear interpolation, at the pixel's position minus the
/// displacement there, blocks being spacing pixels apart. A new picture of the source's size and origin, which the
/// caller owns. The grid has at least one block.
[[nodiscard]] Image deformImage(Image source, const BlockGrid& grid, int32_t spacing);
