#include "cratered_ground.h"

#include <algorithm>
#include <cmath>

#include "random_field.h"

namespace {

// Heights in pixels of a frame. A bowl with a rim that fades outward over one more radius.
void digCrater(cv::Mat& heights, double x, double y, double radius, double depth) {
    const double reach = 2.0 * radius;
    for (int row = std::max(0, static_cast<int>(y - reach)); row < heights.rows && row <= y + reach; ++row) {
        for (int column = std::max(0, static_cast<int>(x - reach)); column < heights.cols && column <= x + reach;
             ++column) {
            const double distance = std::hypot(column - x, row - y) / radius;
            double height = 0.0;
            if (distance < 1.0) {
                height = depth * (1.4 * distance * distance - 1.0);
            } else if (distance < 2.0) {
                height = 0.4 * depth * (2.0 - distance) * (2.0 - distance);
            }
            heights.at<float>(row, column) += static_cast<float>(height);
        }
    }
}

cv::Mat makeHeights(cv::Size points, double pointsPerPixel, uint32_t seed) {
    cv::Mat heights(points, CV_32FC1);
    for (int row = 0; row < points.height; ++row) {
        for (int column = 0; column < points.width; ++column) {
            double height = 0.0;
            for (int octave = 0; octave < 6; ++octave) {  // hills of 128 down to 4 pixels
                const double spacing = 128.0 / (1 << octave) * pointsPerPixel;
                height += 0.055 * spacing / pointsPerPixel *
                          sampleNoiseField(seed + static_cast<uint32_t>(octave), column / spacing, row / spacing);
            }
            heights.at<float>(row, column) = static_cast<float>(height);
        }
    }
    return heights;
}

}  // namespace

cv::Mat makeCrateredGround(cv::Size points, double pointsPerPixel, uint32_t seed) {
    cv::Mat heights = makeHeights(points, pointsPerPixel, seed);
    RandomSequence sequence = {.state = seed};
    const double area = points.area() / (pointsPerPixel * pointsPerPixel);
    for (int i = 0; i < area / 250.0; ++i) {
        // Twice as large, four times as rare, from a radius of 1.5 pixels on.
        const double radius = std::min(60.0, 1.5 / std::sqrt(1e-4 + takeRandom(sequence)));
        const double x = takeRandom(sequence) * points.width, y = takeRandom(sequence) * points.height;
        digCrater(heights, x, y, radius * pointsPerPixel, 0.22 * radius);
    }
    cv::Mat ground(points, CV_32FC1, cv::Scalar(0.0));
    for (int row = 0; row < points.height; ++row) {
        for (int column = 1; column < points.width; ++column) {
            const double slope = (heights.at<float>(row, column) - heights.at<float>(row, column - 1)) * pointsPerPixel;
            const double albedo = 118.0 + 22.0 * sampleNoiseField(seed + 9, column / (70.0 * pointsPerPixel),
                                                                  row / (70.0 * pointsPerPixel));
            const double light = albedo * (1.0 + 1.1 * slope / std::sqrt(1.0 + slope * slope));
            ground.at<float>(row, column) = static_cast<float>(std::clamp(light, 8.0, 250.0));
        }
    }
    ground.col(1).copyTo(ground.col(0));
    return ground;
}
