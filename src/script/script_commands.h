#pragma once

#include <cstdint>

/// Carries out the command of that word, its arguments being those of the line begun last (takeCommandWord): sets the
/// run state and echoes every value that it accepts. Returns false when no command has that word.
[[nodiscard]] bool carryOutCommand(const char* word, int32_t lineNumber);
