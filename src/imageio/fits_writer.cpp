#include "imageio/fits_writer.h"

#include <algorithm>
#include <vector>

#include "imageio/output_file.h"

namespace {

constexpr int headerSize = 2880;
constexpr int cardSize = 80;
constexpr int cardCount = 7;
constexpr int32_t largestScale = 127;  // 127 x 255 is the largest multiple of full brightness that 16 bits hold

void writeHeader(std::FILE* file, const ChannelSums& channels, float scale) {
    writeFitsCharacterCard(file, "SIMPLE", 'T');
    writeFitsIntegerCard(file, "BITPIX", 16);
    writeFitsIntegerCard(file, "NAXIS", 2);
    writeFitsIntegerCard(file, "NAXIS1", channels.width);
    writeFitsIntegerCard(file, "NAXIS2", channels.height);
    writeFitsIntegerCard(file, "MIPS-HI", static_cast<int32_t>(scale * 256.0f));
    writeFitsIntegerCard(file, "MIPS-LO", 0);
    std::fprintf(file, "%-*s", headerSize - cardCount * cardSize, "END");
}

uint32_t channelOf(const CompositeSum& record, int channel) {
    return channel == fitsBlue ? record.sumBlue : channel == fitsGreen ? record.sumGreen : record.sumRed;
}

void writeSamples(std::FILE* file, const ChannelSums& channels, int channel, float scale, std::vector<uint8_t>& row) {
    const auto width = static_cast<size_t>(channels.width);
    for (int64_t y = channels.height - 1; y >= 0 && std::ferror(file) == 0; --y) {
        const CompositeSum* records = channels.sums + static_cast<size_t>(y) * width;
        for (size_t x = 0; x < width; ++x) {
            // Rounded to single once, from the quotient; of no image at all the sums are zero and so are the samples.
            const double product = static_cast<double>(channelOf(records[x], channel)) * static_cast<double>(scale);
            const float quotient = channels.imageCount == 0 ? 0.0f : static_cast<float>(product / channels.imageCount);
            const auto sample = static_cast<int32_t>(quotient);
            row[2 * x] = static_cast<uint8_t>(sample / 256);
            row[2 * x + 1] = static_cast<uint8_t>(sample);
        }
        std::fwrite(row.data(), 1, row.size(), file);
    }
}

}  // namespace

void writeFitsIntegerCard(std::FILE* file, const char* keyword, int32_t value) {
    std::fprintf(file, "%-8s=%21i%50s", keyword, value, "");
}

void writeFitsCharacterCard(std::FILE* file, const char* keyword, char value) {
    std::fprintf(file, "%-8s=%21c%50s", keyword, value, "");
}

bool writeFitsChannel(const ChannelSums& channels, const char* path, int channel) {
    const auto scale = static_cast<float>(std::min(channels.imageCount, largestScale));
    const bool hasPixels = channels.width > 0 && channels.height > 0;
    // One row, most significant bytes first. Before the file: memory that runs short leaves none half written.
    std::vector<uint8_t> row(hasPixels ? 2 * static_cast<size_t>(channels.width) : 0);
    std::FILE* file = createOutputFile(path);
    if (file != nullptr) {
        writeHeader(file, channels, scale);
        if (hasPixels) writeSamples(file, channels, channel, scale, row);
    }
    return finishOutputFile(file, path);
}
