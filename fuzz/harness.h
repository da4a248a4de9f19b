#pragma once

#include <cstdint>
#include <span>

/// The body under test, one a program: works on one input, in the working directory.
void runInput(std::span<const uint8_t> input);

/// Puts the bytes into the file of that name, replacing it.
void writeInput(const char* path, std::span<const uint8_t> bytes);

/// The run state as a program starts with it; what it still owned is lost.
void resetRunState();
