#include "script/script_needs.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "align/blocks/block_grid.h"
#include "base/format_text.h"
#include "base/messages.h"
#include "imageio/bmp_layout.h"
#include "script/setting_checks.h"
#include "state/run_state.h"

namespace {

constexpr double pixelBytes = 4, sumBytes = 16, fitsPixelBytes = 2, fitsHeaderBytes = 2880;
constexpr double programBytes = 4e6;

// Nanoseconds on one core of a present desktop processor, from runs with frames of 640 x 480. Most candidates of a
// search are given up early; how early depends on the pictures.
constexpr double perPixel = 17, perTurnedPixel = 25, perWindowPair = 0.005, perBlockPair = 0.35, perSlowBlockPair = 1.5;

double countBmpBytes(double width, double height) {
    return bmpHeaderSize + std::ceil(3 * std::floor(width) / 4) * 4 * std::floor(height);
}

struct FrameSize {
    double width, height;
};

// The frame round the picture turned by the largest angle of the range.
FrameSize findTurnedSize(double width, double height) {
    constexpr double rightAngle = 1.5707963;
    const double largest = static_cast<double>(std::max(std::abs(runState.angleMin), std::abs(runState.angleMax)));
    const double angle = largest < rightAngle ? largest : rightAngle;
    return {width * std::cos(angle) + height * std::sin(angle), width * std::sin(angle) + height * std::cos(angle)};
}

double estimateBlockTime(const PictureHeader& picture) {
    if (runState.blockGridWidth <= 0) return 0;
    const double columns = static_cast<double>(picture.width) / runState.blockGridWidth;
    const double rows = static_cast<double>(picture.height) / runState.blockGridWidth;
    const double side = 2.0 * runState.blockSearchWidth + 1;
    const double step = static_cast<double>(runState.blockShiftStep);
    const double places = std::floor(2.0 * std::max(runState.blockShiftMaxX, 0) / step) + 1;
    return columns * rows * side * side * places * places * (isFastStep(step) ? perBlockPair : perSlowBlockPair);
}

double estimateAngleTime(const PictureHeader& picture) {
    if (runState.angleMin == runState.angleMax) return 0;
    const double pixels = static_cast<double>(picture.width) * picture.height;
    const double angles =
        std::max(0.0, static_cast<double>(runState.angleMax - runState.angleMin)) / radiansPerDegree + 1;
    const double shifts = 2.0 * std::max(runState.shiftMaxX, 0) / std::max(runState.shiftStep, 1) + 1;
    return pixels * perTurnedPixel + angles * shifts * shifts * pixels / 16 * perWindowPair;
}

std::string describeBytes(double bytes) {
    const char* format = bytes < 1e6 ? tr("%.0f kB") : bytes < 1e9 ? tr("%.0f MB") : tr("%.1f GB");
    return formatText(format, bytes / (bytes < 1e6 ? 1e3 : bytes < 1e9 ? 1e6 : 1e9));
}

std::string describeTime(double seconds) {
    return seconds < 2      ? std::string(tr("less than two seconds"))
           : seconds < 90   ? formatText(tr("about %.0f seconds"), seconds)
           : seconds < 5400 ? formatText(tr("about %.0f minutes"), seconds / 60)
                            : formatText(tr("about %.1f hours"), seconds / 3600);
}

}  // namespace

ScriptNeeds estimateNeeds(const ScriptRun& run) {
    const PictureHeader& picture = run.reference;
    const FrameSize turned = findTurnedSize(picture.width, picture.height);
    const double pixels = static_cast<double>(picture.width) * picture.height;
    const double turnedPixels = turned.width * turned.height;
    ScriptNeeds needs;
    needs.pictures = runState.imageCount;
    needs.disk = needs.pictures * countBmpBytes(turned.width, turned.height);
    needs.memory = programBytes + pixelBytes * (2 * pixels + turnedPixels);
    if (runState.compositeName != nullptr) {
        needs.disk += 3 * (fitsHeaderBytes + fitsPixelBytes * pixels) + countBmpBytes(picture.width, picture.height);
        needs.memory += sumBytes * pixels;
    }
    if (runState.blockGridWidth > 0) needs.memory += pixelBytes * (pixels + 2 * turnedPixels);
    needs.seconds =
        1e-9 * needs.pictures * (pixels * perPixel + estimateAngleTime(picture) + estimateBlockTime(picture));
    std::error_code error;
    const std::filesystem::path result = placeFile(run, needs.pictures > 0 ? runState.resultNames[1] : "shift.lst");
    const auto space = std::filesystem::space(result.has_parent_path() ? result.parent_path() : ".", error);
    if (!error) needs.freeDisk = static_cast<double>(space.available);
    return needs;
}

std::string describeNeeds(const ScriptNeeds& needs, const PictureHeader& picture) {
    return formatText(tr("%d pictures of %d x %d: %s of disk (%s are free), %s of memory, very roughly %s on one core"),
                      needs.pictures, picture.width, picture.height, describeBytes(needs.disk).c_str(),
                      needs.freeDisk < 0 ? "?" : describeBytes(needs.freeDisk).c_str(),
                      describeBytes(needs.memory).c_str(), describeTime(needs.seconds).c_str());
}
