#include "frames/bayer.h"

#include <array>
#include <opencv2/imgproc.hpp>

namespace {

struct NamedPattern {
    BayerPattern pattern;
    const char* name;  // the colours in the order of the rows
    int conversion;    // the library names a pattern by the second and third pixel of its second row
};

constexpr std::array namedPatterns = {
    NamedPattern{BayerPattern::rggb, "RGGB", cv::COLOR_BayerBG2BGR},
    NamedPattern{BayerPattern::grbg, "GRBG", cv::COLOR_BayerGB2BGR},
    NamedPattern{BayerPattern::gbrg, "GBRG", cv::COLOR_BayerGR2BGR},
    NamedPattern{BayerPattern::bggr, "BGGR", cv::COLOR_BayerRG2BGR},
};

// Each colour is the mean of those of its pixels that lie under the weights: the library has this for integers only,
// and not for the smallest pictures.
cv::Mat resolveByWeights(const cv::Mat& mosaic, const std::string& colours) {
    const cv::Mat weights = (cv::Mat_<float>(3, 3) << 1, 2, 1, 2, 4, 2, 1, 2, 1);
    cv::Mat values;
    mosaic.convertTo(values, CV_32F);
    std::array<cv::Mat, 3> planes;
    const std::string planeColours = "BGR";
    for (size_t plane = 0; plane < 3; ++plane) {
        cv::Mat mask(mosaic.size(), CV_32F);
        for (int y = 0; y < mask.rows; ++y) {
            for (int x = 0; x < mask.cols; ++x) {
                const size_t place = static_cast<size_t>(y % 2 * 2 + x % 2);
                mask.at<float>(y, x) = colours[place] == planeColours[plane] ? 1.0F : 0.0F;
            }
        }
        cv::Mat sums, weightSums;
        cv::filter2D(values.mul(mask), sums, CV_32F, weights, {-1, -1}, 0, cv::BORDER_CONSTANT);
        cv::filter2D(mask, weightSums, CV_32F, weights, {-1, -1}, 0, cv::BORDER_CONSTANT);
        cv::divide(sums, cv::max(weightSums, 1.0F), planes[plane]);
        values.copyTo(planes[plane], mask > 0);
    }
    cv::Mat picture;
    cv::merge(planes, picture);
    picture.convertTo(picture, mosaic.depth());
    return picture;
}

}  // namespace

BayerPattern findBayerPattern(const std::string& name) {
    for (const NamedPattern& named : namedPatterns) {
        if (name == named.name) return named.pattern;
    }
    return BayerPattern::none;
}

BayerPattern moveBayerPattern(BayerPattern pattern, int columns, int rows) {
    for (const NamedPattern& named : namedPatterns) {
        if (pattern != named.pattern) continue;
        std::string moved = named.name;
        if (columns % 2 != 0) moved = {moved[1], moved[0], moved[3], moved[2]};
        if (rows % 2 != 0) moved = {moved[2], moved[3], moved[0], moved[1]};
        return findBayerPattern(moved);
    }
    return pattern;
}

cv::Mat resolveBayer(const cv::Mat& mosaic, BayerPattern pattern) {
    for (const NamedPattern& named : namedPatterns) {
        if (pattern != named.pattern) continue;
        if (mosaic.depth() == CV_32F || mosaic.cols < 4 || mosaic.rows < 4) return resolveByWeights(mosaic, named.name);
        cv::Mat picture;
        cv::demosaicing(mosaic, picture, named.conversion);
        return picture;
    }
    return mosaic;
}
