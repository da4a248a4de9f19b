#include "script/result_checks.h"

#include <unistd.h>

#include <filesystem>
#include <set>
#include <unordered_map>

#include "base/format_text.h"
#include "base/messages.h"
#include "state/run_state.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t longestBase = 506;  // characters of a composite's name that the program has room for

// Files are compared as such, not as names: ./a.bmp is a.bmp, and a link is what it leads to. Folders are looked up
// once, as thousands of files lie in the same.
struct FileKeys {
    const ScriptRun& run;
    std::unordered_map<std::string, std::string> folders;
};

std::string findKey(FileKeys& keys, const std::string& name) {
    std::error_code error;
    const fs::path path = placeFile(keys.run, name);
    if (fs::is_symlink(path, error)) return fs::weakly_canonical(path, error).string();
    const std::string folder = path.has_parent_path() ? path.parent_path().string() : ".";
    const auto [known, isNew] = keys.folders.try_emplace(folder);
    if (isNew) known->second = fs::weakly_canonical(folder, error).string();
    return known->second + "/" + path.filename().string();
}

// Tells each folder that is missing or closed once.
void checkFolder(const ScriptRun& run, const std::string& name, int line, std::set<std::string>& told,
                 std::vector<Finding>& findings) {
    const fs::path path = placeFile(run, name);
    const std::string folder = path.has_parent_path() ? path.parent_path().string() : ".";
    std::error_code error;
    if (told.contains(folder)) return;
    told.insert(folder);
    if (!fs::is_directory(folder, error)) {
        addError(findings, line,
                 formatText(tr("the folder %s does not exist; make it first: the program makes none"), folder.c_str()));
    } else if (access(folder.c_str(), W_OK) != 0) {
        addError(findings, line, formatText(tr("nothing can be written into the folder %s"), folder.c_str()));
    }
}

void checkCompositeName(const std::string& name, int line, std::vector<Finding>& findings) {
    const size_t point = name.find('.');
    const std::string base = name.substr(0, point);
    const std::string rest = point == std::string::npos ? "" : name.substr(point);
    if (base.size() > longestBase) addError(findings, line, tr("the name of the sum is too long"));
    // Only an ending falls away: what was meant.
    if (!base.empty() && rest.find_first_of("./", 1) == std::string::npos) return;
    const bool elsewhere = base.empty() || rest.find('/') != std::string::npos;
    findings.push_back({line, elsewhere ? Severity::error : Severity::warning,
                        formatText(tr("the name of the sum is cut at its first point: %s becomes %sR.fit, %sV.fit, "
                                      "%sB.fit and %s.bmp; use a name without points"),
                                   name.c_str(), base.c_str(), base.c_str(), base.c_str(), base.c_str())});
}

}  // namespace

std::vector<std::string> nameCompositeFiles(const std::string& compositeName) {
    const std::string base = compositeName.substr(0, compositeName.find('.'));
    return {base + "R.fit", base + "V.fit", base + "B.fit", base + ".bmp"};
}

void checkResults(const ScriptRun& run, std::vector<Finding>& findings) {
    FileKeys keys = {.run = run, .folders = {}};
    std::set<std::string> told;
    std::unordered_map<std::string, int> sources, writers;  // by file: the line that names it
    for (int entry = 1; entry <= runState.imageCount; ++entry)
        sources.try_emplace(findKey(keys, runState.sourceNames[entry]), run.entryLines[static_cast<size_t>(entry)]);
    const std::string referenceKey = runState.referenceName == nullptr ? "" : findKey(keys, runState.referenceName);
    std::error_code error;
    const std::string scriptKey = fs::weakly_canonical(run.path, error).string();
    const auto write = [&](const std::string& name, int line) {
        const std::string key = findKey(keys, name);
        checkFolder(run, name, line, told, findings);
        const auto [writer, isNew] = writers.try_emplace(key, line);
        const auto source = sources.find(key);
        const char* shown = name.c_str();
        if (key == scriptKey) {
            addError(findings, line, formatText(tr("%s would overwrite the script itself"), shown));
        } else if (source != sources.end()) {
            addError(findings, line,
                     formatText(tr("%s would overwrite the source of line %d; give the result another name"), shown,
                                source->second));
        } else if (key == referenceKey) {
            addError(findings, line,
                     formatText(tr("%s would overwrite the reference; give the result another name"), shown));
        } else if (!isNew) {
            addError(
                findings, line,
                formatText(tr("%s is written already by line %d, only the last one stays; give each result its own "
                              "name"),
                           shown, writer->second));
        }
    };
    const size_t before = findings.size();
    int lastTold = 0;
    for (int entry = 1; entry <= runState.imageCount; ++entry) {
        const int line = run.entryLines[static_cast<size_t>(entry)];
        const size_t count = findings.size();
        write(cleanName(runState.resultNames[entry]), line);
        // Of a sequence the first fault is enough.
        if (findings.size() > count && lastTold == line && count > before)
            findings.resize(count);
        else if (findings.size() > count)
            lastTold = line;
    }
    if (runState.compositeName != nullptr) {
        const int line = findLastLine(run, CommandKind::composite);
        const std::string composite = cleanName(runState.compositeName);
        checkCompositeName(composite, line, findings);
        for (const std::string& name : nameCompositeFiles(composite)) write(name, line);
    }
    write("shift.lst", 0);
}
