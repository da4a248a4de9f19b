#include "measure/bmp_frame.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "base/part_file.h"
#include "imageio/bmp_layout.h"

bool writeBmpFrame(const cv::Mat& picture, const std::string& path) {
    const int64_t stride = computeRowStride(3, picture.cols);
    std::vector<uint8_t> bytes(static_cast<size_t>(bmpHeaderSize + stride * picture.rows));
    const auto set = [&bytes](size_t offset, size_t value) {
        for (size_t i = 0; i < 4; ++i) bytes[offset + i] = static_cast<uint8_t>(value >> (8 * i));
    };
    bytes[0] = 'B';
    bytes[1] = 'M';
    set(bmpFileSizeOffset, bytes.size());
    set(bmpDataOffsetOffset, bmpHeaderSize);
    set(bmpInformationSizeOffset, bmpHeaderSize - bmpInformationSizeOffset);
    set(bmpWidthOffset, static_cast<size_t>(picture.cols));
    set(bmpHeightOffset, static_cast<size_t>(picture.rows));
    bytes[bmpPlanesOffset] = 1;
    bytes[bmpBitsPerPixelOffset] = 24;
    // Bottom row first.
    for (int y = 0; y < picture.rows; ++y) {
        std::memcpy(bytes.data() + bmpHeaderSize + stride * (picture.rows - 1 - y), picture.ptr(y),
                    static_cast<size_t>(picture.cols) * 3);
    }
    PartFile part = createPartFile(path);
    if (part.file != nullptr) std::fwrite(bytes.data(), 1, bytes.size(), part.file);
    return finishPartFile(part);
}
