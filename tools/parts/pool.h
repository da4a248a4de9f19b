#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "parts/image_part.h"
#include "parts/part_folder.h"

/// What a pool of processes is to do. The run state holds script and reference.
struct PoolTask {
    std::set<int32_t> entries;  // of the image list
    int processes;
    double secondsToSave;  // of a worker's work between two saves
    const PartFolder& folder;
    const RunIdentity& identity;
};

/// What one of its processes did.
struct WorkerOutcome {
    std::vector<int32_t> entries;
    size_t saved = 0;              // of the entries, in its part
    bool allWritten = true;        // every image that it opened
    CompositeSum* sums = nullptr;  // of its entries; memory that lives as long as this process. Null: no composite
    std::string partPath;
};

/// What it did: all entries when the run goes well; those before fatalEntry when one ends it; those that were begun
/// when a signal asked to stop.
struct PoolOutcome {
    std::vector<ImageRecord> records;  // in no order
    std::vector<WorkerOutcome> workers;
    int32_t fatalEntry = 0;  // the first image, in script order, that ended the run; 0: none
    ImageRecord fatalWords;  // what it had written until then
    int fatalStatus = 0;
};

/// Has the images processed. Progress on standard error, beginning with the images that were done before.
[[nodiscard]] PoolOutcome runPool(const PoolTask& task, const std::vector<ImageRecord>& doneBefore);

/// Saves what was done and is not saved yet, so that a later run need not do it again.
void savePool(const PoolOutcome& outcome, const RunIdentity& identity);
