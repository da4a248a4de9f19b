#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "frames/frame_series.h"

/// A folder of its own for every test, with a blank and a letter beyond ASCII in its name.
class Frames : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder);
    }
    void TearDown() override { std::filesystem::remove_all(folder); }
    std::string at(const std::string& name) const { return (folder / name).string(); }

    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() /
        (std::string("frames \xC3\xA9 ") + testing::UnitTest::GetInstance()->current_test_info()->name());
};

/// All frames of a series; where it cannot be opened, one with the problem.
std::vector<FrameResult> readAll(const std::vector<std::string>& paths);

/// How far apart the farthest values of two pictures lie; -1: they differ in size or type.
double findLargestDifference(const cv::Mat& a, const cv::Mat& b);

void writeFile(const std::string& file, const std::string& bytes);
std::string readFile(const std::string& file);
