#include "scene.h"

#include <algorithm>
#include <cmath>

#include "cratered_ground.h"
#include "planet.h"
#include "star_field.h"

namespace {

constexpr double discRadius = 45.0;  // pixels

cv::Vec3f toPlanes(const Light& light) {
    return {static_cast<float>(light.blue), static_cast<float>(light.green), static_cast<float>(light.red)};
}

// A planet whose disc takes up that radius; the object is the disc, without its moons.
Scene makePlanet(cv::Size points, double radius, uint32_t seed) {
    Scene scene = {cv::Mat(points, CV_32FC3), cv::Mat(points, CV_8UC1, cv::Scalar(0))};
    for (int row = 0; row < points.height; ++row) {
        for (int column = 0; column < points.width; ++column) {
            const double x = (column + 0.5 - points.width / 2.0) / sceneFineness;
            const double y = (row + 0.5 - points.height / 2.0) / sceneFineness;
            scene.light.at<cv::Vec3f>(row, column) = toPlanes(lookAtPlanet(x, y, radius, seed));
            if (std::hypot(x, y / (1.0 - planetFlattening)) <= radius) scene.object.at<uint8_t>(row, column) = 255;
        }
    }
    return scene;
}

// Cratered ground that fills the scene, or a globe of it lit from the right, of which a crescent is seen.
Scene makeGround(cv::Size points, double crescentRadius, uint32_t seed) {
    const cv::Mat ground = makeCrateredGround(points, sceneFineness, seed);
    Scene scene = {cv::Mat(points, CV_32FC3), cv::Mat(points, CV_8UC1, cv::Scalar(255))};
    for (int row = 0; row < points.height; ++row) {
        for (int column = 0; column < points.width; ++column) {
            double light = static_cast<double>(ground.at<float>(row, column));
            if (crescentRadius > 0.0) {
                const double u = (column + 0.5 - points.width / 2.0) / (sceneFineness * crescentRadius);
                const double v = (row + 0.5 - points.height / 2.0) / (sceneFineness * crescentRadius);
                const double facing = std::sqrt(std::max(0.0, 1.0 - u * u - v * v));
                const double sunlight = std::max(0.0, 0.85 * u - 0.35 * facing);  // the sun to the right, behind
                const double coverage = std::clamp((1.0 - std::hypot(u, v)) * crescentRadius + 0.5, 0.0, 1.0);
                light = darkSky + light * 1.8 * coverage * sunlight;
                scene.object.at<uint8_t>(row, column) = coverage * sunlight > 0.0 ? 255 : 0;
            }
            scene.light.at<cv::Vec3f>(row, column) = toPlanes({light, light * 0.97, light * 0.92});
        }
    }
    return scene;
}

Scene makeStars(cv::Size pixels, bool rich, uint32_t seed) {
    const cv::Size points = pixels * sceneFineness;
    Scene scene = {cv::Mat(points, CV_32FC3, cv::Scalar::all(12.0)), cv::Mat(points, CV_8UC1, cv::Scalar(255))};
    for (int row = 0; rich && row < points.height; ++row) {
        for (int column = 0; column < points.width; ++column) {
            const double x = (column + 0.5 - points.width / 2.0) / sceneFineness;
            const double y = (row + 0.5 - points.height / 2.0) / sceneFineness;
            scene.light.at<cv::Vec3f>(row, column) = toPlanes(lookAtNebula(x, y));
        }
    }
    for (const Star& star : rich ? makeRichField(pixels, seed) : makeSparseField(pixels, seed))
        addStar(scene.light, star);
    return scene;
}

}  // namespace

bool isSceneKind(const std::string& kind) {
    return kind == "planet" || kind == "crescent" || kind == "surface" || kind == "disc" || kind == "stars" ||
           kind == "nebula";
}

Scene makeScene(const std::string& kind, cv::Size pixels, uint32_t seed, bool colour) {
    const cv::Size points = pixels * sceneFineness;
    const double side = std::min(pixels.width, pixels.height);
    Scene scene;
    if (kind == "planet") {
        scene = makePlanet(points, 0.385 * side, seed);
    } else if (kind == "disc") {
        scene = makePlanet(points, discRadius, seed);
    } else if (kind == "crescent" || kind == "surface") {
        scene = makeGround(points, kind == "crescent" ? 0.4 * side : 0.0, seed);
    } else {
        scene = makeStars(pixels, kind == "nebula", seed);
    }
    if (!colour) {
        cv::Mat planes[3];
        cv::split(scene.light, planes);
        cv::merge(std::vector<cv::Mat>(3, planes[1]), scene.light);
    }
    return scene;
}
