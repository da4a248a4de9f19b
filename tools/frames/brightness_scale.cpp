#include "frames/brightness_scale.h"

#include <algorithm>
#include <bit>

namespace {

// The bits of floats, taken as integers and turned round for negative ones, rank as the values do. Their upper 20 bits
// are sign, exponent and 11 bits of the fraction: whole numbers up to 4096 each have a bin of their own.
constexpr int droppedBits = 12;
constexpr size_t binCount = size_t{1} << (32 - droppedBits);
constexpr uint32_t signBit = uint32_t{1} << 31;

size_t findBin(float value) {
    const uint32_t bits = std::bit_cast<uint32_t>(value);
    return ((bits & signBit) != 0 ? ~bits : bits | signBit) >> droppedBits;
}

// The value that begins the bin, the least in it.
float beginBin(size_t bin) {
    const uint32_t rank = static_cast<uint32_t>(bin) << droppedBits;
    return std::bit_cast<float>((rank & signBit) != 0 ? rank & ~signBit : ~rank);
}

}  // namespace

bool needsScale(const cv::Mat& picture) {
    return picture.depth() != CV_8U;
}

void addToHistogram(BrightnessHistogram& histogram, const cv::Mat& picture) {
    if (picture.empty()) return;
    const cv::Mat values = picture.reshape(1);
    double least = 0, largest = 0;
    cv::minMaxIdx(values, &least, &largest);
    const bool first = histogram.total == 0;
    histogram.least = first ? static_cast<float>(least) : std::min(histogram.least, static_cast<float>(least));
    histogram.largest = first ? static_cast<float>(largest) : std::max(histogram.largest, static_cast<float>(largest));
    histogram.counts.resize(binCount);
    histogram.total += static_cast<int64_t>(values.total());
    cv::Mat row;
    for (int y = 0; y < values.rows; ++y) {
        values.row(y).convertTo(row, CV_32F);  // exact for 16 bits
        for (const float value : cv::Mat_<float>(row)) ++histogram.counts[findBin(value)];
    }
}

BrightnessScale chooseScale(const BrightnessHistogram& histogram) {
    if (histogram.total == 0) return {};
    const int64_t mayLieBelow = histogram.total / 10'000, mayLieAbove = histogram.total / 100'000;
    int64_t below = 0, above = 0;
    size_t lowBin = 0, highBin = binCount - 1;
    while (lowBin < highBin && below + histogram.counts[lowBin] <= mayLieBelow) below += histogram.counts[lowBin++];
    while (highBin > lowBin && above + histogram.counts[highBin] <= mayLieAbove) above += histogram.counts[highBin--];

    // The whole bin at either end lies in the scale, but never more than there are values.
    const double low = std::max(beginBin(lowBin), histogram.least);
    const double high = highBin + 1 < binCount ? std::min(beginBin(highBin + 1), histogram.largest) : histogram.largest;
    return {low, high > low ? high : low + 1};
}

ScaledPicture applyScale(const cv::Mat& picture, const BrightnessScale& scale) {
    const cv::Mat values = picture.reshape(1);
    ScaledPicture scaled;
    scaled.belowCount = cv::countNonZero(values < scale.low);
    scaled.aboveCount = cv::countNonZero(values > scale.high);

    // Floats far outside would not fit the integers they are rounded to.
    cv::Mat within = values;
    if (values.depth() == CV_32F) cv::min(cv::max(values, scale.low), scale.high, within);
    const double factor = 255 / (scale.high - scale.low);
    within.convertTo(scaled.picture, CV_8U, factor, -scale.low * factor);
    scaled.picture = scaled.picture.reshape(picture.channels());
    if (picture.channels() == 1) cv::merge(std::vector<cv::Mat>(3, scaled.picture), scaled.picture);
    return scaled;
}
