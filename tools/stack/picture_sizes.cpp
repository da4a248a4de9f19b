#include "stack/picture_sizes.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "base/format_text.h"
#include "base/messages.h"
#include "export/mean_picture.h"
#include "imageio/composite_sum.h"
#include "imageio/fits_writer.h"
#include "measure/bmp_frame.h"
#include "parts/image_part.h"
#include "report/aligned_frames.h"

namespace {

cv::Mat pick(const cv::Mat& picture, cv::Size size, int factor) {
    cv::Mat smaller(size, picture.type(), cv::Scalar::all(0.0));
    const auto bytes = static_cast<std::ptrdiff_t>(picture.elemSize());
    for (int row = 0; row < size.height && row * factor < picture.rows; ++row) {
        for (int column = 0; column < size.width && column * factor < picture.cols; ++column) {
            const uint8_t* from = picture.ptr(row * factor, column * factor);
            std::copy(from, from + bytes, smaller.ptr(row, column));
        }
    }
    return smaller;
}

std::vector<CompositeSum> toSums(const cv::Mat& mean, const cv::Mat& coverage) {
    std::vector<CompositeSum> sums;
    for (int row = 0; row < mean.rows; ++row) {
        for (int column = 0; column < mean.cols; ++column) {
            const auto& levels = mean.at<cv::Vec3f>(row, column);
            const int count = coverage.at<int>(row, column);
            const auto toSum = [count](float level) {
                return static_cast<uint32_t>(std::lround(std::max(0.0F, level) * static_cast<float>(count)));
            };
            sums.push_back({toSum(levels[0]), toSum(levels[1]), toSum(levels[2]), static_cast<uint32_t>(count)});
        }
    }
    return sums;
}

}  // namespace

cv::Mat toPicture(const Image& image) {
    const cv::Mat pixels(image.height, image.width, CV_8UC4, image.pixels);
    cv::Mat picture;
    cv::cvtColor(pixels, picture, cv::COLOR_BGRA2BGR);
    return picture;
}

cv::Mat enlargePicture(const cv::Mat& picture, int factor) {
    if (factor == 1) return picture;
    const cv::Matx23d back(1.0 / factor, 0, 0, 0, 1.0 / factor, 0);
    cv::Mat larger;
    cv::warpAffine(picture, larger, back, picture.size() * factor, cv::INTER_LANCZOS4 | cv::WARP_INVERSE_MAP,
                   cv::BORDER_REPLICATE);
    cv::max(larger, cv::Scalar::all(1.0), larger);
    return larger;
}

bool reducePicture(const std::string& from, const std::string& to, int factor) {
    RunScript script;
    script.reference = from;
    Image image = readReference(script);
    if (image.pixels == nullptr) return false;
    const cv::Mat picture = toPicture(image);
    releaseImage(image);
    return writeBmpFrame(pick(picture, picture.size() / factor, factor), to);
}

std::string collectSum(const std::string& from, const std::string& to, cv::Size size, int factor) {
    const MeanPicture large = readMeanPicture(findSumFiles(from + ".sums.fit"));
    if (!large.problem.empty()) return large.problem;
    const cv::Mat mean = pick(large.mean, size, factor), coverage = pick(large.coverage, size, factor);
    const auto count = static_cast<int32_t>(large.frames);
    const std::vector<CompositeSum> sums = toSums(mean, coverage);
    cv::Mat levels;
    mean.convertTo(levels, CV_8U);
    const ChannelSums channels = {sums.data(), size.width, size.height, count};
    const bool written = writeBmpFrame(levels, to + ".bmp") &&
                         writeFitsChannel(channels, (to + "R.fit").c_str(), fitsRed) &&
                         writeFitsChannel(channels, (to + "V.fit").c_str(), fitsGreen) &&
                         writeFitsChannel(channels, (to + "B.fit").c_str(), fitsBlue);
    if (!written) return formatText(tr("%s cannot be written; is the disk full?"), to.c_str());
    const RunIdentity identity = {
        .script = "", .reference = "", .images = count, .width = size.width, .height = size.height};
    return writeSums(to + ".sums.fit", identity, count, sums.data());
}
