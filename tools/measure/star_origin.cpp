#include "measure/star_origin.h"

#include <cmath>

std::optional<cv::Point> chooseStarOrigin(const std::vector<Star>& stars, const cv::Rect& area) {
    for (const Star& star : stars) {  // brightest first
        const cv::Point place(static_cast<int>(std::lround(star.x)), static_cast<int>(std::lround(star.y)));
        if (area.contains(place)) return place;
    }
    return std::nullopt;
}
