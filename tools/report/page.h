#pragma once

#include <string>
#include <vector>

#include "report/aligned_frames.h"
#include "report/page_pictures.h"

/// What a page is made of.
struct PageContents {
    std::string title;    // what the page reports on
    std::string summary;  // in a sentence
    RunScript script;
    std::string scriptText;
    std::vector<FrameReport> frames;
    PagePictures pictures;
    std::vector<std::string> plots;  // HTML
};

/// The page: one HTML file that holds all it shows and asks the network for nothing.
[[nodiscard]] std::string writePage(const PageContents& contents);

/// What a flag means, in a sentence; empty for a flag that is not known.
[[nodiscard]] std::string explainFlag(const std::string& flag);
