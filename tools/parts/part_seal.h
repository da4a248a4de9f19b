#pragma once

#include <string>

/// Appends to a FITS file an extension that holds the digest of all bytes before it, and has the file on the disk.
/// Returns whether that worked.
[[nodiscard]] bool sealFile(const std::string& path);

/// Whether the file ends with that extension and every byte before it is as it was.
[[nodiscard]] bool isSealed(const std::string& path);
