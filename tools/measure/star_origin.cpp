#include "measure/star_origin.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int gridStep = 4;     // pixels between the points that are judged
constexpr int windowInset = 6;  // pixels: a star nearer to the window's edge may leave it when turned

// How well the stars round a point tell angles: the moment of their light about its own middle, since stars on one side
// alone tell a shift from a turn badly.
double weighMoment(const std::vector<Star>& stars, cv::Point origin, cv::Size window) {
    double weight = 0, squares = 0, sumX = 0, sumY = 0;
    int count = 0;
    for (const Star& star : stars) {
        const double u = star.x - origin.x, v = star.y - origin.y;
        if (std::abs(u) > window.width / 2 - windowInset || std::abs(v) > window.height / 2 - windowInset) continue;
        weight += star.brightness;
        sumX += star.brightness * u;
        sumY += star.brightness * v;
        squares += star.brightness * (u * u + v * v);
        ++count;
    }
    return count < 3 ? 0 : squares - (sumX * sumX + sumY * sumY) / weight;
}

// What an origin that is rounded by a pixel adds to the angle, radians: nothing where bright stars lie on all sides.
double weighBias(const std::vector<Star>& stars, cv::Point origin) {
    double squares = 0, sumX = 0, sumY = 0;
    for (const Star& star : stars) {
        // Differences count by their fourth power, so by far the most for the brightest stars.
        const double weight = star.brightness * star.brightness;
        const double u = star.x - origin.x, v = star.y - origin.y;
        sumX += weight * u;
        sumY += weight * v;
        squares += weight * (u * u + v * v);
    }
    return std::hypot(sumX, sumY) / std::max(squares, 1e-9);
}

}  // namespace

std::optional<cv::Point> chooseStarOrigin(const std::vector<Star>& stars, const cv::Rect& area) {
    for (const Star& star : stars) {  // brightest first
        const cv::Point place(static_cast<int>(std::lround(star.x)), static_cast<int>(std::lround(star.y)));
        if (area.contains(place)) return place;
    }
    return std::nullopt;
}

std::optional<cv::Point> chooseTurnOrigin(const std::vector<Star>& stars, const cv::Rect& area, cv::Size window) {
    std::vector<cv::Point> points;
    std::vector<double> moments;
    for (int y = area.y; y < area.br().y; y += gridStep) {
        for (int x = area.x; x < area.br().x; x += gridStep) {
            points.emplace_back(x, y);
            moments.push_back(weighMoment(stars, points.back(), window));
        }
    }
    if (moments.empty()) return std::nullopt;
    const double most = *std::max_element(moments.begin(), moments.end());
    std::optional<cv::Point> best;
    double least = 0;
    for (size_t i = 0; i < points.size(); ++i) {
        if (moments[i] <= 0 || moments[i] < most / 3) continue;
        const double bias = weighBias(stars, points[i]);
        if (!best || bias < least) {
            least = bias;
            best = points[i];
        }
    }
    return best;
}
