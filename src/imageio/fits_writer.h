#pragma once

#include <cstdint>
#include <cstdio>

#include "imageio/composite_sum.h"

/// The position of a colour's sum in CompositeSum.
constexpr int fitsBlue = 0, fitsGreen = 1, fitsRed = 2;

/// What the channel files are made from: one record a pixel of width x height, top row first, over imageCount images.
struct ChannelSums {
    const CompositeSum* sums;
    int32_t width, height;
    int32_t imageCount;
};

/// Writes one channel as a FITS file of 16-bit integers: a header of 2880 bytes, then the rows, bottom row of the
/// picture first. Up to 127 images a sample is the sum itself; beyond, sums are scaled by 127 / imageCount to fit.
/// Returns false, with a message and no file left behind, when it could not be written whole.
[[nodiscard]] bool writeFitsChannel(const ChannelSums& channels, const char* path, int channel);

/// One header card of 80 characters: keyword (at most 8 characters), "=", the value ending in column 30.
void writeFitsIntegerCard(std::FILE* file, const char* keyword, int32_t value);
void writeFitsCharacterCard(std::FILE* file, const char* keyword, char value);
