#include "report/aligned_frames.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <opencv2/imgproc.hpp>

#include "align/global/resampling.h"
#include "align/measure/difference.h"
#include "base/messages.h"
#include "base/progress_bar.h"
#include "imageio/bmp_layout.h"
#include "imageio/bmp_reader.h"
#include "measure/sharpness.h"
#include "run/steps.h"
#include "script/script_reader.h"
#include "state/run_state.h"

namespace {

// The program's own procedures speak to the console of a run. Here they work for a page, and nobody reads that.
int muteConsole() {
    std::fflush(stdout);
    const int console = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY);
    if (nowhere >= 0) {
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
    return console;
}

void unmuteConsole(int console) {
    std::fflush(stdout);
    if (console < 0) return;
    dup2(console, STDOUT_FILENO);
    close(console);
}

// Whether the program's reader takes the file: it ends the process over any other.
bool isPlainBmp(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::array<unsigned char, 54> bytes{};
    if (!file.read(reinterpret_cast<char*>(bytes.data()), bytes.size())) return false;
    const auto field = [&bytes](size_t at) {
        uint32_t value = 0;
        for (size_t i = 4; i-- > 0;) value = value << 8 | bytes[at + i];
        return static_cast<int32_t>(value);
    };
    const double width = field(bmpWidthOffset), height = std::abs(static_cast<double>(field(bmpHeightOffset)));
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return bytes[0] == 'B' && bytes[1] == 'M' && bytes[bmpBitsPerPixelOffset] == 24 &&
           bytes[bmpBitsPerPixelOffset + 1] == 0 && field(bmpCompressionOffset) == 0 && width > 0 && height > 0 &&
           !error && 3 * width * height <= static_cast<double>(size);
}

Image readPicture(const std::string& path) {
    Image picture;
    if (!isPlainBmp(path)) return picture;
    const int console = muteConsole();
    if (readBmp(picture, path.c_str()) != bmpLoaded) picture = Image{};
    unmuteConsole(console);
    return picture;
}

double countMaskedPairs(const Image& a, const Image& b, const Overlap& overlap) {
    int64_t masked = 0;
    for (int64_t y = 0; y < overlap.height; ++y) {
        const Pixel* rowA = rowOf(a, overlap.aY + y) + overlap.aX;
        const Pixel* rowB = rowOf(b, overlap.bY + y) + overlap.bX;
        for (int64_t x = 0; x < overlap.width; ++x) masked += rowA[x].weight == 0 || rowB[x].weight == 0;
    }
    return static_cast<double>(masked);
}

// The mean cost of the facing pairs that have data on both sides. The searches' measure gives the others a small fixed
// cost, by which a frame that covers less would look better.
std::optional<double> measureData(const Image& a, const Image& b) {
    constexpr double maskedCost = 0.005;
    const int64_t offsetX = int64_t{a.originX} - b.originX, offsetY = int64_t{a.originY} - b.originY;
    const Overlap overlap = findOverlap(a, b, offsetX, offsetY);
    const double pairs = static_cast<double>(overlap.width) * static_cast<double>(overlap.height);
    const double masked = countMaskedPairs(a, b, overlap);
    if (masked >= pairs) return std::nullopt;
    return std::max(0.0, (measureDifference(a, b) * pairs - masked * maskedCost) / (pairs - masked));
}

double measureSharpness(const Image& picture) {
    const cv::Mat pixels(picture.height, picture.width, CV_8UC4, picture.pixels);
    cv::Mat grey, weight;
    cv::cvtColor(pixels, grey, cv::COLOR_BGRA2GRAY);
    cv::extractChannel(pixels, weight, 3);
    grey.convertTo(grey, CV_32F);
    return computeSharpness(measureDetail(grey, weight, 0));
}

std::string textOf(const char* name) {
    return name == nullptr ? "" : name;
}

}  // namespace

RunScript readRunScript(const std::string& path) {
    const int console = muteConsole();
    setScriptPath(path.c_str());
    readScript();
    unmuteConsole(console);
    RunScript script;
    script.reference = textOf(runState.referenceName);
    script.composite = textOf(runState.compositeName);
    script.hasReferenceX = runState.referenceOriginXGiven == 1;
    script.hasReferenceY = runState.referenceOriginYGiven == 1;
    script.referenceX = runState.referenceOriginX;
    script.referenceY = runState.referenceOriginY;
    script.angleMin = runState.angleMin / radiansPerDegree;
    script.angleMax = runState.angleMax / radiansPerDegree;
    script.shiftMaximum = runState.shiftMaxX;
    script.shiftStep = runState.shiftStep;
    script.translationFraction = runState.translationFraction;
    script.blockWidth = runState.blockGridWidth;
    script.blockSearch = runState.blockSearchWidth;
    script.blockMaximum = runState.blockShiftMaxX;
    script.blockStep = runState.blockShiftStep;
    for (int32_t i = 1; i <= runState.imageCount; ++i) {
        script.entries.push_back({.source = textOf(runState.sourceNames[i]),
                                  .result = textOf(runState.resultNames[i]),
                                  .hasOriginX = runState.entryOriginXGiven[i] != 0,
                                  .hasOriginY = runState.entryOriginYGiven[i] != 0,
                                  .originX = runState.entryOriginX[i],
                                  .originY = runState.entryOriginY[i]});
    }
    const auto parent = std::filesystem::path(path).parent_path();
    const bool besideScript = std::filesystem::exists(parent / script.reference);
    script.folder = besideScript ? parent.string() : "";
    releaseRunState();
    runState = {};  // as it is when a program starts: another script may be read, or a run begun
    return script;
}

std::string locate(const RunScript& script, const std::string& name) {
    return (std::filesystem::path(script.folder) / name).string();
}

Image readReference(const RunScript& script) {
    Image reference = readPicture(locate(script, script.reference));
    reference.originX = script.hasReferenceX ? script.referenceX : reference.width / 2;
    reference.originY = script.hasReferenceY ? script.referenceY : reference.height / 2;
    return reference;
}

Image readFrame(const RunScript& script, const FrameReport& frame) {
    Image source = readPicture(locate(script, frame.picture));
    source.originX = frame.originX;
    source.originY = frame.originY;
    return source;
}

Image makeAlignedFrame(const RunScript& script, const FrameReport& frame, Image source) {
    const auto angle = static_cast<float>((frame.angle - frame.turnedBefore) * radiansPerDegree);
    const Image aligned =
        makeAlignedImage(source, angle, static_cast<float>(frame.shiftX), static_cast<float>(frame.shiftY));
    releaseImage(source);
    Image result = readPicture(locate(script, frame.result));
    if (result.width == aligned.width && result.height == aligned.height) {
        for (size_t i = 0; i < countPixels(aligned); ++i) {
            const Pixel bent = result.pixels[i];
            // Bending leaves black where it finds no data.
            const bool lost = bent.blue == 0 && bent.green == 0 && bent.red == 0;
            const uint8_t weight = lost && aligned.pixels[i].green > 0 ? 0 : aligned.pixels[i].weight;
            aligned.pixels[i] = {bent.blue, bent.green, bent.red, weight};
        }
    }
    releaseImage(result);
    return aligned;
}

cv::Mat cutField(const Image& picture, const Image& reference, const cv::Rect& field) {
    cv::Mat cut(field.size(), CV_32FC3, cv::Scalar::all(0));
    for (int y = 0; y < cut.rows; ++y) {
        const int64_t fromY = int64_t{field.y} + y + picture.originY - reference.originY;
        if (fromY < 0 || fromY >= picture.height) continue;
        for (int x = 0; x < cut.cols; ++x) {
            const int64_t fromX = int64_t{field.x} + x + picture.originX - reference.originX;
            if (fromX < 0 || fromX >= picture.width) continue;
            const Pixel pixel = rowOf(picture, fromY)[fromX];
            if (pixel.weight == 0) continue;
            cut.at<cv::Vec3f>(y, x) = {static_cast<float>(pixel.blue), static_cast<float>(pixel.green),
                                       static_cast<float>(pixel.red)};
        }
    }
    return cut;
}

void measureFrames(const RunScript& script, const Image& reference, std::vector<FrameReport>& frames) {
    ProgressBar progress = startProgress(tr("Measuring frames"), static_cast<int64_t>(script.entries.size()));
    for (FrameReport& frame : frames) {
        if (!frame.aligned) continue;
        stepProgress(progress);
        Image picture = readFrame(script, frame);
        if (picture.pixels == nullptr) continue;
        frame.before = measureData(picture, reference);
        picture = makeAlignedFrame(script, frame, picture);
        frame.after = measureData(picture, reference);
        if (!frame.sharpness) frame.sharpness = measureSharpness(picture);
        releaseImage(picture);
    }
    endProgress(progress);
}
