#include "script/command_words.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <vector>

namespace {

constexpr std::array commandForms = {
    CommandForm{CommandKind::source, "Source", "ffii", 2},
    CommandForm{CommandKind::sequence, "Sourcesbmp", "ffii", 4},
    CommandForm{CommandKind::reference, "Reference", "fii", 1},
    CommandForm{CommandKind::composite, "Compositage", "f", 1},
    CommandForm{CommandKind::outputSize, "Dimension", "w", 0},
    CommandForm{CommandKind::translationFraction, "OptiTranslation", "i", 1},
    CommandForm{CommandKind::angle, "Angle", "ddd", 3},
    CommandForm{CommandKind::translation, "Translation", "ii", 1},
    CommandForm{CommandKind::blocks, "Bloc", "iiid", 4},
    CommandForm{CommandKind::remark, "Rem", "", 0},
    CommandForm{CommandKind::quit, "Quitter", "", 0},
};

std::string lower(std::string text) {
    for (char& letter : text) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return text;
}

// Letters to change, add, leave out or swap with their neighbour.
size_t countEdits(const std::string& a, const std::string& b) {
    std::vector<std::vector<size_t>> edits(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                edits[i][j] = i + j;
                continue;
            }
            const size_t changed = edits[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            edits[i][j] = std::min({changed, edits[i - 1][j] + 1, edits[i][j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                edits[i][j] = std::min(edits[i][j], edits[i - 2][j - 2] + 1);
        }
    }
    return edits[a.size()][b.size()];
}

bool isNumber(const std::string& text, char point) {
    size_t at = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
    size_t digits = 0, points = 0;
    for (; at < text.size(); ++at) {
        if (std::isdigit(static_cast<unsigned char>(text[at])) != 0)
            ++digits;
        else if (text[at] == point && points == 0 && digits > 0)
            ++points;
        else
            return false;
    }
    return digits > 0 && std::isdigit(static_cast<unsigned char>(text.back())) != 0;
}

}  // namespace

const CommandForm* findCommand(const std::string& word) {
    for (const CommandForm& form : commandForms) {
        const bool matches =
            word == form.word || word == lower(form.word) ||
            (form.kind == CommandKind::translationFraction && (word == "Optitranslation" || word == "optiTranslation"));
        if (matches) return &form;
    }
    return nullptr;
}

const char* findNearestWord(const std::string& word) {
    constexpr size_t longest = 40;  // letters; what is longer is no misspelled word
    if (word.size() > longest) return nullptr;
    const char* nearest = nullptr;
    size_t fewest = 3;
    for (const CommandForm& form : commandForms) {
        const size_t edits = countEdits(lower(word), lower(form.word));
        // Two wrong letters make nearly any word of four another one.
        const size_t allowed = std::string_view(form.word).size() < 6 ? 1 : 2;
        if (edits > allowed || edits > fewest) continue;
        nearest = edits == fewest ? nullptr : form.word;
        fewest = edits;
    }
    return nearest;
}

std::string_view findForeignComment(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    for (const std::string_view mark : {"//", "/*", "--", "#", ";", "%", "'", "!"})
        if (line.starts_with(mark)) return mark;
    return {};
}

DecimalCommas findDecimalCommas(const CommandForm& command, const std::string& arguments) {
    if (command.arguments.find('d') == std::string_view::npos) return {};
    std::istringstream pieces(arguments);
    std::string mended, piece;
    size_t count = 0, commas = 0;
    bool plain = true;  // nothing but numbers, and a comma with digits on both sides only in decimal arguments
    while (pieces >> piece) {
        const bool last = count >= command.arguments.size();
        const bool decimalComma = piece.find(',') != std::string::npos && isNumber(piece, ',');
        if (decimalComma) {
            ++commas;
            plain = plain && !last && command.arguments[count] == 'd';
            piece[piece.find(',')] = '.';
        } else {
            plain = plain && isNumber(piece, '.');
        }
        mended += " " + piece;
        ++count;
    }
    // A lone pair, or pairs as often as the command has arguments and no blank: commas may be meant to separate.
    if (commas == 0 || (count < 2 && commas < 2)) return {};
    const bool sure = plain && count + commas > command.arguments.size() && count <= command.arguments.size();
    return {.any = true, .sure = sure, .mended = plain ? mended : ""};
}
