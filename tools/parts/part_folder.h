#pragma once

#include <string>
#include <vector>

/// The folder of the parts that a run saves, which the run holds for itself.
struct PartFolder {
    std::string path;
    int lock = -1;
};

/// Makes the folder unless it is there and takes it, waiting a moment for a run that is just being killed. Returns what
/// went wrong; nothing: it is taken.
[[nodiscard]] std::string takePartFolder(PartFolder& folder);

/// The parts in it.
[[nodiscard]] std::vector<std::string> listParts(const PartFolder& folder);

/// The path of a part, and the first number behind those of the parts in the folder.
[[nodiscard]] std::string namePart(const PartFolder& folder, int number);
[[nodiscard]] int findFreeNumber(const PartFolder& folder);

/// Removes the parts and what a killed run left half-written.
void emptyPartFolder(const PartFolder& folder);

/// Removes the folder unless it holds parts or a run is at work in it.
void removeEmptyPartFolder(const std::string& path);
