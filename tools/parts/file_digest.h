#pragma once

#include <string>

/// A digest of the file's first byteCount bytes, of all of them when it is below 0, in hexadecimal; empty when they
/// cannot be read. It tells files apart that differ by accident or by an edit; it is no protection against forgery.
[[nodiscard]] std::string digestFile(const std::string& path, long byteCount = -1);
