#include "script/script_run.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "run/steps.h"
#include "script/script_reader.h"
#include "script/script_tokens.h"
#include "state/run_state.h"

std::string cleanName(std::string name) {
    if (name.ends_with('\r')) name.pop_back();
    return name;
}

std::string placeFile(const ScriptRun& run, const std::string& name) {
    const std::string clean = cleanName(name);
    return run.folder.empty() ? clean : (std::filesystem::path(run.folder) / clean).string();
}

int findLastLine(const ScriptRun& run, CommandKind kind) {
    const auto line = run.lastLine.find(kind);
    return line == run.lastLine.end() ? 0 : line->second;
}

void listEntries(ScriptRun& run) {
    run.entryLines = {0};
    for (const ScriptLine& line : run.lines) {
        if (line.command == nullptr || line.hasMark) continue;
        run.lastLine[line.command->kind] = line.number;
        if (line.arguments.size() < line.command->required) continue;
        if (line.command->kind == CommandKind::source) run.entryLines.push_back(line.number);
        if (line.command->kind == CommandKind::sequence) {
            const int64_t first = parseInteger(line.arguments[2].c_str()),
                          last = parseInteger(line.arguments[3].c_str());
            const int64_t count = std::clamp<int64_t>(last - first + 1, 0, imageListSize);
            run.entryLines.insert(run.entryLines.end(), static_cast<size_t>(count), line.number);
        }
        if (run.entryLines.size() > imageListSize) return;
    }
}

void readIntoRunState(const ScriptRun& run) {
    std::fflush(stdout);
    const int console = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere >= 0) dup2(nowhere, STDOUT_FILENO);
    setScriptPath(run.path.c_str());
    readScript();
    std::fflush(stdout);
    if (console >= 0) dup2(console, STDOUT_FILENO);
    close(nowhere);
    close(console);
}

void clearRunState() {
    releaseRunState();
    std::fill(runState.sourceNames, runState.sourceNames + imageListSize, nullptr);
    std::fill(runState.resultNames, runState.resultNames + imageListSize, nullptr);
    runState.referenceName = runState.compositeName = nullptr;
    runState.imageCount = runState.noWaitAtEnd = 0;
    runState.referenceOriginX = runState.referenceOriginY = 0;
    runState.referenceOriginXGiven = runState.referenceOriginYGiven = 0;
}
