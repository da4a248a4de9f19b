#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

// What differs between operating systems, all of it.

/// Sets up this process so that nothing but its own work ends it: a reader of the console that went away and a file
/// that may grow no further become failed writes, and a standard stream that is closed gives its number to no picture.
/// What is printed has the same bytes on every system.
void preparePlatform();

/// Moves to that byte of the file; false for a pipe.
bool seekTo(std::FILE* file, int64_t position);

/// The length in bytes, -1 for a pipe. Moves to the end.
[[nodiscard]] int64_t measureFile(std::FILE* file);

/// Asks for large pages behind the memory, for the processor to look fewer addresses up. May do nothing.
void preferLargePages(void* memory, size_t bytes);

/// Ends this process at once, as a fault would: by an abort, on Windows with status 3. What is buffered is lost.
[[noreturn]] void endAbnormally();
