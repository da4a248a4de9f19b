#include "air.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

namespace {

constexpr double nodeDistance = 4.0;  // pixels between the nodes of a displacement field

// One axis of a displacement field, a value for each point: white noise smoothed to a Gaussian correlation.
cv::Mat drawAxis(double strength, double scale, cv::Size points, cv::RNG& random) {
    const int margin = static_cast<int>(std::ceil(1.5 * scale / nodeDistance));
    const double spacing = nodeDistance * sceneFineness;
    const cv::Size nodes(static_cast<int>(points.width / spacing) + 2, static_cast<int>(points.height / spacing) + 2);
    cv::Mat field(nodes.height + 2 * margin, nodes.width + 2 * margin, CV_32FC1);
    random.fill(field, cv::RNG::NORMAL, 0.0, 1.0);
    const double sigma = scale / 2.0 / nodeDistance;
    cv::GaussianBlur(field, field, {}, sigma, sigma);
    field *= strength * 2.0 * std::sqrt(CV_PI) * sigma;  // the smoothing leaves 1 / (2 sqrt(pi) sigma) of the rms
    cv::Mat inner = field(cv::Rect({margin, margin}, nodes)), displacements;
    cv::resize(inner, displacements, {}, spacing, spacing, cv::INTER_CUBIC);
    return displacements(cv::Rect({0, 0}, points)).clone();
}

// What each point of a frame shows of a plane of the scene.
void lookUp(const cv::Mat& plane, const Exposure& exposure, const Displacements& displacements, cv::Size pixels,
            int interpolation, cv::Mat& shown) {
    const cv::Size points = pixels * sceneFineness;
    const double radians = exposure.angle * CV_PI / 180.0, cosine = std::cos(radians), sine = std::sin(radians);
    cv::Mat places[2] = {cv::Mat(points, CV_32FC1), cv::Mat(points, CV_32FC1)};
    for (int row = 0; row < points.height; ++row) {
        for (int column = 0; column < points.width; ++column) {
            const double x =
                (column + 0.5) / sceneFineness - 0.5 + static_cast<double>(displacements.x.at<float>(row, column));
            const double y =
                (row + 0.5) / sceneFineness - 0.5 + static_cast<double>(displacements.y.at<float>(row, column));
            const double u = x - exposure.middle.x, v = y - exposure.middle.y;
            places[0].at<float>(row, column) =
                static_cast<float>((cosine * u + sine * v) * sceneFineness + plane.cols / 2.0 - 0.5);
            places[1].at<float>(row, column) =
                static_cast<float>((-sine * u + cosine * v) * sceneFineness + plane.rows / 2.0 - 0.5);
        }
    }
    cv::remap(plane, shown, places[0], places[1], interpolation, cv::BORDER_REPLICATE);
}

}  // namespace

Displacements drawDisplacements(double rms, double scale, cv::Size pixels, cv::RNG& random) {
    const cv::Size points = pixels * sceneFineness;
    if (rms > 0.0) return {drawAxis(rms, scale, points, random), drawAxis(rms, scale, points, random)};
    return {cv::Mat::zeros(points, CV_32FC1), cv::Mat::zeros(points, CV_32FC1)};
}

cv::Mat exposeFrame(const Scene& scene, const Exposure& exposure, const Displacements& displacements, cv::Size pixels) {
    cv::Mat light, blurred;
    lookUp(scene.light, exposure, displacements, pixels, cv::INTER_CUBIC, light);
    if (exposure.blur > 0.0) {
        const double sigma = exposure.blur * sceneFineness;
        cv::GaussianBlur(light, light, {}, sigma, sigma);
    }
    cv::resize(light, blurred, pixels, 0.0, 0.0, cv::INTER_AREA);
    return blurred;
}

cv::Point2d measureMove(const Scene& scene, const Exposure& exposure, const Displacements& displacements,
                        cv::Size pixels) {
    cv::Mat object;
    lookUp(scene.object, exposure, displacements, pixels, cv::INTER_NEAREST, object);
    return {-cv::mean(displacements.x, object)[0], -cv::mean(displacements.y, object)[0]};
}

void addNoise(cv::Mat& light, double noise, cv::RNG& random) {
    cv::Mat errors(light.size(), light.type()), deviations;
    random.fill(errors, cv::RNG::NORMAL, 0.0, noise);
    const cv::Mat levels = light.reshape(1), bounded = cv::max(levels, 0.0);
    cv::sqrt(4.0 + 0.45 * bounded, deviations);
    light += errors.mul(deviations.reshape(3));
}

cv::Mat takeLevels(const cv::Mat& light, int bits) {
    const double unit = bits == 16 ? 256.0 : 1.0;
    cv::Mat levels, scaled = cv::max(light.reshape(1) * unit, 1.0);
    scaled.reshape(3).convertTo(levels, bits == 16 ? CV_16U : CV_8U);
    return levels;
}
