#include "grey_picture.h"

#include <cstddef>
#include <cstdio>

GreyPicture readGreyPicture(const char* path) {
    std::FILE* file = std::fopen(path, "rb");
    if (file == nullptr) return {};
    std::vector<uint8_t> bytes(54);
    GreyPicture picture;
    if (std::fread(bytes.data(), 1, bytes.size(), file) == bytes.size()) {
        picture.width = bytes[18] | bytes[19] << 8;
        picture.height = bytes[22] | bytes[23] << 8;
    }
    const size_t width = static_cast<size_t>(picture.width), height = static_cast<size_t>(picture.height);
    const size_t stride = (3 * width + 3) / 4 * 4;
    bytes.resize(stride * height);
    const bool whole = std::fread(bytes.data(), 1, bytes.size(), file) == bytes.size();
    std::fclose(file);
    if (!whole) return {};
    for (size_t y = 0; y < height; ++y) {
        const uint8_t* row = &bytes[(height - 1 - y) * stride];
        for (size_t x = 0; x < width; ++x) picture.levels.push_back(row[3 * x] + row[3 * x + 1] + row[3 * x + 2]);
    }
    return picture;
}
