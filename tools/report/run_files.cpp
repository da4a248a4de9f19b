#include "report/run_files.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "base/format_text.h"
#include "base/messages.h"

namespace fs = std::filesystem;

namespace {

std::string nameLog(const fs::path& script) {
    fs::path log = script;
    return log.replace_extension(".log").string();
}

bool isOlder(const fs::path& file, const fs::path& other) {
    std::error_code error;
    const auto time = fs::last_write_time(file, error);
    return error || time < fs::last_write_time(other, error) || error;
}

double measureWidth(const RunScript& script, const std::string& name) {
    RunScript named = script;
    named.reference = name;
    Image picture = readReference(named);
    const double width = picture.width;
    releaseImage(picture);
    return width;
}

}  // namespace

std::string readText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

RunFiles findRun(const std::string& target, const std::string& log) {
    RunFiles run = {.script = target, .log = log, .problem = {}};
    const bool isFolder = fs::is_directory(target);
    if (isFolder) run.script = (fs::path(target) / "script.txt").string();
    if (log.empty()) run.log = nameLog(run.script);
    if (isFolder && (!fs::is_regular_file(run.script) || !fs::is_regular_file(run.log))) {
        run.problem =
            formatText(tr("%s holds no script with its log; run its script with quillorne-tools run."), target.c_str());
    } else if (!fs::is_regular_file(run.script)) {
        run.problem = formatText(tr("%s is neither a folder nor a script."), run.script.c_str());
    } else if (!fs::is_regular_file(run.log)) {
        run.problem = formatText(tr("%s, the console of the run, is not there; keep it with quillorne %s > FILE and "
                                    "name it with --log FILE."),
                                 run.log.c_str(), run.script.c_str());
    }
    return run;
}

std::optional<FurtherPass> findFurtherPass(const RunFiles& run) {
    const fs::path folder = fs::path(run.script).parent_path();
    // The reference comes last into the folder, when all results are there.
    if (fs::path(run.script).filename() != "script.txt" || isOlder(folder / passReference, run.log)) return {};
    for (int number = 9; number > 1; --number) {
        const fs::path script = folder / formatText("pass%d", number) / "script.txt";
        if (!fs::is_regular_file(script) || isOlder(nameLog(script), run.log)) continue;
        FurtherPass pass = {.script = readRunScript(script.string()), .log = parseRunLog(readText(nameLog(script)))};
        const double width = measureWidth(readRunScript(run.script), passReference);
        if (!pass.log.finished || width == 0) return {};
        pass.enlarge = measureWidth(pass.script, pass.script.reference) / width;
        return pass.enlarge > 0 ? std::optional(pass) : std::nullopt;
    }
    return {};
}
