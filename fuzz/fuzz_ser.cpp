#include <cstdlib>
#include <string>

#include "frames/ser_reader.h"
#include "harness.h"

// Any bytes as a SER film: every frame that is given out is either a picture or a problem, and there are no more of
// them than were promised.
void runInput(std::span<const uint8_t> input) {
    writeInput("in.ser", input);
    std::string problem;
    const SerReaderHandle reader = openSer("in.ser", problem);
    if (static_cast<bool>(reader) != problem.empty()) std::abort();
    if (!reader) return;
    cv::Mat picture;
    int64_t count = 0;
    for (; readNextSerFrame(*reader, picture, problem); ++count) {
        if (picture.empty() == problem.empty()) std::abort();
        if (picture.total() > input.size()) std::abort();
    }
    if (count == 0 || count > countSerFrames(*reader)) std::abort();
}
