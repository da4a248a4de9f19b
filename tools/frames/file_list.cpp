#include "frames/file_list.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <span>

#include "frames/ser_reader.h"

namespace {

using namespace std::string_literals;

constexpr std::array stillEndings = {".bmp", ".jpeg", ".jpg", ".png", ".tif", ".tiff"};
constexpr std::array fitsEndings = {".fit", ".fits", ".fts", ".fz"};
constexpr std::array filmEndings = {".avi", ".m4v", ".mkv", ".mov", ".mp4"};

// Letters beyond ASCII stay as they are: their bytes have an order, and it is the same everywhere.
std::string makeLowerCase(std::string text) {
    for (char& letter : text) {
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    }
    return text;
}

bool isDigit(char letter) {
    return letter >= '0' && letter <= '9';
}

bool endsWithOneOf(const std::string& name, std::span<const char* const> endings) {
    return std::any_of(endings.begin(), endings.end(), [&](const char* ending) { return name.ends_with(ending); });
}

FileKind findKindByName(const std::string& path) {
    const std::string name = makeLowerCase(path);
    if (name.ends_with(".ser")) return FileKind::ser;
    if (endsWithOneOf(name, fitsEndings)) return FileKind::fits;
    if (endsWithOneOf(name, stillEndings)) return FileKind::stillPicture;
    return FileKind::film;
}

FileKind findKind(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return FileKind::missing;
    std::string bytes(16, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<size_t>(file.gcount()));
    if (looksLikeSer(bytes)) return FileKind::ser;
    if (bytes.starts_with("SIMPLE  =")) return FileKind::fits;
    for (const std::string& magic : {"\x89PNG"s, "\xFF\xD8\xFF"s, "BM"s, "II*\0"s, "MM\0*"s}) {
        if (bytes.starts_with(magic)) return FileKind::stillPicture;
    }
    return findKindByName(path);
}

bool isWanted(const std::filesystem::directory_entry& entry) {
    const std::string name = makeLowerCase(entry.path().filename().string());
    std::error_code failure;
    return !name.starts_with('.') && entry.is_regular_file(failure) &&
           (name.ends_with(".ser") || endsWithOneOf(name, fitsEndings) || endsWithOneOf(name, stillEndings) ||
            endsWithOneOf(name, filmEndings));
}

std::vector<std::string> listFolder(const std::string& folder) {
    std::vector<std::string> paths;
    std::error_code failure;
    std::filesystem::directory_iterator entry(folder, failure);
    for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure)) {
        if (isWanted(*entry)) paths.push_back(entry->path().string());
    }
    std::sort(paths.begin(), paths.end(), comesBefore);
    return paths;
}

}  // namespace

bool comesBefore(const std::string& first, const std::string& second) {
    const std::string a = makeLowerCase(first), b = makeLowerCase(second);
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (!isDigit(a[i]) || !isDigit(b[j])) {
            if (a[i] != b[j]) return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[j]);
            ++i;
            ++j;
            continue;
        }
        // Numbers of any length: without leading zeros, the longer is the larger.
        while (i < a.size() && a[i] == '0') ++i;
        while (j < b.size() && b[j] == '0') ++j;
        const size_t startA = i, startB = j;
        while (i < a.size() && isDigit(a[i])) ++i;
        while (j < b.size() && isDigit(b[j])) ++j;
        if (i - startA != j - startB) return i - startA < j - startB;
        const int order = a.compare(startA, i - startA, b, startB, j - startB);
        if (order != 0) return order < 0;
    }
    if (i < a.size() || j < b.size()) return j < b.size();
    return first < second;  // the same but for zeros and capitals: some order, always the same
}

std::vector<InputFile> listFiles(const std::vector<std::string>& paths) {
    std::vector<InputFile> files;
    for (const std::string& path : paths) {
        std::error_code failure;
        if (std::filesystem::is_directory(path, failure)) {
            for (const std::string& found : listFolder(path)) files.push_back({found, findKind(found)});
        } else {
            files.push_back({path, findKind(path)});
        }
    }
    return files;
}
