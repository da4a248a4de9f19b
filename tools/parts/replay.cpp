#include "parts/replay.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/messages.h"
#include "composite/composite.h"
#include "core/fatal_error.h"
#include "core/processor_time.h"
#include "parts/run_process.h"
#include "parts/run_report.h"
#include "run/shift_list.h"
#include "run/steps.h"
#include "script/script_reader.h"
#include "state/run_state.h"

namespace {

// The exact sums are as many bytes again as all else that is written at the end: a process of their own writes them.
pid_t startSumsWriter(const RunIdentity& identity, const std::vector<ImageRecord>& records) {
    std::fflush(nullptr);  // what is still buffered must not be written twice
    const int parent = getpid();
    const pid_t process = fork();
    if (process < 0) stopForMemory();
    if (process > 0) return process;
    endWithParent(parent);
    const auto summed = std::count_if(records.begin(), records.end(), [](const auto& r) { return r.facts.opened; });
    const std::string problem =
        writeSums(compositeBaseName() + ".sums.fit", identity, static_cast<int32_t>(summed), runState.compositeSum);
    if (!problem.empty()) printError("%s", problem.c_str());
    _exit(problem.empty() ? 0 : 2);
}

}  // namespace

uint32_t openRun(const std::string& script) {
    setScriptPath(script.c_str());
    runState.noWaitAtEnd = 1;
    printBanner();
    const uint32_t start = readProcessorSeconds();
    readScript();
    loadReference();
    return start;
}

void replayImages(const std::vector<ImageRecord>& records) {
    for (const ImageRecord& record : records) {
        std::fwrite(record.console.data(), 1, record.console.size(), stdout);
        std::fwrite(record.shiftLine.data(), 1, record.shiftLine.size(), runState.shiftList);
    }
}

void closeRun(uint32_t start, const RunIdentity& identity, const std::vector<ImageRecord>& records, std::FILE* report) {
    runState.outputFailed = 0;  // from here on, of what is written last
    closeShiftList();
    if (runState.compositeName != nullptr) {
        const pid_t writer = startSumsWriter(identity, records);
        writeComposite();
        int state = 0;
        while (waitpid(writer, &state, 0) < 0 && errno == EINTR) {
        }
        if (state != 0) runState.outputFailed = 1;
    }
    printEnd(start);
    if (runState.outputFailed != 0) reportLine(report, reportCompositeFailed, "");
    reportImages(records, report);
}

void reportImages(const std::vector<ImageRecord>& records, std::FILE* report) {
    reportLine(report, reportImageCount, std::to_string(runState.imageCount).c_str());
    reportLine(report, reportFinishedCount, std::to_string(records.size()).c_str());
    for (const ImageRecord& record : records) {
        const ImageFacts& facts = record.facts;
        const char* name = runState.sourceNames[facts.entry];
        if (!facts.opened) reportLine(report, reportNotOpened, name);
        if (facts.opened && !facts.written) reportLine(report, reportNotWritten, name);
        if (facts.onLimit) reportLine(report, reportOnLimit, name);
    }
    reportLine(report, reportEnd, "");
}
