#pragma once

#include <opencv2/core.hpp>
#include <string>

/// Reads a picture as floats, top row first, an empty one when that cannot be done: a BMP file of 24 bits, a FITS file
/// of planes (red, green, blue and others), or NAMER.fit with NAMEV.fit and NAMEB.fit beside it. Its channels are blue,
/// green, red and the others.
[[nodiscard]] cv::Mat readPicture(const std::string& path);

/// How far a picture is from the truth, after the gain, offset and shift that bring it closest.
struct Judgement {
    double difference = 0.0;  // rms on the object, levels of the truth
    double x = 0.0, y = 0.0;  // where the middle of the scene lies in the picture, pixels
    int64_t pixels = 0;       // compared; 0: nothing to compare
};

/// scene: as make_demonstration writes it, four planes at sceneFineness points a pixel. The object's place in the
/// picture is looked for over the whole picture; the outermost margin pixels of the picture do not count.
[[nodiscard]] Judgement judgePicture(const cv::Mat& scene, const cv::Mat& picture, int margin);
