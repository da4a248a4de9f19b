#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "parts/image_part.h"
#include "parts/image_record.h"

// What a run does before and after its images, in the program's own order and words. The run state is this process's.

/// From the banner to the loaded reference. Returns the processor time at which the run began.
[[nodiscard]] uint32_t openRun(const std::string& script);

/// The images' words and lines of the shift list, in their order.
void replayImages(const std::vector<ImageRecord>& records);

/// Closes the shift list, writes the composite of the sums in the run state, and its exact sums beside it, and takes
/// leave. Says in the report what became of the images.
void closeRun(uint32_t start, const RunIdentity& identity, const std::vector<ImageRecord>& records, std::FILE* report);

/// A line of the report for each image that is not as it should be.
void reportImages(const std::vector<ImageRecord>& records, std::FILE* report);
