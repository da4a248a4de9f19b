#include "report/html_text.h"

#include <cstdint>

namespace {

// The length of the UTF-8 character at a place; 0: there is none. Overlong forms and surrogates are none.
size_t measureCharacter(const std::string& text, size_t at) {
    const auto byte = [&](size_t i) { return i < text.size() ? static_cast<uint8_t>(text[i]) : 0; };
    const int first = byte(at);
    if (first < 0x80) return 1;
    const size_t length = first >= 0xC2 && first < 0xE0 ? 2 : first >= 0xE0 && first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
    if (first < 0xC2 || length == 0) return 0;
    for (size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) return 0;
    }
    const int second = byte(at + 1);
    const bool wrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second >= 0xA0) ||
                       (first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90);
    return wrong ? 0 : length;
}

}  // namespace

std::string escapeHtml(const std::string& text) {
    std::string escaped;
    for (size_t at = 0; at < text.size();) {
        const size_t length = measureCharacter(text, at);
        const char c = text[at];
        if (c == '&') {
            escaped += "&amp;";
        } else if (c == '<') {
            escaped += "&lt;";
        } else if (c == '>') {
            escaped += "&gt;";
        } else if (c == '"') {
            escaped += "&quot;";
        } else if (c == '\'') {
            escaped += "&#39;";
        } else if (length == 0 || (length == 1 && static_cast<uint8_t>(c) < 32 && c != '\n' && c != '\t')) {
            escaped += '?';
        } else {
            escaped += text.substr(at, length);
        }
        at += length > 0 ? length : 1;
    }
    return escaped;
}

std::string encodeBase64(const std::string& bytes) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t at = 0; at < bytes.size(); at += 3) {
        const size_t count = bytes.size() - at < 3 ? bytes.size() - at : 3;
        uint32_t group = 0;
        for (size_t i = 0; i < 3; ++i) group = group << 8 | (i < count ? static_cast<uint8_t>(bytes[at + i]) : 0U);
        for (size_t i = 0; i < 4; ++i) text += i <= count ? digits[group >> (18 - 6 * i) & 63U] : '=';
    }
    return text;
}
