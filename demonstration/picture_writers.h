#pragma once

#include <cstdint>
#include <cstdio>
#include <opencv2/core.hpp>
#include <string>

// Every writer returns false when the file could not be written whole.

/// An uncompressed BMP file of a picture of three planes (blue, green, red) of 8 bits.
[[nodiscard]] bool writeBmpPicture(const cv::Mat& picture, const std::string& path);

/// A PNG file of a picture of one or three planes (blue, green, red) of 8 or 16 bits.
[[nodiscard]] bool writePng(const cv::Mat& picture, const std::string& path);

/// A FITS file of floats: planes red, green, blue and what follows them in the picture; the top row comes last.
[[nodiscard]] bool writeFloatFits(const cv::Mat& picture, const std::string& path);

/// A SER film: mono, or a Bayer pattern with red in the top left corner, taken from pictures of three planes.
struct SerFilm {
    std::FILE* file = nullptr;
    cv::Size size;
    int bits = 8;
    bool bayer = false;
    uint32_t frames = 0;
};

/// Starts a film. Its samples are little-endian and the flag says 0, as recorders write it.
[[nodiscard]] bool openSer(SerFilm& film, const std::string& path);
[[nodiscard]] bool addSerFrame(SerFilm& film, const cv::Mat& picture);
[[nodiscard]] bool closeSer(SerFilm& film);
