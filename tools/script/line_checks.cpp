#include "script/line_checks.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <limits>

#include "base/format_text.h"
#include "base/messages.h"
#include "script/script_tokens.h"

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

// What the program makes of a line that lacks arguments.
const char* explainMissing(CommandKind kind, size_t given) {
    switch (kind) {
        case CommandKind::source:
            return given == 0 ? tr("the source file and the result file are missing; nothing is added")
                              : tr("the result file is missing; nothing is added: Source: FILE RESULT");
        case CommandKind::sequence:
            return tr("arguments are missing; nothing is added: Sourcesbmp: NAME RESULT FIRST LAST");
        case CommandKind::reference:
            return tr("the file name is missing; a reference given before stays: Reference: FILE");
        case CommandKind::composite:
            return tr("the name of the sum is missing; none is made: Compositage: NAME");
        case CommandKind::translationFraction:
            return tr("the divisor is missing; it stays as it was (at first 6): OptiTranslation: 1");
        case CommandKind::translation:
            return tr("the largest shift is missing; it stays as it was (at first 0): Translation: 10");
        case CommandKind::angle:
            return given < 2 ? tr("the largest angle and the resolution are missing: Angle: -2 2 0.1")
                             : tr("without a resolution the angle is refined to one radian (57 degrees) only, which "
                                  "is worse than no search; give all three values: Angle: -2 2 0.1");
        case CommandKind::blocks:
            return given == 0   ? tr("nothing is bent without the four values: Bloc: 26 8 4 0.5")
                   : given == 1 ? tr("the size of the blocks is missing, so they are single pixels that do not move; "
                                     "give all four values: Bloc: 26 8 4 0.5")
                   : given == 2 ? tr("the largest shift of a block is missing, so none moves; give all four values: "
                                     "Bloc: 26 8 4 0.5")
                                : tr("the step is missing and stays as it was (at first 1, whole pixels); give all "
                                     "four values: Bloc: 26 8 4 0.5");
        default:
            return "";
    }
}

bool isBlankOrColon(char letter) {
    return letter == ' ' || letter == ':';
}

void checkUnknownWord(const ScriptLine& line, std::vector<Finding>& findings) {
    const std::string_view mark = findForeignComment(line.text);
    const std::string known = line.word.substr(0, line.word.find_first_of("=,;\t"));
    if (!mark.empty()) {
        addWarning(findings, line.number,
                   formatText(tr("the program knows no comments with %s and reports an unknown command; write Rem: in "
                                 "its place"),
                              std::string(mark).c_str()));
    } else if (findCommand(line.word) != nullptr) {
        const std::string text =
            formatText(tr("%s alone on its line is unknown to the program; write %s: with a colon"), line.word.c_str(),
                       line.word.c_str());
        findings.push_back({line.number,
                            findCommand(line.word)->kind == CommandKind::remark ? Severity::warning : Severity::error,
                            text});
    } else if (line.word.find('\t') != std::string::npos) {
        addError(findings, line.number,
                 tr("a tab makes the command word unknown to the program; put blanks in place of tabs"));
    } else if (findCommand(known) != nullptr && known != line.word) {
        addError(findings, line.number,
                 formatText(tr("%s is an unknown command; put a colon or a blank behind %s"), line.word.c_str(),
                            known.c_str()));
    } else if (const char* nearest = findNearestWord(line.word)) {
        addError(findings, line.number,
                 formatText(tr("%s is an unknown command and the line is skipped; did you mean %s?"), line.word.c_str(),
                            nearest));
    } else {
        addError(findings, line.number,
                 formatText(tr("%s is an unknown command and the line is skipped; a comment begins with Rem:"),
                            line.word.c_str()));
    }
}

// A number as the program reads it: what of it counts.
void checkNumber(const ScriptLine& line, const std::string& argument, bool isDecimal, std::vector<Finding>& findings) {
    const char* text = argument.c_str();
    char* end = nullptr;
    if (isDecimal)
        (void)std::strtod(text, &end);
    else
        (void)std::strtoll(text, &end, 10);
    if (end == text) {
        addError(findings, line.number,
                 formatText(tr("%s: \"%s\" is no number, the program takes it as 0"), line.word.c_str(), text));
        if (line.command->arguments[0] == 'f')
            findings.back().text += tr(" (file names can hold neither blanks nor commas)");
    } else if (*end != '\0' && !isDecimal && (*end == '.' || *end == 'e')) {
        addError(findings, line.number,
                 formatText(tr("%s: \"%s\" must be a whole number, the program takes it as %d"), line.word.c_str(),
                            text, parseInteger(text)));
    } else if (*end != '\0') {
        addError(findings, line.number,
                 formatText(tr("%s: \"%s\" has something behind the number, the program takes it as %g; leave it away"),
                            line.word.c_str(), text, static_cast<double>(parseDecimal(text))));
    } else if (isDecimal && !(std::abs(parseDecimal(text)) < 1e9f)) {
        addError(findings, line.number, formatText(tr("%s: \"%s\" is no usable number"), line.word.c_str(), text));
    }
}

void checkArguments(const ScriptLine& line, std::vector<Finding>& findings) {
    const CommandForm& command = *line.command;
    const std::vector<std::string>& arguments = line.arguments;
    if (arguments.size() < command.required) {
        addError(findings, line.number,
                 formatText("%s: %s", line.word.c_str(), explainMissing(command.kind, arguments.size())));
    }
    if (!arguments.empty() && command.arguments.starts_with('f') && isBlankOrColon(arguments[0][0])) {
        addError(findings, line.number,
                 formatText(tr("the second colon becomes the first argument; write %s: with the colon right behind the "
                               "word and none after it"),
                            line.word.c_str()));
    }
    const DecimalCommas commas = findDecimalCommas(command, findArguments(line));
    if (commas.any) {
        findings.push_back({line.number, commas.sure ? Severity::error : Severity::warning,
                            formatText(tr("%s: a comma separates arguments; write decimal numbers with a point:%s"),
                                       line.word.c_str(), commas.mended.empty() ? " 1.5" : commas.mended.c_str())});
        return;
    }
    for (size_t i = 0; i < std::min(arguments.size(), command.arguments.size()); ++i) {
        const char form = command.arguments[i];
        // Without end, the angles of whole degrees are taken as they are.
        if (command.kind == CommandKind::angle && i == 2 && parseDecimal(arguments[i].c_str()) == infinity) continue;
        if (form == 'i' || form == 'd') checkNumber(line, arguments[i], form == 'd', findings);
        if (form == 'f' && arguments[i].find('\t') != std::string::npos)
            addError(findings, line.number, tr("a tab becomes part of the file name; put a blank in its place"));
    }
    if (arguments.size() <= command.arguments.size() || command.kind == CommandKind::quit) return;
    const std::string& extra = arguments[command.arguments.size()];
    addWarning(findings, line.number,
               command.arguments[0] == 'f'
                   ? formatText(tr("%s takes no argument \"%s\", it is ignored; file names can hold neither blanks nor "
                                   "commas"),
                                line.word.c_str(), extra.c_str())
                   : formatText(tr("%s takes no argument \"%s\", it is ignored"), line.word.c_str(), extra.c_str()));
}

// Faults of the whole text, each told once.
void checkText(const std::vector<ScriptLine>& lines, std::vector<Finding>& findings) {
    const auto count = std::count_if(lines.begin(), lines.end(), [](const ScriptLine& line) { return line.hasReturn; });
    const auto first = std::find_if(lines.begin(), lines.end(), [](const ScriptLine& line) { return line.hasReturn; });
    if (first != lines.end()) {
        addError(findings, first->number,
                 formatText(tr("%d lines end with a carriage return (CRLF), which becomes part of file names; --fix "
                               "removes them"),
                            static_cast<int>(count)));
    }
    const auto nul = std::find_if(lines.begin(), lines.end(), [](const ScriptLine& line) { return line.hasNul; });
    if (nul != lines.end()) {
        addError(findings, nul->number,
                 tr("a NUL byte, at which the program ends the line; save the script as plain text in UTF-8 (not "
                    "UTF-16)"));
    }
    if (!lines.empty() && lines[0].hasMark) {
        addError(findings, 1,
                 tr("a byte-order mark stands in front of the first word, which is then unknown; save the script as "
                    "UTF-8 without it, or use --fix"));
    }
    int lastLong = 0;
    for (const ScriptLine& line : lines) {
        if (!line.isContinued || line.text.empty() || line.number == lastLong) continue;
        lastLong = line.number;
        addError(findings, line.number,
                 tr("longer than 999 characters: the program takes what follows as a line of its own; shorten it"));
    }
}

}  // namespace

void checkLines(const std::vector<ScriptLine>& lines, std::vector<Finding>& findings) {
    checkText(lines, findings);
    for (const ScriptLine& line : lines) {
        if (line.word.empty() || line.hasNul || line.isContinued) continue;
        if (line.command == nullptr)
            checkUnknownWord(line, findings);
        else if (line.command->kind != CommandKind::remark)
            checkArguments(line, findings);
    }
}
