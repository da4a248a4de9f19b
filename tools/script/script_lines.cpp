#include "script/script_lines.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "imageio/input_file.h"
#include "script/script_tokens.h"

namespace {

constexpr size_t longestPiece = 999;  // characters that the program reads at a time
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

// The program's own tokens, of a copy, since they cut the line up in place. A carriage return at the end is spared:
// it is reported once for the whole script, and all else is judged as if it were not there.
void takeTokens(ScriptLine& line, bool hasFeed) {
    std::string copy = line.text + (hasFeed ? "\n" : "");
    const char* word = takeCommandWord(copy.data());
    if (word == nullptr || std::string(word) == "\n") return;
    line.word = word;
    line.wordIsLast = line.word.back() == '\n';
    if (line.wordIsLast) line.word.pop_back();
    while (const char* argument = takeArgument()) line.arguments.emplace_back(argument);
    line.command = line.wordIsLast ? nullptr : findCommand(line.word);
}

}  // namespace

std::vector<ScriptLine> cutScript(const std::string& bytes) {
    std::vector<ScriptLine> lines;
    int number = 1;
    bool continues = false;
    for (size_t at = 0; at < bytes.size();) {
        const size_t feed = bytes.find('\n', at);
        const size_t end = std::min({feed == std::string::npos ? bytes.size() : feed + 1, at + longestPiece});
        ScriptLine line;
        line.number = number;
        line.text = bytes.substr(at, end - at);
        line.isContinued = continues;
        const bool hasFeed = line.text.back() == '\n';
        if (hasFeed) line.text.pop_back();
        if (at == 0 && line.text.starts_with(byteOrderMark)) {
            line.hasMark = true;
            line.text.erase(0, byteOrderMark.size());
        }
        line.hasReturn = line.text.find('\r') != std::string::npos;
        if (line.text.ends_with('\r')) line.text.pop_back();
        if (const size_t nul = line.text.find('\0'); nul != std::string::npos) {
            line.hasNul = true;
            line.text.resize(nul);
        }
        takeTokens(line, hasFeed && !line.hasNul);
        lines.push_back(line);
        continues = !hasFeed;
        number += hasFeed ? 1 : 0;
        at = end;
    }
    return lines;
}

std::string findArguments(const ScriptLine& line) {
    const size_t word = line.text.find(line.word);
    const size_t behind = word == std::string::npos ? line.text.size() : word + line.word.size() + 1;
    return behind < line.text.size() ? line.text.substr(behind) : "";
}

bool readWholeFile(const std::string& path, std::string& bytes) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) return false;  // it is read twice, which a pipe cannot be
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(openInputFile(path.c_str()), std::fclose);
    if (file == nullptr) return false;
    std::array<char, 1 << 16> buffer{};
    for (size_t got = 1; got > 0;) {
        got = std::fread(buffer.data(), 1, buffer.size(), file.get());
        bytes.append(buffer.data(), got);
    }
    return std::ferror(file.get()) == 0;
}
