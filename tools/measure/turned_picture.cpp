#include "measure/turned_picture.h"

#include <cmath>
#include <opencv2/imgproc.hpp>

cv::Mat turnBack(const cv::Mat& picture, const Pose& pose, cv::Point origin) {
    const double cosine = std::cos(pose.angle), sine = std::sin(pose.angle);
    const cv::Matx23d inFrame(cosine, -sine, pose.x - cosine * origin.x + sine * origin.y,  //
                              sine, cosine, pose.y - sine * origin.x - cosine * origin.y);
    cv::Mat exact, turned, data;
    picture.convertTo(exact, CV_32F);
    cv::warpAffine(exact, exact, inFrame, picture.size(), cv::INTER_LANCZOS4 | cv::WARP_INVERSE_MAP,
                   cv::BORDER_REPLICATE);
    exact.convertTo(turned, CV_8U);
    cv::max(turned, cv::Scalar::all(1.0), turned);
    cv::warpAffine(cv::Mat(picture.size(), CV_8UC1, cv::Scalar(255)), data, inFrame, picture.size(),
                   cv::INTER_NEAREST | cv::WARP_INVERSE_MAP);
    turned.setTo(cv::Scalar::all(0.0), data == 0);
    return turned;
}
