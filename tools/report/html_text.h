#pragma once

#include <string>

/// A text as it stands in HTML, between tags or within quotation marks. Bytes that are no UTF-8, in file names say,
/// become question marks.
[[nodiscard]] std::string escapeHtml(const std::string& text);

/// Bytes in base 64.
[[nodiscard]] std::string encodeBase64(const std::string& bytes);
