#include "script/script_check.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>

#include "base/format_text.h"
#include "base/messages.h"
#include "base/part_file.h"
#include "script/line_checks.h"
#include "script/picture_checks.h"
#include "script/result_checks.h"
#include "script/script_fix.h"
#include "script/setting_checks.h"
#include "state/run_state.h"

namespace {

// All that needs the program's own reader; false when the reader would end the run.
bool reviewRun(ScriptRun& run, ScriptReview& review) {
    if (run.path.size() >= sizeof runState.scriptPath) {
        addError(review.findings, 0, tr("the path of the script is longer than 511 characters; move it"));
        return false;
    }
    listEntries(run);
    if (run.entryLines.size() > imageListSize) {
        addError(review.findings, run.entryLines[imageListSize],
                 tr("more than 29999 pictures, at which the run ends; split the script (`part` runs slices)"));
        return false;
    }
    readIntoRunState(run);
    checkPictures(run, review.findings);
    checkResults(run, review.findings);
    checkSettings(run, review.findings);
    review.picture = run.reference;
    if (run.reference.height == 0) return true;
    review.needs = estimateNeeds(run);
    if (review.needs->freeDisk >= 0 && review.needs->disk > review.needs->freeDisk)
        addError(review.findings, 0, tr("the disk has not enough room for the results; make some, or write elsewhere"));
    return true;
}

bool writeMendedCopy(const CheckOptions& options) {
    std::string bytes;
    if (!readWholeFile(options.script, bytes)) {
        printError(tr("%s cannot be read"), options.script.c_str());
        return false;
    }
    std::error_code error;
    if (std::filesystem::exists(std::filesystem::symlink_status(options.fixedCopy, error))) {
        printError(tr("%s exists already; give the copy another name"), options.fixedCopy.c_str());
        return false;
    }
    ScriptRun run;
    run.path = options.script;
    const MendedScript mended = mendScript(run, bytes);
    if (!writeWholeFile(options.fixedCopy, mended.bytes)) {
        printError(tr("%s cannot be written"), options.fixedCopy.c_str());
        return false;
    }
    for (const MendedScript::Change& change : mended.changes)
        std::printf(tr("%s:%d: mended: %s\n"), options.script.c_str(), change.line, change.text.c_str());
    return true;
}

}  // namespace

bool hasError(const std::vector<Finding>& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.severity == Severity::error; });
}

ScriptReview reviewScript(const std::string& script, const std::string& folder) {
    ScriptReview review;
    ScriptRun run;
    run.path = script;
    run.folder = folder;
    std::string bytes;
    if (!readWholeFile(script, bytes)) return review;
    review.isReadable = true;
    run.lines = cutScript(bytes);
    checkLines(run.lines, review.findings);
    if (reviewRun(run, review)) clearRunState();
    // What a script holds goes to the terminal: nothing in it may steer that, or end a line.
    for (Finding& finding : review.findings)
        std::replace_if(
            finding.text.begin(), finding.text.end(),
            [](char letter) { return std::iscntrl(static_cast<unsigned char>(letter)) != 0; }, '?');
    std::stable_sort(review.findings.begin(), review.findings.end(),
                     [](const Finding& a, const Finding& b) { return a.line < b.line; });
    return review;
}

int checkScript(const CheckOptions& options) {
    if (!options.fixedCopy.empty() && !writeMendedCopy(options)) return 2;
    const std::string& script = options.fixedCopy.empty() ? options.script : options.fixedCopy;
    const ScriptReview review = reviewScript(script, "");
    if (!review.isReadable) {
        printError(tr("%s cannot be read"), script.c_str());
        return 2;
    }
    for (const Finding& finding : review.findings) {
        const char* kind = finding.severity == Severity::error ? tr("error") : tr("warning");
        // An editor wants a line: what concerns none is shown at the first.
        std::printf("%s:%d: %s: %s\n", script.c_str(), std::max(finding.line, 1), kind, finding.text.c_str());
    }
    if (review.needs) std::printf("%s\n", describeNeeds(*review.needs, review.picture).c_str());
    return hasError(review.findings) ? 1 : 0;
}
