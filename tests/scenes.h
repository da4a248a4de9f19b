#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>

#include "imageio/image.h"

// What several tests need: small pictures that are hard on a search, and texts that say what was tried and what came.

using Random = std::mt19937;
int32_t pick(Random& random, int32_t from, int32_t to);  // both included

/// Pictures in which ties and near ties abound, and some without. moving and fixed pictures of one fill belong
/// together.
enum class Fill { noise, tiles, flat, blackOnWhite, nearlyEqual, disc };
constexpr int fillCount = 6;
enum class Mask { none, scattered, patch, all };
Image makeScene(Random& random, Fill fill, Mask mask, bool fixed, int32_t width, int32_t height);

/// Any such picture of up to that size, its origin somewhere around it. The fill goes with the round.
Image makeAnyScene(Random& random, int round, bool fixed, int32_t largestSide);

/// Takes the picture over and releases it when the tests end.
Image keep(const Image& image);

/// Text as by printf; "%a" tells any two single-precision values apart.
[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...);
std::string describe(const Image& image);
testing::AssertionResult sameImage(const Image& got, const Image& expected);

/// Moves into an empty folder, once, which goes when the tests end.
void enterScratchFolder();
std::string readFile(const char* path);
void writeFile(const char* path, const std::string& bytes);
