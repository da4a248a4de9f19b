#pragma once

#include <cstdio>
#include <string>

/// A file on its way: it is written beside its place as PATH.part and takes its name when it is whole. An interrupt
/// (Ctrl-C, a termination) removes what is half written. One at a time.
struct PartFile {
    std::FILE* file = nullptr;  // null: it could not be created
    std::string path;           // where it is to stand in the end
};

[[nodiscard]] PartFile createPartFile(const std::string& path);

/// Closes the file and gives it its name, replacing any file of that name. False when anything failed since its
/// creation, a full disk say; nothing of it is left then.
[[nodiscard]] bool finishPartFile(PartFile& part);

/// The same for a text or any bytes at hand.
[[nodiscard]] bool writeWholeFile(const std::string& path, const std::string& bytes);
