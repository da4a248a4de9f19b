#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "frames/frame_series.h"
#include "scratch_folder.h"

class Frames : public testing::Test {
protected:
    std::string at(const std::string& name) const { return scratch.at(name); }

    const ScratchFolder scratch;
    const std::filesystem::path folder = scratch.path;
};

/// All frames of a series; where it cannot be opened, one with the problem.
std::vector<FrameResult> readAll(const std::vector<std::string>& paths);

/// How far apart the farthest values of two pictures lie; -1: they differ in size or type.
double findLargestDifference(const cv::Mat& a, const cv::Mat& b);

void writeFile(const std::string& file, const std::string& bytes);
std::string readFile(const std::string& file);
