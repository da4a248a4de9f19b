#include "encoded_pictures.h"
#include "frames/file_list.h"
#include "frames_fixture.h"

namespace {

struct StillCase {
    AVCodecID codec;
    std::vector<AVPixelFormat> formats;
};
const StillCase stillCases[] = {
    {AV_CODEC_ID_PNG,
     {AV_PIX_FMT_GRAY8, AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_YA8, AV_PIX_FMT_GRAY16BE, AV_PIX_FMT_RGB48BE,
      AV_PIX_FMT_RGBA64BE, AV_PIX_FMT_YA16BE, AV_PIX_FMT_PAL8, AV_PIX_FMT_MONOBLACK}},
    {AV_CODEC_ID_TIFF,
     {AV_PIX_FMT_GRAY8, AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_YA8, AV_PIX_FMT_GRAY16LE, AV_PIX_FMT_RGB48LE,
      AV_PIX_FMT_RGBA64LE, AV_PIX_FMT_PAL8, AV_PIX_FMT_MONOBLACK}},
    {AV_CODEC_ID_BMP, {AV_PIX_FMT_GRAY8, AV_PIX_FMT_BGR24, AV_PIX_FMT_BGRA, AV_PIX_FMT_PAL8, AV_PIX_FMT_MONOBLACK}},
};

TEST_F(Frames, StillPicturesKeepEveryValue) {
    for (const StillCase& group : stillCases) {
        for (const AVPixelFormat format : group.formats) {
            const std::string file = at("still");  // no ending: the content says what it is
            writeEncoded(file, {group.codec, format, nullptr}, {37, 11}, 1);
            const std::vector<FrameResult> frames = readAll({file});
            ASSERT_EQ(frames.size(), 1U);
            EXPECT_EQ(findLargestDifference(frames[0].picture, expectScene({37, 11}, format, 0)), 0)
                << avcodec_get_name(group.codec) << ", format " << format << ": " << frames[0].problem;
        }
    }
}

struct FilmCase {
    Encoding encoding;
    double tolerance;
};
const FilmCase filmCases[] = {
    {{AV_CODEC_ID_RAWVIDEO, AV_PIX_FMT_GRAY8, "avi"}, 0},    {{AV_CODEC_ID_RAWVIDEO, AV_PIX_FMT_BGR24, "avi"}, 0},
    {{AV_CODEC_ID_RAWVIDEO, AV_PIX_FMT_PAL8, "avi"}, 0},     {{AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY16LE, "avi"}, 0},
    {{AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY8, "matroska"}, 0},   {{AV_CODEC_ID_FFV1, AV_PIX_FMT_BGRA, "matroska"}, 0},
    {{AV_CODEC_ID_FFV1, AV_PIX_FMT_RGB48LE, "matroska"}, 0}, {{AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24, "mov"}, 0},
    {{AV_CODEC_ID_RAWVIDEO, AV_PIX_FMT_RGB24, "mov"}, 0},
};

TEST_F(Frames, FilmsGiveFrameAfterFrame) {
    for (const FilmCase& film : filmCases) {
        const std::string file = at("film");
        writeEncoded(file, film.encoding, {36, 10}, 3);
        const std::vector<FrameResult> frames = readAll({file});
        EXPECT_EQ(frames.size(), 3U);
        for (size_t i = 0; i < frames.size(); ++i) {
            const cv::Mat expected = expectScene({36, 10}, film.encoding.format, static_cast<int>(i));
            EXPECT_EQ(findLargestDifference(frames[i].picture, expected), 0)
                << avcodec_get_name(film.encoding.codec) << ", format " << film.encoding.format << ", frame "
                << frames[i].number << ": " << frames[i].problem;
        }
    }
}

struct FilmRangeCase {
    const char* what;
    Encoding encoding;
    int expected;  // in every channel
};
const FilmRangeCase rangeCases[] = {
    {"JPEG, black", {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P, nullptr, AVCOL_RANGE_JPEG, 0}, 0},
    {"JPEG, white", {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ444P, nullptr, AVCOL_RANGE_JPEG, 255}, 255},
    {"JPEG, grey", {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ422P, nullptr, AVCOL_RANGE_JPEG, 200}, 200},
    {"MJPEG film, white", {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P, "avi", AVCOL_RANGE_JPEG, 255}, 255},
    {"limited, black", {AV_CODEC_ID_MPEG4, AV_PIX_FMT_YUV420P, "mp4", AVCOL_RANGE_MPEG, 16}, 0},
    {"limited, white", {AV_CODEC_ID_MPEG4, AV_PIX_FMT_YUV420P, "mp4", AVCOL_RANGE_MPEG, 235}, 255},
    {"unsaid, white", {AV_CODEC_ID_RAWVIDEO, AV_PIX_FMT_YUV420P, "avi", AVCOL_RANGE_UNSPECIFIED, 235}, 255},
    {"full, white", {AV_CODEC_ID_FFV1, AV_PIX_FMT_YUV444P, "matroska", AVCOL_RANGE_JPEG, 255}, 255},
    {"full, near black", {AV_CODEC_ID_FFV1, AV_PIX_FMT_YUV444P, "matroska", AVCOL_RANGE_JPEG, 10}, 10},
    {"limited grey, white", {AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY8, "matroska", AVCOL_RANGE_MPEG, 235}, 255},
    {"limited grey, black", {AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY8, "matroska", AVCOL_RANGE_MPEG, 16}, 0},
    {"full grey", {AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY8, "matroska", AVCOL_RANGE_JPEG, 235}, 235},
    {"10 bits grey", {AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY10LE, "matroska", AVCOL_RANGE_JPEG, 1023}, 65535},
    {"12 bits grey", {AV_CODEC_ID_FFV1, AV_PIX_FMT_GRAY12LE, "matroska", AVCOL_RANGE_UNSPECIFIED, 1000}, 16000},
    {"limited, 10 bits, white", {AV_CODEC_ID_FFV1, AV_PIX_FMT_YUV422P10LE, "matroska", AVCOL_RANGE_MPEG, 940}, 65535},
    {"limited, 10 bits, black", {AV_CODEC_ID_FFV1, AV_PIX_FMT_YUV422P10LE, "matroska", AVCOL_RANGE_MPEG, 64}, 0},
};

TEST_F(Frames, BrightnessHasTheFullRange) {
    for (const FilmRangeCase& range : rangeCases) {
        const std::string file = at("range");
        writeEncoded(file, range.encoding, {32, 16}, 1);
        const std::vector<FrameResult> frames = readAll({file});
        ASSERT_EQ(frames.size(), 1U) << range.what;
        ASSERT_EQ(frames[0].problem, "") << range.what;
        const cv::Mat values = frames[0].picture.reshape(1);
        double least = 0, largest = 0;
        cv::minMaxIdx(values, &least, &largest);
        const double tolerance = values.depth() == CV_16U ? 256 : 1;
        EXPECT_NEAR(least, range.expected, tolerance) << range.what;
        EXPECT_NEAR(largest, range.expected, tolerance) << range.what;
    }
}

// Whatever is cut off or changed: a problem or a picture, never a crash; and cut short, never a wrong picture.
TEST_F(Frames, DamagedPicturesAndFilmsAreSaid) {
    const Encoding encodings[] = {
        {AV_CODEC_ID_PNG, AV_PIX_FMT_RGB48BE, nullptr},
        {AV_CODEC_ID_TIFF, AV_PIX_FMT_RGB24, nullptr},
        {AV_CODEC_ID_BMP, AV_PIX_FMT_BGR24, nullptr},
        {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P, nullptr, AVCOL_RANGE_JPEG},
        {AV_CODEC_ID_RAWVIDEO, AV_PIX_FMT_GRAY8, "avi"},
        {AV_CODEC_ID_MJPEG, AV_PIX_FMT_YUVJ420P, "avi", AVCOL_RANGE_JPEG},
        {AV_CODEC_ID_PNG, AV_PIX_FMT_RGB24, "mov"},
        {AV_CODEC_ID_MPEG4, AV_PIX_FMT_YUV420P, "mp4"},
    };
    for (const Encoding& encoding : encodings) {
        writeEncoded(at("whole"), encoding, {36, 24}, encoding.container != nullptr ? 3 : 1);
        const std::vector<FrameResult> whole = readAll({at("whole")});
        const std::string bytes = readFile(at("whole"));
        for (size_t i = 0; i < 150; ++i) {
            const size_t place = i * bytes.size() / 150;
            writeFile(at("cut"), bytes.substr(0, place));
            size_t good = 0;
            for (const FrameResult& frame : readAll({at("cut")})) {
                EXPECT_EQ(frame.problem.empty(), !frame.picture.empty());
                if (!frame.problem.empty()) {
                    good = whole.size();
                } else if (good < whole.size()) {
                    EXPECT_EQ(findLargestDifference(frame.picture, whole[good++].picture), 0) << place;
                }
            }
            EXPECT_EQ(good, whole.size()) << avcodec_get_name(encoding.codec) << " cut at " << place << ": unsaid";

            std::string changed = bytes;
            changed[place] = static_cast<char>(changed[place] ^ (i % 2 == 0 ? 0xFF : 0x11));
            writeFile(at("changed"), changed);
            for (const FrameResult& frame : readAll({at("changed")})) {
                EXPECT_EQ(frame.problem.empty(), !frame.picture.empty());
            }
        }
    }
}

TEST(FileNames, StandAsPeopleNumberThem) {
    const char* const ordered[] = {"a",
                                   "A1",
                                   "a01b",
                                   "a2",
                                   "a10",
                                   "a10.5",
                                   "a10.40",
                                   "a99999999999999999999",
                                   "a100000000000000000000",
                                   "ab",
                                   "b 1",
                                   "b 1 2",
                                   "b 01 10",
                                   "\xC3\xA9"};
    for (size_t i = 0; i < std::size(ordered); ++i) {
        for (size_t j = 0; j < std::size(ordered); ++j) {
            EXPECT_EQ(comesBefore(ordered[i], ordered[j]), i < j) << ordered[i] << " and " << ordered[j];
        }
    }
    EXPECT_NE(comesBefore("a1", "A01"), comesBefore("A01", "a1"));
}

TEST_F(Frames, SeriesMixFilesFilmsAndFolders) {
    const Encoding png{AV_CODEC_ID_PNG, AV_PIX_FMT_GRAY8, nullptr}, avi{AV_CODEC_ID_RAWVIDEO, AV_PIX_FMT_GRAY8, "avi"};
    std::filesystem::create_directories(folder / "night" / "deeper");
    std::filesystem::create_directories(folder / "night" / "folder.png");
    for (const char* name : {"f10.png", "f2.PNG", "notes.txt", "._f3.png", "deeper/f1.png"}) {
        writeEncoded(at(std::string("night/") + name), png, {8, 8}, 1);
    }
    writeEncoded(at("night/f3.avi"), avi, {8, 8}, 2);
    writeEncoded(at("frame%d [1]:.dat"), png, {8, 8}, 1);
    std::filesystem::create_directories(folder / "empty");
    writeFile(at("night/f4.jpg"), "no picture");

    std::string problem;
    const std::vector<std::string> paths = {at("frame%d [1]:.dat"), at("night"), at("nowhere.png"), at("empty")};
    const FrameSeriesHandle series = openFrames(paths, problem);
    ASSERT_TRUE(series) << problem;
    EXPECT_EQ(countFrames(*series), 7);
    std::vector<std::string> seen;
    for (const FrameResult& frame : readAll(paths)) {
        seen.push_back(std::filesystem::path(frame.file).filename().string() + " " + std::to_string(frame.number) +
                       (frame.problem.empty() ? "" : " bad"));
        if (!frame.problem.empty()) {
            EXPECT_THAT(frame.problem, testing::HasSubstr(frame.file));
        }
    }
    EXPECT_THAT(seen, testing::ElementsAre("frame%d [1]:.dat 0", "f2.PNG 0", "f3.avi 1", "f3.avi 2", "f4.jpg 0 bad",
                                           "f10.png 0", "nowhere.png 0 bad"));

    for (const std::vector<std::string>& nothing : {std::vector<std::string>{}, {at("empty")}, {at("nowhere")}}) {
        EXPECT_FALSE(openFrames(nothing, problem));
        EXPECT_NE(problem, "");
    }
}

}  // namespace
