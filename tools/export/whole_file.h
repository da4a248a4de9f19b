#pragma once

#include <cstdint>
#include <span>
#include <string>

/// Writes the bytes to PATH.part and then renames it to PATH, so that a file is whole or not there; what lies at PATH
/// is replaced. A full disk or an interruption (Ctrl-C) leaves no PATH.part. Returns false and says why in problem.
[[nodiscard]] bool writeWholeFile(const std::string& path, std::span<const uint8_t> bytes, std::string& problem);
