#include "measure/surface_matching.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace {

constexpr int detailSize = 400;    // pixels of the longer side, about
constexpr int finePatch = 256;     // pixels of the patch that settles the shift of large frames
constexpr double passBand = 0.18;  // of the sampling frequency: noise lies above
constexpr double leastLikeness = 0.35;
constexpr double leastOverlap = 0.25;
constexpr int peakCount = 3;

struct Shift {
    double x = 0, y = 0;
};

cv::Mat reduce(const cv::Mat& grey, int factor) {
    if (factor == 1) return grey;
    const cv::Rect whole(0, 0, grey.cols / factor * factor, grey.rows / factor * factor);
    cv::Mat reduced;
    cv::resize(grey(whole), reduced, whole.size() / factor, 0, 0, cv::INTER_AREA);
    return reduced;
}

cv::Mat keepDetail(const cv::Mat& grey) {
    cv::Mat detail, slow;
    cv::GaussianBlur(grey, detail, {}, 1.0);
    cv::GaussianBlur(grey, slow, {}, 8.0);
    return detail - slow;
}

cv::Mat makeSpectrum(const cv::Mat& detail) {
    cv::Mat window, spectrum;
    cv::createHanningWindow(window, detail.size(), CV_32F);
    cv::dft(detail.mul(window), spectrum, cv::DFT_COMPLEX_OUTPUT);
    return spectrum;
}

// Every frequency counts by its phase, strong ones a little more; those of the noise hardly.
cv::Mat correlatePhases(const cv::Mat& first, const cv::Mat& second) {
    cv::Mat cross;
    cv::mulSpectrums(second, first, cross, 0, true);
    for (int y = 0; y < cross.rows; ++y) {
        const double frequencyY = static_cast<double>(std::min(y, cross.rows - y)) / cross.rows;
        auto* row = cross.ptr<cv::Vec2f>(y);
        for (int x = 0; x < cross.cols; ++x) {
            const double frequencyX = static_cast<double>(std::min(x, cross.cols - x)) / cross.cols;
            const double squares = frequencyX * frequencyX + frequencyY * frequencyY;
            const double magnitude = static_cast<double>(std::hypot(row[x][0], row[x][1]));
            const double pass = std::exp(-squares / (2 * passBand * passBand));
            row[x] *= static_cast<float>(magnitude > 0 ? pass / std::pow(magnitude, 0.75) : 0);
        }
    }
    cv::Mat correlation;
    cv::dft(cross, correlation, cv::DFT_INVERSE | cv::DFT_REAL_OUTPUT | cv::DFT_SCALE);
    return correlation;
}

// How far the top of a parabola through three neighbours lies from the middle one.
double findTop(double before, double middle, double after) {
    const double bend = before - 2 * middle + after;
    return bend < 0 ? std::clamp((before - after) / (2 * bend), -0.5, 0.5) : 0;
}

Shift refinePeak(const cv::Mat& correlation, cv::Point peak) {
    const auto at = [&correlation](int x, int y) {
        return static_cast<double>(correlation.at<float>((y + correlation.rows) % correlation.rows,
                                                         (x + correlation.cols) % correlation.cols));
    };
    const double middle = at(peak.x, peak.y);
    return {peak.x + findTop(at(peak.x - 1, peak.y), middle, at(peak.x + 1, peak.y)),
            peak.y + findTop(at(peak.x, peak.y - 1), middle, at(peak.x, peak.y + 1))};
}

std::vector<Shift> listPeaks(cv::Mat correlation, int count) {
    const cv::Mat original = correlation.clone();
    std::vector<Shift> peaks;
    for (int i = 0; i < count; ++i) {
        cv::Point peak;
        cv::minMaxLoc(correlation, nullptr, nullptr, nullptr, &peak);
        peaks.push_back(refinePeak(original, peak));
        cv::circle(correlation, peak, 4, cv::Scalar(-1e30), cv::FILLED);
    }
    return peaks;
}

struct Overlap {
    cv::Rect first, second;
};

// What the two pictures share when the second shows everything moved by the shift.
Overlap computeOverlap(cv::Size size, int shiftX, int shiftY) {
    const int width = size.width - std::abs(shiftX), height = size.height - std::abs(shiftY);
    return {cv::Rect(std::max(0, -shiftX), std::max(0, -shiftY), width, height),
            cv::Rect(std::max(0, shiftX), std::max(0, shiftY), width, height)};
}

double compareDetail(const cv::Mat& first, const cv::Mat& second, Shift shift) {
    const int shiftX = static_cast<int>(std::lround(shift.x)), shiftY = static_cast<int>(std::lround(shift.y));
    if (std::abs(shiftX) >= first.cols || std::abs(shiftY) >= first.rows) return 0;
    const Overlap overlap = computeOverlap(first.size(), shiftX, shiftY);
    if (overlap.first.area() < leastOverlap * first.size().area()) return 0;
    const cv::Mat a = first(overlap.first), b = second(overlap.second);
    const double squares = a.dot(a) * b.dot(b);
    return squares > 0 ? a.dot(b) / std::sqrt(squares) : 0;
}

// A spectrum repeats itself: a peak stands for shifts to either side.
std::optional<Shift> chooseShift(const cv::Mat& first, const cv::Mat& second, const std::vector<Shift>& peaks) {
    std::optional<Shift> best;
    double likeness = leastLikeness;
    for (const Shift& peak : peaks) {
        for (const double x : {peak.x, peak.x - first.cols}) {
            for (const double y : {peak.y, peak.y - first.rows}) {
                const double alike = compareDetail(first, second, {x, y});
                if (alike > likeness) {
                    likeness = alike;
                    best = {x, y};
                }
            }
        }
    }
    return best;
}

// A patch in the middle of what both show, at the finer resolution, where it moves by a few pixels at most.
Pose settleShift(const SurfaceView& first, const SurfaceView& second, const Pose& coarse) {
    const int shiftX = static_cast<int>(std::lround(coarse.x / first.fineFactor));
    const int shiftY = static_cast<int>(std::lround(coarse.y / first.fineFactor));
    const Overlap overlap = computeOverlap(first.fine.size(), shiftX, shiftY);
    const cv::Size size(std::min(finePatch, overlap.first.width), std::min(finePatch, overlap.first.height));
    const cv::Point inset((overlap.first.width - size.width) / 2, (overlap.first.height - size.height) / 2);
    const cv::Mat a = keepDetail(first.fine(cv::Rect(overlap.first.tl() + inset, size)));
    const cv::Mat b = keepDetail(second.fine(cv::Rect(overlap.second.tl() + inset, size)));
    const auto rest = chooseShift(a, b, listPeaks(correlatePhases(makeSpectrum(a), makeSpectrum(b)), 1));
    const double limit = 2 * first.factor / first.fineFactor;
    if (!rest || std::abs(rest->x) > limit || std::abs(rest->y) > limit) return coarse;
    return {(shiftX + rest->x) * first.fineFactor, (shiftY + rest->y) * first.fineFactor};
}

}  // namespace

SurfaceView makeSurfaceView(const cv::Mat& grey) {
    const int longer = std::max(grey.cols, grey.rows);
    const int factor = std::max(1, (longer + detailSize / 2) / detailSize);
    const int fineFactor = std::max(1, longer / 2000);
    SurfaceView view;
    view.detail = keepDetail(reduce(grey, factor));
    view.factor = factor;
    view.spectrum = makeSpectrum(view.detail);
    view.fineFactor = fineFactor;
    if (factor > 2) view.fine = reduce(grey, fineFactor).clone();
    return view;
}

std::optional<Pose> matchSurfaces(const SurfaceView& first, const SurfaceView& second) {
    const cv::Mat correlation = correlatePhases(first.spectrum, second.spectrum);
    const auto shift = chooseShift(first.detail, second.detail, listPeaks(correlation, peakCount));
    if (!shift) return std::nullopt;
    const Pose pose{shift->x * first.factor, shift->y * first.factor};
    return first.fine.empty() ? pose : settleShift(first, second, pose);
}
