#include "frames/film_reader.h"

#include <algorithm>
#include <cmath>

extern "C" {
#include <libavformat/avformat.h>
}

#include "base/format_text.h"
#include "base/messages.h"
#include "frames/decoded_picture.h"

struct FilmReader {
    std::string path;
    AVFormatContext* container = nullptr;
    DecoderHandle decoder{nullptr, closeDecoder};
    PacketHandle packet{nullptr, releasePacket};
    DecodedFrame frame{nullptr, releaseFrame};
    int stream = 0;
    int64_t packetCount = 0;  // taken from the container
    int64_t frameCount = 0;   // given out, the bad ones too
    bool atEnd = false;       // of the container
    bool brokenOff = false;   // it ended amid something
    bool finished = false;
};

namespace {

// Containers that hold all their frames themselves: others are lists that make the library open any other file.
constexpr const char* containers = "avi,mov,matroska";

std::string openContainer(FilmReader& reader) {
    AVDictionary* options = nullptr;
    av_dict_set(&options, "format_whitelist", containers, 0);
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "ignore_editlist", "1", 0);  // every frame that is there
    const int error = avformat_open_input(&reader.container, ("file:" + reader.path).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (error == AVERROR(EINVAL) || error == AVERROR_INVALIDDATA) {
        return formatText(tr("%s is no film that can be read (AVI, MOV, MP4, MKV, SER), or its beginning is damaged."),
                          reader.path.c_str());
    }
    if (error < 0) return formatText(tr("%s cannot be read: %s."), reader.path.c_str(), describeError(error).c_str());
    if (avformat_find_stream_info(reader.container, nullptr) >= 0) {
        reader.stream = av_find_best_stream(reader.container, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    } else {
        reader.stream = -1;
    }
    if (reader.stream < 0) return formatText(tr("%s holds no pictures."), reader.path.c_str());
    for (unsigned i = 0; i < reader.container->nb_streams; ++i) {
        if (static_cast<int>(i) != reader.stream) reader.container->streams[i]->discard = AVDISCARD_ALL;
    }
    return "";
}

const AVStream& streamOf(const FilmReader& reader) {
    return *reader.container->streams[reader.stream];
}

// Gives the decoder the next piece of the film, at its end the notice that none follows. A negative number: the piece
// cannot be decoded.
int feedDecoder(FilmReader& reader) {
    static_cast<void>(takeComplaint());
    const int readError = reader.atEnd ? 0 : av_read_frame(reader.container, reader.packet.get());
    if (readError < 0) {
        reader.atEnd = true;
        reader.brokenOff = reader.brokenOff || readError != AVERROR_EOF || !takeComplaint().empty();
        return avcodec_send_packet(reader.decoder.get(), nullptr);
    }
    if (reader.atEnd) return 0;
    int error = 0;
    if ((reader.packet->flags & AV_PKT_FLAG_CORRUPT) != 0) {
        reader.brokenOff = true;
    } else if (reader.packet->stream_index == reader.stream) {
        ++reader.packetCount;
        // An empty piece stands for a frame that the recorder dropped.
        if (reader.packet->size > 0) error = avcodec_send_packet(reader.decoder.get(), reader.packet.get());
    }
    av_packet_unref(reader.packet.get());
    return error;
}

std::string describeDamage(const FilmReader& reader, const std::string& reason) {
    return formatText(tr("Frame %lld of %s cannot be read: %s."), static_cast<long long>(reader.frameCount),
                      reader.path.c_str(), reason.c_str());
}

}  // namespace

void closeFilm(FilmReader* reader) {
    if (reader != nullptr) avformat_close_input(&reader->container);
    delete reader;
}

FilmReaderHandle openFilm(const std::string& path, std::string& problem) {
    FilmReaderHandle reader(new FilmReader, closeFilm);
    reader->path = path;
    problem = openContainer(*reader);
    if (!problem.empty()) return {nullptr, closeFilm};
    const AVCodecParameters* parameters = streamOf(*reader).codecpar;
    reader->decoder = openDecoder(parameters->codec_id, parameters);
    reader->packet.reset(av_packet_alloc());
    reader->frame.reset(av_frame_alloc());
    if (reader->decoder && reader->packet && reader->frame) return reader;
    problem = formatText(tr("%s cannot be read: there is no decoder for its pictures (%s)."), path.c_str(),
                         avcodec_get_name(parameters->codec_id));
    return {nullptr, closeFilm};
}

int64_t countFilmFrames(const FilmReader& reader) {
    const AVStream& stream = streamOf(reader);
    if (stream.nb_frames > 0) return stream.nb_frames;
    const double seconds = static_cast<double>(std::max<int64_t>(reader.container->duration, 0)) / AV_TIME_BASE;
    return std::max<int64_t>(1, std::llround(std::min(seconds * av_q2d(stream.avg_frame_rate), 1e9)));
}

bool readNextFilmFrame(FilmReader& reader, cv::Mat& picture, std::string& problem) {
    picture.release();
    problem.clear();
    while (!reader.finished) {
        int error = avcodec_receive_frame(reader.decoder.get(), reader.frame.get());
        if (error == AVERROR(EAGAIN))
            error = feedDecoder(reader);
        else if (error == 0) {
            ++reader.frameCount;
            std::string reason;
            picture = convertDecodedFrame(*reader.frame, reason);
            if (picture.empty()) problem = describeDamage(reader, reason);
            return true;
        }
        if (error == AVERROR_EOF) {
            reader.finished = true;
        } else if (error < 0) {
            ++reader.frameCount;
            problem = describeDamage(reader, describeError(error));
            return true;
        }
    }
    const int64_t stated = streamOf(reader).nb_frames;
    if (reader.packetCount > 0 && reader.packetCount >= stated && !reader.brokenOff) return false;
    // Said once.
    problem = reader.packetCount == 0 ? formatText(tr("%s holds no whole frame."), reader.path.c_str())
                                      : formatText(tr("%s is cut short: no more than %lld of its frames are whole."),
                                                   reader.path.c_str(), static_cast<long long>(reader.packetCount));
    reader.packetCount = std::max<int64_t>(stated, 1);
    reader.brokenOff = false;
    return true;
}
