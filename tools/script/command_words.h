#pragma once

#include <array>
#include <string>
#include <string_view>

enum class CommandKind {
    source,
    sequence,
    reference,
    composite,
    outputSize,
    translationFraction,
    angle,
    translation,
    blocks,
    remark,
    quit
};

/// A command as the program knows it. Its arguments, a letter each: f file name, i whole number, d decimal, w word.
struct CommandForm {
    CommandKind kind;
    const char* word;  // as it is usually spelled
    std::string_view arguments;
    size_t required;  // arguments without which it does not do what it is for
};

/// The command of exactly that word; null when the program knows none.
[[nodiscard]] const CommandForm* findCommand(const std::string& word);

/// The usual spelling of the command that a word was probably meant for: other capitals, or up to two letters wrong,
/// missing, too many or swapped, of a single command. Null when none or several are as near.
[[nodiscard]] const char* findNearestWord(const std::string& word);

/// The comment mark of another language that a line begins with (blanks and tabs before it count for nothing); empty
/// when it begins with none.
[[nodiscard]] std::string_view findForeignComment(std::string_view line);

/// Whether an argument reads "1,5", and how the line's arguments look when only blanks separate them.
struct DecimalCommas {
    bool any = false;  // a decimal comma, beyond doubt or likely
    bool sure = false;
    std::string mended;  // the arguments with points; empty when that is a guess
};

/// Looks for decimal commas in the arguments (all behind the command word) of a command that takes that many.
[[nodiscard]] DecimalCommas findDecimalCommas(const CommandForm& command, const std::string& arguments);
