#pragma once

#include <string>

/// The program's console in UTF-8: its own accented letters, which it writes in Mac OS Roman, are converted; the user's
/// file names, whose bytes stand among them, stay as they are.
[[nodiscard]] std::string convertConsole(const std::string& console);
