#pragma once

#include <cstdint>

/// Begins a line: its first token, delimited by spaces and colons; null when the line holds nothing else. The line is
/// cut up in place, and the tokens point into it. Tabs, carriage returns and the line end are ordinary characters here.
[[nodiscard]] char* takeCommandWord(char* line);

/// The next argument of the line begun last, delimited by commas, spaces and line ends; null when none is left.
[[nodiscard]] char* takeArgument();

/// The leading decimal integer of a text, 0 without digits; limited to plus or minus 2147483647.
[[nodiscard]] int32_t parseInteger(const char* text);

/// The leading decimal number of a text, 0 without digits, rounded to single precision.
[[nodiscard]] float parseDecimal(const char* text);
