#pragma once

#include <cstddef>
#include <cstdint>

#include "imageio/image.h"

/// The rectangle in which two images laid origin on origin face each other: its corner in each, its size. Without a
/// facing pair both sizes are 0.
struct Overlap {
    int64_t aX, aY, bX, bY;
    int64_t width, height;
};

/// The overlap of a and b where pixel (offsetX, offsetY) of a faces the corner pixel (0, 0) of b; negative offsets are
/// beside a. Laid origin on origin, the offset is a's origin minus b's.
[[nodiscard]] Overlap findOverlap(const Image& a, const Image& b, int64_t offsetX, int64_t offsetY);

/// The exact sum of the costs of facing pairs, masked ones included: whole + fraction / 2^31.
struct CostSum {
    uint64_t whole = 0, fraction = 0;
};

/// Adds the costs of count pairs.
void addPairs(CostSum& sum, const Pixel* a, const Pixel* b, size_t count);

/// Adds count pairs without data on one side.
void addMaskedPairs(CostSum& sum, int64_t count);

/// The score of a placement: the sum divided by the number of facing pairs in double precision, rounded to single. The
/// pair count is taken in single precision. Without a pair, scoreWithoutPairs.
[[nodiscard]] float computeScore(const CostSum& sum, int64_t pairCount);
constexpr float scoreWithoutPairs = 0.05f;

/// How badly two images laid origin on origin agree: the mean cost of the facing pairs; lower is better. The same when
/// a and b are exchanged.
[[nodiscard]] float measureDifference(const Image& a, const Image& b);

/// The same for any placement, given as to findOverlap.
[[nodiscard]] float measurePlacement(const Image& a, const Image& b, int64_t offsetX, int64_t offsetY);
