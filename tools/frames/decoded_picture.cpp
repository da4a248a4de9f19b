#include "frames/decoded_picture.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

extern "C" {
#include <libavutil/log.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include "base/format_text.h"
#include "base/messages.h"

namespace {

constexpr int64_t mostPixels = int64_t{1} << 28;
constexpr int paletteSize = 256;

thread_local std::string lastComplaint;

void keepComplaint(void*, int level, const char* pattern, va_list arguments) {
    if (level > AV_LOG_ERROR) return;
    std::array<char, 200> text{};
    std::vsnprintf(text.data(), text.size(), pattern, arguments);
    lastComplaint = text.data();
    while (!lastComplaint.empty() && (lastComplaint.back() == '\n' || lastComplaint.back() == '.')) {
        lastComplaint.pop_back();
    }
}

int findLargestDepth(const AVPixFmtDescriptor& format) {
    int depth = 0;
    for (int i = 0; i < format.nb_components; ++i) depth = std::max(depth, format.comp[i].depth);
    return depth;
}

int countColours(const AVPixFmtDescriptor& format) {
    return format.nb_components - ((format.flags & AV_PIX_FMT_FLAG_ALPHA) != 0 ? 1 : 0);
}

// Mono films often come as indices into a palette of greys: these are grey pictures.
cv::Mat convertPalette(const AVFrame& frame) {
    std::array<uint32_t, paletteSize> palette{};  // alpha, red, green, blue from the highest byte
    std::memcpy(palette.data(), frame.data[1], sizeof palette);
    cv::Mat table(1, paletteSize, CV_8UC3);
    bool grey = true;
    for (int i = 0; i < paletteSize; ++i) {
        const uint32_t colour = palette[static_cast<size_t>(i)];
        const cv::Vec3b values(colour & 255, colour >> 8 & 255, colour >> 16 & 255);
        table.at<cv::Vec3b>(i) = values;
        grey = grey && values[0] == values[1] && values[1] == values[2];
    }
    if (grey) cv::extractChannel(table, table, 0);
    cv::Mat indices(frame.height, frame.width, CV_8U, frame.data[0], static_cast<size_t>(frame.linesize[0]));
    if (!grey) cv::merge(std::vector<cv::Mat>(3, indices), indices);
    cv::Mat picture;
    cv::LUT(indices, table, picture);
    return picture;
}

bool hasFullRange(const AVFrame& frame) {
    constexpr std::array fullRangeFormats = {AV_PIX_FMT_YUVJ411P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVJ422P,
                                             AV_PIX_FMT_YUVJ440P, AV_PIX_FMT_YUVJ444P};
    return frame.color_range == AVCOL_RANGE_JPEG ||
           std::find(fullRangeFormats.begin(), fullRangeFormats.end(), frame.format) != fullRangeFormats.end();
}

// False: the library does not know the format.
bool convertByScaler(const AVFrame& frame, bool fullRange, AVPixelFormat target, cv::Mat& picture) {
    constexpr int flags = SWS_BILINEAR | SWS_ACCURATE_RND | SWS_BITEXACT | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;
    const std::unique_ptr<SwsContext, decltype(&sws_freeContext)> scaler(
        sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width, frame.height,
                       target, flags, nullptr, nullptr, nullptr),
        sws_freeContext);
    if (!scaler) return false;
    const int* matrix = sws_getCoefficients(frame.colorspace);
    sws_setColorspaceDetails(scaler.get(), matrix, fullRange ? 1 : 0, matrix, 1, 0, 1 << 16, 1 << 16);

    // The scaler's vector code may write some pixels past the end of a row.
    constexpr int margin = 64;
    cv::Mat rows(picture.rows, (picture.cols + margin) / margin * margin + margin, picture.type());
    uint8_t* const planes[4] = {rows.data};
    const int strides[4] = {static_cast<int>(rows.step)};
    const int done = sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides);
    rows.colRange(0, picture.cols).copyTo(picture);
    return done == frame.height;
}

// The scaler treats some greys as being of full range whatever it is told, so it is told that all are.
void stretchLimitedGrey(cv::Mat& picture) {
    const double unit = picture.depth() == CV_16U ? 256 : 1;
    const double full = picture.depth() == CV_16U ? 65535 : 255;
    const double factor = full / ((235 - 16) * unit);
    picture.convertTo(picture, -1, factor, -16 * unit * factor);
}

}  // namespace

void closeDecoder(AVCodecContext* decoder) {
    avcodec_free_context(&decoder);
}

void releaseFrame(AVFrame* frame) {
    av_frame_free(&frame);
}

void releasePacket(AVPacket* packet) {
    av_packet_free(&packet);
}

void silenceDecoders() {
    av_log_set_callback(keepComplaint);
}

std::string takeComplaint() {
    return std::exchange(lastComplaint, "");
}

DecoderHandle openDecoder(AVCodecID codecId, const AVCodecParameters* parameters) {
    const AVCodec* codec = avcodec_find_decoder(codecId);
    DecoderHandle decoder(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr, closeDecoder);
    if (!decoder) return decoder;
    if (parameters != nullptr && avcodec_parameters_to_context(decoder.get(), parameters) < 0) decoder.reset();
    if (!decoder) return decoder;
    decoder->max_pixels = mostPixels;
    decoder->err_recognition = AV_EF_CRCCHECK | AV_EF_BITSTREAM | AV_EF_BUFFER;
    if (codecId != AV_CODEC_ID_TIFF) decoder->err_recognition |= AV_EF_EXPLODE;
    decoder->thread_count = 1;
    if (avcodec_open2(decoder.get(), codec, nullptr) < 0) decoder.reset();
    return decoder;
}

std::string describeError(int error) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return text.data();
}

cv::Mat convertDecodedFrame(const AVFrame& frame, std::string& reason) {
    reason.clear();
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if ((frame.flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame.decode_error_flags != 0 || format == nullptr) {
        reason = tr("it is damaged");
        return {};
    }
    if ((format->flags & AV_PIX_FMT_FLAG_FLOAT) != 0) {
        reason = tr("floating-point values are read from FITS files only");
        return {};
    }
    try {
        if (frame.format == AV_PIX_FMT_PAL8) return convertPalette(frame);
        const bool grey = countColours(*format) == 1 && (format->flags & AV_PIX_FMT_FLAG_BAYER) == 0;
        const bool deep = findLargestDepth(*format) > 8;
        const AVPixelFormat target =
            grey ? (deep ? AV_PIX_FMT_GRAY16 : AV_PIX_FMT_GRAY8) : (deep ? AV_PIX_FMT_BGR48 : AV_PIX_FMT_BGR24);
        cv::Mat picture(frame.height, frame.width, CV_MAKETYPE(deep ? CV_16U : CV_8U, grey ? 1 : 3));
        if (!convertByScaler(frame, grey || hasFullRange(frame), target, picture)) {
            reason = formatText(tr("its pixel format %s is unknown"), format->name);
            return {};
        }
        if (grey && frame.color_range == AVCOL_RANGE_MPEG) stretchLimitedGrey(picture);
        return picture;
    } catch (const cv::Exception& error) {
        reason = error.err;
        return {};
    }
}
