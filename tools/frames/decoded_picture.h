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

/// From now on the libraries of decoders print nothing, and keep their last complaint instead.
void silenceDecoders();

/// What a decoder last complained of, a picture being damaged say, since the last call; empty: nothing.
[[nodiscard]] std::string takeComplaint();

/// A decoder that takes nothing damaged for good; parameters may be null. A null handle: there is none. The TIFF one
/// would refuse whatever it does not know, so it goes on, and only complains.
[[nodiscard]] DecoderHandle openDecoder(AVCodecID codec, const AVCodecParameters* parameters);

/// What the library says about one of its error numbers.
[[nodiscard]] std::string describeError(int error);

/// A decoded frame as a picture: one channel for grey ones, else blue, green and red; 8 bits, or 16 for all that has
/// more, over the full range; transparency is dropped. reason says why there is none, in words without the file's name.
[[nodiscard]] cv::Mat convertDecodedFrame(const AVFrame& frame, std::string& reason);
