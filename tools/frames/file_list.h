#pragma once

#include <string>
#include <vector>

/// What a file seems to hold, by its first bytes and where these do not say, by its name.
enum class FileKind { stillPicture, fits, ser, film, missing };

/// A file of a series.
struct InputFile {
    std::string path;
    FileKind kind = FileKind::missing;
};

/// Whether one name comes before another as people number them: 2 before 10, capitals like small letters.
[[nodiscard]] bool comesBefore(const std::string& first, const std::string& second);

/// The files in the order given, and in place of each folder the pictures and films in it (not in folders below), in
/// natural order.
[[nodiscard]] std::vector<InputFile> listFiles(const std::vector<std::string>& paths);
