#include "frames/still_reader.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "base/format_text.h"
#include "base/messages.h"
#include "frames/decoded_picture.h"

namespace {

using namespace std::string_view_literals;

struct StillFormat {
    std::string_view magic;  // how such files begin
    AVCodecID codec;
};

constexpr std::array stillFormats = {
    StillFormat{"\x89PNG"sv, AV_CODEC_ID_PNG}, StillFormat{"\xFF\xD8\xFF"sv, AV_CODEC_ID_MJPEG},
    StillFormat{"BM"sv, AV_CODEC_ID_BMP},      StillFormat{"II*\0"sv, AV_CODEC_ID_TIFF},
    StillFormat{"MM\0*"sv, AV_CODEC_ID_TIFF},
};

// The whole file, with the zeros behind it that decoders want; null: it could not be read.
PacketHandle readPacket(const std::string& path) {
    constexpr uintmax_t largestFile = uintmax_t{1} << 30;
    std::error_code failure;
    const uintmax_t size = std::filesystem::file_size(path, failure);
    PacketHandle packet(failure || size > largestFile ? nullptr : av_packet_alloc(), releasePacket);
    if (!packet || av_new_packet(packet.get(), static_cast<int>(size)) < 0) return {nullptr, releasePacket};
    std::ifstream file(path, std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(packet->data), packet->size)) packet.reset();
    return packet;
}

AVCodecID findCodec(std::string_view bytes) {
    for (const StillFormat& format : stillFormats) {
        if (bytes.starts_with(format.magic)) return format.codec;
    }
    return AV_CODEC_ID_NONE;
}

// The decoder takes a JPEG file that breaks off amid its data for whole. The mark of the end stands behind the scan, in
// whose data it cannot occur; the segments before it may hold a whole small picture, so these are passed over.
bool hasJpegEnd(std::string_view bytes) {
    const auto byteAt = [&](size_t place) { return static_cast<uint8_t>(bytes[place]); };
    constexpr uint8_t startOfScan = 0xDA;
    size_t place = 2;
    while (place + 4 <= bytes.size() && byteAt(place + 1) != startOfScan) {
        place += byteAt(place + 1) == 0xFF ? 1 : 2 + (size_t{byteAt(place + 2)} << 8 | byteAt(place + 3));
    }
    return bytes.find("\xFF\xD9", place) != std::string_view::npos;
}

// The picture's data, or why there is none.
cv::Mat decodePacket(const AVPacket& packet, AVCodecID codec, std::string& reason) {
    const DecoderHandle decoder = openDecoder(codec, nullptr);
    const DecodedFrame frame(av_frame_alloc(), releaseFrame);
    if (!decoder || !frame) {
        reason = tr("there is no decoder for it");
        return {};
    }
    int error = avcodec_send_packet(decoder.get(), &packet);
    if (error >= 0) error = avcodec_send_packet(decoder.get(), nullptr);  // nothing else comes
    if (error >= 0) error = avcodec_receive_frame(decoder.get(), frame.get());
    if (error < 0) {
        reason = describeError(error);
        return {};
    }
    return convertDecodedFrame(*frame, reason);
}

}  // namespace

cv::Mat readStillPicture(const std::string& path, std::string& problem) {
    problem.clear();
    const PacketHandle packet = readPacket(path);
    if (!packet) {
        problem = formatText(tr("%s cannot be read."), path.c_str());
        return {};
    }
    const std::string_view bytes(reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size));
    const AVCodecID codec = findCodec(bytes);
    if (codec == AV_CODEC_ID_NONE) {
        problem = formatText(tr("%s is no picture: it begins like no PNG, JPEG, TIFF or BMP file."), path.c_str());
        return {};
    }
    std::string reason;
    static_cast<void>(takeComplaint());  // of an earlier picture
    cv::Mat picture = decodePacket(*packet, codec, reason);
    std::string complaint = takeComplaint();
    if (codec == AV_CODEC_ID_MJPEG && !hasJpegEnd(bytes)) complaint = tr("it is cut short");
    if (!complaint.empty()) {
        picture.release();
        reason = complaint;
    }
    if (picture.empty()) problem = formatText(tr("%s cannot be read: %s."), path.c_str(), reason.c_str());
    return picture;
}
