#include "script/picture_checks.h"

#include <cctype>
#include <filesystem>
#include <map>
#include <utility>

#include "base/format_text.h"
#include "base/messages.h"
#include "state/run_state.h"

namespace {

namespace fs = std::filesystem;

bool isFile(const std::string& path) {
    std::error_code error;
    return fs::is_regular_file(path, error);
}

// The names of a folder by what they are in small letters; each folder is read once.
using FolderNames = std::map<std::string, std::map<std::string, std::string>>;

std::string makeSmall(std::string name) {
    for (char& letter : name) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return name;
}

// The same name in other capitals; empty when there is none.
std::string findOtherCapitals(FolderNames& folders, const fs::path& path) {
    const fs::path folder = path.has_parent_path() ? path.parent_path() : ".";
    const auto [names, isNew] = folders.try_emplace(folder.string());
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); isNew && !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        names->second[makeSmall(name)] = name;
    }
    const auto name = names->second.find(makeSmall(path.filename().string()));
    return name == names->second.end() ? "" : name->second;
}

// Why a picture may be missing, and what to do.
std::string explainMissing(const ScriptRun& run, const std::string& name, FolderNames& folders) {
    const std::string path = placeFile(run, name);
    const std::string padded = findPaddedName(run, name);
    if (!padded.empty()) {
        return formatText(tr("%s exists; number frames without leading zeros, or let `prepare` do it (--fix writes one "
                             "Source line a frame)"),
                          padded.c_str());
    }
    const std::string capitals = findOtherCapitals(folders, path);
    if (!capitals.empty()) return formatText(tr("%s exists; capitals must be the same"), capitals.c_str());
    const fs::path beside = fs::path(run.path).parent_path() / name;
    if (isFile(beside.string())) {
        return formatText(tr("it lies beside the script; names are relative to the working directory, so start the run "
                             "in %s"),
                          fs::path(run.path).parent_path().c_str());
    }
    for (const char* ending :
         {".png", ".jpg", ".jpeg", ".tif", ".tiff", ".fit", ".fits", ".ser", ".avi", ".PNG", ".JPG"}) {
        const fs::path other = fs::path(path).replace_extension(ending);
        if (isFile(other.string())) {
            return formatText(tr("%s exists; the program reads BMP files only, let `prepare` make them"),
                              other.filename().c_str());
        }
    }
    if (const size_t twice = name.find(".bmp"); twice != std::string::npos && twice + 4 < name.size())
        return tr("the program adds number and .bmp itself; write the name in Sourcesbmp without .bmp");
    std::string slashed = path;
    for (char& letter : slashed) letter = letter == '\\' ? '/' : letter;
    if (slashed != path && isFile(slashed)) return formatText(tr("write %s with slashes"), slashed.c_str());
    return tr("there is no such file; names are relative to the working directory");
}

std::string describe(const ScriptRun& run, const std::string& name, const PictureHeader& header, FolderNames& folders) {
    switch (header.state) {
        case PictureState::missing:
            return formatText(tr("%s cannot be opened: %s"), name.c_str(), explainMissing(run, name, folders).c_str());
        case PictureState::unreadable:
            return formatText(tr("%s cannot be read; give yourself the right to, if it is a file"), name.c_str());
        case PictureState::foreign:
            return header.format.empty()
                       ? formatText(tr("%s is no BMP file; let `prepare` make them"), name.c_str())
                       : formatText(tr("%s is a %s file, whatever its name; the program reads BMP only, let `prepare` "
                                       "make them"),
                                    name.c_str(), header.format.c_str());
        case PictureState::compressed:
            return formatText(tr("%s is a compressed BMP, at which the run ends; save it uncompressed with 24 bits, or "
                                 "use `prepare`"),
                              name.c_str());
        case PictureState::wrongDepth:
            return formatText(
                tr("%s has %d bits a pixel, at which the run ends; save it with 24 bits, or use `prepare`"),
                name.c_str(), header.bits);
        case PictureState::eightBits:
            return formatText(tr("%s has 8 bits a pixel and would be black; save it with 24 bits, or use `prepare`"),
                              name.c_str());
        case PictureState::empty:
            return formatText(tr("%s is damaged: its width and height make no picture"), name.c_str());
        case PictureState::cut:
            return formatText(tr("%s is cut off; the missing pixels are left empty"), name.c_str());
        case PictureState::good:
            break;
    }
    return {};
}

// A fault of images of one line: the first is described, the others are counted.
struct LineFault {
    std::string text;
    int others = 0;
    Severity severity = Severity::error;
};

constexpr int differentSize = 100, originOutside = 101;  // beside the states of a picture

std::string describeSize(const std::string& name, const PictureHeader& header, const PictureHeader& reference) {
    return formatText(tr("%s is %d x %d, but the reference %d x %d; where it does not reach, the sum is darker"),
                      name.c_str(), header.width, header.height, reference.width, reference.height);
}

bool isOutside(const PictureHeader& header, int x, int y) {
    return x < 0 || y < 0 || x >= header.width || y >= header.height;
}

void checkReference(ScriptRun& run, FolderNames& folders, std::vector<Finding>& findings) {
    const int line = findLastLine(run, CommandKind::reference);
    if (runState.referenceName == nullptr) {
        addError(findings, line, tr("no reference picture is named, at which the run ends: Reference: FILE"));
        return;
    }
    const std::string name = cleanName(runState.referenceName);
    run.reference = readPictureHeader(placeFile(run, name));
    const PictureState state = run.reference.state;
    if (state != PictureState::good) {
        findings.push_back({line, state == PictureState::cut ? Severity::warning : Severity::error,
                            describe(run, name, run.reference, folders)});
    }
    if (run.reference.height == 0) return;
    const int x = runState.referenceOriginXGiven != 0 ? runState.referenceOriginX : run.reference.width / 2;
    const int y = runState.referenceOriginYGiven != 0 ? runState.referenceOriginY : run.reference.height / 2;
    if (isOutside(run.reference, x, y)) {
        addError(findings, line,
                 formatText(tr("the origin %d %d lies outside the picture of %d x %d"), x, y, run.reference.width,
                            run.reference.height));
    }
}

}  // namespace

std::string findPaddedName(const ScriptRun& run, const std::string& name) {
    const size_t digitsEnd = name.find_last_of("0123456789") + 1;
    if (digitsEnd == 0) return {};
    const size_t before = name.find_last_not_of("0123456789", digitsEnd - 1);
    const size_t digits = before == std::string::npos ? 0 : before + 1;
    for (size_t zeros = 1; zeros <= 7; ++zeros) {
        const std::string padded = name.substr(0, digits) + std::string(zeros, '0') + name.substr(digits);
        if (isFile(placeFile(run, padded))) return padded;
    }
    return {};
}

void checkPictures(ScriptRun& run, std::vector<Finding>& findings) {
    FolderNames folders;
    checkReference(run, folders, findings);
    std::map<std::pair<int, int>, LineFault> faults;  // by line and kind of fault
    const auto note = [&faults](int line, int kind, Severity severity, const auto& makeText) {
        const auto [fault, isNew] = faults.try_emplace({line, kind});
        if (isNew)
            fault->second = {.text = makeText(), .others = 0, .severity = severity};
        else
            ++fault->second.others;
    };
    for (int entry = 1; entry <= runState.imageCount; ++entry) {
        const int line = run.entryLines[static_cast<size_t>(entry)];
        const std::string name = cleanName(runState.sourceNames[entry]);
        const PictureHeader header = readPictureHeader(placeFile(run, name));
        if (header.state != PictureState::good) {
            note(line, static_cast<int>(header.state),
                 header.state == PictureState::cut ? Severity::warning : Severity::error,
                 [&] { return describe(run, name, header, folders); });
        }
        if (header.height == 0) continue;
        if (run.reference.height > 0 && (header.width != run.reference.width || header.height != run.reference.height))
            note(line, differentSize, Severity::warning, [&] { return describeSize(name, header, run.reference); });
        const int x = runState.entryOriginX[entry], y = runState.entryOriginY[entry];
        if (runState.entryOriginXGiven[entry] != 0 && runState.entryOriginYGiven[entry] != 0 &&
            isOutside(header, x, y)) {
            note(line, originOutside, Severity::error, [&] {
                return formatText(tr("the origin %d %d lies outside %s of %d x %d"), x, y, name.c_str(), header.width,
                                  header.height);
            });
        }
    }
    for (const auto& [place, fault] : faults) {
        const std::string others =
            fault.others == 0 ? "" : formatText(tr(" (the same with %d others of this line)"), fault.others);
        findings.push_back({place.first, fault.severity, fault.text + others});
    }
}
