#include "measure_scenes.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

cv::Mat drawPlanet(cv::Size size, double x, double y, const PlanetScene& scene) {
    cv::Mat picture(size, CV_32F);
    const double radius = scene.radius;
    for (int row = 0; row < size.height; ++row) {
        for (int column = 0; column < size.width; ++column) {
            const double u = column - x, v = row - y, distance = std::hypot(u, v);
            double level = scene.halo * std::exp(-std::pow(distance / (2.5 * radius), 2));
            if (distance < radius + 1) {
                const double limb = std::sqrt(std::max(0.0, 1 - std::pow(distance / radius, 2)));
                const double belts = 1 + 0.15 * std::sin(v / radius * 9) + 0.05 * std::sin(u / radius * 23 + v);
                // The terminator is half an ellipse: lit is what lies right of it.
                const double terminator = (1 - 2 * scene.phase) * std::sqrt(std::max(0.0, radius * radius - v * v));
                const double edge = std::clamp(radius + 0.5 - distance, 0.0, 1.0);
                level += (0.4 + 0.6 * limb) * belts * edge * std::clamp(u - terminator + 0.5, 0.0, 1.0);
            }
            if (scene.moons) {
                level += 0.9 * std::exp(-(std::pow(u - 2.2 * radius, 2) + v * v) / 4);
                level += 0.5 * std::exp(-(std::pow(u + 3.4 * radius, 2) + std::pow(v - 4, 2)) / 4);
            }
            picture.at<float>(row, column) = static_cast<float>(level * scene.brightness);
        }
    }
    return picture;
}

cv::Mat drawGround(cv::Size size, uint64_t seed) {
    cv::RNG random(seed);
    cv::Mat ground = cv::Mat::zeros(size, CV_32F);
    for (const int scale : {2, 5, 12, 40, 120}) {
        cv::Mat grains(size.height / scale + 3, size.width / scale + 3, CV_32F), layer;
        random.fill(grains, cv::RNG::NORMAL, 0, 40 * std::pow(scale, 0.5));
        cv::resize(grains, layer, size, 0, 0, cv::INTER_CUBIC);
        ground += layer;
    }
    const int craters = size.area() / 3000;
    for (int i = 0; i < craters; ++i) {
        const cv::Point centre(random.uniform(0, size.width), random.uniform(0, size.height));
        const int radius = static_cast<int>(3 / std::pow(random.uniform(0.02, 1.0), 0.7));
        cv::circle(ground, centre, radius, cv::Scalar(random.uniform(-300, -100)), cv::FILLED);
        cv::circle(ground, centre + cv::Point(radius / 3, radius / 4), radius, cv::Scalar(random.uniform(100, 300)), 1);
    }
    return cv::max(0, cv::min(2500, ground + 1200));
}

cv::Mat cutGround(const cv::Mat& ground, cv::Size size, double x, double y) {
    cv::Mat frame;
    const cv::Point2f centre(static_cast<float>(x + (size.width - 1) / 2.0),
                             static_cast<float>(y + (size.height - 1) / 2.0));
    cv::getRectSubPix(ground, size, centre, frame);
    return frame;
}

std::vector<SkyStar> scatterStars(cv::Size size, double margin, int count, uint64_t seed) {
    cv::RNG random(seed);
    std::vector<SkyStar> stars;
    for (int i = 0; i < count; ++i) {
        stars.push_back({random.uniform(-margin, size.width + margin), random.uniform(-margin, size.height + margin),
                         500 / std::pow(random.uniform(0.003, 1.0), 0.6)});
    }
    return stars;
}

cv::Mat drawStars(cv::Size size, const std::vector<SkyStar>& stars, double moveX, double moveY, double angle) {
    cv::Mat picture = cv::Mat::zeros(size, CV_32F);
    const double middleX = size.width / 2.0, middleY = size.height / 2.0;
    for (const SkyStar& star : stars) {
        const double u = star.x - middleX, v = star.y - middleY;
        const double x = middleX + moveX + u * std::cos(angle) - v * std::sin(angle);
        const double y = middleY + moveY + u * std::sin(angle) + v * std::cos(angle);
        for (int row = static_cast<int>(y) - 5; row <= y + 5; ++row) {
            for (int column = static_cast<int>(x) - 5; column <= x + 5; ++column) {
                if (row < 0 || column < 0 || row >= size.height || column >= size.width) continue;
                const double squares = std::pow(column - x, 2) + std::pow(row - y, 2);
                picture.at<float>(row, column) += static_cast<float>(star.brightness * std::exp(-squares / 0.8));
            }
        }
    }
    return picture;
}

cv::Mat takeFrame(const cv::Mat& scene, const Weather& weather, uint64_t seed) {
    cv::RNG random(seed * 2654435761U + 12345);
    cv::Mat frame, noise(scene.size(), CV_32F), sky(scene.size(), CV_32F);
    cv::GaussianBlur(scene, frame, {}, random.uniform(weather.leastBlur, weather.largestBlur));
    for (int x = 0; x < sky.cols; ++x) sky.col(x) = 300 + weather.gradient * x / sky.cols;
    random.fill(noise, cv::RNG::NORMAL, 0, weather.noise);
    frame = frame * random.uniform(1 - weather.flicker, 1.0) + sky + noise;
    cv::RNG fixed(77);
    for (int i = 0; i < weather.hotPixels; ++i) {
        frame.at<float>(fixed.uniform(0, frame.rows), fixed.uniform(0, frame.cols)) +=
            static_cast<float>(fixed.uniform(300, 4000));
    }
    cv::Mat levels;
    frame = cv::min(frame, 4095);
    frame.convertTo(levels, CV_16U);
    return levels;
}
