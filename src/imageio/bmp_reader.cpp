#include "imageio/bmp_reader.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "core/fatal_error.h"
#include "core/platform.h"
#include "imageio/bmp_layout.h"
#include "imageio/input_file.h"
#include "imageio/pixel_packing.h"

namespace {

constexpr size_t fieldBytes = 34;          // the fields that are read lie in the first 34 bytes
constexpr double largePicture = 1e9;       // bytes of rows; from here on a promise is checked against the file
constexpr int64_t bytesPerRead = 1 << 19;  // rows are read in groups of about this size

struct BmpHeader {
    uint32_t dataOffset;
    int32_t width, height;
    uint16_t bitsPerPixel;
    uint32_t compression;
};

// Bytes that a short file lacks read as zero.
BmpHeader readHeader(std::FILE* file) {
    std::array<uint8_t, fieldBytes> bytes{};
    (void)std::fread(bytes.data(), 1, bytes.size(), file);
    const auto field = [&bytes](size_t offset, int width) {
        uint32_t value = 0;
        for (int i = width - 1; i >= 0; --i) value = value << 8 | bytes[offset + static_cast<size_t>(i)];
        return value;
    };
    return {.dataOffset = field(bmpDataOffsetOffset, 4),
            .width = static_cast<int32_t>(field(bmpWidthOffset, 4)),
            .height = static_cast<int32_t>(field(bmpHeightOffset, 4)),
            .bitsPerPixel = static_cast<uint16_t>(field(bmpBitsPerPixelOffset, 2)),
            .compression = field(bmpCompressionOffset, 4)};
}

// Whether the file holds at least half of that many bytes: one that lacks more was never that picture. A pipe cannot
// tell, and counts as not holding them.
bool holdsHalf(std::FILE* file, double byteCount) {
    return 2.0 * static_cast<double>(measureFile(file)) >= byteCount;
}

// To an absolute position; a pipe, which cannot go there, is read up to it.
void skipTo(std::FILE* file, uint32_t position) {
    if (seekTo(file, position)) return;
    for (size_t at = fieldBytes; at < position && std::fgetc(file) != EOF; ++at) {
    }
}

// The pixels of one row that its first byteCount bytes hold; the others are without data.
void expandRow(const uint8_t* bytes, int64_t byteCount, Pixel* row, int64_t width) {
    const int64_t wholePixels = std::min(byteCount / 3, width);
    packingKernel().expandPixels(bytes, row, static_cast<size_t>(wholePixels));
    std::fill(row + wholePixels, row + width, Pixel{});
}

// Returns whether the file held every pixel.
bool readRows(std::FILE* file, const Image& image, bool topRowFirst) {
    if (countPixels(image) == 0) return true;
    const int64_t stride = computeRowStride(3, image.width);
    const int64_t rowsPerRead = std::clamp<int64_t>(bytesPerRead / std::max<int64_t>(stride, 1), 1, image.height);
    std::vector<uint8_t> buffer(static_cast<size_t>(rowsPerRead * stride));
    bool complete = true;
    for (int64_t first = 0; first < image.height; first += rowsPerRead) {
        const int64_t rows = std::min<int64_t>(rowsPerRead, image.height - first);
        const size_t got = std::fread(buffer.data(), 1, static_cast<size_t>(rows * stride), file);
        for (int64_t r = 0; r < rows; ++r) {
            const int64_t rowBytes = std::clamp<int64_t>(static_cast<int64_t>(got) - r * stride, 0, stride);
            const int64_t y = topRowFirst ? first + r : image.height - 1 - (first + r);
            expandRow(buffer.data() + r * stride, rowBytes, rowOf(image, y), image.width);
            complete = complete && rowBytes >= 3 * int64_t{image.width};
        }
    }
    return complete;
}

}  // namespace

int32_t readBmp(Image& image, const char* path) {
    std::printf("Chargement du fichier %s", path);
    std::FILE* file = openInputFile(path);
    if (file == nullptr) {
        std::printf("Erreur : impossible d'ouvrir l'image %s\n", path);
        return bmpCannotOpen;
    }
    const BmpHeader header = readHeader(file);
    if (header.compression != 0) {
        std::printf("Fichier BMP compresse: chargement impossible\n");
        fatalError();
    }
    if (header.bitsPerPixel != 8 && header.bitsPerPixel != 24) {
        std::printf("Erreur fatale: mode d'image non supporte\n");
        fatalError();
    }
    const int64_t height = std::abs(int64_t{header.height});
    if (header.width < 0) stopForMemory();
    // A few damaged bytes must not fetch gigabytes for pixels that do not exist. The product may need 64 bits and more.
    const double promised =
        static_cast<double>(computeRowStride(header.bitsPerPixel / 8, header.width)) * static_cast<double>(height);
    if (promised >= largePicture && !holdsHalf(file, header.dataOffset + promised)) stopForMemory();

    Image loaded =
        header.bitsPerPixel == 24 ? makeUnfilledImage(header.width, height) : makeImage(header.width, height);
    skipTo(file, header.dataOffset);
    if (header.bitsPerPixel == 8) {
        for (int i = 0; i < 100; ++i) std::printf("La sauvegarde en N&B n'est pas encore possible\n");
    } else if (!readRows(file, loaded, header.height < 0)) {
        std::fflush(stdout);  // a notice of our own, behind the line that names the file
        std::fprintf(stderr, "Attention : fichier incomplet, les pixels manquants sont sans donnees : %s\n", path);
    }
    std::fclose(file);
    image.pixels = loaded.pixels;
    image.width = loaded.width;
    image.height = loaded.height;
    return bmpLoaded;
}
