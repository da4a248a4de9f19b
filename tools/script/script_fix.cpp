#include "script/script_fix.h"

#include <algorithm>

#include "base/format_text.h"
#include "base/messages.h"
#include "script/picture_checks.h"
#include "script/picture_header.h"
#include "script/script_tokens.h"
#include "state/run_state.h"

namespace {

using Change = MendedScript::Change;

std::string replaceAll(std::string text, const std::string& what, const std::string& by) {
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
    return text;
}

std::string mendLineEnds(std::string bytes, std::vector<Change>& changes) {
    if (bytes.starts_with("\xEF\xBB\xBF")) {
        bytes.erase(0, 3);
        changes.push_back({1, tr("the byte-order mark removed")});
    }
    if (bytes.find('\r') == std::string::npos) return bytes;
    changes.push_back({1, tr("the carriage returns at the line ends removed")});
    return replaceAll(replaceAll(bytes, "\r\n", "\n"), "\r", "\n");
}

// The command word: its spelling and the colon behind it. The line begins with it.
void mendWord(std::string& text, int number, std::vector<Change>& changes) {
    const std::string word = text.substr(0, text.find_first_of(" :"));
    const std::string known = word.substr(0, word.find_first_of("=,;"));
    const char* nearest = findCommand(known) == nullptr ? findNearestWord(known) : known.c_str();
    if (nearest == nullptr) return;
    if (nearest != known) {
        changes.push_back({number, formatText(tr("%s changed to %s"), known.c_str(), nearest)});
        text.replace(0, known.size(), nearest);
    }
    const size_t end = std::string(nearest).size(), next = text.find_first_not_of(' ', end);
    const bool isMisplaced = next != std::string::npos && next > end && text[next] == ':';
    if (end == text.size() || known != word || isMisplaced) {
        const size_t replaced = isMisplaced ? next + 1 - end : known != word ? 1 : 0;
        text.erase(end, replaced);
        text.insert(end, 1, ':');
        changes.push_back({number, formatText(tr("a colon put right behind %s"), nearest)});
    }
}

// The Source lines that stand for a sequence of pictures with leading zeros; empty when the sequence is another case
// or one of its pictures is not there.
std::string writeSources(const ScriptRun& run, const ScriptLine& line) {
    if (line.command == nullptr || line.command->kind != CommandKind::sequence || line.arguments.size() < 4) return {};
    const int64_t first = parseInteger(line.arguments[2].c_str()), last = parseInteger(line.arguments[3].c_str());
    if (first < 0 || last - first >= imageListSize) return {};
    const auto isThere = [&run](const std::string& name) {
        return readPictureHeader(placeFile(run, name)).state != PictureState::missing;
    };
    if (isThere(line.arguments[0] + std::to_string(first) + ".bmp")) return {};
    std::string sources;
    for (int64_t number = first; number <= last; ++number) {
        const std::string ending = std::to_string(number) + ".bmp";
        const std::string plain = line.arguments[0] + ending;
        const std::string padded = isThere(plain) ? plain : findPaddedName(run, plain);
        if (padded.empty()) return {};
        if (!sources.empty()) sources += '\n';
        sources += formatText("Source: %s %s%s", padded.c_str(), line.arguments[1].c_str(), ending.c_str());
    }
    return sources;
}

std::string mendLine(const ScriptRun& run, std::string text, int number, std::vector<Change>& changes) {
    const std::string before = text;
    const std::string_view mark = findForeignComment(text);
    if (!mark.empty()) {
        const size_t at = text.find(mark);
        text = "Rem: " + text.substr(std::min(text.find_first_not_of(" \t", at + mark.size()), text.size()));
        changes.push_back({number, formatText(tr("the comment after %s made one of Rem:"), std::string(mark).c_str())});
        return text;
    }
    const size_t begin = text.find_first_not_of(" \t:");
    if (begin == std::string::npos) return text;
    text.erase(0, begin);
    if (before.find('\t') != std::string::npos && !text.starts_with("Rem") && !text.starts_with("rem")) {
        std::replace(text.begin(), text.end(), '\t', ' ');
        changes.push_back({number, tr("tabs made blanks")});
    }
    mendWord(text, number, changes);
    const std::vector<ScriptLine> lines = cutScript(text + "\n");
    if (lines.size() != 1 || lines[0].command == nullptr) return text;
    const DecimalCommas commas = findDecimalCommas(*lines[0].command, findArguments(lines[0]));
    if (commas.sure) {
        text = lines[0].word + ":" + commas.mended;
        changes.push_back({number, formatText(tr("decimal commas made points: %s"), text.c_str())});
    }
    if (const std::string sources = writeSources(run, lines[0]); !sources.empty()) {
        text = sources;
        changes.push_back({number, tr("the sequence written as Source lines, as its names have leading zeros")});
    }
    return text;
}

}  // namespace

MendedScript mendScript(const ScriptRun& run, const std::string& bytes) {
    MendedScript mended;
    const std::string text = mendLineEnds(bytes, mended.changes);
    int number = 1;
    for (size_t at = 0; at < text.size(); ++number) {
        const size_t feed = text.find('\n', at);
        const size_t end = feed == std::string::npos ? text.size() : feed;
        const std::string line = text.substr(at, end - at);
        const bool canMend = line.find('\0') == std::string::npos;
        mended.bytes += (canMend ? mendLine(run, line, number, mended.changes) : line) + "\n";
        at = end + 1;
    }
    return mended;
}
