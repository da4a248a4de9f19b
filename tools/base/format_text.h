#pragma once

#include <string>

/// A text by printf's rules.
[[nodiscard]] [[gnu::format(printf, 1, 2)]] std::string formatText(const char* pattern, ...);
