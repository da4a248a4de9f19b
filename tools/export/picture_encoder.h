#pragma once

#include <opencv2/core.hpp>
#include <string>

/// The file formats in which pictures go out. FFmpeg's encoders write them: the readers link FFmpeg already, so that
/// neither libpng, libtiff nor libjpeg is needed.
enum class PictureFormat { png, tiff, jpeg };

/// The bytes of a picture file. The picture has three channels (blue, green, red) of 8 bits, or of 16 for PNG and TIFF;
/// TIFF is compressed without loss. Empty when the encoder is missing, memory is short or the picture is empty.
[[nodiscard]] std::string encodePicture(const cv::Mat& picture, PictureFormat format);
