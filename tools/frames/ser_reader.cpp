#include "frames/ser_reader.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <opencv2/imgproc.hpp>
#include <span>
#include <vector>

#include "base/format_text.h"
#include "base/messages.h"
#include "frames/bayer.h"

struct SerReader {
    std::FILE* file = nullptr;
    std::string path;
    int32_t colours = 0;          // one of those below
    int width = 0, height = 0;    // pixels
    int channels = 1, bytes = 1;  // a pixel's values, and the bytes of each
    bool bigEndian = false;
    int64_t promisedFrames = 0, wholeFrames = 0, nextFrame = 0;
};

namespace {

constexpr std::string_view magic = "LUCAM-RECORDER";
constexpr size_t headerSize = 178;
constexpr size_t coloursOffset = 18, widthOffset = 26, heightOffset = 30, depthOffset = 34, frameCountOffset = 38;
constexpr int32_t coloursMono = 0, coloursRggb = 8, coloursBggr = 11, coloursRgb = 100, coloursBgr = 101;
constexpr int32_t largestSide = 65535;

int32_t readLittleEndian(const std::array<uint8_t, headerSize>& header, size_t offset) {
    uint32_t value = 0;
    for (size_t i = 4; i-- > 0;) value = value << 8 | header[offset + i];
    return static_cast<int32_t>(value);
}

int64_t countFrameBytes(const SerReader& reader) {
    return int64_t{reader.width} * reader.height * reader.channels * reader.bytes;
}

bool readBytes(const SerReader& reader, int64_t offset, std::span<uint8_t> bytes) {
    return fseeko(reader.file, offset, SEEK_SET) == 0 &&
           std::fread(bytes.data(), 1, bytes.size(), reader.file) == bytes.size();
}

// What is wrong with the header; empty when it can be worked with.
std::string readHeader(SerReader& reader) {
    std::array<uint8_t, headerSize> header{};
    struct stat status {};
    if (fstat(fileno(reader.file), &status) != 0 || !readBytes(reader, 0, header)) {
        return formatText(tr("%s is too short to be a SER film."), reader.path.c_str());
    }
    if (!std::equal(magic.begin(), magic.end(), header.begin())) {
        return formatText(tr("%s is no SER film: it does not begin with LUCAM-RECORDER."), reader.path.c_str());
    }
    const int32_t depth = readLittleEndian(header, depthOffset);
    reader.colours = readLittleEndian(header, coloursOffset);
    reader.width = readLittleEndian(header, widthOffset);
    reader.height = readLittleEndian(header, heightOffset);
    reader.promisedFrames = readLittleEndian(header, frameCountOffset);
    const bool sameEverywhere = reader.colours == coloursMono;
    const bool threeColours = reader.colours == coloursRgb || reader.colours == coloursBgr;
    const bool mosaic = reader.colours >= coloursRggb && reader.colours <= coloursBggr;
    if (!sameEverywhere && !threeColours && !mosaic) {
        return formatText(tr("%s has colours of a kind (%d) that cannot be read; mono, RGB and Bayer films can."),
                          reader.path.c_str(), reader.colours);
    }
    if (std::min(reader.width, reader.height) < 1 || std::max(reader.width, reader.height) > largestSide || depth < 1 ||
        depth > 16) {
        return formatText(tr("%s is damaged: its header says %d x %d pixels of %d bits."), reader.path.c_str(),
                          reader.width, reader.height, depth);
    }
    reader.channels = threeColours ? 3 : 1;
    reader.bytes = depth > 8 ? 2 : 1;
    reader.wholeFrames = (static_cast<int64_t>(status.st_size) - int64_t{headerSize}) / countFrameBytes(reader);
    if (reader.promisedFrames <= 0) reader.promisedFrames = reader.wholeFrames;
    reader.wholeFrames = std::min(reader.wholeFrames, reader.promisedFrames);
    if (reader.wholeFrames == 0) return formatText(tr("%s does not hold one whole frame."), reader.path.c_str());
    return "";
}

int64_t sumNeighbourDifferences(std::span<const uint8_t> row, size_t step, bool bigEndian) {
    const size_t high = bigEndian ? 0 : 1;
    int64_t sum = 0;
    int last = 0;
    for (size_t i = 0; i + 1 < row.size(); i += step) {
        const int value = row[i + high] << 8 | row[i + 1 - high];
        if (i > 0) sum += std::abs(value - last);
        last = value;
    }
    return sum;
}

// Recorders do not agree on what the header's flag means, so the values decide: in the wrong order, the low byte counts
// 256 times and neighbours differ far more. As good either way (one colour, say), it is the common order.
bool findBigEndian(const SerReader& reader) {
    constexpr int64_t triedFrames = 4, triedRows = 64;
    const int64_t rowBytes = countFrameBytes(reader) / reader.height;
    const size_t step = 2 * (reader.channels == 3 ? 3 : reader.colours == coloursMono ? 1 : 2);  // to the same colour
    std::vector<uint8_t> row(static_cast<size_t>(rowBytes));
    int64_t asLittle = 0, asBig = 0;
    for (int64_t i = 0; i < triedFrames * triedRows; ++i) {
        const int64_t frame = i / triedRows * reader.wholeFrames / triedFrames;
        const int64_t y = i % triedRows * reader.height / triedRows;
        if (!readBytes(reader, int64_t{headerSize} + frame * countFrameBytes(reader) + y * rowBytes, row)) break;
        asLittle += sumNeighbourDifferences(row, step, false);
        asBig += sumNeighbourDifferences(row, step, true);
    }
    return asBig < asLittle;
}

void swapBytes(cv::Mat& picture) {
    cv::Mat bytes(picture.rows, picture.cols * picture.channels(), CV_8UC2, picture.data);
    cv::Mat swapped(bytes.size(), bytes.type());
    const int fromTo[] = {0, 1, 1, 0};
    cv::mixChannels(&bytes, 1, &swapped, 1, fromTo, 2);
    swapped.copyTo(bytes);
}

}  // namespace

void closeSer(SerReader* reader) {
    if (reader != nullptr && reader->file != nullptr) std::fclose(reader->file);
    delete reader;
}

bool looksLikeSer(const std::string& firstBytes) {
    return firstBytes.starts_with(magic);
}

SerReaderHandle openSer(const std::string& path, std::string& problem) {
    SerReaderHandle reader(new SerReader, closeSer);
    reader->path = path;
    reader->file = std::fopen(path.c_str(), "rb");
    problem = reader->file == nullptr ? formatText(tr("%s cannot be opened."), path.c_str()) : readHeader(*reader);
    if (!problem.empty()) return {nullptr, closeSer};
    reader->bigEndian = reader->bytes == 2 && findBigEndian(*reader);
    return reader;
}

int64_t countSerFrames(const SerReader& reader) {
    return reader.promisedFrames;
}

bool readNextSerFrame(SerReader& reader, cv::Mat& picture, std::string& problem) {
    const int64_t number = ++reader.nextFrame;
    problem.clear();
    picture.release();
    if (number > std::min(reader.promisedFrames, reader.wholeFrames + 1)) return false;
    if (number > reader.wholeFrames) {
        problem = formatText(tr("%s is cut short: frames %lld to %lld are missing."), reader.path.c_str(),
                             static_cast<long long>(number), static_cast<long long>(reader.promisedFrames));
        return true;
    }
    try {
        picture.create(reader.height, reader.width, CV_MAKETYPE(reader.bytes == 2 ? CV_16U : CV_8U, reader.channels));
        const int64_t size = countFrameBytes(reader);
        if (!readBytes(reader, int64_t{headerSize} + (number - 1) * size, {picture.data, static_cast<size_t>(size)})) {
            problem =
                formatText(tr("Frame %lld of %s cannot be read."), static_cast<long long>(number), reader.path.c_str());
            picture.release();
            return true;
        }
        const bool nativeBigEndian = std::endian::native == std::endian::big;
        if (reader.bytes == 2 && reader.bigEndian != nativeBigEndian) swapBytes(picture);
        if (reader.colours == coloursRgb) cv::cvtColor(picture, picture, cv::COLOR_RGB2BGR);
        constexpr std::array patterns = {BayerPattern::rggb, BayerPattern::grbg, BayerPattern::gbrg,
                                         BayerPattern::bggr};
        const int32_t pattern = reader.colours - coloursRggb;
        if (pattern >= 0 && pattern < 4) picture = resolveBayer(picture, patterns[static_cast<size_t>(pattern)]);
    } catch (const cv::Exception& error) {
        problem = formatText(tr("Frame %lld of %s cannot be read: %s."), static_cast<long long>(number),
                             reader.path.c_str(), error.err.c_str());
        picture.release();
    }
    return true;
}
