#pragma once

#include <opencv2/core.hpp>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
}

/// The value of component c (red, green, blue, alpha; grey, alpha) at a pixel of the test scene, below limit.
int sceneValue(int x, int y, int c, int frame, int limit);

/// What a reader shall make of that scene in such a format: of 8 or 16 bits, blue, green, red or one channel.
cv::Mat expectScene(cv::Size size, AVPixelFormat format, int frame);

/// How frames come to be encoded.
struct Encoding {
    AVCodecID codec;
    AVPixelFormat format;
    const char* container;  // null: the bare bytes of one still picture
    AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
    int constant = -1;  // from 0 up: this value everywhere in the first component, the middle in the others
};

/// Writes so many frames of the scene. Colours of a palette are (index, 255 - index, index / 2) as red, green, blue.
void writeEncoded(const std::string& path, const Encoding& encoding, cv::Size size, int frames);
