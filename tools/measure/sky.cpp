#include "measure/sky.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace {

constexpr double sigmasPerDeviation = 1.4826;  // the median distance from the median of normal noise, turned into sigma
constexpr int termCount = 6;                   // 1, x, y, x x, x y, y y

// The terms of the sky's surface at a place of the picture, both coordinates from -1 to 1.
cv::Vec<double, termCount> makeTerms(double x, double y) {
    return {1, x, y, x * x, x * y, y * y};
}

double placeTile(int index, int count) {
    return (2.0 * index + 1) / count - 1;
}

using TileMask = std::vector<bool>;

cv::Mat solveSurface(const cv::Mat& tiles, const TileMask& used, int terms) {
    const int count = static_cast<int>(std::count(used.begin(), used.end(), true));
    cv::Mat equations(count, terms, CV_64F), values(count, 1, CV_64F);
    int row = 0;
    for (int i = 0; i < static_cast<int>(tiles.total()); ++i) {
        if (!used[static_cast<size_t>(i)]) continue;
        const auto line = makeTerms(placeTile(i % tiles.cols, tiles.cols), placeTile(i / tiles.cols, tiles.rows));
        for (int t = 0; t < terms; ++t) equations.at<double>(row, t) = line[t];
        values.at<double>(row++, 0) = tiles.at<float>(i / tiles.cols, i % tiles.cols);
    }
    cv::Mat solution;
    cv::solve(equations, values, solution, cv::DECOMP_SVD);
    cv::Mat coefficients = cv::Mat::zeros(termCount, 1, CV_64F);
    solution.copyTo(coefficients.rowRange(0, terms));
    return coefficients;
}

double readSurface(const cv::Mat& coefficients, double x, double y) {
    const auto line = makeTerms(x, y);
    double level = 0;
    for (int t = 0; t < termCount; ++t) level += coefficients.at<double>(t) * line[t];
    return level;
}

TileMask pickBorder(const cv::Mat& tiles) {
    TileMask used(tiles.total());
    for (int i = 0; i < static_cast<int>(tiles.total()); ++i) {
        const int x = i % tiles.cols, y = i / tiles.cols;
        used[static_cast<size_t>(i)] = x == 0 || y == 0 || x == tiles.cols - 1 || y == tiles.rows - 1;
    }
    return used;
}

}  // namespace

cv::Mat makeGrey(const cv::Mat& picture) {
    cv::Mat grey;
    if (picture.channels() == 3) {
        cv::transform(picture, grey, cv::Matx13f(0.2F, 0.4F, 0.4F));
    } else {
        grey = picture;
    }
    cv::Mat floats;
    grey.convertTo(floats, CV_32F);
    if (picture.depth() == CV_32F) cv::patchNaNs(floats, 0);
    return floats;
}

double takeMedian(std::vector<float>& values) {
    if (values.empty()) return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return static_cast<double>(*middle);
}

Sky measureSky(const cv::Mat& grey, int tileCount) {
    const int columns = std::clamp(grey.cols / 4, 1, tileCount), rows = std::clamp(grey.rows / 4, 1, tileCount);
    Sky sky{cv::Mat(rows, columns, CV_32F)};
    std::vector<float> values, deviations;
    for (int i = 0; i < rows * columns; ++i) {
        const int left = grey.cols * (i % columns) / columns, right = grey.cols * (i % columns + 1) / columns;
        const int top = grey.rows * (i / columns) / rows, bottom = grey.rows * (i / columns + 1) / rows;
        // A hundred pixels give the median of a tile well enough.
        const int step = std::max(1, static_cast<int>(std::sqrt((right - left) * (bottom - top) / 120.0)));
        values.clear();
        for (int y = top; y < bottom; y += step)
            for (int x = left; x < right; x += step) values.push_back(grey.at<float>(y, x));
        const float median = static_cast<float>(takeMedian(values));
        sky.tiles.at<float>(i / columns, i % columns) = median;
        for (float& value : values) value = std::abs(value - median);
        deviations.push_back(static_cast<float>(takeMedian(values)));
    }
    const auto quarter = deviations.begin() + static_cast<std::ptrdiff_t>(deviations.size() / 4);
    std::nth_element(deviations.begin(), quarter, deviations.end());
    double least = 0, largest = 0;
    cv::minMaxIdx(grey, &least, &largest);
    // A sky cut off at black has no scatter at all; a five-hundredth of the range then counts as noise.
    sky.noise = std::max({sigmasPerDeviation * static_cast<double>(*quarter), (largest - least) / 500, 1e-6});
    return sky;
}

cv::Mat fitSky(const Sky& sky, cv::Size size) {
    const cv::Mat& tiles = sky.tiles;
    TileMask used = pickBorder(tiles);
    cv::Mat coefficients;
    for (int round = 0; round < 6; ++round) {
        // A plane first: what bends at the border may be the object.
        const auto usedCount = std::count(used.begin(), used.end(), true);
        coefficients = solveSurface(tiles, used, round < 2 || usedCount < 4 * termCount ? 3 : termCount);
        std::vector<float> residuals(tiles.total()), deviations;
        for (int i = 0; i < static_cast<int>(tiles.total()); ++i) {
            const double x = placeTile(i % tiles.cols, tiles.cols), y = placeTile(i / tiles.cols, tiles.rows);
            const auto at = static_cast<size_t>(i);
            residuals[at] =
                tiles.at<float>(i / tiles.cols, i % tiles.cols) - static_cast<float>(readSurface(coefficients, x, y));
            if (used[at]) deviations.push_back(std::abs(residuals[at]));
        }
        const double deviation = sigmasPerDeviation * takeMedian(deviations);
        const float limit = static_cast<float>(std::max(3 * deviation, sky.noise / 2));
        for (size_t i = 0; i < used.size(); ++i) used[i] = std::abs(residuals[i]) <= limit;
        if (std::count(used.begin(), used.end(), true) < 6) break;
    }
    cv::Mat level(size, CV_32F);
    const auto k = [&coefficients](int t) { return coefficients.at<double>(t); };
    for (int row = 0; row < size.height; ++row) {
        const double y = (2.0 * row + 1) / size.height - 1;
        const double constant = k(0) + k(2) * y + k(5) * y * y, slope = k(1) + k(4) * y;
        for (int column = 0; column < size.width; ++column) {
            const double x = (2.0 * column + 1) / size.width - 1;
            level.at<float>(row, column) = static_cast<float>(constant + slope * x + k(3) * x * x);
        }
    }
    return level;
}

cv::Mat followSky(const Sky& sky, cv::Size size) {
    cv::Mat level;
    cv::resize(sky.tiles, level, size, 0, 0, cv::INTER_LINEAR);
    return level;
}
