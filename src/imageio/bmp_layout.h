#pragma once

#include <cstdint>

// The uncompressed BMP file: a header of little-endian fields, then the rows, bottom row of the picture first.

/// Byte offsets of the header fields that are read or vary, from the start of the file.
constexpr int bmpFileSizeOffset = 2;
constexpr int bmpDataOffsetOffset = 10;
constexpr int bmpInformationSizeOffset = 14;
constexpr int bmpWidthOffset = 18;
constexpr int bmpHeightOffset = 22;
constexpr int bmpPlanesOffset = 26;
constexpr int bmpBitsPerPixelOffset = 28;
constexpr int bmpCompressionOffset = 30;
constexpr int bmpHorizontalResolutionOffset = 38;
constexpr int bmpVerticalResolutionOffset = 42;
constexpr int bmpHeaderSize = 54;

/// Bytes of one stored row: the pixels, filled up to a multiple of four.
constexpr int64_t computeRowStride(int64_t bytesPerPixel, int64_t width) {
    return (bytesPerPixel * width + 3) / 4 * 4;
}
