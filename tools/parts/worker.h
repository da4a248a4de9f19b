#pragma once

#include <cstdint>
#include <string>

#include "parts/image_part.h"

// A worker is a process that was forked with script and reference in its run state. It takes an image at a time from
// its parent, and adds it to sums of its own, which the parent sees.

/// What parent and worker share. The sums are null without a composite.
struct WorkerShared {
    int socket = -1;  // orders one way, reports the other
    int console = -1, shiftLines = -1;
    CompositeSum* sums = nullptr;
};

/// An order is the number of an image, or this: what is done so far is to be saved.
constexpr int32_t orderToSave = 0;

/// Takes orders until the socket is closed, and ends the process. Saves into partPath, each time all that it has done.
[[noreturn]] void work(int parent, const WorkerShared& shared, const RunIdentity& identity,
                       const std::string& partPath);

/// The parent's side. A report of an image has its entry in its facts, that of a save none and in its console what went
/// wrong. False when the worker is gone.
[[nodiscard]] bool sendOrder(const WorkerShared& shared, int32_t order);
[[nodiscard]] bool receiveReport(const WorkerShared& shared, ImageRecord& report);
