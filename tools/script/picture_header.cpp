#include "script/picture_header.h"

#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "imageio/bmp_layout.h"

namespace {

struct Signature {
    std::string_view bytes;
    const char* format;
};

constexpr std::array signatures = {
    Signature{"\x89PNG", "PNG"},     Signature{"\xFF\xD8\xFF", "JPEG"}, Signature{"SIMPLE  =", "FITS"},
    Signature{{"II*\0", 4}, "TIFF"}, Signature{{"MM\0*", 4}, "TIFF"},   Signature{"LUCAM-RECORDER", "SER"},
    Signature{"RIFF", "AVI"},        Signature{"GIF8", "GIF"},
};

}  // namespace

PictureHeader readPictureHeader(const std::string& path) {
    PictureHeader header;
    struct stat facts {};
    if (stat(path.c_str(), &facts) != 0) return header;
    header.state = PictureState::unreadable;
    if (S_ISDIR(facts.st_mode)) return header;
    if (!S_ISREG(facts.st_mode)) {  // a pipe, which can be read only once
        header.state = PictureState::good;
        return header;
    }
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return header;
    std::array<char, bmpHeaderSize> bytes{};
    std::setvbuf(file, nullptr, _IONBF, 0);  // 54 bytes, not a buffer full, of thousands of files
    const size_t got = std::fread(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
    const std::string_view begin(bytes.data(), bytes.size());
    if (!begin.starts_with("BM") || got < bytes.size()) {
        header.state = PictureState::foreign;
        for (const Signature& signature : signatures)
            if (begin.starts_with(signature.bytes)) header.format = signature.format;
        return header;
    }
    const auto field = [&bytes](size_t offset, int width) {
        uint32_t value = 0;
        for (int i = width - 1; i >= 0; --i)
            value = value << 8 | static_cast<uint8_t>(bytes[offset + static_cast<size_t>(i)]);
        return value;
    };
    header.width = static_cast<int32_t>(field(bmpWidthOffset, 4));
    const int64_t height = std::abs(int64_t{static_cast<int32_t>(field(bmpHeightOffset, 4))});
    header.bits = static_cast<int>(field(bmpBitsPerPixelOffset, 2));
    constexpr int64_t longestSide = 1 << 24;  // no picture that fits in memory comes near
    if (field(bmpCompressionOffset, 4) != 0) {
        header.state = PictureState::compressed;
    } else if (header.bits != 24 && header.bits != 8) {
        header.state = PictureState::wrongDepth;
    } else if (header.width <= 0 || height == 0 || header.width > longestSide || height > longestSide) {
        header.state = PictureState::empty;
    } else {
        header.height = static_cast<int32_t>(height);
        const int64_t bytesNeeded =
            field(bmpDataOffsetOffset, 4) + computeRowStride(header.bits / 8, header.width) * height;
        header.state = header.bits == 8              ? PictureState::eightBits
                       : facts.st_size < bytesNeeded ? PictureState::cut
                                                     : PictureState::good;
    }
    return header;
}
