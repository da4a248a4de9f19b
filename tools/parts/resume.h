#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "parts/image_part.h"
#include "parts/part_folder.h"

/// A part that an unfinished run has left, with sums to be added.
struct SavedPart {
    std::string path;
    size_t images;
};

/// What is done already, and what is not.
struct SavedWork {
    std::vector<SavedPart> parts;
    std::vector<ImageRecord> records;
    std::set<int32_t> missing;
};

/// Looks into the folder. With resume, parts that are whole, belong to this run, and whose sources and results are as
/// they were, are taken; the others are removed. With force all are. Without either there must be none. Returns what
/// is wrong; nothing: the run can go on.
[[nodiscard]] std::string findSavedWork(const PartFolder& folder, const RunIdentity& identity, bool resume, bool force,
                                        SavedWork& work);
