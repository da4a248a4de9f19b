#include "encoded_pictures.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <vector>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace {

AVFrame* makeFrame(const Encoding& encoding, cv::Size size, int number) {
    AVFrame* frame = av_frame_alloc();
    frame->format = encoding.format;
    frame->width = size.width;
    frame->height = size.height;
    frame->pts = number;
    frame->color_range = encoding.range;
    EXPECT_EQ(av_frame_get_buffer(frame, 0), 0);
    for (const AVBufferRef* buffer : frame->buf) {
        if (buffer != nullptr) std::memset(buffer->data, 0, buffer->size);  // values are laid over what is there
    }
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(encoding.format);
    for (int c = 0; c < format->nb_components; ++c) {
        const bool chroma = c > 0 && (format->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_ALPHA)) == 0;
        const int columns = chroma ? AV_CEIL_RSHIFT(size.width, format->log2_chroma_w) : size.width;
        const int rows = chroma ? AV_CEIL_RSHIFT(size.height, format->log2_chroma_h) : size.height;
        const int limit = 1 << format->comp[c].depth;
        std::vector<uint16_t> line(static_cast<size_t>(columns));
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < columns; ++x) {
                const int constant = c == 0 ? encoding.constant : limit / 2;
                line[static_cast<size_t>(x)] =
                    static_cast<uint16_t>(encoding.constant >= 0 ? constant : sceneValue(x, y, c, number, limit));
            }
            av_write_image_line2(line.data(), frame->data, frame->linesize, format, 0, y, c, columns, 2);
        }
    }
    if (encoding.format != AV_PIX_FMT_PAL8) return frame;
    for (uint32_t i = 0; i < 256; ++i) {
        reinterpret_cast<uint32_t*>(frame->data[1])[i] = 255U << 24 | i << 16 | (255 - i) << 8 | i / 2;
    }
    return frame;
}

}  // namespace

int sceneValue(int x, int y, int c, int frame, int limit) {
    const int64_t spread = (x * 40503 + y * 30011 + c * 20011 + frame * 10007 + 77) % 65536;
    return static_cast<int>(spread * limit / 65536);
}

cv::Mat expectScene(cv::Size size, AVPixelFormat formatName, int frame) {
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(formatName);
    const int depth = format->comp[0].depth, limit = 1 << depth;
    const bool palette = formatName == AV_PIX_FMT_PAL8, grey = format->nb_components <= 2 && !palette;
    cv::Mat picture(size, CV_MAKETYPE(depth > 8 ? CV_16U : CV_8U, grey ? 1 : 3));
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            int values[3];
            for (int c = 0; c < 3; ++c) values[c] = sceneValue(x, y, c, frame, limit);
            const int index = values[0];
            if (palette) values[1] = 255 - index, values[2] = index / 2;
            if (depth == 1) values[0] *= 255;
            for (int c = 0; c < picture.channels(); ++c) {
                const int value = values[picture.channels() - 1 - c];
                if (depth > 8) {
                    picture.ptr<uint16_t>(y, x)[c] = static_cast<uint16_t>(value);
                } else {
                    picture.ptr<uint8_t>(y, x)[c] = static_cast<uint8_t>(value);
                }
            }
        }
    }
    return picture;
}

void writeEncoded(const std::string& path, const Encoding& encoding, cv::Size size, int frames) {
    const AVCodec* codec = avcodec_find_encoder(encoding.codec);
    AVCodecContext* encoder = avcodec_alloc_context3(codec);
    encoder->width = size.width;
    encoder->height = size.height;
    encoder->pix_fmt = encoding.format;
    encoder->color_range = encoding.range;
    encoder->time_base = {1, 25};
    encoder->framerate = {25, 1};
    encoder->flags = AV_CODEC_FLAG_QSCALE;
    encoder->global_quality = FF_QP2LAMBDA;
    encoder->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    AVFormatContext* container = nullptr;
    if (encoding.container != nullptr) {
        ASSERT_GE(avformat_alloc_output_context2(&container, nullptr, encoding.container, path.c_str()), 0);
        if ((container->oformat->flags & AVFMT_GLOBALHEADER) != 0) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    ASSERT_EQ(avcodec_open2(encoder, codec, nullptr), 0) << path;
    AVStream* stream = nullptr;
    if (container != nullptr) {
        stream = avformat_new_stream(container, nullptr);
        stream->time_base = encoder->time_base;
        stream->avg_frame_rate = encoder->framerate;
        ASSERT_GE(avcodec_parameters_from_context(stream->codecpar, encoder), 0);
        ASSERT_GE(avio_open(&container->pb, ("file:" + path).c_str(), AVIO_FLAG_WRITE), 0);
        ASSERT_GE(avformat_write_header(container, nullptr), 0) << path;
    }
    AVPacket* packet = av_packet_alloc();
    for (int i = 0; i <= frames; ++i) {
        AVFrame* frame = i < frames ? makeFrame(encoding, size, i) : nullptr;
        ASSERT_EQ(avcodec_send_frame(encoder, frame), 0);
        av_frame_free(&frame);
        while (avcodec_receive_packet(encoder, packet) == 0) {
            if (container == nullptr) {
                std::ofstream(path, std::ios::binary).write(reinterpret_cast<char*>(packet->data), packet->size);
            } else {
                packet->duration = 1;
                av_packet_rescale_ts(packet, encoder->time_base, stream->time_base);
                ASSERT_GE(av_interleaved_write_frame(container, packet), 0);
            }
            av_packet_unref(packet);
        }
    }
    if (container != nullptr) {
        ASSERT_GE(av_write_trailer(container), 0);
        avio_closep(&container->pb);
        avformat_free_context(container);
    }
    av_packet_free(&packet);
    avcodec_free_context(&encoder);
}
