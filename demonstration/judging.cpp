#include "judging.h"

#include <fitsio.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "scene.h"

namespace {

// The channel files end with their last sample, where the format wants whole blocks.
cv::Mat readFits(const std::string& path) {
    constexpr size_t block = 2880;
    std::ifstream input(path, std::ios::binary);
    std::vector<char> bytes(std::istreambuf_iterator<char>(input), {});
    bytes.resize((bytes.size() + block - 1) / block * block);
    void* start = bytes.data();
    size_t size = bytes.size();
    fitsfile* file = nullptr;
    int status = 0, dimensions = 0;
    long sizes[3] = {1, 1, 1};
    if (bytes.empty() || fits_open_memfile(&file, path.c_str(), READONLY, &start, &size, 0, nullptr, &status) != 0)
        return {};
    fits_get_img_dim(file, &dimensions, &status);
    fits_get_img_size(file, std::min(dimensions, 3), sizes, &status);
    std::vector<cv::Mat> planes;
    LONGLONG first = 1;
    for (long i = 0; i < sizes[2]; ++i) {
        cv::Mat plane(static_cast<int>(sizes[1]), static_cast<int>(sizes[0]), CV_32FC1), upright;
        fits_read_img(file, TFLOAT, first, sizes[0] * sizes[1], nullptr, plane.data, nullptr, &status);
        first += sizes[0] * sizes[1];
        cv::flip(plane, upright, 0);
        planes.push_back(upright);
    }
    fits_close_file(file, &status);
    if (planes.size() >= 3) std::swap(planes[0], planes[2]);
    cv::Mat picture;
    if (status == 0) cv::merge(planes, picture);
    return picture;
}

// An uncompressed file of 24 bits. It takes nothing from the programs, so that a fault of theirs cannot hide itself.
cv::Mat readBmpPicture(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::array<uint8_t, 54> header{};
    file.read(reinterpret_cast<char*>(header.data()), header.size());
    const int width = header[18] | header[19] << 8, height = header[22] | header[23] << 8;
    if (!file || header[0] != 'B' || header[28] != 24 || width == 0 || height == 0) return {};
    cv::Mat levels(height, width, CV_8UC3), picture;
    std::vector<char> row((3 * static_cast<size_t>(width) + 3) / 4 * 4);
    for (int y = height - 1; y >= 0; --y) {
        file.read(row.data(), static_cast<std::streamsize>(row.size()));
        std::memcpy(levels.ptr(y), row.data(), 3 * static_cast<size_t>(width));
    }
    levels.convertTo(picture, CV_32F);
    return file ? picture : cv::Mat();
}

// The scene as a camera sees it whose frame has that size, with the scene's middle at that place.
cv::Mat lookAtScene(const cv::Mat& scene, cv::Size size, cv::Point2d middle) {
    const double x = scene.cols / 2.0 - 0.5 - sceneFineness * (middle.x + 0.5) + 0.5;
    const double y = scene.rows / 2.0 - 0.5 - sceneFineness * (middle.y + 0.5) + 0.5;
    const cv::Matx23d shift(1.0, 0.0, x, 0.0, 1.0, y);
    cv::Mat points, pixels;
    cv::warpAffine(scene, points, shift, size * sceneFineness, cv::INTER_CUBIC | cv::WARP_INVERSE_MAP,
                   cv::BORDER_REPLICATE);
    cv::resize(points, pixels, size, 0.0, 0.0, cv::INTER_AREA);
    return pixels;
}

// Mean square of truth - (gain picture + offset) over the mask, with the best gain and offset.
double compareChannel(const cv::Mat& truth, const cv::Mat& picture, const cv::Mat& mask) {
    cv::Scalar truthMean, truthDeviation, pictureMean, pictureDeviation;
    cv::meanStdDev(truth, truthMean, truthDeviation, mask);
    cv::meanStdDev(picture, pictureMean, pictureDeviation, mask);
    cv::Mat product = truth.mul(picture);
    const double covariance = cv::mean(product, mask)[0] - truthMean[0] * pictureMean[0];
    const double variance = pictureDeviation[0] * pictureDeviation[0];
    return truthDeviation[0] * truthDeviation[0] - (variance > 0.0 ? covariance * covariance / variance : 0.0);
}

Judgement judgeAt(const cv::Mat& scene, const std::vector<cv::Mat>& channels, int margin, cv::Point2d middle) {
    std::vector<cv::Mat> truth;
    cv::split(lookAtScene(scene, channels[0].size(), middle), truth);
    cv::Mat inside(channels[0].size(), CV_8UC1, cv::Scalar(0));
    inside(cv::Rect(margin, margin, inside.cols - 2 * margin, inside.rows - 2 * margin)).setTo(255);
    const cv::Mat mask = (truth[3] > 127.0) & inside;
    Judgement judgement = {.x = middle.x, .y = middle.y, .pixels = cv::countNonZero(mask)};
    double squares = 0.0;
    for (size_t i = 0; i < 3; ++i)
        squares += compareChannel(truth[i], channels[std::min(i, channels.size() - 1)], mask) / 3.0;
    judgement.difference = std::sqrt(std::max(0.0, squares));
    return judgement;
}

// The place of the scene's middle to a pixel or so, by the peak of the correlation.
cv::Point2d findMiddle(const cv::Mat& scene, const cv::Mat& picture) {
    std::vector<cv::Mat> truth, channels;
    const cv::Point2d centre(picture.cols / 2.0 - 0.5, picture.rows / 2.0 - 0.5);
    cv::split(lookAtScene(scene, picture.size(), centre), truth);
    cv::split(picture, channels);
    const size_t green = channels.size() == 1 ? 0 : 1;
    const cv::Mat grey = channels[green] - cv::mean(channels[green])[0];
    const cv::Mat expected = truth[1] - cv::mean(truth[1])[0];
    const cv::Point2d shift = cv::phaseCorrelate(expected, grey);
    return centre + shift;
}

}  // namespace

cv::Mat readPicture(const std::string& path) {
    if (path.ends_with(".bmp")) return readBmpPicture(path);
    if (!path.ends_with("R.fit")) return readFits(path);
    const std::string name = path.substr(0, path.size() - 5);
    const std::vector<cv::Mat> planes = {readFits(name + "B.fit"), readFits(name + "V.fit"), readFits(path)};
    cv::Mat picture;
    if (!planes[0].empty() && planes[0].size() == planes[1].size() && planes[1].size() == planes[2].size())
        cv::merge(planes, picture);
    return picture;
}

Judgement judgePicture(const cv::Mat& scene, const cv::Mat& picture, int margin) {
    std::vector<cv::Mat> channels;
    cv::split(picture, channels);
    if (channels.size() > 3) channels.resize(3);
    Judgement best = judgeAt(scene, channels, margin, findMiddle(scene, picture));
    for (double step = 4.0; step > 0.02; step /= 2.0) {
        for (bool moved = true; moved;) {
            moved = false;
            for (const cv::Point2d& way :
                 {cv::Point2d(1, 0), cv::Point2d(-1, 0), cv::Point2d(0, 1), cv::Point2d(0, -1)}) {
                const Judgement other = judgeAt(scene, channels, margin, cv::Point2d(best.x, best.y) + step * way);
                if (other.difference < best.difference && other.pixels > 0) {
                    best = other;
                    moved = true;
                }
            }
        }
    }
    return best;
}
