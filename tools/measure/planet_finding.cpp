#include "measure/planet_finding.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "measure/sky.h"

namespace {

constexpr int largestWorkingSize = 1280;  // pixels; larger frames are averaged down, a centre stays as exact
constexpr int skyTiles = 16;
constexpr double planetSigmas = 5;
constexpr double edgeLevel = 0.35;  // of the object's mean: above halos and moons' glare, below its own limb

struct Piece {
    cv::Mat mask;  // of the size of its box
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
    const cv::Rect box(row[cv::CC_STAT_LEFT], row[cv::CC_STAT_TOP], row[cv::CC_STAT_WIDTH], row[cv::CC_STAT_HEIGHT]);
    return {labels(box) == largest, box, static_cast<double>(row[cv::CC_STAT_AREA])};
}

// The level at the edge of the object within a piece that may hold its halo too: a part of the mean of what lies above
// that very level. Found from above, since a wide halo has such a level of its own.
double settleEdge(const cv::Mat& excess, const cv::Mat& mask, double noiseLevel) {
    std::vector<float> values;
    for (int y = 0; y < excess.rows; ++y)
        for (int x = 0; x < excess.cols; ++x)
            if (mask.at<uint8_t>(y, x) != 0) values.push_back(excess.at<float>(y, x));
    const size_t brightest = std::min(std::max<size_t>(values.size() / 50, 4), values.size() - 1);
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(brightest);
    std::nth_element(values.begin(), place, values.end(), std::greater<>());
    double edge = std::max(noiseLevel, 0.7 * static_cast<double>(*place));
    for (int round = 0; round < 20; ++round) {
        double sum = 0, count = 0;
        for (const float value : values) {
            if (static_cast<double>(value) < edge) continue;
            sum += static_cast<double>(value);
            ++count;
        }
        const double next = std::max(noiseLevel, edgeLevel * sum / std::max(count, 1.0));
        if (std::abs(next - edge) < 1e-3 * edge) break;
        edge = next;
    }
    return edge;
}

// A frame averaged down to the working size, without hot pixels, slightly smoothed.
struct WorkingFrame {
    int factor = 1;       // pixels of the frame a pixel of this
    cv::Mat sky, excess;  // level of the sky, and what stands above it
    double noise = 0;
};

WorkingFrame makeWorkingFrame(const cv::Mat& grey) {
    WorkingFrame frame;
    frame.factor = (std::max(grey.cols, grey.rows) + largestWorkingSize - 1) / largestWorkingSize;
    cv::Mat clean;
    cv::medianBlur(grey, clean, 3);
    if (frame.factor > 1) {
        const cv::Rect whole(0, 0, grey.cols / frame.factor * frame.factor, grey.rows / frame.factor * frame.factor);
        cv::resize(clean(whole), clean, whole.size() / frame.factor, 0, 0, cv::INTER_AREA);
    }
    cv::GaussianBlur(clean, clean, {5, 5}, 1.0);
    const Sky sky = measureSky(clean, skyTiles);
    frame.noise = sky.noise;
    frame.sky = fitSky(sky, clean.size());
    cv::subtract(clean, frame.sky, frame.excess);
    return frame;
}

}  // namespace

PlanetFix findPlanet(const cv::Mat& grey) {
    const WorkingFrame frame = makeWorkingFrame(grey);
    const cv::Mat& excess = frame.excess;
    double largest = 0;
    cv::minMaxIdx(excess, nullptr, &largest);
    const double noiseLevel = std::max(planetSigmas * frame.noise, 0.04 * largest);
    const Piece around = pickLargestPiece(excess > noiseLevel);
    if (around.area < 3) return {};
    const cv::Mat region = excess(around.box);
    const double edge = settleEdge(region, around.mask, noiseLevel);
    Piece piece = pickLargestPiece(around.mask & (region > edge));
    if (piece.area < 3) return {};
    const cv::Mat object = region(piece.box);
    piece.box += around.box.tl();

    // Pixels on the edge count for nothing, so that noise there does not move the centre.
    cv::Mat light = cv::Mat::zeros(object.size(), CV_32F);
    cv::subtract(object, edge, light, piece.mask);
    const cv::Moments moments = cv::moments(light);
    PlanetFix fix;
    fix.found = true;
    fix.x = (piece.box.x + moments.m10 / moments.m00 + 0.5) * frame.factor - 0.5;
    fix.y = (piece.box.y + moments.m01 / moments.m00 + 0.5) * frame.factor - 0.5;
    fix.area = piece.area * frame.factor * frame.factor;
    fix.brightness = cv::mean(object, piece.mask)[0];
    fix.sky = cv::mean(frame.sky(piece.box), piece.mask)[0];
    fix.box = cv::Rect(piece.box.tl() * frame.factor, piece.box.size() * frame.factor);
    fix.cut = piece.box.x <= 1 || piece.box.y <= 1 || piece.box.br().x >= excess.cols - 1 ||
              piece.box.br().y >= excess.rows - 1;
    return fix;
}

PlanetSurroundings measureSurroundings(const cv::Mat& grey, const PlanetFix& fix) {
    const WorkingFrame frame = makeWorkingFrame(grey);
    const double edge = edgeLevel * fix.brightness;
    std::vector<float> outside;
    double inside = 0, all = 0;
    const cv::Rect box(fix.box.tl() / frame.factor, fix.box.size() / frame.factor);
    const cv::Rect wide(box.tl() - cv::Point(box.size() / 2), box.size() * 2);
    for (int y = 0; y < frame.excess.rows; ++y) {
        for (int x = 0; x < frame.excess.cols; ++x) {
            const float value = frame.excess.at<float>(y, x);
            if (static_cast<double>(value) > edge) all += static_cast<double>(value);
            if (static_cast<double>(value) > edge && box.contains({x, y})) inside += static_cast<double>(value);
            if (!wide.contains({x, y})) outside.push_back(std::abs(value));
        }
    }
    PlanetSurroundings surroundings;
    surroundings.share = all > 0 ? inside / all : 0;
    if (!outside.empty()) {
        const auto ninth = outside.begin() + static_cast<std::ptrdiff_t>(outside.size() * 9 / 10);
        std::nth_element(outside.begin(), ninth, outside.end());
        surroundings.scatter = static_cast<double>(*ninth);
    }
    return surroundings;
}
