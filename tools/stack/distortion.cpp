#include "stack/distortion.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "base/format_text.h"
#include "base/messages.h"

namespace {

constexpr int pieceSize = 26;                    // pixels; pieces side by side share no noise
constexpr int fewPieces = 30;                    // in the object, from which down they lie closer
constexpr int reach = 6;                         // pixels that a piece may lie off
constexpr int farthest = 4 * pieceSize;          // pixels between two that are compared
constexpr int enoughPieces = 1200;               // of all frames looked at
constexpr int fewestLooks = 12, mostLooks = 60;  // frames to look at
constexpr double usualScale = 50;                // pixels, where it is not known
constexpr double leastLikeness = 0.5;            // correlation of a piece that was recognised
constexpr int leastSamples = 40;
constexpr double leastStrength = 0.3;  // pixels, below which the blocks' own errors do more harm than the air

// The pieces of one frame: displacements, and whether they are known.
struct PieceField {
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

// Where pieces of that distance lie wholly on the object: their corners, row by row.
struct PieceGrid {
    int distance = pieceSize, columns = 0, rows = 0;
    std::vector<bool> onObject;
    int count = 0;
};

PieceGrid layOutPieces(const cv::Mat& object, int distance) {
    PieceGrid grid;
    grid.distance = distance;
    const int width = object.cols - pieceSize - 2 * reach, height = object.rows - pieceSize - 2 * reach;
    if (width < 0 || height < 0) return grid;
    grid.columns = width / distance + 1;
    grid.rows = height / distance + 1;
    for (int row = 0; row < grid.rows; ++row) {
        for (int column = 0; column < grid.columns; ++column) {
            const cv::Rect piece(reach + column * distance, reach + row * distance, pieceSize, pieceSize);
            grid.onObject.push_back(cv::countNonZero(object(piece)) == piece.area());
            grid.count += grid.onObject.back() ? 1 : 0;
        }
    }
    return grid;
}

PieceField measurePieces(const cv::Mat& mean, const cv::Mat& frame, const PieceGrid& grid) {
    PieceField field;
    for (size_t i = 0; i < grid.onObject.size(); ++i) {
        const int row = static_cast<int>(i) / grid.columns, column = static_cast<int>(i) % grid.columns;
        const cv::Point corner(reach + column * grid.distance, reach + row * grid.distance);
        cv::Point2d move;
        field.known.push_back(grid.onObject[i] && findPiece(mean, frame, corner, move));
        field.moves.push_back(move);
    }
    return field;
}

// The mean square of the differences, along one axis, between pieces that lie so far apart: half of it is what one
// piece has for itself. A shift that all have in common has no part in it, however few the pieces are.
struct Lag {
    double distance = 0;  // pixels
    double squares = 0;
    int64_t count = 0;

    [[nodiscard]] double half() const { return squares / (2 * static_cast<double>(count)); }
};

void addLag(const PieceGrid& grid, const PieceField& field, int lag, Lag& sums) {
    const auto add = [&](size_t a, size_t b) {
        if (!field.known[a] || !field.known[b]) return;
        const cv::Point2d difference = field.moves[a] - field.moves[b];
        sums.squares += difference.dot(difference) / 2;
        ++sums.count;
    };
    for (int row = 0; row < grid.rows; ++row) {
        for (int column = 0; column < grid.columns; ++column) {
            const auto index = static_cast<size_t>(row * grid.columns + column);
            if (column + lag < grid.columns) add(index, index + static_cast<size_t>(lag));
            if (row + lag < grid.rows) add(index, index + static_cast<size_t>(lag * grid.columns));
        }
    }
}

// The air of that scale that comes closest to the lags: the correlation of two places falls as exp(-(r / scale)^2), and
// what pieces have for themselves at any distance is the error. Returns the misfit.
double fitLags(const std::vector<Lag>& lags, double scale, Distortion& distortion) {
    double weight = 0, sumX = 0, sumY = 0, sumXX = 0, sumXY = 0;
    const auto rise = [scale](const Lag& lag) { return 1 - std::exp(-std::pow(lag.distance / scale, 2)); };
    for (const Lag& lag : lags) {
        const auto n = static_cast<double>(lag.count);
        weight += n;
        sumX += n * rise(lag);
        sumY += n * lag.half();
        sumXX += n * rise(lag) * rise(lag);
        sumXY += n * rise(lag) * lag.half();
    }
    const double spread = sumXX - sumX * sumX / weight;
    double strength = spread > 1e-9 * weight ? (sumXY - sumX * sumY / weight) / spread : 0;
    double error = (sumY - strength * sumX) / weight;
    if (error < 0) {
        error = 0;
        strength = sumXY / sumXX;
    }
    strength = std::max(strength, 0.0);
    double misfit = 0;
    for (const Lag& lag : lags) {
        misfit += static_cast<double>(lag.count) * std::pow(lag.half() - error - strength * rise(lag), 2);
    }
    distortion.strength = std::sqrt(strength);
    distortion.error = std::sqrt(error);
    distortion.scale = scale;
    return misfit;
}

}  // namespace

Distortion measureDistortion(const PassReview& review) {
    cv::Mat mean;
    cv::cvtColor(review.mean, mean, cv::COLOR_BGR2GRAY);
    std::vector<const FrameReport*> trusted;
    for (const FrameReport& frame : review.frames)
        if (isTrusted(frame)) trusted.push_back(&frame);
    PieceGrid grid = layOutPieces(review.object, pieceSize);
    if (grid.count < fewPieces) grid = layOutPieces(review.object, pieceSize / 2);
    const auto frames = static_cast<size_t>(std::clamp(enoughPieces / std::max(grid.count, 1), fewestLooks, mostLooks));
    std::vector<Lag> lags;
    // Pieces nearer than that share pixels, and so errors.
    for (int lag = (pieceSize + grid.distance - 1) / grid.distance; lag * grid.distance <= farthest; ++lag) {
        lags.push_back({.distance = static_cast<double>(lag * grid.distance)});
    }
    Distortion distortion;
    const size_t step = trusted.size() / frames + 1;
    for (size_t i = 0; i < trusted.size() && grid.count > 1; i += step) {
        const cv::Mat aligned = readAligned(review, *trusted[i]);
        if (aligned.empty()) continue;
        cv::Mat grey;
        cv::cvtColor(aligned, grey, cv::COLOR_BGR2GRAY);
        const PieceField field = measurePieces(mean, grey, grid);
        distortion.samples += static_cast<int>(std::count(field.known.begin(), field.known.end(), true));
        for (Lag& lag : lags) addLag(grid, field, static_cast<int>(lag.distance) / grid.distance, lag);
    }
    std::erase_if(lags, [](const Lag& lag) { return lag.count < leastSamples; });
    if (lags.size() < 2) distortion.samples = 0;
    if (distortion.samples < leastSamples) return distortion;
    // Two distances alone do not tell the scale.
    const bool tellScale = lags.size() > 2;
    double least = 0;
    for (double scale = tellScale ? 15 : usualScale; scale <= (tellScale ? 150 : usualScale); scale *= 1.04) {
        Distortion fitted = distortion;
        const double misfit = fitLags(lags, scale, fitted);
        if (distortion.scale > 0 && misfit >= least) continue;
        least = misfit;
        distortion = fitted;
    }
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
    // A block of a seventh of the scale to either side: larger ones average over what moves differently, smaller ones
    // are lost in the noise.
    const double side = 0.14 * distortion.scale * enlarge * std::sqrt(std::max(1.0, distortion.error / 0.5));
    blocks.block = std::clamp(static_cast<int>(std::lround(side)), 5 * enlarge, 14 * enlarge);
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
