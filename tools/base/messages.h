#pragma once

// What the tools say: English in the source, translated by gettext to the language of the user's locale, in UTF-8.

/// Chooses the user's language. Once, before the first message.
void chooseLanguage();

/// The text in the user's language; the text itself where there is no translation. Nobody releases it.
[[nodiscard]] [[gnu::format_arg(1)]] const char* tr(const char* text);

/// A line of progress or a notice, by printf's rules, on standard error.
[[gnu::format(printf, 1, 2)]] void printNotice(const char* pattern, ...);

/// The same, with "error: " before it.
[[gnu::format(printf, 1, 2)]] void printError(const char* pattern, ...);
