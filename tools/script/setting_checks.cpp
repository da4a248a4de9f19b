#include "script/setting_checks.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "align/blocks/block_grid.h"
#include "align/blocks/row/search_plan.h"
#include "base/format_text.h"
#include "base/messages.h"
#include "script/script_tokens.h"
#include "state/run_state.h"

namespace {

// The arguments of the line that counts; empty when the command does not stand in the script.
std::vector<std::string> findArgumentsOf(const ScriptRun& run, CommandKind kind) {
    for (auto line = run.lines.rbegin(); line != run.lines.rend(); ++line)
        if (line->command != nullptr && line->command->kind == kind) return line->arguments;
    return {};
}

void checkAngle(int line, const std::vector<std::string>& arguments, std::vector<Finding>& findings) {
    if (arguments.size() >= 3 && parseDecimal(arguments[2].c_str()) < 0.0f) {
        addError(findings, line,
                 tr("a negative angle resolution is replaced by one radian (57 degrees); write 0.1 for example"));
    }
    if (runState.angleResolution == 0.0f)
        addError(findings, line, tr("with an angle resolution of 0 the run ends at the first picture; write 0.1"));
    const double smallest = runState.angleMin / radiansPerDegree, largest = runState.angleMax / radiansPerDegree;
    if (smallest > largest) {
        addError(findings, line,
                 formatText(tr("the angle range is reversed, so nothing is searched; write %g %g"), largest, smallest));
        return;
    }
    if (runState.angleMin == runState.angleMax) {
        if (!arguments.empty())
            addWarning(findings, line, tr("both ends of the angle range are the same, no angle is searched"));
        return;
    }
    const float resolution = arguments.size() >= 3 ? parseDecimal(arguments[2].c_str()) : 0.0f;
    if (resolution > 1.0f && !std::isinf(resolution))
        addWarning(findings, line, tr("an angle resolution above one degree is coarser than the degrees tried before"));
    // The program adds whole degrees in single precision.
    const double degrees = largest - smallest;
    if (!(std::abs(degrees - std::round(degrees)) < 1e-4 && degrees < 1000)) return;
    float angle = runState.angleMin;
    for (int i = 0; i < static_cast<int>(std::lround(degrees)); ++i)
        angle = static_cast<float>(static_cast<double>(angle) + radiansPerDegree);
    if (angle > runState.angleMax) {
        addWarning(findings, line,
                   formatText(tr("the last degree, %g, is not tried because of rounding; write %g to have it"), largest,
                              largest + 0.5));
    }
}

void checkTranslation(int line, const std::vector<std::string>& arguments, const PictureHeader& picture,
                      std::vector<Finding>& findings) {
    const int64_t maximum = runState.shiftMaxX, step = runState.shiftStep;
    const bool searchesAngles = runState.angleMin != runState.angleMax;
    if (maximum < 0)
        addError(findings, line, tr("a negative largest shift leaves nothing to search; write it without the sign"));
    if (arguments.size() >= 2 && parseInteger(arguments[1].c_str()) <= 0)
        addWarning(findings, line, tr("a step that is not above 0 is replaced by 1"));
    // Without angles steps are counted from 10 pixels before what the first stage has found.
    const int64_t lowest = searchesAngles ? maximum : 10;
    if (step > 1 && maximum >= 0 && lowest % step != 0)
        addWarning(findings, line,
                   formatText(tr("with a step of %d a shift of 0 is never tried; a step of 1 is best"),
                              static_cast<int>(step)));
    if (picture.height > 0 && 2 * maximum > std::min(picture.width, picture.height)) {
        addWarning(
            findings, line,
            formatText(tr("shifts up to %d reach beyond half of the picture (%d x %d): dark corners laid on each "
                          "other win; give origins, and a smaller value"),
                       static_cast<int>(maximum), picture.width, picture.height));
    }
}

void checkWindow(int line, const std::vector<std::string>& arguments, const PictureHeader& picture,
                 std::vector<Finding>& findings) {
    constexpr int smallest = 8;  // pixels; less tells nothing apart
    const bool searchesAngles = runState.angleMin != runState.angleMax;
    if (!arguments.empty() && parseInteger(arguments[0].c_str()) < 1)
        addWarning(findings, line, tr("a divisor below 1 is replaced by 1"));
    if (picture.height == 0) return;
    const int divisor = searchesAngles ? 4 : runState.translationFraction;
    const int width = picture.width / divisor, height = picture.height / divisor;
    if (width < smallest || height < smallest) {
        findings.push_back(
            {line, width == 0 || height == 0 ? Severity::error : Severity::warning,
             formatText(tr("1/%d of the picture is a window of %d x %d pixels only, too small to compare; "
                           "write OptiTranslation: 1"),
                        divisor, width, height)});
    }
}

void checkBlocks(const ScriptRun& run, int line, const std::vector<std::string>& arguments,
                 std::vector<Finding>& findings) {
    if (arguments.size() >= 4 && !(parseDecimal(arguments[3].c_str()) > 0.0f))
        addWarning(findings, line, tr("a step of blocks that is not above 0 is replaced by 1"));
    if (runState.blockGridWidth <= 0) {
        if (!arguments.empty()) addWarning(findings, line, tr("a grid that is not above 0 means that nothing is bent"));
        return;
    }
    if (runState.blockSearchWidth < 0 || runState.blockShiftMaxX < 0)
        addError(findings, line, tr("block and largest shift must not be negative"));
    if (!isFastStep(static_cast<double>(runState.blockShiftStep))) {
        addWarning(findings, line,
                   formatText(tr("a step of %g takes several times longer than 0.5, 0.25, 0.125, 0.1 or 0.05"),
                              static_cast<double>(runState.blockShiftStep)));
    }
    if (run.reference.height > 0) {
        const BlockSearch search = {.halfSize = runState.blockSearchWidth,
                                    .shiftMinX = runState.blockShiftMinX,
                                    .shiftMaxX = runState.blockShiftMaxX,
                                    .shiftMinY = runState.blockShiftMinY,
                                    .shiftMaxY = runState.blockShiftMaxY,
                                    .shiftStep = runState.blockShiftStep};
        const Image picture = {.pixels = nullptr, .width = run.reference.width, .height = run.reference.height};
        const BlockLayout layout = layOutBlocks(search, runState.blockGridWidth, picture);
        if (layout.columns <= 0 || layout.rows <= 0) {
            addError(findings, line,
                     formatText(tr("no block fits into the picture of %d x %d, so nothing is bent; make them smaller"),
                                picture.width, picture.height));
        } else if (layout.columns == 1 || layout.rows == 1) {
            addWarning(findings, line,
                       formatText(tr("only %d x %d blocks fit into the picture; make the grid finer"),
                                  static_cast<int>(layout.columns), static_cast<int>(layout.rows)));
        }
    }
    if (runState.referenceName == nullptr) return;
    const auto normalise = [](const char* name) { return std::filesystem::path(cleanName(name)).lexically_normal(); };
    const std::filesystem::path reference = normalise(runState.referenceName);
    for (int entry = 1; entry <= runState.imageCount; ++entry) {
        if (normalise(runState.sourceNames[entry]) != reference) continue;
        addWarning(
            findings, line,
            formatText(tr("pictures are bent onto a single frame, %s, which wavers itself: sum once without Bloc, "
                          "then bend onto that sum (`stack` does)"),
                       cleanName(runState.referenceName).c_str()));
        return;
    }
}

void checkRepetitions(const ScriptRun& run, std::vector<Finding>& findings) {
    std::map<CommandKind, int> before;
    for (const ScriptLine& line : run.lines) {
        if (line.command == nullptr || line.arguments.empty()) continue;
        const CommandKind kind = line.command->kind;
        if (kind == CommandKind::source || kind == CommandKind::sequence || kind == CommandKind::remark) continue;
        const auto [earlier, isFirst] = before.try_emplace(kind, line.number);
        if (isFirst) continue;
        addWarning(findings, line.number,
                   formatText(tr("%s stands in line %d already; what this line says counts"), line.word.c_str(),
                              earlier->second));
        earlier->second = line.number;
    }
}

}  // namespace

bool isFastStep(double step) {
    for (int n = 1; n <= largestFractionsPerPixel; ++n)
        if (std::abs(step * n - std::round(step * n)) < 1e-5) return true;
    return false;
}

void checkSettings(const ScriptRun& run, std::vector<Finding>& findings) {
    const auto lineAndArguments = [&run](CommandKind kind) {
        return std::pair(findLastLine(run, kind), findArgumentsOf(run, kind));
    };
    const auto [angleLine, angles] = lineAndArguments(CommandKind::angle);
    checkAngle(angleLine, angles, findings);
    const auto [translationLine, shifts] = lineAndArguments(CommandKind::translation);
    checkTranslation(translationLine, shifts, run.reference, findings);
    const auto [windowLine, divisor] = lineAndArguments(CommandKind::translationFraction);
    checkWindow(windowLine, divisor, run.reference, findings);
    const auto [blockLine, blocks] = lineAndArguments(CommandKind::blocks);
    checkBlocks(run, blockLine, blocks, findings);
    checkRepetitions(run, findings);
    if (runState.imageCount == 0) addError(findings, 0, tr("no picture is listed: Source: FILE RESULT"));
}
