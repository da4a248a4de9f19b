#include "export/mean_picture.h"

#include <fitsio.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "base/format_text.h"
#include "base/messages.h"

namespace {

constexpr size_t fitsBlock = 2880;
constexpr int64_t largestSide = 1 << 17;
constexpr int64_t largestPicture = int64_t{1} << 29;  // pixels
constexpr int uncountedPercent = 4;                   // of a turned frame's pixels, see fillUncounted
constexpr std::array<const char*, 3> channelEndings = {"B.fit", "V.fit", "R.fit"};

void closeFits(fitsfile* file) {
    int status = 0;
    fits_close_file(file, &status);
}

// A FITS file in memory. The channel files end with their last sample, where the format wants whole blocks: zeros added
// here make them whole.
struct FitsBytes {
    std::vector<char> bytes;
    void* start = nullptr;
    size_t size = 0;
    std::unique_ptr<fitsfile, decltype(&closeFits)> file{nullptr, closeFits};
};

bool openFits(const std::string& path, FitsBytes& fits) {
    std::ifstream input(path, std::ios::binary);
    fits.bytes.assign(std::istreambuf_iterator<char>(input), {});
    if (fits.bytes.empty()) return false;
    fits.bytes.resize((fits.bytes.size() + fitsBlock - 1) / fitsBlock * fitsBlock);
    fits.start = fits.bytes.data();
    fits.size = fits.bytes.size();
    fitsfile* file = nullptr;
    int status = 0;
    fits_open_memfile(&file, path.c_str(), READONLY, &fits.start, &fits.size, 0, nullptr, &status);
    fits.file.reset(file);
    return status == 0;
}

long readKeyword(fitsfile* file, const char* keyword, long missing) {
    long value = missing;
    int status = 0;
    fits_read_key(file, TLONG, keyword, &value, nullptr, &status);
    return status == 0 ? value : missing;
}

// The planes of the primary picture, top row first; empty when it has another number of them or is damaged.
std::vector<cv::Mat> readPlanes(FitsBytes& fits, int wanted) {
    int status = 0, axes = 0, bits = 0;
    std::array<long, 3> sizes = {1, 1, 1};
    fits_get_img_param(fits.file.get(), 3, &bits, &axes, sizes.data(), &status);
    const bool sound = status == 0 && axes >= 2 && axes <= 3 && sizes[2] == wanted && sizes[0] > 0 && sizes[1] > 0 &&
                       sizes[0] <= largestSide && sizes[1] <= largestSide && sizes[0] * sizes[1] <= largestPicture;
    const double promised = static_cast<double>(sizes[0]) * static_cast<double>(sizes[1]) * wanted * std::abs(bits) / 8;
    if (!sound || promised > static_cast<double>(fits.bytes.size())) return {};
    std::vector<cv::Mat> planes;
    for (int p = 0; p < wanted; ++p) {
        cv::Mat plane(static_cast<int>(sizes[1]), static_cast<int>(sizes[0]), CV_32S);
        const auto count = static_cast<LONGLONG>(plane.total());
        fits_read_img(fits.file.get(), TINT, 1 + p * count, count, nullptr, plane.data, nullptr, &status);
        cv::flip(plane, plane, 0);  // the format's first row is the bottom one
        planes.push_back(plane);
    }
    return status == 0 ? planes : std::vector<cv::Mat>{};
}

// A turned or bent frame mixes its weights in single precision, and in some four of a hundred pixels 255 comes out as
// 254: such pixels add their light, but are not counted. Their neighbours tell how many frames there are, nearly: of
// hundreds of frames a few go uncounted everywhere.
cv::Mat fillUncounted(const cv::Mat& coverage) {
    cv::Mat counts, closed;
    coverage.convertTo(counts, CV_32F);
    cv::morphologyEx(counts, closed, cv::MORPH_CLOSE, cv::Mat::ones(5, 5, CV_8U), {-1, -1}, 1, cv::BORDER_REPLICATE);
    closed.convertTo(closed, CV_32S);
    return closed;
}

// sums: blue, green, red.
cv::Mat divideSums(const std::vector<cv::Mat>& sums, const cv::Mat& coverage) {
    cv::Mat mean(sums[0].size(), CV_32FC3, cv::Scalar::all(0));
    for (int y = 0; y < mean.rows; ++y) {
        const int32_t* counts = coverage.ptr<int32_t>(y);
        auto* pixels = mean.ptr<cv::Vec3f>(y);
        for (int x = 0; x < mean.cols; ++x) {
            for (int c = 0; c < 3 && counts[x] > 0; ++c) {
                const double value = static_cast<double>(sums[static_cast<size_t>(c)].at<int32_t>(y, x)) / counts[x];
                pixels[x][c] = static_cast<float>(std::clamp(value, 0.0, 255.0));
            }
        }
    }
    return mean;
}

MeanPicture refuse(const char* pattern, const std::string& path) {
    MeanPicture picture;
    picture.problem = formatText(pattern, path.c_str());
    return picture;
}

MeanPicture readExactSums(const std::string& path) {
    FitsBytes fits;
    if (!openFits(path, fits)) return refuse(tr("%s cannot be read: it is missing or not a FITS file."), path);
    const std::vector<cv::Mat> planes = readPlanes(fits, 4);
    const long images = readKeyword(fits.file.get(), "NIMAGES", 0);
    if (planes.empty()) return refuse(tr("%s does not hold four whole planes of sums; make it anew."), path);
    MeanPicture picture;
    picture.coverage = fillUncounted(planes[3]);
    picture.mean = divideSums({planes[2], planes[1], planes[0]}, picture.coverage);
    picture.frames = readKeyword(fits.file.get(), "NSUMMED", images);
    return picture;
}

// The header says 256 times the number of frames that a sample stands for: all of them, or 127 when there are more.
MeanPicture readChannels(const std::string& stem) {
    MeanPicture picture;
    std::vector<cv::Mat> sums;
    long scale = 0;
    for (const char* ending : channelEndings) {
        const std::string path = stem + ending;
        FitsBytes fits;
        if (!openFits(path, fits)) return refuse(tr("%s cannot be read: it is missing or not a FITS file."), path);
        const std::vector<cv::Mat> planes = readPlanes(fits, 1);
        scale = readKeyword(fits.file.get(), "MIPS-HI", 0) / 256;
        if (planes.empty() || scale < 1) return refuse(tr("%s is damaged or not the channel of a sum."), path);
        if (!sums.empty() && planes[0].size() != sums[0].size()) {
            return refuse(tr("%s has another size than the sum's other channels."), path);
        }
        sums.push_back(planes[0]);
    }
    picture.frames = scale < 127 ? scale : 0;
    picture.mean = divideSums(sums, cv::Mat(sums[0].size(), CV_32S, cv::Scalar(static_cast<double>(scale))));
    return picture;
}

}  // namespace

SumFiles findSumFiles(const std::string& name) {
    SumFiles files{.stem = name};
    for (const char* ending : {".sums.fit", "R.fit", "V.fit", "B.fit", ".bmp"}) {
        if (!name.ends_with(ending)) continue;
        files.stem = name.substr(0, name.size() - std::string(ending).size());
        break;
    }
    const bool namesChannel = name.ends_with(".fit") && !name.ends_with(".sums.fit");
    files.hasExactSums = !namesChannel && std::filesystem::exists(files.stem + ".sums.fit");
    return files;
}

MeanPicture readMeanPicture(const SumFiles& files) {
    return files.hasExactSums ? readExactSums(files.stem + ".sums.fit") : readChannels(files.stem);
}

// Row by row: over each column, how many rows upward are reached; the largest rectangle under such a skyline.
cv::Rect findCommonField(const MeanPicture& picture) {
    if (picture.coverage.empty()) return {};
    double highest = 0;
    cv::minMaxLoc(picture.coverage, nullptr, &highest);
    const int most = static_cast<int>(highest), wanted = most - most * uncountedPercent / 100;
    const int columns = picture.coverage.cols;
    std::vector<int> heights(static_cast<size_t>(columns) + 1, 0);  // one column of height 0 behind the last
    cv::Rect largest;
    for (int y = 0; y < picture.coverage.rows && most > 0; ++y) {
        const int32_t* counts = picture.coverage.ptr<int32_t>(y);
        std::vector<int> rising;  // columns of ever greater height, each where its height began
        for (int x = 0; x <= columns; ++x) {
            int& height = heights[static_cast<size_t>(x)];
            height = x < columns && counts[x] >= wanted ? height + 1 : 0;
            while (!rising.empty() && heights[static_cast<size_t>(rising.back())] >= height) {
                const int tall = heights[static_cast<size_t>(rising.back())];
                rising.pop_back();
                const int left = rising.empty() ? 0 : rising.back() + 1;
                if (int64_t{tall} * (x - left) > int64_t{largest.width} * largest.height) {
                    largest = {left, y - tall + 1, x - left, tall};
                }
            }
            rising.push_back(x);
        }
    }
    return largest;
}
