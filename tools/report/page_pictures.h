#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "report/aligned_frames.h"

/// A JPEG file in memory and the frame that it shows.
struct PagePicture {
    int64_t number = 0;
    std::string jpeg;
};

/// The pictures of the page, all with the brightness curve of the sum.
struct PagePictures {
    cv::Rect field;                   // of the reference, that blinking shows at full size
    std::string reference;            // JPEG of that field; empty: the reference cannot be read
    std::vector<PagePicture> frames;  // the same field of aligned frames, in the order of the frames
    std::string sum;                  // the whole sum, scaled down when it is large; empty: there is none
    PagePicture single;               // and one frame beside it
};

/// Makes them: the doubtful frames first, then frames evenly spread, as many as a page bears that opens quickly.
[[nodiscard]] PagePictures makePagePictures(const RunScript& script, const Image& reference,
                                            const std::vector<FrameReport>& frames);
