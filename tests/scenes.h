#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>

#include "imageio/image.h"

// What several tests need: small pictures that are hard on a search, and comparisons that print what differs.

using Random = std::mt19937;
int32_t pick(Random& random, int32_t from, int32_t to);  // both included

/// Pictures in which ties and near ties abound, and some without. moving and fixed pictures of one fill belong
/// together.
enum class Fill { noise, tiles, flat, blackOnWhite, nearlyEqual, disc };
inline constexpr std::array allFills = {Fill::noise,        Fill::tiles,       Fill::flat,
                                 Fill::blackOnWhite, Fill::nearlyEqual, Fill::disc};
enum class Mask { none, scattered, patch, all };
inline constexpr std::array allMasks = {Mask::none, Mask::scattered, Mask::patch, Mask::all};
struct Scene {
    Fill fill;
    Mask mask;
};
Pixel makePixel(Random& random, Fill fill, bool fixed, int32_t x, int32_t y);
Image makeScene(Random& random, Scene scene, bool fixed, int32_t width, int32_t height);

/// Takes the picture over and releases it when the tests end.
Image keep(const Image& image);

/// Any scene of up to that size, its origin somewhere around it.
Image makeAnyScene(Random& random, Fill fill, bool fixed, int32_t largestSide);

std::string describe(const Image& image);
testing::AssertionResult sameBits(float got, float expected);
testing::AssertionResult sameImage(const Image& got, const Image& expected);
