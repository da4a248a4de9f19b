#include "stack/distortion.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "base/format_text.h"
#include "base/messages.h"

namespace {

constexpr int pieceSize = 25, pieceDistance = 26;  // pixels: pieces that share no noise
constexpr int reach = 6;                           // pixels that a piece may lie off
constexpr int mostFrames = 12;
constexpr double leastLikeness = 0.5;  // correlation of a piece that was recognised
constexpr int leastSamples = 40;
constexpr double leastStrength = 0.3;  // pixels, below which the blocks' own errors do more harm than the air

// The pieces of one frame: displacements, and whether they are known, row by row.
struct PieceField {
    int columns = 0, rows = 0;
    std::vector<cv::Point2d> moves;
    std::vector<bool> known;
};

// The vertex of the parabola through three neighbours, the middle one the highest.
double refinePeak(double before, double peak, double behind) {
    const double bend = before - 2 * peak + behind;
    return bend < 0 ? 0.5 * (before - behind) / bend : 0.0;
}

// Where a piece of the mean lies in the frame, against its own place. False where it is not recognised, or lies at the
// edge of where it was looked for.
bool findPiece(const cv::Mat& mean, const cv::Mat& frame, cv::Point corner, cv::Point2d& move) {
    const cv::Mat piece = mean(cv::Rect(corner, cv::Size(pieceSize, pieceSize)));
    const cv::Rect around(corner.x - reach, corner.y - reach, pieceSize + 2 * reach, pieceSize + 2 * reach);
    cv::Mat likeness;
    cv::matchTemplate(frame(around), piece, likeness, cv::TM_CCOEFF_NORMED);
    double best = 0;
    cv::Point at;
    cv::minMaxLoc(likeness, nullptr, &best, nullptr, &at);
    if (!(best > leastLikeness) || at.x == 0 || at.y == 0 || at.x == 2 * reach || at.y == 2 * reach) return false;
    const auto look = [&](int x, int y) { return static_cast<double>(likeness.at<float>(at.y + y, at.x + x)); };
    move = {at.x - reach + refinePeak(look(-1, 0), best, look(1, 0)),
            at.y - reach + refinePeak(look(0, -1), best, look(0, 1))};
    return true;
}

PieceField measurePieces(const cv::Mat& mean, const cv::Mat& frame, const cv::Mat& object) {
    PieceField field;
    field.columns = std::max(0, (mean.cols - pieceSize - 2 * reach) / pieceDistance + 1);
    field.rows = std::max(0, (mean.rows - pieceSize - 2 * reach) / pieceDistance + 1);
    if (mean.cols < pieceSize + 2 * reach || mean.rows < pieceSize + 2 * reach) field.columns = field.rows = 0;
    cv::Point2d sum;
    int count = 0;
    for (int row = 0; row < field.rows; ++row) {
        for (int column = 0; column < field.columns; ++column) {
            const cv::Point corner(reach + column * pieceDistance, reach + row * pieceDistance);
            const cv::Mat covered = object(cv::Rect(corner, cv::Size(pieceSize, pieceSize)));
            cv::Point2d move;
            const bool known =
                cv::countNonZero(covered) == pieceSize * pieceSize && findPiece(mean, frame, corner, move);
            field.moves.push_back(move);
            field.known.push_back(known);
            if (!known) continue;
            sum += move;
            ++count;
        }
    }
    // What all pieces have in common is a shift, which bending need not find.
    for (size_t i = 0; i < field.moves.size(); ++i) field.moves[i] -= sum / std::max(1, count);
    return field;
}

// Sums of products of the displacements of pieces that lie so many pieces apart, across or down; both axes count.
struct LagSums {
    double products = 0;
    int64_t count = 0;
};

void addLag(const PieceField& field, int lag, LagSums& sums) {
    const auto add = [&](size_t a, size_t b) {
        if (!field.known[a] || !field.known[b]) return;
        sums.products += (field.moves[a].x * field.moves[b].x + field.moves[a].y * field.moves[b].y) / 2;
        ++sums.count;
    };
    for (int row = 0; row < field.rows; ++row) {
        for (int column = 0; column < field.columns; ++column) {
            const auto index = static_cast<size_t>(row * field.columns + column);
            if (column + lag < field.columns) add(index, index + static_cast<size_t>(lag));
            if (row + lag < field.rows && lag > 0) add(index, index + static_cast<size_t>(lag * field.columns));
        }
    }
}

double meanOf(const LagSums& sums) {
    return sums.count > 0 ? sums.products / static_cast<double>(sums.count) : 0.0;
}

}  // namespace

Distortion measureDistortion(const PassReview& review) {
    cv::Mat mean;
    cv::cvtColor(review.mean, mean, cv::COLOR_BGR2GRAY);
    std::vector<const FrameReport*> trusted;
    for (const FrameReport& frame : review.frames)
        if (isTrusted(frame)) trusted.push_back(&frame);
    LagSums lags[3];
    const size_t step = trusted.size() / mostFrames + 1;
    for (size_t i = 0; i < trusted.size(); i += step) {
        const cv::Mat aligned = readAligned(review, *trusted[i]);
        if (aligned.empty()) continue;
        cv::Mat grey;
        cv::cvtColor(aligned, grey, cv::COLOR_BGR2GRAY);
        const PieceField field = measurePieces(mean, grey, review.object);
        for (int lag = 0; lag < 3; ++lag) addLag(field, lag, lags[lag]);
    }
    Distortion distortion = {.samples = static_cast<int>(lags[0].count)};
    if (distortion.samples < leastSamples) return distortion;
    // A correlation exp(-(r / scale)^2), which the errors of single pieces do not have: two distances tell its height
    // and its width, and what is missing at none is the error.
    const double near = std::max(meanOf(lags[1]), 0.0);
    const double far = std::clamp(meanOf(lags[2]), 0.02 * near, 0.9 * near);
    if (near > 0) {
        distortion.scale = pieceDistance * std::sqrt(3 / std::log(near / far));
        distortion.strength = std::sqrt(std::min(near * std::cbrt(near / far), std::max(meanOf(lags[0]), near)));
    }
    distortion.error = std::sqrt(std::max(0.0, meanOf(lags[0]) - distortion.strength * distortion.strength));
    return distortion;
}

std::optional<BlockSettings> chooseBending(const Distortion& distortion, cv::Size frame, int enlarge,
                                           std::string& why) {
    if (distortion.samples < leastSamples) {
        why =
            formatText(tr("Not bent: the frames show too little detail to measure how the air distorts them (%d places "
                          "recognised)."),
                       distortion.samples);
        return std::nullopt;
    }
    if (distortion.strength < leastStrength) {
        why =
            formatText(tr("Not bent: the air moves the parts of the frames by %.2f pixels only."), distortion.strength);
        return std::nullopt;
    }
    BlockSettings blocks;
    blocks.step = enlarge == 1 ? 0.5 : 1.0;
    // Twice the rms holds all but one displacement in twenty; beyond, blocks with little detail run away further.
    blocks.maximum = std::clamp(static_cast<int>(std::lround(2 * distortion.strength * enlarge)), 2, 6 * enlarge);
    // A block of a fifth of the scale to either side: larger ones average over what moves differently, smaller ones
    // are lost in the noise.
    const double side = 0.2 * distortion.scale * enlarge * std::sqrt(std::max(1.0, distortion.error / 0.5));
    blocks.block = std::clamp(static_cast<int>(std::lround(side)), 6 * enlarge, 12 * enlarge);
    // The grid at which a block's shift holds where it was measured.
    blocks.grid = 2 * (blocks.block + blocks.maximum + 1);
    if (2 * blocks.grid > std::min(frame.width, frame.height) * enlarge) {
        why = tr("Not bent: the frames are too small for blocks.");
        return std::nullopt;
    }
    why =
        formatText(tr("Bending: against the first sum, the air moves the parts of a frame by %.2f pixels rms on each "
                      "axis, in common over %.0f pixels; a piece of %d pixels is placed to %.2f pixels in the noise. "
                      "So blocks of %d pixels to either side, moved by up to %d, on the grid at which a block's shift "
                      "holds where it was measured (pixels of the frames of this pass)."),
                   distortion.strength, distortion.scale, pieceSize, distortion.error, blocks.block, blocks.maximum);
    return blocks;
}
