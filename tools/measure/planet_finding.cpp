#include "measure/planet_finding.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "measure/sky.h"

namespace {

constexpr int largestWorkingSize = 1280;  // pixels; larger frames are averaged down, a centre stays as exact
constexpr int tileCount = 16;
constexpr double noiseSigmas = 5;
constexpr double edgeLevel = 0.35;  // of the object's mean: above halos and moons' glare, below its own limb

struct Piece {
    cv::Mat mask;
    cv::Rect box;
    double area = 0;
};

Piece pickLargestPiece(const cv::Mat& above) {
    cv::Mat labels, statistics, centres;
    const int count = cv::connectedComponentsWithStats(above, labels, statistics, centres, 8, CV_32S);
    int largest = 0;
    for (int i = 1; i < count; ++i) {
        if (largest == 0 || statistics.at<int>(i, cv::CC_STAT_AREA) > statistics.at<int>(largest, cv::CC_STAT_AREA)) {
            largest = i;
        }
    }
    if (largest == 0) return {};
    const int* row = statistics.ptr<int>(largest);
    return {labels == largest,
            cv::Rect(row[cv::CC_STAT_LEFT], row[cv::CC_STAT_TOP], row[cv::CC_STAT_WIDTH], row[cv::CC_STAT_HEIGHT]),
            static_cast<double>(row[cv::CC_STAT_AREA])};
}

// The level at the edge of the object within a piece that may hold its halo too: a part of the mean of what lies above
// that very level.
double settleEdge(const cv::Mat& excess, const Piece& piece, double noiseLevel) {
    double edge = noiseLevel;
    for (int round = 0; round < 12; ++round) {
        const double next = std::max(noiseLevel, edgeLevel * cv::mean(excess, piece.mask & (excess > edge))[0]);
        if (std::abs(next - edge) < 1e-3 * edge) break;
        edge = next;
    }
    return edge;
}

double measureScatter(const cv::Mat& excess, const Piece& piece) {
    cv::Mat surroundings;
    const int reach = std::max(3, static_cast<int>(std::sqrt(piece.area) / 2));
    cv::dilate(piece.mask, surroundings, cv::Mat::ones(2 * reach + 1, 2 * reach + 1, CV_8U));
    std::vector<float> values;
    for (int y = 0; y < excess.rows; y += 2)
        for (int x = 0; x < excess.cols; x += 2)
            if (surroundings.at<uint8_t>(y, x) == 0) values.push_back(std::abs(excess.at<float>(y, x)));
    if (values.empty()) return 0;
    const auto ninth = values.begin() + static_cast<std::ptrdiff_t>(values.size() * 9 / 10);
    std::nth_element(values.begin(), ninth, values.end());
    return static_cast<double>(*ninth);
}

}  // namespace

PlanetFix findPlanet(const cv::Mat& grey) {
    const int factor = (std::max(grey.cols, grey.rows) + largestWorkingSize - 1) / largestWorkingSize;
    cv::Mat clean;
    cv::medianBlur(grey, clean, 3);  // a hot pixel is gone
    if (factor > 1) {
        const cv::Rect whole(0, 0, grey.cols / factor * factor, grey.rows / factor * factor);
        cv::resize(clean(whole), clean, whole.size() / factor, 0, 0, cv::INTER_AREA);
    }
    cv::Mat smooth;
    cv::GaussianBlur(clean, smooth, {}, 1.0);
    const Sky sky = measureSky(smooth, tileCount);
    const cv::Mat skyLevel = fitSky(sky, smooth.size()), excess = smooth - skyLevel;
    double largest = 0;
    cv::minMaxIdx(excess, nullptr, &largest);
    const double noiseLevel = std::max(noiseSigmas * sky.noise, 0.04 * largest);

    const Piece around = pickLargestPiece(excess > noiseLevel);
    if (around.area < 3) return {};
    const double edge = settleEdge(excess, around, noiseLevel);
    const Piece piece = pickLargestPiece(around.mask & (excess > edge));
    if (piece.area < 3) return {};

    // Pixels on the edge count for nothing, so that noise there does not move the centre.
    cv::Mat light = cv::Mat::zeros(excess.size(), CV_32F);
    cv::subtract(excess, edge, light, piece.mask);
    const cv::Moments moments = cv::moments(light);
    PlanetFix fix;
    fix.found = true;
    fix.x = (moments.m10 / moments.m00 + 0.5) * factor - 0.5;
    fix.y = (moments.m01 / moments.m00 + 0.5) * factor - 0.5;
    fix.area = piece.area * factor * factor;
    fix.brightness = cv::mean(excess, piece.mask)[0];
    fix.sky = cv::mean(skyLevel, piece.mask)[0];
    fix.share = fix.brightness * piece.area / cv::sum(cv::max(excess - noiseLevel, 0))[0];
    fix.skyScatter = measureScatter(excess, piece);
    fix.box = cv::Rect(piece.box.tl() * factor, piece.box.size() * factor);
    fix.cut = piece.box.x <= 1 || piece.box.y <= 1 || piece.box.br().x >= excess.cols - 1 ||
              piece.box.br().y >= excess.rows - 1;
    return fix;
}
