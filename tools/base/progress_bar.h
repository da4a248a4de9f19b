#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// How far a long piece of work has come: count, rate and time left, on one line of standard error that is written over
/// and over; nothing at all where that is no terminal.
struct ProgressBar {
    std::string label;
    int64_t total = 0, done = 0;
    bool shown = false;
    std::chrono::steady_clock::time_point start, lastPrint;
};

/// Begins; total may be an estimate.
[[nodiscard]] ProgressBar startProgress(const std::string& label, int64_t total);

/// One more is done.
void stepProgress(ProgressBar& bar);

/// Ends: the line is wiped, so that notices begin on an empty one.
void endProgress(ProgressBar& bar);
