#pragma once

#include <opencv2/core.hpp>

#include "scene.h"

/// What lies between the sky and the camera while one frame is taken.
struct Exposure {
    cv::Point2d middle;  // where the middle of the scene lies in the frame, pixels
    double angle = 0.0;  // degrees, clockwise, about that point
    double blur = 0.0;   // sigma, pixels
};

/// How far the air moves each point of a frame, sceneFineness points a pixel along both axes; pixels.
struct Displacements {
    cv::Mat x, y;
};

/// A displacement of that rms along each axis, its correlation fallen to 1/e at scale pixels. random moves on.
[[nodiscard]] Displacements drawDisplacements(double rms, double scale, cv::Size pixels, cv::RNG& random);

/// The light that reaches the camera in a frame of that size: three planes of floats, one point a pixel.
[[nodiscard]] cv::Mat exposeFrame(const Scene& scene, const Exposure& exposure, const Displacements& displacements,
                                  cv::Size pixels);

/// How far the air moves the object in that frame as a whole, pixels: what nothing in the frame tells from drift.
[[nodiscard]] cv::Point2d measureMove(const Scene& scene, const Exposure& exposure, const Displacements& displacements,
                                      cv::Size pixels);

/// Adds the noise of the camera's electronics and of the light itself, times noise; levels stay floats.
void addNoise(cv::Mat& light, double noise, cv::RNG& random);

/// What a camera makes of it: 8 or 16 bits a level. Never 0, the mark of pixels without data in aligned pictures.
[[nodiscard]] cv::Mat takeLevels(const cv::Mat& light, int bits);
