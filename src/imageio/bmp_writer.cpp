#include "imageio/bmp_writer.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "imageio/bmp_layout.h"
#include "imageio/output_file.h"
#include "imageio/pixel_packing.h"

namespace {

constexpr int64_t bytesPerWrite = 1 << 18;  // rows are written in groups of about this size
constexpr uint32_t pixelsPerMetre = 2840;   // about 72 dots per inch
constexpr uint32_t informationHeaderSize = 40;

std::array<uint8_t, bmpHeaderSize> makeHeader(const Image& image, int64_t stride) {
    std::array<uint8_t, bmpHeaderSize> header{'B', 'M'};
    const auto set = [&header](size_t offset, uint32_t value) {
        for (size_t i = 0; i < 4; ++i) header[offset + i] = static_cast<uint8_t>(value >> (8 * i));
    };
    set(bmpFileSizeOffset, static_cast<uint32_t>(bmpHeaderSize + stride * image.height));
    set(bmpDataOffsetOffset, bmpHeaderSize);
    set(bmpInformationSizeOffset, informationHeaderSize);
    set(bmpWidthOffset, static_cast<uint32_t>(image.width));
    set(bmpHeightOffset, static_cast<uint32_t>(image.height));
    header[bmpPlanesOffset] = 1;
    header[bmpBitsPerPixelOffset] = 24;
    set(bmpHorizontalResolutionOffset, pixelsPerMetre);
    set(bmpVerticalResolutionOffset, pixelsPerMetre);
    return header;
}

int64_t countRowsPerWrite(int64_t stride) {
    return std::max<int64_t>(bytesPerWrite / std::max<int64_t>(stride, 1), 1);
}

void writeRows(std::FILE* file, const Image& image, int64_t stride, std::vector<uint8_t>& buffer) {
    const int64_t rowsPerWrite = countRowsPerWrite(stride);
    for (int64_t first = 0; first < image.height && std::ferror(file) == 0; first += rowsPerWrite) {
        const int64_t rows = std::min<int64_t>(rowsPerWrite, image.height - first);
        for (int64_t r = 0; r < rows; ++r) {
            packingKernel().packPixels(rowOf(image, image.height - 1 - (first + r)), buffer.data() + r * stride,
                                       static_cast<size_t>(image.width));
        }
        std::fwrite(buffer.data(), 1, static_cast<size_t>(rows * stride), file);
    }
}

}  // namespace

bool writeBmp(const Image& image, const char* path) {
    std::printf("Sauvegarde d'une image %s", path);
    const int64_t stride = computeRowStride(3, image.width);
    // Before the file: memory that runs short leaves none half written. All zero, as the row ends stay.
    std::vector<uint8_t> buffer(
        static_cast<size_t>(stride * std::min<int64_t>(countRowsPerWrite(stride), image.height)));
    std::FILE* file = createOutputFile(path);
    if (file != nullptr) {
        const auto header = makeHeader(image, stride);
        std::fwrite(header.data(), 1, header.size(), file);
        if (countPixels(image) > 0) writeRows(file, image, stride, buffer);
    }
    const bool whole = finishOutputFile(file, path);
    if (whole) std::printf(" FIN\n");
    return whole;
}
