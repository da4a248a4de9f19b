#pragma once

#include <memory>
#include <opencv2/core.hpp>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
}

void closeDecoder(AVCodecContext* decoder);
using DecoderHandle = std::unique_ptr<AVCodecContext, decltype(&closeDecoder)>;
void releaseFrame(AVFrame* frame);
using DecodedFrame = std::unique_ptr<AVFrame, decltype(&releaseFrame)>;
void releasePacket(AVPacket* packet);
using PacketHandle = std::unique_ptr<AVPacket, decltype(&releasePacket)>;

/// A decoder that takes nothing damaged for good; parameters may be null. A null handle: there is none.
[[nodiscard]] DecoderHandle openDecoder(AVCodecID codec, const AVCodecParameters* parameters);

/// What the library says about one of its error numbers.
[[nodiscard]] std::string describeError(int error);

/// A decoded frame as a picture: one channel for grey ones, else blue, green and red; 8 bits, or 16 for all that has
/// more, over the full range; transparency is dropped. reason says why there is none, in words without the file's name.
[[nodiscard]] cv::Mat convertDecodedFrame(const AVFrame& frame, std::string& reason);
