#include <opencv2/imgproc.hpp>

#include "frames_fixture.h"

namespace {

// The scene as a SER film, header and frames byte for byte.
struct SerCase {
    const char* what;
    int32_t colours, depth;  // as in the header
    int shift = 0;           // of values into the upper bits
    bool bigEndian = false;
    int32_t flag = 0;  // what the header says of the order of bytes
};
const SerCase serCases[] = {
    {"mono", 0, 8},
    {"RGB", 100, 8},
    {"BGR", 101, 8},
    {"16 bits, flag 0", 0, 16},
    {"16 bits, flag 1", 0, 16, 0, false, 1},
    {"16 bits, big-endian, flag 0", 0, 16, 0, true, 0},
    {"16 bits, big-endian, flag 1", 0, 16, 0, true, 1},
    {"12 bits, low", 0, 12},
    {"12 bits, low, big-endian", 0, 12, 0, true},
    {"12 bits, high", 0, 12, 4},
    {"RGB, 16 bits", 100, 16},
    {"BGR, 10 bits, big-endian", 101, 10, 0, true, 1},
};
const cv::Size serSize{33, 12};

// Smooth, as pictures are: a slope in each channel, blue first.
cv::Mat makeSlope(const SerCase& film, int frame) {
    const int channels = film.colours >= 100 ? 3 : 1, limit = 1 << film.depth;
    cv::Mat picture(serSize, CV_MAKETYPE(film.depth > 8 ? CV_16U : CV_8U, channels));
    for (int y = 0; y < picture.rows; ++y) {
        for (int i = 0; i < picture.cols * channels; ++i) {
            const int value = limit * (i / channels + 2 * y + 5 * (i % channels) + frame) / 100 << film.shift;
            if (film.depth > 8) picture.ptr<uint16_t>(y)[i] = static_cast<uint16_t>(value);
            if (film.depth <= 8) picture.ptr<uint8_t>(y)[i] = static_cast<uint8_t>(value);
        }
    }
    return picture;
}

void addInteger(std::string& bytes, int32_t value) {
    for (int i = 0; i < 4; ++i) bytes += static_cast<char>(value >> 8 * i & 255);
}

std::string makeSerHeader(int32_t colours, int32_t flag, cv::Size size, int32_t depth, int32_t frameCount) {
    std::string bytes = "LUCAM-RECORDER";
    for (const int32_t value : {0, colours, flag, size.width, size.height, depth, frameCount}) addInteger(bytes, value);
    return bytes + std::string(178 - bytes.size(), ' ');
}

std::string makeSer(const SerCase& film, int frames, int32_t statedFrames) {
    std::string bytes = makeSerHeader(film.colours, film.flag, serSize, film.depth, statedFrames);
    for (int frame = 0; frame < frames; ++frame) {
        cv::Mat picture = makeSlope(film, frame);
        if (film.colours == 100) cv::cvtColor(picture, picture, cv::COLOR_BGR2RGB);
        picture.reshape(1).convertTo(picture, CV_32S);
        for (const int value : cv::Mat_<int>(picture)) {
            const char low = static_cast<char>(value & 255), high = static_cast<char>(value >> 8);
            if (film.depth > 8 && film.bigEndian) bytes += high;
            bytes += low;
            if (film.depth > 8 && !film.bigEndian) bytes += high;
        }
    }
    return bytes;
}

TEST_F(Frames, SerFilmsOfEveryKind) {
    for (const SerCase& film : serCases) {
        writeFile(at("a.ser"), makeSer(film, 3, 3) + std::string(24, '\7'));  // times of the frames behind them
        const std::vector<FrameResult> frames = readAll({at("a.ser")});
        ASSERT_EQ(frames.size(), 3U) << film.what;
        for (int i = 0; i < 3; ++i) {
            const FrameResult& frame = frames[static_cast<size_t>(i)];
            EXPECT_EQ(frame.number, i + 1);
            EXPECT_EQ(findLargestDifference(frame.picture, makeSlope(film, i)), 0) << film.what << frame.problem;
        }
    }
}

struct DamagedSer {
    const char* what;
    std::string bytes;
    size_t good;  // frames
    std::string problem;
};

TEST_F(Frames, DamagedSerFilmsCostWhatIsDamaged) {
    const SerCase mono{"mono", 0, 16};
    const std::string whole = makeSer(mono, 4, 4);
    const DamagedSer cases[] = {
        {"nothing", "", 0, "too short"},
        {"half a header", whole.substr(0, 100), 0, "too short"},
        {"no frame", whole.substr(0, 178), 0, "not hold one whole frame"},
        {"cut in frame 3", whole.substr(0, whole.size() - 800), 2, "frames 3 to 4 are missing"},
        {"far too few frames", makeSer(mono, 2, 2147483647), 2, "frames 3 to 2147483647 are missing"},
        {"no number of frames", makeSer(mono, 4, 0), 4, ""},
        {"a number below 0", makeSer(mono, 4, -5), 4, ""},
        {"another beginning", std::string(whole).replace(0, 1, 1, 'X'), 0, "LUCAM-RECORDER"},
        {"no width", makeSerHeader(0, 0, {0, 5}, 8, 1) + whole, 0, "0 x 5"},
        {"a width below 0", makeSerHeader(0, 0, {-7, 5}, 8, 1) + whole, 0, "-7 x 5"},
        {"the largest size", makeSerHeader(100, 0, {2147483647, 2147483647}, 16, 1) + whole, 0, "damaged"},
        {"a size beyond the file", makeSerHeader(100, 0, {65535, 65535}, 16, 1) + whole, 0, "not hold one"},
        {"no depth", makeSerHeader(0, 0, {5, 5}, 0, 1) + whole, 0, "0 bits"},
        {"too deep", makeSerHeader(0, 0, {5, 5}, 17, 1) + whole, 0, "17 bits"},
        {"cyan and yellow", makeSerHeader(16, 0, {5, 5}, 8, 1) + whole, 0, "(16)"},
    };
    for (const DamagedSer& damaged : cases) {
        writeFile(at("a.ser"), damaged.bytes);
        const std::vector<FrameResult> frames = readAll({at("a.ser")});
        ASSERT_EQ(frames.size(), damaged.good + (damaged.problem.empty() ? 0 : 1)) << damaged.what;
        EXPECT_THAT(frames.back().problem, testing::HasSubstr(damaged.problem)) << damaged.what;
    }
}

}  // namespace
