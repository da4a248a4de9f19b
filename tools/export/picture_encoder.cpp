#include "export/picture_encoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include <array>
#include <memory>
#include <opencv2/imgproc.hpp>

namespace {

constexpr int jpegScale = 8;  // FFmpeg's quality runs from 2, the best, to 31

void freeContext(AVCodecContext* context) {
    avcodec_free_context(&context);
}
void freeFrame(AVFrame* frame) {
    av_frame_free(&frame);
}
void freePacket(AVPacket* packet) {
    av_packet_free(&packet);
}

struct Encoding {
    AVCodecID codec;
    AVPixelFormat layout;
};

Encoding chooseEncoding(PictureFormat format, bool wide) {
    if (format == PictureFormat::jpeg) return {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ444P};
    if (format == PictureFormat::png) return {AV_CODEC_ID_PNG, wide ? AV_PIX_FMT_RGB48BE : AV_PIX_FMT_RGB24};
    return {AV_CODEC_ID_TIFF, wide ? AV_PIX_FMT_RGB48LE : AV_PIX_FMT_RGB24};
}

// The picture's channels in the order and with the bytes that the frame wants. The frame owns its rows already.
void fillFrame(const cv::Mat& picture, PictureFormat format, AVFrame& frame) {
    if (format == PictureFormat::jpeg) {
        std::array<cv::Mat, 3> planes;  // luma, red difference, blue difference; the file wants blue first
        cv::Mat converted;
        cv::cvtColor(picture, converted, cv::COLOR_BGR2YCrCb);
        cv::split(converted, planes.data());
        std::swap(planes[1], planes[2]);
        for (size_t p = 0; p < planes.size(); ++p) {
            planes[p].copyTo(
                cv::Mat(picture.rows, picture.cols, CV_8UC1, frame.data[p], static_cast<size_t>(frame.linesize[p])));
        }
        return;
    }
    cv::Mat rows(picture.rows, picture.cols, picture.type(), frame.data[0], static_cast<size_t>(frame.linesize[0]));
    cv::cvtColor(picture, rows, cv::COLOR_BGR2RGB);
    if (format != PictureFormat::png || picture.depth() != CV_16U) return;
    for (int y = 0; y < rows.rows; ++y) {  // this machine's low byte first, the file's high byte first
        auto* values = rows.ptr<uint16_t>(y);
        for (int i = 0; i < 3 * rows.cols; ++i) values[i] = static_cast<uint16_t>(values[i] << 8 | values[i] >> 8);
    }
}

}  // namespace

std::string encodePicture(const cv::Mat& picture, PictureFormat format) {
    if (picture.empty()) return {};
    const Encoding encoding = chooseEncoding(format, picture.depth() == CV_16U);
    const AVCodec* codec = avcodec_find_encoder(encoding.codec);
    const std::unique_ptr<AVCodecContext, decltype(&freeContext)> context(avcodec_alloc_context3(codec), freeContext);
    const std::unique_ptr<AVFrame, decltype(&freeFrame)> frame(av_frame_alloc(), freeFrame);
    const std::unique_ptr<AVPacket, decltype(&freePacket)> packet(av_packet_alloc(), freePacket);
    if (codec == nullptr || !context || !frame || !packet) return {};
    context->width = frame->width = picture.cols;
    context->height = frame->height = picture.rows;
    context->pix_fmt = encoding.layout;
    frame->format = encoding.layout;
    context->time_base = {1, 1};
    context->thread_count = 1;
    if (format == PictureFormat::tiff) av_opt_set(context->priv_data, "compression_algo", "deflate", 0);
    if (format == PictureFormat::jpeg) {
        context->color_range = frame->color_range = AVCOL_RANGE_JPEG;
        context->flags |= AV_CODEC_FLAG_QSCALE;
        context->global_quality = frame->quality = jpegScale * FF_QP2LAMBDA;
    }
    if (avcodec_open2(context.get(), codec, nullptr) < 0 || av_frame_get_buffer(frame.get(), 0) < 0) return {};
    fillFrame(picture, format, *frame);
    if (avcodec_send_frame(context.get(), frame.get()) < 0 || avcodec_send_frame(context.get(), nullptr) < 0) return {};
    if (avcodec_receive_packet(context.get(), packet.get()) < 0) return {};
    return {reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size)};
}
