#pragma once

#include <opencv2/core.hpp>

#include "scene.h"

/// What lies between the sky and the camera while one frame is taken.
struct Exposure {
    cv::Point2d middle;                 // where the middle of the scene lies in the frame, pixels
    double angle = 0.0;                 // degrees, clockwise, about that point
    double seeing = 0.0, scale = 50.0;  // rms displacement on each axis; where its correlation has fallen to 1/e
    double blur = 0.0;                  // sigma, pixels
};

/// The light that reaches the camera in a frame of that size: three planes of floats, one point a pixel. random gives
/// the displacements and moves on.
[[nodiscard]] cv::Mat exposeFrame(const Scene& scene, const Exposure& exposure, cv::Size pixels, cv::RNG& random);

/// Adds the noise of the camera's electronics and of the light itself, times noise; levels stay floats.
void addNoise(cv::Mat& light, double noise, cv::RNG& random);

/// What a camera makes of it: 8 or 16 bits a level. Never 0, the mark of pixels without data in aligned pictures.
[[nodiscard]] cv::Mat takeLevels(const cv::Mat& light, int bits);
