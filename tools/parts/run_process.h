#pragma once

#include <cstdio>
#include <functional>
#include <string>

// The global state of a run belongs to one run a process: whatever reads a script does so in a process of its own,
// which a fatal error may end.

constexpr int statusFatal = 134;  // as a shell shows the abort by which quillorne itself ends at a fatal error

/// How such a process ended.
struct ProcessOutcome {
    int status;           // what the work returned; statusFatal; 128 and the number of the signal that ended it
    std::string console;  // all that it wrote to standard output, in Mac OS Roman
    std::string report;   // all that it wrote into its report
};

/// Carries out the work in a process of its own, in that folder (empty: the present one), its standard output in
/// memory, its standard input empty. SIGINT and SIGTERM are handed on to it; there stopSignal() shows them.
[[nodiscard]] ProcessOutcome runApart(const std::string& folder, const std::function<int(std::FILE* report)>& work);

/// The signal that asked this process to stop, or 0.
[[nodiscard]] int stopSignal();

/// What a console that ends with a fatal error says last; nothing when it does not end so.
[[nodiscard]] std::string findFatalMessage(const std::string& console);

/// Ends this process as soon as its parent does.
void endWithParent(int parent);
