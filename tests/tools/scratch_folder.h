#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

/// A folder of a test's own, whatever else runs at the same time: empty at first, gone afterwards, with a blank and
/// letters beyond ASCII in its name.
struct ScratchFolder {
    std::filesystem::path path;

    ScratchFolder() {
        std::string name = testing::TempDir() + "\xC3\xA9t\xC3\xA9 XXXXXX";
        if (!mkdtemp(name.data())) ADD_FAILURE() << "no folder for the test at " << name;
        path = name;
    }
    ~ScratchFolder() { std::filesystem::remove_all(path); }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string at(const std::string& name) const { return path / name; }
};
