#include "frames_fixture.h"

#include <fstream>

std::vector<FrameResult> readAll(const std::vector<std::string>& paths) {
    std::string problem;
    const FrameSeriesHandle series = openFrames(paths, problem);
    std::vector<FrameResult> frames;
    if (!series) return {FrameResult{{}, "", 0, problem}};
    FrameResult frame;
    while (readNextFrame(*series, frame) && frames.size() < 1000) frames.push_back(frame);
    return frames;
}

double findLargestDifference(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() ? cv::norm(a, b, cv::NORM_INF) : -1;
}

void writeFile(const std::string& file, const std::string& bytes) {
    std::filesystem::remove(file);  // writing a file anew is far slower than writing another
    std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string readFile(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}
